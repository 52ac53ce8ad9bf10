#pragma once
// One client connection: frames are cut from the byte stream by the head's Size, served one at a
// time in order, and answered on the same socket.

#include "ferrosim/Answer.h"
#include "ferrosim/FilePayload.h"
#include "ferrosim/Instrument.h"
#include "ferrosim/PacketCapture.h"
#include "ferrosim/StreamService.h"
#include "ferrosim/TransferServices.h"
#include "link/CccHead.h"

#include <QObject>
#include <QTcpSocket>

#include <deque>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace ferro::sim {

class Instrument;
class LuaEngine;
class NtpTunnel;

class Session : public QObject {
    Q_OBJECT
public:
    // `overLimit`: the connection exceeds the instrument's limit; its first request is refused.
    Session(Instrument& instrument, QTcpSocket* socket, bool overLimit, int id);
    ~Session() override;

    bool overLimit() const { return overLimit_; }
    LinkInfo info() const;
    // Sends what is queued, then closes.
    void closeAfterFlush();

    // Largest frame accepted; a head that announces more closes the connection.
    static constexpr uint32_t CMaxFrame = 256u << 20;
    // Payload bytes per Lua output frame.
    static constexpr size_t CLuaChunk = 1024;

signals:
    void closed(Session* session);

private slots:
    void onReadyRead();
    void onBytesWritten();
    void onDisconnected();

private:
    // A file reply under way: its head, then its payload.
    struct Outgoing {
        FilePayload payload;
        size_t pos = 0; // payload bytes written
        uint8_t headBytes[CHeadSize] = {};
        size_t headLeft = CHeadSize; // bytes of the head not yet written
        bool done() const { return headLeft == 0 && pos >= payload.size(); }
    };

    void pump();
    void processOne();
    void handle(const std::vector<uint8_t>& frame);
    void openSession(const ccc_head_t& req, const std::vector<uint8_t>& frame);
    void identity(const ccc_head_t& req);
    void lua(const ccc_head_t& req, const std::vector<uint8_t>& frame);
    void ntp(const ccc_head_t& req, const std::vector<uint8_t>& frame);
    void answer(const ccc_head_t& req, Answer a);
    void refuse(const ccc_head_t& req, uint32_t code, const std::string& text);
    void reply(const ccc_head_t& req, const void* payload, size_t len);
    void sendFileFrames();
    enum class DirectResult { FrameDone, Full, Failed };
    DirectResult sendDirect(Outgoing& o);
    void sendBuffered(Outgoing& o);
    // The drip fault: the head at once, then one payload byte per interval.
    void sendDrip(Outgoing& o, int intervalMs);
    void write(const uint8_t* data, size_t len);
    void injectAfterSessionReply();
    // The strayhead fault: a head that promises a frame which never comes, once per connection.
    void injectStrayHead(const ccc_head_t& req);
    ccc_head_t replyHead(const ccc_head_t& req) const;
    void log(const std::string& text) const;

    Instrument& instrument_;
    QTcpSocket* socket_;
    bool overLimit_;
    int id_;
    bool open_ = false;
    bool closing_ = false;
    bool waitingDelay_ = false;
    bool closedSignalled_ = false;
    bool straySent_ = false;
    bool dripWaiting_ = false;
    uint16_t ver_ = 5;
    std::string user_;
    QByteArray inbuf_;
    std::deque<std::vector<uint8_t>> inbox_;
    std::optional<Outgoing> out_;
    int64_t cutLeft_ = -1;
    std::vector<uint8_t> sliceBuf_;
    std::vector<uint8_t> pendingNtp_; // an NTP request due while a file frame was on its way
    TransferServices transfers_;
    StreamService streams_;
    std::unique_ptr<LuaEngine> lua_;
    std::unique_ptr<NtpTunnel> ntp_;
    PacketCapture::Flow flow_; // the connection as a capture writes it
};

} // namespace ferro::sim
