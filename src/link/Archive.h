#pragma once
// gzip and tar.gz for setup, language and structure files. Archives from an instrument are
// untrusted: entries that would land outside the target folder are refused.

#include "foundation/MemStream.h"

#include <functional>
#include <string>
#include <vector>

namespace ferro {

using TArchiveLog = std::function<void(const std::string&)>;

// Unpacked data beyond this is taken for a broken or hostile file.
constexpr size_t CMaxUnpackedSize = 512u << 20;

bool ZipFile(const std::string& Source, const std::string& Target);
bool ZipFile(const MemStream& Source, MemStream& Target);
bool UnZipFile(const std::string& Source, const std::string& Target, std::string* error = nullptr);
bool UnZipFile(const MemStream& Source, MemStream& Target, std::string* error = nullptr);

struct TTarEntry {
    std::string Name;     // name inside the archive
    std::string FilePath; // file to read
};

// Writes a gzip-compressed tar archive of `entries` to `target`.
bool WriteTarGz(const std::string& target, const std::vector<TTarEntry>& entries,
                std::string* error = nullptr);

struct TUntarResult {
    std::vector<std::string> Written; // full paths, in archive order
    std::vector<std::string> Refused; // names that were not written, with the reason
};

// Unpacks a gzip-compressed (or plain) tar archive into `folder` (created if missing). Entries with an
// absolute path, "..", a link or another special type, or a size that differs from their header are
// refused and logged; nothing is written outside `folder`.
bool ExtractTar(const MemStream& archive, const std::string& folder, TUntarResult& result,
                const TArchiveLog& log = nullptr);

} // namespace ferro
