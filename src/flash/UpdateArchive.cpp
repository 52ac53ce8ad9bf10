#include "flash/UpdateArchive.h"

#include "foundation/Format.h"

#include <archive.h>
#include <archive_entry.h>

#include <cctype>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <memory>
#include <sstream>

namespace fs = std::filesystem;

namespace ferro {

namespace {

// Beyond this the archive is taken for a broken or hostile file.
constexpr int64_t CMaxUnpacked = 1ll << 30;
constexpr int64_t CMaxManifest = 64 << 10;

using TArchivePtr = std::unique_ptr<archive, decltype(&archive_read_free)>;

bool SafeName(const std::string& name) {
    if (name.empty() || name[0] == '/' || name[0] == '\\' || name.find(':') != std::string::npos)
        return false;
    for (const auto& part : fs::path(name))
        if (part == "..") return false;
    return name.find('\\') == std::string::npos;
}

std::string Lower(std::string s) {
    for (char& c : s)
        c = char(std::tolower(static_cast<unsigned char>(c)));
    return s;
}

} // namespace

bool UnpackUpdateArchive(const std::string& zip, const std::string& folder, TUpdateArchive& out,
                         std::string& error, const std::function<void(const std::string&)>& log) {
    out = TUpdateArchive();
    TArchivePtr a(archive_read_new(), archive_read_free);
    archive_read_support_format_zip(a.get());
    if (archive_read_open_filename(a.get(), zip.c_str(), 1 << 16) != ARCHIVE_OK) {
        error = "Die Updatedatei kann nicht gelesen werden: " + zip;
        return false;
    }
    std::error_code ec;
    fs::create_directories(folder, ec);
    int64_t total = 0;
    archive_entry* e = nullptr;
    int rc;
    while ((rc = archive_read_next_header(a.get(), &e)) == ARCHIVE_OK) {
        const char* raw = archive_entry_pathname(e);
        const std::string name = raw ? raw : "";
        if (archive_entry_filetype(e) == AE_IFDIR) continue;
        if (archive_entry_filetype(e) != AE_IFREG || !SafeName(name)) {
            out.Refused.push_back(name);
            if (log) log("Refused archive entry " + name);
            continue;
        }
        const fs::path target = fs::path(folder) / name;
        fs::create_directories(target.parent_path(), ec);
        std::ofstream f(target, std::ios::binary | std::ios::trunc);
        char buf[1 << 16];
        la_ssize_t n;
        while ((n = archive_read_data(a.get(), buf, sizeof buf)) > 0) {
            total += n;
            if (total > CMaxUnpacked) {
                error = "Die Updatedatei ist zu groß.";
                return false;
            }
            f.write(buf, n);
        }
        f.close();
        if (n < 0 || !f) {
            error = "Die Updatedatei ist beschädigt: " + name;
            return false;
        }
        const std::string ext = fs::path(name).extension().string();
        if (ext == ".tgz") out.FUpdFN = fs::path(name).filename().string();
        if (Lower(ext) == ".txt")
            out.FReadmeFN = target.string();
        else
            out.FSL.push_back(target.string());
        if (log) log("Extracted " + name);
    }
    if (rc != ARCHIVE_EOF) {
        error = "Die Updatedatei ist beschädigt: " +
                std::string(archive_error_string(a.get()) ? archive_error_string(a.get()) : zip);
        return false;
    }
    for (const std::string& p : out.FSL)
        if (fs::path(p).filename() == out.FUpdFN) out.ImageRev = ImageManifestRev(p);
    return true;
}

uint32_t ImageManifestRev(const std::string& tgz) {
    TArchivePtr a(archive_read_new(), archive_read_free);
    archive_read_support_filter_gzip(a.get());
    archive_read_support_format_tar(a.get());
    if (archive_read_open_filename(a.get(), tgz.c_str(), 1 << 16) != ARCHIVE_OK) return 0;
    archive_entry* e = nullptr;
    while (archive_read_next_header(a.get(), &e) == ARCHIVE_OK) {
        if (std::string(archive_entry_pathname(e) ? archive_entry_pathname(e) : "") != "MANIFEST") continue;
        if (archive_entry_size(e) > CMaxManifest) return 0;
        std::string text(size_t(archive_entry_size(e)), '\0');
        if (archive_read_data(a.get(), text.data(), text.size()) != la_ssize_t(text.size())) return 0;
        std::istringstream in(text);
        std::string version, revision;
        for (std::string line; std::getline(in, line);) {
            while (!line.empty() && line.back() == '\r')
                line.pop_back();
            if (line.rfind("version=", 0) == 0) version = line.substr(8);
            if (line.rfind("revision=", 0) == 0) revision = line.substr(9);
        }
        return PackFirmwareWord(version, revision);
    }
    return 0;
}

} // namespace ferro
