#pragma once
// One recording, event or binary-input file opened for reading: its size as it is now, reads at
// an offset, and the checked head. A file that is still being written may grow meanwhile; what
// lies beyond the size taken at opening is not looked at.

#include "data/DataFileHead.h"

#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

namespace ferro {

class TDataFile {
public:
    TDataFile() = default;
    ~TDataFile();
    TDataFile(const TDataFile&) = delete;
    TDataFile& operator=(const TDataFile&) = delete;

    // False with a German reason when the file cannot be opened.
    bool Open(const std::string& path, std::string& reason);
    uint64_t Size() const { return size_; }
    // Exactly `n` bytes at `offset`, never past the size taken at opening.
    bool ReadAt(uint64_t offset, void* dst, size_t n);

    // Reads the fixed head and the tables behind it (up to the head length, which the decoder has
    // checked against the size) and checks that the file is of `kind`.
    bool ReadHead(TFileKind kind, TDataFileHead& head, std::string& reason);
    // The head's bytes from offset 0 to the head length, after ReadHead.
    const std::vector<uint8_t>& HeadBytes() const { return headBytes_; }
    // Whole entries of `entrySize` after the head: a partial one at the end is still being written.
    uint64_t WholeEntries(const TDataFileHead& head) const;

private:
    std::FILE* f_ = nullptr;
    uint64_t size_ = 0;
    std::vector<uint8_t> headBytes_;
};

} // namespace ferro
