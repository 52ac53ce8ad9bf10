#include "link/ReadThreadTCP.h"

#include "foundation/Format.h"
#include "foundation/MainThread.h"
#include "link/Ntp.h"
#include "link/SocketText.h"
#include "link/TCPComUnit.h"

#include <algorithm>
#include <chrono>
#include <stdexcept>

#include <cerrno>
#include <cstring>
#include <netdb.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

namespace ferro {

TIdReadThreadTCP::TIdReadThreadTCP(TTCPComUnit* client) : FClient(client) {
    FreadStream.Flog = [this](const std::string& s, bool memo) { log(s, memo); };
    FreadStream.FOnFrame = [this](const uint8_t* f, size_t n) { handOver(f, n); };
    FreadStream.FOnFrameOwned = [this](std::vector<uint8_t>&& f) {
        handOver(std::make_shared<MemStream>(std::move(f)));
    };
    FreadStream.FOnNtp = [this](const uint8_t* f, size_t n) { serveNtp(f, n); };
    FreadStream.FOpenSpool = [this](const ccc_head_t& h) -> std::unique_ptr<TFrameSpool> {
        return FClient ? TFrameSpool::Create(FClient->SpoolFolderFor(h)) : nullptr;
    };
    FreadStream.FOnSpooled = [this](const ccc_head_t& h, std::unique_ptr<TFrameSpool> spool) {
        TTCPComUnit* client = FClient;
        // Removed with the task if it never runs.
        auto owned = std::make_shared<std::unique_ptr<TFrameSpool>>(std::move(spool));
        Postpone(client, [client, h, owned] {
            client->ReadSpooled(h, std::move(*owned));
            client->WriteLog("EvalEnd");
        });
    };
    FreadStream.FBeginWork = [this](uint32_t size) {
        progressReported_ = 0;
        readArrived_ = 0;
        if (FBeginWork) FBeginWork(wmRead, size);
    };
    FreadStream.FEndWork = [this] {
        readArrived_ = 0; // the next frame counts from nothing
        if (FEndWork) FEndWork(wmRead, 0);
    };
}

TIdReadThreadTCP::~TIdReadThreadTCP() {
    JoinLoop();
    ClearQueue();
    FreadStream.Clear();
    log("AFTER CLEAR BUFFER");
    log("AFTER Destroy TCP");
}

std::string TIdReadThreadTCP::ConnectError() const {
    std::lock_guard<std::mutex> lk(errorMutex_);
    return connectError_;
}

void TIdReadThreadTCP::setConnectError(const std::string& text) {
    std::lock_guard<std::mutex> lk(errorMutex_);
    connectError_ = text;
}

void TIdReadThreadTCP::SetConParams(const std::string& IP, int Port, int BoundPort) {
    FHost = IP;
    FPortNo = Port;
    FBoundPort = BoundPort;
}

void TIdReadThreadTCP::SendCommandStream() {
    TSendQueueItem item;
    if (!PopQueued(item)) return;
    log("Thread Before Send");
    MemStream& s = *item.SendStream;
    s.setPosition(0);
    if (FBeginWork) FBeginWork(wmWrite, s.size());
    if (FIsconnected) {
        if (!WriteData(s, item.IsLua)) log("Error Sending Data");
    }
    if (FEndWork) FEndWork(wmWrite, s.size());
    log("Thread After Send");
    if (FClient) FClient->SendQueueActive = QueueLength() > 0;
}

int TIdReadThreadTCP::OpenSocket(const std::function<void()>& onConnecting) {
    if (cancelConnect_) throw std::runtime_error(CConnectCanceled);
    addrinfo hints{};
    hints.ai_family = FIPVersion == ipverV6 ? AF_INET6 : AF_INET;
    hints.ai_socktype = SOCK_STREAM;
    addrinfo* res = nullptr;
    const std::string port = std::to_string(FPortNo);
    int gai = ::getaddrinfo(FHost.c_str(), port.c_str(), &hints, &res);
    if (gai != 0 || !res)
        throw std::runtime_error(Fmt("Adresse %s nicht gefunden (%s)", FHost.c_str(), gai_strerror(gai)));
    std::unique_ptr<addrinfo, decltype(&::freeaddrinfo)> guard(res, ::freeaddrinfo);

    int fd = ::socket(res->ai_family, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    if (fd < 0) throw std::runtime_error(SocketErrorText(errno));
    auto fail = [fd](const std::string& why) {
        ::close(fd);
        throw std::runtime_error(why);
    };
    int one = 1;
    ::setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &one, sizeof one);
    if (onConnecting) onConnecting();
    // Keep-alive: probe after 25 s of silence, every 2 s.
    int idle = 25, intvl = 2;
    ::setsockopt(fd, SOL_SOCKET, SO_KEEPALIVE, &one, sizeof one);
    ::setsockopt(fd, IPPROTO_TCP, TCP_KEEPIDLE, &idle, sizeof idle);
    ::setsockopt(fd, IPPROTO_TCP, TCP_KEEPINTVL, &intvl, sizeof intvl);

    if (::connect(fd, res->ai_addr, res->ai_addrlen) == 0) return fd;
    if (errno != EINPROGRESS) fail(SocketErrorText(errno));
    // The wake-up descriptor beside the socket: CancelConnect ends the wait at once.
    pollfd p[2] = {{fd, POLLOUT, 0}, {WakeFd(), POLLIN, 0}};
    const auto until = std::chrono::steady_clock::now() + std::chrono::milliseconds(ConnectTimeoutMs);
    int n = 0;
    for (;;) {
        auto left =
            std::chrono::duration_cast<std::chrono::milliseconds>(until - std::chrono::steady_clock::now());
        n = ::poll(p, 2, int(std::max<int64_t>(0, left.count())));
        if (n < 0 && errno == EINTR) continue;
        if (n > 0 && (p[1].revents & POLLIN)) DrainWake();
        if (cancelConnect_) fail(CConnectCanceled);
        if (n <= 0 || (p[0].revents & (POLLOUT | POLLERR | POLLHUP))) break;
    }
    if (n == 0) fail(Fmt("keine Antwort innerhalb von %d s", (ConnectTimeoutMs + 999) / 1000));
    int err = 0;
    socklen_t len = sizeof err;
    ::getsockopt(fd, SOL_SOCKET, SO_ERROR, &err, &len);
    if (n < 0 || err != 0) fail(SocketErrorText(err ? err : errno));
    return fd;
}

void TIdReadThreadTCP::ReportReadProgress() {
    constexpr size_t step = 1u << 20;
    const size_t arrived = FreadStream.HeadRead() ? FreadStream.FrameArrived() : 0;
    readArrived_ = arrived;
    if (arrived >= progressReported_ + step) {
        progressReported_ = arrived;
        if (FOnWork) FOnWork(wmRead, arrived);
    }
}

void TIdReadThreadTCP::ReadData() {
    // One frame off per pass; the rest waits for the next turn.
    FreadStream.ReadData();
}

void TIdReadThreadTCP::handOver(const uint8_t* frame, size_t size) {
    handOver(std::make_shared<MemStream>(frame, size));
}

void TIdReadThreadTCP::handOver(std::shared_ptr<MemStream> copy) {
    TTCPComUnit* client = FClient;
    HandOver(client, std::move(copy), [client](MemStream& frame) {
        client->ReadData(frame);
        client->WriteLog("EvalEnd");
    });
}

void TIdReadThreadTCP::serveNtp(const uint8_t* frame, size_t size) {
    if (size < CHeadSize + CNtpPacketSize || !FIsconnected) return;
    if (!ServesNtpOnThread()) {
        handOver(frame, size); // the main thread answers through the command list's link
        return;
    }
    ccc_head_t req = ccc_head_t::decode(frame);
    uint8_t packet[CNtpPacketSize];
    std::memcpy(packet, frame + CHeadSize, CNtpPacketSize);
    FillNTP(packet);
    ccc_head_t h;
    h.Cmd = 9;
    h.Priv = 1;
    h.ExtCmd = 3;
    h.Ver = req.Ver;
    h.SN = req.SN;
    h.FTPNAK = 4;
    h.SeqCnt = FSeqCnt; // never advanced: replies on this path always carry 0
    MemStream reply = frames::NtpReply(h, packet);
    HandleNTPSendAnswer(reply);
}

void TIdReadThreadTCP::DropHalfFrameIfAsked() {
    if (!TakeDropRequest() || !FreadStream.DropHalfFrame()) return;
    readArrived_ = 0;
    TTCPComUnit* client = FClient;
    Postpone(client, [client] { client->HalfFrameDropped(); });
}

void TIdReadThreadTCP::Clearbuffer() {
    log("ClearBuffer");
    FDoClearBuffer = false;
}

void TIdReadThreadTCP::DoDisconnect(bool) {
    ClearQueue();
    RequestStop();
    log("Thread Disconnect");
}

} // namespace ferro
