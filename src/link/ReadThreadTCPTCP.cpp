#include "link/ReadThreadTCPTCP.h"

#include "foundation/Format.h"
#include "link/SocketText.h"

#include <arpa/inet.h>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <netdb.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <thread>

namespace ferro {

namespace {
constexpr size_t CReadChunk = 256 * 1024;
} // namespace

TIdReadThreadTCPTCP::TIdReadThreadTCPTCP(TTCPComUnit* client) : TIdReadThreadTCP(client) {}

TIdReadThreadTCPTCP::~TIdReadThreadTCPTCP() {
    JoinLoop();
    closeSocket();
}

void TIdReadThreadTCPTCP::closeSocket() {
    int fd = fd_.exchange(-1);
    if (fd >= 0) {
        ::shutdown(fd, SHUT_RDWR);
        ::close(fd);
    }
}

void TIdReadThreadTCPTCP::DoConnect() {
    try {
        if (FOnStatus) FOnStatus(TcpStatus::Resolving, FHost);
        int fd = OpenSocket([this] {
            if (FOnStatus) FOnStatus(TcpStatus::Connecting, FHost);
        });
        fd_ = fd;
        disconnectReported_ = false;
        setConnectError("");
        FIsconnected = true;
        log(Fmt("DoConnect: %s", BoolStr(true)));
        if (FOnStatus) FOnStatus(TcpStatus::Connected, FHost);
        StartLoop();
    } catch (const std::exception& e) {
        FIsconnected = false;
        setConnectError(e.what());
        log(std::string("DoConnectExcept: ") + e.what());
    }
}

bool TIdReadThreadTCPTCP::waitReadable(int timeoutMs, bool* woken) {
    pollfd p[2] = {{fd_.load(), POLLIN, 0}, {WakeFd(), POLLIN, 0}};
    int n = ::poll(p, 2, timeoutMs);
    if (n <= 0) return false;
    if (p[1].revents & POLLIN) {
        DrainWake();
        if (woken) *woken = true;
    }
    return (p[0].revents & (POLLIN | POLLHUP | POLLERR)) != 0;
}

// Reads what the socket holds into the receive buffer; 0 with the peer gone closes the link.
size_t TIdReadThreadTCPTCP::receiveAvailable() {
    size_t total = 0;
    for (;;) {
        int fd = fd_.load();
        if (fd < 0) break;
        ssize_t n;
        size_t asked;
        if (FreadStream.Spool() && FreadStream.SpoolLeft() > 0) {
            // A large file reply: from the socket into its spool file through the kernel.
            asked = FreadStream.SpoolLeft();
            n = FreadStream.Spool()->ReceiveFrom(fd, asked);
            if (n > 0) FreadStream.SpoolReceived(size_t(n));
        } else {
            // Straight into the receive buffer: no bounce through a chunk.
            asked = CReadChunk;
            uint8_t* at = FreadStream.Reserve(CReadChunk);
            n = ::recv(fd, at, CReadChunk, 0);
            FreadStream.Commit(n > 0 ? size_t(n) : 0);
            // A head that just came in may open a spool: the rest of its frame then goes there.
            FreadStream.CheckHead();
        }
        if (n > 0) {
            total += size_t(n);
            if (size_t(n) < asked) break;
            continue;
        }
        if (n == 0) {
            lostConnection("vom Gerät geschlossen");
            break;
        }
        if (errno == EINTR) continue;
        if (errno != EAGAIN && errno != EWOULDBLOCK) lostConnection(SocketErrorText(errno));
        break;
    }
    return total;
}

void TIdReadThreadTCPTCP::lostConnection(const std::string& why) {
    FIsconnected = false;
    FreadStream.Clear(); // a frame cut short can never complete on this line (and its spool goes)
    if (disconnectReported_.exchange(true)) return;
    log("Connection lost: " + why);
    if (FOnStatus) FOnStatus(TcpStatus::Disconnected, why);
}

void TIdReadThreadTCPTCP::ThreadRun() {
    if (fd_ < 0 || !FIsconnected) {
        log("Thread not Connected", true);
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
        return;
    }
    if (FDoClearBuffer) {
        Clearbuffer();
        return;
    }
    DropHalfFrameIfAsked();
    bool woken = false;
    if (MainThreadBusy()) {
        // Reading pauses: the socket stays readable, so wait on the wake-up alone, briefly.
        WaitWake(5);
        return;
    }
    if (waitReadable(0, &woken)) {
        ReadData();
        return;
    }
    if (QueueLength() > 0) {
        SendCommandStream();
        return;
    }
    const bool frameReady = FreadStream.CheckHead() && FreadStream.FrameComplete();
    if (!frameReady) {
        // Idle or in the middle of a frame: wait for data, but wake at once when a frame is queued.
        // Never spin: the instrument needs the other core to send.
        if (!waitReadable(20, &woken)) return;
    }
    ReadData();
}

void TIdReadThreadTCPTCP::ReadData() {
    try {
        // Read while the buffer holds no complete frame yet; a complete one is handed over first so
        // that a fast sender is held back by the socket rather than by our memory.
        for (int rounds = 0; fd_ >= 0 && rounds < 64; ++rounds) {
            bool haveFrame = FreadStream.CheckHead() && FreadStream.FrameComplete();
            if (haveFrame) break;
            if (rounds > 0 && !waitReadable(1, nullptr)) break;
            if (receiveAvailable() == 0) break;
            ReportReadProgress();
        }
        FreadStream.CheckHead();
        TIdReadThreadTCP::ReadData();
    } catch (const std::exception& e) {
        log(std::string("Error ReadData ") + e.what());
    }
}

bool TIdReadThreadTCPTCP::WriteData(MemStream& Stream, bool) {
    std::lock_guard<std::mutex> lk(writeMutex_);
    const uint8_t* p = Stream.data();
    size_t left = Stream.size();
    while (left > 0) {
        int fd = fd_.load();
        if (fd < 0) return false;
        ssize_t n = ::send(fd, p, left, MSG_NOSIGNAL);
        if (n > 0) {
            p += n;
            left -= size_t(n);
            if (FOnWork) FOnWork(wmWrite, Stream.size() - left);
            continue;
        }
        if (n < 0 && (errno == EAGAIN || errno == EWOULDBLOCK || errno == EINTR)) {
            pollfd pw{fd, POLLOUT, 0};
            if (::poll(&pw, 1, 5000) <= 0) {
                log("Write timed out");
                return false;
            }
            continue;
        }
        log("Error writing: " + SocketErrorText(errno));
        lostConnection(SocketErrorText(errno));
        return false;
    }
    return true;
}

void TIdReadThreadTCPTCP::HandleNTPSendAnswer(MemStream& Stream) {
    WriteData(Stream, false);
}

void TIdReadThreadTCPTCP::Clearbuffer() {
    TIdReadThreadTCP::Clearbuffer();
    // Drop what the socket holds now; the receive buffer itself stays as it is.
    int fd = fd_.load();
    if (fd < 0) return;
    uint8_t chunk[65536];
    for (int i = 0; i < 1024; ++i) {
        ssize_t n = ::recv(fd, chunk, sizeof chunk, MSG_DONTWAIT);
        if (n <= 0) break;
    }
}

void TIdReadThreadTCPTCP::DoDisconnect(bool Notify) {
    TIdReadThreadTCP::DoDisconnect(Notify);
    if (FOnStatus && fd_ >= 0) FOnStatus(TcpStatus::Disconnecting, "");
    bool wasConnected = fd_ >= 0;
    // The loop ends before the socket goes, so that no turn works on a closed descriptor. A half
    // frame is dropped: it must not become the start of the next connection's first frame.
    JoinLoop();
    closeSocket();
    FreadStream.Clear();
    FIsconnected = false;
    if (wasConnected && !disconnectReported_.exchange(true) && FOnStatus)
        FOnStatus(TcpStatus::Disconnected, "");
}

} // namespace ferro
