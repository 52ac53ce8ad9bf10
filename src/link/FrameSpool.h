#pragma once
// The payload of one large frame, written to disk while it arrives instead of collected in memory.
// The file lies hidden in the folder the payload is meant for, so that it can be renamed into place;
// a spool that is dropped (broken line, closed link) removes its file.

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <sys/types.h>
#include <vector>

namespace ferro {

class TFrameSpool {
public:
    // A new hidden file in `folder`; null if it cannot be created there.
    static std::unique_ptr<TFrameSpool> Create(const std::string& folder);
    ~TFrameSpool();
    TFrameSpool(const TFrameSpool&) = delete;
    TFrameSpool& operator=(const TFrameSpool&) = delete;

    // Appends bytes. After a write error the spool only counts what it is given (Ok() turns false),
    // so the link stays in step with the frames.
    void Write(const uint8_t* data, size_t len);
    // Moves up to `max` bytes that wait in a non-blocking socket into the spool, through the kernel
    // (splice) where it can. The count moved, 0 when the peer closed, -1 with errno (EAGAIN: nothing
    // waits).
    ssize_t ReceiveFrom(int socketFd, size_t max);

    size_t Size() const { return size_; }
    bool Ok() const { return ok_; }
    const std::string& Path() const { return path_; }
    // Puts the payload at the end of `target`: renamed into place when there is no such file yet,
    // appended otherwise. False (and `target` as it was) on failure.
    bool MoveInto(const std::string& target);

private:
    TFrameSpool(int fd, std::string path);
    ssize_t receiveCopying(int socketFd, size_t max);
    bool drainPipe(size_t bytes);

    int fd_ = -1;
    std::string path_;
    size_t size_ = 0;
    bool ok_ = true;
    bool placed_ = false;
    int pipe_[2] = {-1, -1}; // socket -> pipe -> file, opened on first use
    bool spliceFailed_ = false;
    std::vector<uint8_t> bounce_;
};

} // namespace ferro
