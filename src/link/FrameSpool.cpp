#include "link/FrameSpool.h"

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <random>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

namespace ferro {

namespace {
// What one call moves at most, so that a turn of the link thread stays short.
constexpr size_t CTurnBytes = 1u << 20;
constexpr int CPipeBytes = 1 << 20;

bool writeAll(int fd, const uint8_t* data, size_t len) {
    while (len > 0) {
        ssize_t n = ::write(fd, data, len);
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) return false;
        data += n;
        len -= size_t(n);
    }
    return true;
}
} // namespace

std::unique_ptr<TFrameSpool> TFrameSpool::Create(const std::string& folder) {
    if (folder.empty()) return nullptr;
    std::string base = folder;
    if (base.back() != '/') base += '/';
    // Opened like any new file (not mkstemp's 0600), so the file that is renamed into place gets the
    // permissions the user's umask gives every other download.
    static std::atomic<unsigned> counter{0};
    std::random_device random;
    for (int attempt = 0; attempt < 16; ++attempt) {
        char name[64];
        std::snprintf(name, sizeof name, ".readout-%d-%u-%08x.part", int(::getpid()), counter++, random());
        std::string path = base + name;
        int fd = ::open(path.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
        if (fd >= 0) return std::unique_ptr<TFrameSpool>(new TFrameSpool(fd, path));
        if (errno != EEXIST) return nullptr;
    }
    return nullptr;
}

TFrameSpool::TFrameSpool(int fd, std::string path) : fd_(fd), path_(std::move(path)) {}

TFrameSpool::~TFrameSpool() {
    if (fd_ >= 0) ::close(fd_);
    if (pipe_[0] >= 0) ::close(pipe_[0]);
    if (pipe_[1] >= 0) ::close(pipe_[1]);
    if (!placed_) ::unlink(path_.c_str());
}

void TFrameSpool::Write(const uint8_t* data, size_t len) {
    if (ok_ && !writeAll(fd_, data, len)) ok_ = false;
    size_ += len;
}

ssize_t TFrameSpool::ReceiveFrom(int socketFd, size_t max) {
    if (max > CTurnBytes) max = CTurnBytes;
    if (spliceFailed_ || !ok_) return receiveCopying(socketFd, max);
    if (pipe_[0] < 0) {
        if (::pipe2(pipe_, O_CLOEXEC) != 0) {
            spliceFailed_ = true;
            return receiveCopying(socketFd, max);
        }
        ::fcntl(pipe_[1], F_SETPIPE_SZ, CPipeBytes);
    }
    size_t moved = 0;
    while (moved < max) {
        ssize_t n =
            ::splice(socketFd, nullptr, pipe_[1], nullptr, max - moved, SPLICE_F_MOVE | SPLICE_F_NONBLOCK);
        if (n < 0 && errno == EINTR) continue;
        if (n < 0 && errno == EINVAL && moved == 0) {
            // This socket cannot be spliced: copy through user space from now on.
            spliceFailed_ = true;
            return receiveCopying(socketFd, max);
        }
        if (n <= 0) {
            if (moved > 0) break;
            return n;
        }
        if (!drainPipe(size_t(n))) {
            // The bytes are gone from the socket either way; count them so the frame stays whole.
            ok_ = false;
        }
        size_ += size_t(n);
        moved += size_t(n);
    }
    return ssize_t(moved);
}

bool TFrameSpool::drainPipe(size_t bytes) {
    bool good = ok_;
    while (bytes > 0) {
        ssize_t n = good ? ::splice(pipe_[0], nullptr, fd_, nullptr, bytes, SPLICE_F_MOVE) : -1;
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) {
            // Writing failed (disk full): empty the pipe into nothing so that it never blocks.
            good = false;
            uint8_t sink[65536];
            ssize_t r = ::read(pipe_[0], sink, bytes < sizeof sink ? bytes : sizeof sink);
            if (r <= 0) return false;
            bytes -= size_t(r);
            continue;
        }
        bytes -= size_t(n);
    }
    return good;
}

ssize_t TFrameSpool::receiveCopying(int socketFd, size_t max) {
    bounce_.resize(256u << 10);
    size_t moved = 0;
    while (moved < max) {
        size_t want = max - moved < bounce_.size() ? max - moved : bounce_.size();
        ssize_t n = ::recv(socketFd, bounce_.data(), want, MSG_DONTWAIT);
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) {
            if (moved > 0) break;
            return n;
        }
        Write(bounce_.data(), size_t(n));
        moved += size_t(n);
    }
    return ssize_t(moved);
}

bool TFrameSpool::MoveInto(const std::string& target) {
    if (!ok_ || fd_ < 0) return false;
    struct stat st {};
    if (::lstat(target.c_str(), &st) != 0 && errno == ENOENT) {
        // Nothing there yet: the spool becomes the file. Not clobbering a file that appears meanwhile.
        if (::link(path_.c_str(), target.c_str()) == 0) {
            ::unlink(path_.c_str());
            placed_ = true;
            return true;
        }
    }
    // copy_file_range refuses O_APPEND files: the end is found once and written at explicitly.
    int out = ::open(target.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0644);
    if (out < 0) return false;
    const off_t before = ::lseek(out, 0, SEEK_END);
    off_t from = 0, to = before;
    size_t left = size_;
    bool good = before >= 0;
    while (left > 0 && good) {
        ssize_t n = ::copy_file_range(fd_, &from, out, &to, left, 0);
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) {
            // No in-kernel copy here (other file system, old kernel): read and write.
            uint8_t block[1 << 16];
            ssize_t r = ::pread(fd_, block, sizeof block, from);
            good = r > 0 && ::pwrite(out, block, size_t(r), to) == r;
            if (good) {
                from += r;
                to += r;
                left -= size_t(r);
            }
            continue;
        }
        left -= size_t(n);
    }
    if (!good && before >= 0) {
        int r = ::ftruncate(out, before); // leave the file as it was
        (void)r;
    }
    return ::close(out) == 0 && good;
}

} // namespace ferro
