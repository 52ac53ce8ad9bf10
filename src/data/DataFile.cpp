#include "data/DataFile.h"

#include "foundation/ErrnoText.h"

#include <cerrno>
#include <cstring>
#include <sys/stat.h>

namespace ferro {

TDataFile::~TDataFile() {
    if (f_) std::fclose(f_);
}

bool TDataFile::Open(const std::string& path, std::string& reason) {
    f_ = std::fopen(path.c_str(), "rb");
    if (!f_) {
        reason = ErrnoText(errno);
        return false;
    }
    struct stat st {};
    if (fstat(fileno(f_), &st) != 0 || !S_ISREG(st.st_mode)) {
        reason = "keine gewöhnliche Datei";
        return false;
    }
    size_ = uint64_t(st.st_size);
    return true;
}

bool TDataFile::ReadAt(uint64_t offset, void* dst, size_t n) {
    if (!f_ || offset > size_ || n > size_ - offset) return false;
    if (fseeko(f_, off_t(offset), SEEK_SET) != 0) return false;
    return std::fread(dst, 1, n, f_) == n;
}

bool TDataFile::ReadHead(TFileKind kind, TDataFileHead& head, std::string& reason) {
    if (size_ < TDataFileHead::FixedSize) {
        reason = "Kopf abgeschnitten: " + std::to_string(size_) + " von " +
                 std::to_string(TDataFileHead::FixedSize) + " Bytes";
        return false;
    }
    headBytes_.resize(TDataFileHead::FixedSize);
    if (!ReadAt(0, headBytes_.data(), headBytes_.size())) {
        reason = "Kopf lässt sich nicht lesen";
        return false;
    }
    if (!head.Decode(headBytes_.data(), size_, reason)) return false;
    if (head.Kind != kind) {
        reason = std::string("Datei ist eine ") +
                 (head.Kind == TFileKind::Recording ? "Aufzeichnung"
                  : head.Kind == TFileKind::Events  ? "Ereignisdatei"
                                                    : "Binäreingangsdatei") +
                 ", erwartet war etwas anderes";
        return false;
    }
    // The head length was checked against the file's size: this never allocates more than the file.
    headBytes_.resize(head.HeadLen);
    if (!ReadAt(TDataFileHead::FixedSize, headBytes_.data() + TDataFileHead::FixedSize,
                head.HeadLen - TDataFileHead::FixedSize)) {
        reason = "Kopftabellen lassen sich nicht lesen";
        return false;
    }
    return true;
}

uint64_t TDataFile::WholeEntries(const TDataFileHead& head) const {
    return head.EntrySize ? (size_ - head.HeadLen) / head.EntrySize : 0;
}

} // namespace ferro
