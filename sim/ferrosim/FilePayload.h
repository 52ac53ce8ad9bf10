#pragma once
// The payload of a file reply: bytes held in memory, or a stretch of a file on the instrument that
// goes to the socket straight from the page cache (sendfile), so a large recording is neither read
// into memory first nor copied through a user-space buffer.

#include <cstddef>
#include <cstdint>
#include <string>
#include <sys/types.h>
#include <vector>

namespace ferro::sim {

class FilePayload {
public:
    FilePayload() = default;
    explicit FilePayload(std::vector<uint8_t> bytes);
    ~FilePayload();
    FilePayload(FilePayload&& other) noexcept;
    FilePayload& operator=(FilePayload&& other) noexcept;
    FilePayload(const FilePayload&) = delete;
    FilePayload& operator=(const FilePayload&) = delete;

    // The bytes of `path` from `offset` to its end as they are now; false if it cannot be opened.
    bool openFile(const std::string& path, uint64_t offset);

    size_t size() const { return size_; }
    // Copies `n` bytes from `pos` into `out` (resized); false on a read error.
    bool copy(size_t pos, size_t n, std::vector<uint8_t>& out) const;
    // Hands what the non-blocking socket takes now of [pos, pos + n) to it. The count sent, 0 when
    // the socket is full, -1 on an error (errno set).
    ssize_t sendTo(int socketFd, size_t pos, size_t n) const;

private:
    void release();

    std::vector<uint8_t> bytes_;
    int fd_ = -1;
    uint64_t offset_ = 0;
    size_t size_ = 0;
};

} // namespace ferro::sim
