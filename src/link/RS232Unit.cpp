#include "link/RS232Unit.h"

#include "foundation/ErrnoText.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>

namespace ferro {

TRS232Unit::~TRS232Unit() {
    std::string ignored;
    Disconnect(ignored);
}

bool TRS232Unit::OpenPort() {
    std::string ignored;
    Disconnect(ignored);
    int fd = ::open(FPort.c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
    if (fd < 0) {
        lastError_ = ErrnoText(errno);
        return false;
    }
    termios t{};
    if (::tcgetattr(fd, &t) == 0) {
        ::cfmakeraw(&t);
        ::cfsetispeed(&t, B9600);
        ::cfsetospeed(&t, B9600);
        t.c_cflag |= CLOCAL | CREAD;
        t.c_cc[VMIN] = 0;
        t.c_cc[VTIME] = 1; // 100 ms read time-out
        ::tcsetattr(fd, TCSANOW, &t);
    }
    int lines = TIOCM_DTR | TIOCM_RTS;
    ::ioctl(fd, TIOCMBIS, &lines); // not every line has modem lines; a failure is harmless
    FComPortHdl = fd;
    return true;
}

bool TRS232Unit::CheckConnection() const {
    if (FComPortHdl < 0) return false;
    pollfd p{FComPortHdl, 0, 0};
    if (::poll(&p, 1, 0) < 0) return false;
    return (p.revents & (POLLHUP | POLLERR | POLLNVAL)) == 0;
}

void TRS232Unit::ClearBuffer() {
    if (FComPortHdl >= 0) ::tcflush(FComPortHdl, TCIOFLUSH);
}

void TRS232Unit::Disconnect(std::string& ErrorText) {
    ErrorText.clear();
    if (FComPortHdl >= 0 && ::close(FComPortHdl) != 0) ErrorText = ErrnoText(errno);
    FComPortHdl = -1;
}

bool TRS232Unit::WriteData(const MemStream& Stream, size_t& Written) {
    Written = 0;
    const uint8_t* p = Stream.data();
    size_t left = Stream.size();
    while (left > 0) {
        if (FComPortHdl < 0) return false;
        size_t n = left < CBufferSize ? left : CBufferSize;
        ssize_t w = ::write(FComPortHdl, p, n);
        if (w > 0) {
            p += w;
            left -= size_t(w);
            Written += size_t(w);
            continue;
        }
        if (w < 0 && (errno == EAGAIN || errno == EINTR)) {
            pollfd pw{FComPortHdl, POLLOUT, 0};
            if (::poll(&pw, 1, 1000) <= 0) {
                lastError_ = "write timed out";
                return false;
            }
            continue;
        }
        lastError_ = ErrnoText(errno);
        if (FError) FError(lastError_);
        return false;
    }
    return true;
}

long TRS232Unit::Read(uint8_t* buffer, size_t size, int timeoutMs) {
    if (FComPortHdl < 0) return -1;
    pollfd p{FComPortHdl, POLLIN, 0};
    int n = ::poll(&p, 1, timeoutMs);
    if (n <= 0) return n < 0 ? -1 : 0;
    if (!(p.revents & POLLIN)) return (p.revents & (POLLHUP | POLLERR)) ? -1 : 0;
    ssize_t r = ::read(FComPortHdl, buffer, size);
    if (r < 0) {
        if (errno == EAGAIN || errno == EINTR) return 0;
        lastError_ = ErrnoText(errno);
        return -1;
    }
    return long(r);
}

} // namespace ferro
