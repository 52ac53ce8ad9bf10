#pragma once
// Update archives for the tests: the simulator's own (--make-update) and zips of our own making
// from their images.

#include "flash/UpdateArchive.h"

#include <QProcess>
#include <QTemporaryDir>

#include <archive.h>
#include <archive_entry.h>

#include <fstream>
#include <iterator>
#include <string>
#include <utility>
#include <vector>

namespace ferro::test {

inline std::string MakeUpdate(const QTemporaryDir& dir, const std::string& version,
                              const std::string& revision, bool corrupt = false) {
    const std::string zip =
        dir.filePath(QString::fromStdString("fw-" + version + "-" + revision + ".zip")).toStdString();
    QProcess p;
    QStringList args = {"--make-update", QString::fromStdString(version), QString::fromStdString(revision),
                        QString::fromStdString(zip)};
    if (corrupt) args << "--corrupt";
    p.start(FERROSIM_BIN, args);
    return p.waitForFinished(20000) && p.exitCode() == 0 ? zip : std::string();
}

inline std::string FileText(const std::string& path) {
    std::ifstream f(path, std::ios::binary);
    return std::string((std::istreambuf_iterator<char>(f)), std::istreambuf_iterator<char>());
}

// The image (.tgz) of a made update, as bytes.
inline std::string ImageOf(const std::string& zip) {
    TUpdateArchive a;
    std::string error;
    const std::string folder = zip + ".d/";
    if (!UnpackUpdateArchive(zip, folder, a, error) || a.FUpdFN.empty()) return std::string();
    return FileText(folder + a.FUpdFN);
}

// A zip of (name, content) entries.
inline bool WriteZip(const std::string& path,
                     const std::vector<std::pair<std::string, std::string>>& entries) {
    archive* a = archive_write_new();
    archive_write_set_format_zip(a);
    bool ok = archive_write_open_filename(a, path.c_str()) == ARCHIVE_OK;
    for (const auto& [name, data] : entries) {
        if (!ok) break;
        archive_entry* e = archive_entry_new();
        archive_entry_set_pathname(e, name.c_str());
        archive_entry_set_filetype(e, AE_IFREG);
        archive_entry_set_perm(e, 0644);
        archive_entry_set_size(e, la_int64_t(data.size()));
        ok = archive_write_header(a, e) == ARCHIVE_OK &&
             archive_write_data(a, data.data(), data.size()) == la_ssize_t(data.size());
        archive_entry_free(e);
    }
    ok = archive_write_close(a) == ARCHIVE_OK && ok;
    archive_write_free(a);
    return ok;
}

} // namespace ferro::test
