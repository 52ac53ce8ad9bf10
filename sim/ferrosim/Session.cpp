#include "ferrosim/Session.h"

#include "ferrosim/Instrument.h"
#include "ferrosim/LuaEngine.h"
#include "ferrosim/NtpTunnel.h"
#include "foundation/Format.h"
#include "foundation/MemStream.h"
#include "link/CommandTable.h"
#include "link/IdentityLayout.h"

#include <QTimer>

#include <cerrno>
#include <cstring>

#include <sys/socket.h>

namespace ferro::sim {

namespace {
// Payload bytes handed to Qt at once when the socket is full.
constexpr size_t kSlice = 64 << 10;
// A connection over the limit that never says anything is closed after this.
constexpr int kOverLimitGraceMs = 5000;
} // namespace

Session::Session(Instrument& instrument, QTcpSocket* socket, bool overLimit, int id)
    : instrument_(instrument), socket_(socket), overLimit_(overLimit), id_(id),
      cutLeft_(instrument.faults().cutBytes()), transfers_(instrument), streams_(instrument) {
    socket_->setParent(this);
    connect(socket_, &QTcpSocket::readyRead, this, &Session::onReadyRead);
    connect(socket_, &QTcpSocket::bytesWritten, this, &Session::onBytesWritten);
    connect(socket_, &QTcpSocket::disconnected, this, &Session::onDisconnected);
    log(Fmt("connected from %s%s", socket_->peerAddress().toString().toStdString().c_str(),
            overLimit_ ? " (over the connection limit)" : ""));
    if (overLimit_) QTimer::singleShot(kOverLimitGraceMs, this, [this] { closeAfterFlush(); });
    flow_.clientIp = socket_->peerAddress().toIPv4Address();
    flow_.clientPort = socket_->peerPort();
    flow_.serverIp = socket_->localAddress().toIPv4Address();
    flow_.serverPort = socket_->localPort();
}

LinkInfo Session::info() const {
    LinkInfo i;
    i.id = id_;
    i.peer = socket_->peerAddress().toString().toStdString() + ":" + std::to_string(socket_->peerPort());
    i.user = user_;
    i.open = open_;
    return i;
}

Session::~Session() = default;

void Session::log(const std::string& text) const {
    instrument_.log(Fmt("[%d] ", id_) + text);
}

void Session::closeAfterFlush() {
    if (closing_) return;
    closing_ = true;
    if (ntp_) ntp_->close();
    socket_->disconnectFromHost();
    if (socket_->state() == QAbstractSocket::UnconnectedState) onDisconnected();
}

void Session::onDisconnected() {
    closing_ = true;
    if (ntp_) ntp_->close();
    if (closedSignalled_) return;
    closedSignalled_ = true;
    log("disconnected");
    emit closed(this);
}

void Session::onReadyRead() {
    const QByteArray chunk = socket_->readAll();
    instrument_.capture().record(flow_, true, reinterpret_cast<const uint8_t*>(chunk.constData()),
                                 size_t(chunk.size()));
    inbuf_.append(chunk);
    // Frames are cut by the announced Size alone; bytes only accumulate as they arrive, so a
    // lying Size never makes us allocate anything. The cut frames leave the buffer in one go.
    qsizetype at = 0;
    while (!closing_ && inbuf_.size() - at >= qsizetype(CHeadSize)) {
        const uint8_t* p = reinterpret_cast<const uint8_t*>(inbuf_.constData()) + at;
        uint32_t size = MemStream::peekU32(p + 12);
        if (size < CHeadSize || size > CMaxFrame) {
            log(Fmt("bad frame size %u, closing", size));
            socket_->abort();
            return;
        }
        // The upload fault: the line drops in the middle of a scratchpad write, nothing is written.
        const int64_t cutUp = instrument_.faults().cutUploadBytes();
        if (cutUp >= 0 && p[0] == CmdScratchPad && MemStream::peekU16(p + 2) == 2 && size > cutUp &&
            inbuf_.size() - at > cutUp) {
            log("fault: cutting the connection in the middle of an upload");
            socket_->abort();
            return;
        }
        if (inbuf_.size() - at < qsizetype(size)) break;
        inbox_.emplace_back(p, p + size);
        at += size;
    }
    inbuf_.remove(0, at);
    pump();
}

void Session::onBytesWritten() {
    if (out_) sendFileFrames();
}

void Session::pump() {
    while (!closing_ && !out_ && !waitingDelay_ && !inbox_.empty()) {
        int delay = instrument_.faults().delayMs();
        if (delay > 0) {
            waitingDelay_ = true;
            QTimer::singleShot(delay, this, [this] {
                waitingDelay_ = false;
                processOne();
                pump();
            });
            return;
        }
        processOne();
    }
}

void Session::processOne() {
    if (closing_ || inbox_.empty()) return;
    std::vector<uint8_t> frame = std::move(inbox_.front());
    inbox_.pop_front();
    handle(frame);
    const ccc_head_t req = ccc_head_t::decode(frame.data());
    if (!straySent_ && !out_ && instrument_.faults().strayHeadAfter() == int(req.Cmd)) injectStrayHead(req);
}

void Session::injectStrayHead(const ccc_head_t& req) {
    straySent_ = true;
    // Plausible in every field a client checks: a small version, small flags, a size below 1 GiB.
    ccc_head_t h = replyHead(req);
    h.ExtCmd = 0;
    h.Size = 1u << 20;
    uint8_t head[CHeadSize];
    h.encode(head);
    log("fault: sending a stray head announcing 1 MiB");
    write(head, sizeof(head));
}

ccc_head_t Session::replyHead(const ccc_head_t& req) const {
    ccc_head_t h = req;
    h.Ver = ver_;
    h.FTPNAK = uint16_t(req.FTPNAK & ~CFlagNAK);
    h.SN = instrument_.profile().serial;
    return h;
}

void Session::write(const uint8_t* data, size_t len) {
    if (socket_->state() != QAbstractSocket::ConnectedState) return;
    instrument_.capture().record(flow_, false, data, len);
    socket_->write(reinterpret_cast<const char*>(data), qint64(len));
}

void Session::reply(const ccc_head_t& req, const void* payload, size_t len) {
    MemStream f = frames::WithPayload(replyHead(req), payload, len);
    write(f.data(), f.size());
}

void Session::refuse(const ccc_head_t& req, uint32_t code, const std::string& text) {
    log(Fmt("refused Cmd %u ExtCmd 0x%x: %u %s", req.Cmd, req.ExtCmd, code, text.c_str()));
    MemStream f = frames::Refusal(replyHead(req), code, text);
    write(f.data(), f.size());
}

void Session::answer(const ccc_head_t& req, Answer a) {
    if (a.refused) return refuse(req, a.code, a.text);
    if (!a.isFile) {
        ccc_head_t h = req;
        if (a.ext >= 0) h.ExtCmd = uint16_t(a.ext);
        reply(h, a.payload.data(), a.payload.size());
        for (const auto& f : a.follow) {
            ccc_head_t fh = req;
            fh.ExtCmd = uint16_t(f.ext);
            reply(fh, f.payload.data(), f.payload.size());
        }
        return;
    }
    Outgoing o;
    if (!a.sourcePath.empty()) {
        if (!o.payload.openFile(a.sourcePath, a.sourceOffset))
            return refuse(req, CodeNotFound, "file not found");
    } else {
        o.payload = FilePayload(std::move(a.payload));
    }
    // The whole file in one frame: the client takes every frame as a whole file.
    ccc_head_t h = replyHead(req);
    h.Size = uint32_t(CHeadSize + o.payload.size());
    h.encode(o.headBytes);
    out_ = std::move(o);
    sendFileFrames();
}

void Session::sendFileFrames() {
    // The frame goes straight to the socket while Qt holds nothing of ours, so the order stays; when
    // the socket is full, one slice goes through Qt, whose bytesWritten brings us back here.
    if (!out_ || closing_) return;
    if (!out_->done()) {
        if (socket_->bytesToWrite() > 0 || dripWaiting_) return;
        if (const int drip = instrument_.faults().dripMs(); drip > 0) return sendDrip(*out_, drip);
        // The cut fault counts bytes exactly, which only the buffered road does.
        // So does a capture, which must see every byte that leaves.
        const DirectResult r =
            cutLeft_ < 0 && !instrument_.capture().active() ? sendDirect(*out_) : DirectResult::Full;
        if (r == DirectResult::Failed) return;
        if (r == DirectResult::Full) {
            sendBuffered(*out_);
            return;
        }
    }
    out_.reset();
    if (!pendingNtp_.empty()) {
        write(pendingNtp_.data(), pendingNtp_.size());
        pendingNtp_.clear();
    }
    QTimer::singleShot(0, this, [this] { pump(); });
}

Session::DirectResult Session::sendDirect(Outgoing& o) {
    const int fd = int(socket_->socketDescriptor());
    auto failed = [&](const char* what) {
        log(Fmt("%s failed: %s, closing", what, std::strerror(errno)));
        out_.reset();
        socket_->abort();
        return DirectResult::Failed;
    };
    while (o.headLeft > 0) {
        ssize_t n = ::send(fd, o.headBytes + CHeadSize - o.headLeft, o.headLeft, MSG_DONTWAIT | MSG_NOSIGNAL);
        if (n < 0 && errno == EINTR) continue;
        if (n < 0 && (errno == EAGAIN || errno == EWOULDBLOCK)) return DirectResult::Full;
        if (n < 0) return failed("send");
        o.headLeft -= size_t(n);
    }
    while (o.pos < o.payload.size()) {
        ssize_t n = o.payload.sendTo(fd, o.pos, o.payload.size() - o.pos);
        if (n < 0) return failed("sending the file");
        if (n == 0) return DirectResult::Full;
        o.pos += size_t(n);
    }
    return DirectResult::FrameDone;
}

void Session::sendBuffered(Outgoing& o) {
    if (o.headLeft > 0) {
        write(o.headBytes + CHeadSize - o.headLeft, o.headLeft);
        o.headLeft = 0;
    }
    size_t slice = std::min(o.payload.size() - o.pos, kSlice);
    const bool cut = cutLeft_ >= 0 && int64_t(slice) > cutLeft_;
    if (cut) slice = size_t(cutLeft_);
    if (!o.payload.copy(o.pos, slice, sliceBuf_)) {
        log("file shrank while it was sent, closing");
        out_.reset();
        socket_->abort();
        return;
    }
    write(sliceBuf_.data(), slice);
    if (cut) {
        // The cut fault: part of a frame, then the line drops.
        log(Fmt("fault: cutting the connection after the file bytes allowed"));
        out_.reset();
        socket_->flush();
        closeAfterFlush();
        return;
    }
    if (cutLeft_ >= 0) cutLeft_ -= int64_t(slice);
    o.pos += slice;
}

void Session::sendDrip(Outgoing& o, int intervalMs) {
    if (o.headLeft > 0) {
        write(o.headBytes + CHeadSize - o.headLeft, o.headLeft);
        o.headLeft = 0;
    }
    if (o.pos < o.payload.size()) {
        if (!o.payload.copy(o.pos, 1, sliceBuf_)) {
            log("file shrank while it was sent, closing");
            out_.reset();
            socket_->abort();
            return;
        }
        write(sliceBuf_.data(), 1);
        ++o.pos;
    }
    dripWaiting_ = true;
    QTimer::singleShot(intervalMs, this, [this] {
        dripWaiting_ = false;
        sendFileFrames();
    });
}

void Session::handle(const std::vector<uint8_t>& frame) {
    ccc_head_t req = ccc_head_t::decode(frame.data());
    const FaultPlan& faults = instrument_.faults();
    if (overLimit_) {
        refuse(req, CodeTooMany, "too many connections");
        closeAfterFlush();
        return;
    }
    if (faults.drops(req.Cmd, req.ExtCmd)) {
        log(Fmt("fault: dropping Cmd %u ExtCmd 0x%x", req.Cmd, req.ExtCmd));
        return;
    }
    if (const FaultPlan::Refusal* r = faults.refusalFor(req.Cmd, req.ExtCmd))
        return refuse(req, r->code, r->text);
    if (req.Cmd == CmdSession) return openSession(req, frame);
    if (!open_) return refuse(req, CodeNoAccess, "no session");
    switch (req.Cmd) {
    case CmdIdentify:
        return identity(req);
    case CmdSetup:
        return answer(req, transfers_.setup(req, frame));
    case CmdStream:
        return answer(req, streams_.handle(req, frame));
    case CmdReadout:
        return answer(req, transfers_.readout(req, frame));
    case CmdLua:
        return lua(req, frame);
    case CmdScratchPad:
        return answer(req, transfers_.scratchpad(req, frame));
    case CmdNTP:
        return ntp(req, frame);
    default:
        return refuse(req, CodeUnknownCommand, "unknown command");
    }
}

void Session::openSession(const ccc_head_t& req, const std::vector<uint8_t>& frame) {
    const Profile& prof = instrument_.profile();
    uint16_t deviceVer = prof.protocolVersion;
    if (req.ExtCmd == CExtStop) {
        reply(req, nullptr, 0);
        log("session stopped");
        open_ = false;
        closeAfterFlush();
        return;
    }
    std::string user, password;
    if (req.ExtCmd == 0) {
        if (frame.size() < frames::CStartSize) return refuse(req, CodeBadFrame, "start frame too short");
        if (deviceVer < 5) return refuse(req, CodeVersion, "protocol version 5 not supported");
        uint32_t method = MemStream::peekU32(frame.data() + 20);
        const char* u = reinterpret_cast<const char*>(frame.data() + 24);
        const char* pw = reinterpret_cast<const char*>(frame.data() + 88);
        user.assign(u, strnlen(u, 64));
        password.assign(pw, strnlen(pw, 72));
        if (method <= 1) {
            const SimUser* known = prof.findUser(user);
            if (!known || known->password != password) return refuse(req, CodeNoAccess, "login failed");
        }
    } else if (req.ExtCmd == 2 || req.ExtCmd == 3) {
        if (const SimUser* su = prof.sessionUser()) {
            user = su->name;
            password = su->password;
        }
    } else {
        return refuse(req, CodeUnknownCommand, "unknown session command");
    }
    ver_ = (req.Ver >= 1 && req.Ver < deviceVer) ? req.Ver : deviceVer;
    open_ = true;
    user_ = user;
    lua_ = std::make_unique<LuaEngine>(instrument_, user_);
    log(Fmt("session open, version %u, user %s", ver_, user_.c_str()));
    if (ver_ < 5) {
        uint8_t payload[128] = {};
        std::memcpy(payload, user.data(), std::min<size_t>(user.size(), 63));
        std::memcpy(payload + 64, password.data(), std::min<size_t>(password.size(), 63));
        reply(req, payload, sizeof(payload));
    } else {
        reply(req, nullptr, 0);
    }
    injectAfterSessionReply();
}

void Session::injectAfterSessionReply() {
    const FaultPlan& faults = instrument_.faults();
    if (faults.garbage()) {
        uint8_t junk[61];
        uint32_t x = 0x9E3779B9u;
        for (uint8_t& b : junk) {
            x ^= x << 13;
            x ^= x >> 17;
            x ^= x << 5;
            b = uint8_t(x);
        }
        log("fault: sending garbage");
        write(junk, sizeof(junk));
    }
    if (faults.badSize()) {
        ccc_head_t h;
        h.Cmd = CmdIdentify;
        h.Ver = ver_;
        h.FTPNAK = CFlagGZ;
        h.SN = instrument_.profile().serial;
        uint8_t head[CHeadSize];
        h.encode(head);
        MemStream::pokeU32(head + 12, 0x7FFFFFF0u);
        log("fault: sending a head with an absurd size");
        write(head, sizeof(head));
    }
}

void Session::identity(const ccc_head_t& req) {
    const Profile& prof = instrument_.profile();
    if (req.ExtCmd > 1) return refuse(req, CodeUnknownCommand, "unknown identity command");
    std::vector<uint8_t> frame(req.ExtCmd == 0 ? CIdentityBasicSize : CIdentityAllSize, 0);
    uint8_t* p = frame.data();
    MemStream::pokeU32(p + CIdentitySerialAt, prof.serial);
    MemStream::pokeU32(p + CIdentityArticleAt, prof.article);
    MemStream::pokeU32(p + CIdentityProdDateAt, prof.productionDate);
    if (req.ExtCmd == 1) {
        MemStream::pokeU32(p + CIdentityClockAt, instrument_.now());
        prof.timeSet.encode(p + CIdentityTimeSetAt);
        MemStream::pokeU32(p + CIdentityFirmwareAt, prof.firmware);
        auto name = [p](size_t at, const std::string& text) {
            std::memcpy(p + at, text.data(), std::min(text.size(), CIdentityNameWidth - 1));
        };
        name(CIdentityPlantAt, prof.plant);
        name(CIdentityBayAt, prof.bay);
        name(CIdentityDeviceAt, prof.device);
    }
    reply(req, p + CHeadSize, frame.size() - CHeadSize);
}

void Session::lua(const ccc_head_t& req, const std::vector<uint8_t>& frame) {
    std::string text(frame.begin() + CHeadSize, frame.end());
    while (!text.empty() && (text.back() == '\n' || text.back() == '\r' || text.back() == '\0'))
        text.pop_back();
    LuaEngine::Result r = lua_->run(text);
    ccc_head_t h = req;
    auto send = [&](uint16_t kind, const std::string& s) {
        h.ExtCmd = kind;
        reply(h, s.data(), s.size());
    };
    for (size_t at = 0; at < r.output.size(); at += CLuaChunk)
        send(1, r.output.substr(at, CLuaChunk));
    for (size_t at = 0; at < r.error.size(); at += CLuaChunk)
        send(2, r.error.substr(at, CLuaChunk));
    send(3, std::string());
}

void Session::ntp(const ccc_head_t& req, const std::vector<uint8_t>& frame) {
    if (!ntp_) {
        ntp_ = std::make_unique<NtpTunnel>(
            instrument_.profile().ntpRequestMs,
            [this](const std::vector<uint8_t>& pk) {
                ccc_head_t h;
                h.Cmd = CmdNTP;
                h.Priv = 1;
                h.ExtCmd = 2;
                h.Ver = ver_;
                h.FTPNAK = CFlagGZ;
                h.SN = instrument_.profile().serial;
                MemStream f = frames::WithPayload(h, pk.data(), pk.size());
                // Never inside a file frame: it waits for its end.
                if (out_)
                    pendingNtp_ = f.bytes();
                else
                    write(f.data(), f.size());
            },
            [this] { return int64_t(instrument_.nowNs() / 1000000ull); });
    }
    switch (req.ExtCmd) {
    case 0:
        reply(req, nullptr, 0);
        ntp_->open();
        log("ntp tunnel open");
        return;
    case 1:
        ntp_->close();
        reply(req, nullptr, 0);
        log("ntp tunnel closed");
        return;
    case 3:
        // The client's answer to our request: no reply of ours follows.
        if (frame.size() < CHeadSize + frames::CNtpPacketSize) return log("ntp reply too short");
        if (ntp_->acceptReply(frame.data() + CHeadSize)) {
            // The device takes the computer's time: its clock moves by the offset it measured.
            instrument_.takeNtpOffset(ntp_->lastOffsetMs());
            log(Fmt("ntp reply, offset %lld ms", (long long)ntp_->lastOffsetMs()));
        } else
            log(Fmt("ntp reply rejected, offset %lld ms", (long long)ntp_->lastOffsetMs()));
        return;
    default:
        return refuse(req, CodeUnknownCommand, "unknown tunnel command");
    }
}

} // namespace ferro::sim
