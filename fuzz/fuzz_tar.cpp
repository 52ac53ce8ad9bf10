// libFuzzer harness of the setup archive extraction. The input is a tar stream whose header
// checksums the harness sets right, so that mutations get past them to the names, types and sizes;
// an odd first byte packs it with gzip first. Run inside a scratch folder (scripts/fuzz.sh does):
// everything is extracted to jail/out, and anything that appears in jail beside out, or a written
// path outside out, aborts.
#include "link/Archive.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>

namespace {

namespace fs = std::filesystem;

// Every 512-byte header the stream walks through gets its checksum (octal, six digits, NUL, space).
void FixChecksums(std::vector<uint8_t>& tar) {
    size_t at = 0;
    while (at + 512 <= tar.size()) {
        uint8_t* h = tar.data() + at;
        std::memset(h + 148, ' ', 8);
        unsigned sum = 0;
        for (size_t i = 0; i < 512; ++i)
            sum += h[i];
        std::snprintf(reinterpret_cast<char*>(h + 148), 8, "%06o", sum & 0777777u);
        h[155] = ' ';
        char size[13] = {};
        std::memcpy(size, h + 124, 12);
        const unsigned long long n = std::strtoull(size, nullptr, 8);
        if (n > tar.size()) break;
        at += 512 + size_t((n + 511) / 512 * 512);
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    using namespace ferro;
    if (size < 1) return 0;
    std::vector<uint8_t> tar(data + 1, data + size);
    FixChecksums(tar);
    MemStream archive(std::move(tar));
    if (data[0] & 1) {
        MemStream packed;
        if (!ZipFile(archive, packed)) return 0;
        archive = std::move(packed);
    }
    std::error_code ec;
    static const fs::path jail = fs::absolute("jail", ec);
    fs::create_directories(jail / "out", ec);
    static const fs::path out = fs::weakly_canonical(jail / "out", ec);
    TUntarResult r;
    ExtractTar(archive, out.string(), r);
    for (const std::string& w : r.Written) {
        const fs::path rel = fs::weakly_canonical(w, ec).lexically_relative(out);
        if (rel.empty() || *rel.begin() == "..") {
            std::fprintf(stderr, "written outside the target folder: %s\n", w.c_str());
            std::abort();
        }
    }
    for (const auto& e : fs::directory_iterator(jail, ec))
        if (e.path().filename() != "out") {
            std::fprintf(stderr, "written beside the target folder: %s\n", e.path().c_str());
            std::abort();
        }
    // The next input starts from an empty folder.
    if (!r.Written.empty())
        for (const auto& e : fs::directory_iterator(out, ec))
            fs::remove_all(e.path(), ec);
    return 0;
}
