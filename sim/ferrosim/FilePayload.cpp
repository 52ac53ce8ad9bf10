#include "ferrosim/FilePayload.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/sendfile.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

namespace ferro::sim {

FilePayload::FilePayload(std::vector<uint8_t> bytes) : bytes_(std::move(bytes)), size_(bytes_.size()) {}

FilePayload::~FilePayload() {
    release();
}

FilePayload::FilePayload(FilePayload&& other) noexcept {
    *this = std::move(other);
}

FilePayload& FilePayload::operator=(FilePayload&& other) noexcept {
    if (this != &other) {
        release();
        bytes_ = std::move(other.bytes_);
        fd_ = other.fd_;
        offset_ = other.offset_;
        size_ = other.size_;
        other.fd_ = -1;
        other.size_ = 0;
    }
    return *this;
}

void FilePayload::release() {
    if (fd_ >= 0) ::close(fd_);
    fd_ = -1;
}

bool FilePayload::openFile(const std::string& path, uint64_t offset) {
    release();
    bytes_.clear();
    size_ = 0;
    int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) return false;
    struct stat st {};
    if (::fstat(fd, &st) != 0 || !S_ISREG(st.st_mode) || uint64_t(st.st_size) < offset) {
        ::close(fd);
        return false;
    }
    fd_ = fd;
    offset_ = offset;
    size_ = size_t(uint64_t(st.st_size) - offset);
    ::posix_fadvise(fd_, off_t(offset_), off_t(size_), POSIX_FADV_SEQUENTIAL);
    return true;
}

bool FilePayload::copy(size_t pos, size_t n, std::vector<uint8_t>& out) const {
    out.resize(n);
    if (fd_ < 0) {
        if (pos + n > bytes_.size()) return false;
        std::memcpy(out.data(), bytes_.data() + pos, n);
        return true;
    }
    for (size_t done = 0; done < n;) {
        ssize_t r = ::pread(fd_, out.data() + done, n - done, off_t(offset_ + pos + done));
        if (r < 0 && errno == EINTR) continue;
        if (r <= 0) return false; // a file that shrank under us ends the reply
        done += size_t(r);
    }
    return true;
}

ssize_t FilePayload::sendTo(int socketFd, size_t pos, size_t n) const {
    for (;;) {
        ssize_t r;
        if (fd_ >= 0) {
            off_t at = off_t(offset_ + pos);
            r = ::sendfile(socketFd, fd_, &at, n);
            if (r == 0 && n > 0) {
                errno = EIO; // the file ended early
                return -1;
            }
        } else {
            r = ::send(socketFd, bytes_.data() + pos, n, MSG_DONTWAIT | MSG_NOSIGNAL);
        }
        if (r >= 0) return r;
        if (errno == EINTR) continue;
        if (errno == EAGAIN || errno == EWOULDBLOCK) return 0;
        return -1;
    }
}

} // namespace ferro::sim
