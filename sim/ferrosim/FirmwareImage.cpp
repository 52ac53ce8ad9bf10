#include "ferrosim/FirmwareImage.h"

#include "ferrosim/Profile.h"

#include "foundation/Format.h"

#include <QCryptographicHash>

#include <archive.h>
#include <archive_entry.h>

#include <cstdio>
#include <ctime>

#include <map>
#include <memory>
#include <sstream>

namespace ferro::sim {

namespace {

constexpr int kInvalidArgument = 11, kChecksum = 13;
constexpr size_t kMaxImage = 1u << 30;

std::string sha256(const Bytes& b) {
    return QCryptographicHash::hash(
               QByteArrayView(reinterpret_cast<const char*>(b.data()), qsizetype(b.size())),
               QCryptographicHash::Sha256)
        .toHex()
        .toStdString();
}

std::string text(const Bytes& b) {
    return std::string(b.begin(), b.end());
}

std::string trim(std::string s) {
    while (!s.empty() && (s.back() == '\r' || s.back() == ' '))
        s.pop_back();
    return s;
}

ImageCheck refuse(int code, const std::string& reason) {
    ImageCheck r;
    r.code = code;
    r.reason = reason;
    return r;
}

ImageCheck checkManifest(const std::vector<ArchiveEntry>& entries, const std::string& manifest) {
    std::map<std::string, const Bytes*> byName;
    for (const ArchiveEntry& e : entries)
        byName[e.name] = &e.data;
    std::string version, revision;
    std::istringstream in(manifest);
    std::map<std::string, std::string> sums;
    for (std::string line; std::getline(in, line);) {
        line = trim(line);
        if (line.rfind("version=", 0) == 0) version = line.substr(8);
        if (line.rfind("revision=", 0) == 0) revision = line.substr(9);
        if (line.rfind("sha256=", 0) == 0 && line.size() > 72 && line[71] == ' ')
            sums[line.substr(72)] = line.substr(7, 64);
    }
    ImageCheck r;
    r.word = PackFirmwareWord(version, revision);
    if (!r.word) return refuse(kInvalidArgument, "manifest without a valid version and revision");
    if (sums.empty()) return refuse(kInvalidArgument, "manifest lists no files");
    for (const auto& [name, sum] : sums) {
        auto it = byName.find(name);
        if (it == byName.end()) return refuse(kInvalidArgument, "image lacks " + name);
        if (sha256(*it->second) != sum) return refuse(kChecksum, "checksum of " + name + " does not match");
    }
    return r;
}

} // namespace

ImageCheck CheckFirmwareImage(const Bytes& image, uint32_t currentWord) {
    std::vector<ArchiveEntry> entries;
    if (!Compression::untarGz(image, entries, kMaxImage) || entries.empty())
        return refuse(kInvalidArgument, "not a tar.gz image");
    for (const ArchiveEntry& e : entries)
        if (e.name == "MANIFEST") return checkManifest(entries, text(e.data));
    ImageCheck r;
    r.word = currentWord + 1;
    for (const ArchiveEntry& e : entries) {
        if (e.name != "VERSION") continue;
        std::string t = text(e.data);
        size_t at = t.find("revision=");
        if (at == std::string::npos) continue;
        size_t stop = t.find_first_of("\r\n", at);
        if (uint32_t w =
                ParseFirmwareWord(t.substr(at + 9, stop == std::string::npos ? stop : stop - at - 9)))
            r.word = w;
    }
    return r;
}

bool MakeUpdateArchive(const std::string& version, const std::string& revision, const std::string& zipPath,
                       bool corrupt, std::string& error) {
    if (!PackFirmwareWord(version, revision)) {
        error = "bad version " + version + " or revision " + revision + " (e.g. 2.3.1 12)";
        return false;
    }
    // A root file system large enough that its upload shows progress, and a small application.
    Bytes rootfs(768u << 10), app(48u << 10);
    uint32_t x = PackFirmwareWord(version, revision) | 1u;
    for (auto* part : {&rootfs, &app})
        for (uint8_t& b : *part) {
            x ^= x << 13;
            x ^= x >> 17;
            x ^= x << 5;
            b = uint8_t(x);
        }
    std::string manifest = "version=" + version + "\nrevision=" + revision + "\n";
    manifest += "sha256=" + sha256(rootfs) + " rootfs.img\n";
    manifest += "sha256=" + sha256(app) + " ferro-app.bin\n";
    if (corrupt) rootfs[rootfs.size() / 2] ^= 0x5a;
    const std::string stem = "ferro-fw-" + version + "-" + revision;
    Bytes image = Compression::tarGz({{"MANIFEST", Bytes(manifest.begin(), manifest.end())},
                                      {"rootfs.img", rootfs},
                                      {"ferro-app.bin", app}});
    const std::string changelog = "Ferro Recorder Firmware " + version + " (Build " + revision +
                                  ")\r\n\r\nNeu:\r\n- Schnellere Übertragung der Aufzeichnungen\r\n"
                                  "- NTP-Status in uti.stat()\r\n\r\nBehoben:\r\n"
                                  "- Zeitstempel nach Sommerzeitwechsel\r\n";
    const std::string sum = sha256(image) + "  " + stem + ".tgz\n";

    std::unique_ptr<archive, decltype(&archive_write_free)> a(archive_write_new(), archive_write_free);
    archive_write_set_format_zip(a.get());
    if (archive_write_open_filename(a.get(), zipPath.c_str()) != ARCHIVE_OK) {
        error = archive_error_string(a.get()) ? archive_error_string(a.get()) : "cannot write " + zipPath;
        return false;
    }
    auto add = [&](const std::string& name, const void* data, size_t size) {
        std::unique_ptr<archive_entry, decltype(&archive_entry_free)> e(archive_entry_new(),
                                                                        archive_entry_free);
        archive_entry_set_pathname(e.get(), name.c_str());
        archive_entry_set_filetype(e.get(), AE_IFREG);
        archive_entry_set_perm(e.get(), 0644);
        archive_entry_set_mtime(e.get(), std::time(nullptr), 0);
        archive_entry_set_size(e.get(), la_int64_t(size));
        return archive_write_header(a.get(), e.get()) == ARCHIVE_OK &&
               archive_write_data(a.get(), data, size) == la_ssize_t(size);
    };
    bool ok = add(stem + ".tgz", image.data(), image.size()) &&
              add("changelog.txt", changelog.data(), changelog.size()) &&
              add(stem + ".sha256", sum.data(), sum.size());
    if (!ok || archive_write_close(a.get()) != ARCHIVE_OK) {
        error = "cannot write " + zipPath;
        return false;
    }
    return true;
}

} // namespace ferro::sim
