#include "ferrosim/PacketCapture.h"

#include "ferrosim/Instrument.h"

#include <QHostAddress>

#include <cctype>
#include <filesystem>

namespace ferro::sim {

namespace {

void put16(std::vector<uint8_t>& b, uint16_t v) { // network order
    b.push_back(uint8_t(v >> 8));
    b.push_back(uint8_t(v));
}
void put32(std::vector<uint8_t>& b, uint32_t v) {
    put16(b, uint16_t(v >> 16));
    put16(b, uint16_t(v));
}
void putLE32(std::vector<uint8_t>& b, uint32_t v) {
    for (int i = 0; i < 4; ++i)
        b.push_back(uint8_t(v >> (8 * i)));
}

uint32_t sum16(const uint8_t* p, size_t n, uint32_t acc = 0) {
    for (size_t i = 0; i + 1 < n; i += 2)
        acc += uint32_t(p[i]) << 8 | p[i + 1];
    if (n & 1) acc += uint32_t(p[n - 1]) << 8;
    return acc;
}
uint16_t fold(uint32_t acc) {
    while (acc >> 16)
        acc = (acc & 0xFFFF) + (acc >> 16);
    return uint16_t(~acc);
}

// Made-up but stable hardware addresses of the two ends.
constexpr uint8_t kInstrumentMac[6] = {0x00, 0x50, 0xc2, 0x4e, 0x10, 0x42};
constexpr uint8_t kClientMac[6] = {0x02, 0x00, 0x00, 0x00, 0x00, 0x01};

} // namespace

bool ParseCaptureDuration(const std::string& text, uint64_t& seconds) {
    seconds = 0;
    uint64_t number = 0;
    bool digits = false, any = false;
    for (char c : text) {
        if (std::isdigit(static_cast<unsigned char>(c))) {
            number = number * 10 + uint64_t(c - '0');
            if (number > 1000000) return false;
            digits = true;
            continue;
        }
        if (!digits) return false;
        const uint64_t unit = c == 'h' ? 3600 : c == 'm' ? 60 : c == 's' ? 1 : 0;
        if (unit == 0) return false;
        seconds += number * unit;
        number = 0;
        digits = false;
        any = true;
    }
    return any && !digits;
}

PacketCapture::PacketCapture(Instrument& instrument) : instrument_(instrument) {
    timer_.setSingleShot(true);
    QObject::connect(&timer_, &QTimer::timeout, [this] { stop(); });
}

PacketCapture::~PacketCapture() {
    stop();
}

bool PacketCapture::start(const std::string& hostPath, uint64_t packets, uint64_t seconds,
                          const std::vector<std::string>& filters, std::string& error) {
    std::vector<Filter> parsed;
    for (const std::string& text : filters) {
        Filter f;
        std::string address = text;
        const size_t at = text.find('@');
        if (at != std::string::npos) {
            const std::string kind = text.substr(0, at);
            address = text.substr(at + 1);
            if (kind == "src")
                f.kind = Filter::Src;
            else if (kind == "dst")
                f.kind = Filter::Dst;
            else if (kind != "all") {
                error = "Invalid argument: filter " + text;
                return false;
            }
        }
        QHostAddress a;
        bool ok = false;
        if (a.setAddress(QString::fromStdString(address)) && a.protocol() == QAbstractSocket::IPv4Protocol)
            f.ip = a.toIPv4Address(&ok);
        if (!ok) {
            error = "Invalid argument: filter " + text;
            return false;
        }
        f.wildcard = f.ip == 0xFFFFFFFFu || f.ip == 0;
        parsed.push_back(f);
    }
    stop();
    std::error_code ec;
    std::filesystem::create_directories(std::filesystem::path(hostPath).parent_path(), ec);
    out_.open(hostPath, std::ios::binary | std::ios::trunc);
    if (!out_) {
        error = "cannot write capture";
        return false;
    }
    path_ = hostPath;
    filters_ = std::move(parsed);
    limit_ = packets;
    packets_ = 0;
    seq_.clear();
    const uint64_t span = std::min(seconds == 0 ? CMaxSeconds : seconds, CMaxSeconds);
    deadlineNs_ = instrument_.nowNs() + span * 1000000000ull;
    std::vector<uint8_t> head;
    putLE32(head, 0xa1b2c3d4); // microsecond stamps
    head.insert(head.end(), {2, 0, 4, 0});
    putLE32(head, 0);     // zone
    putLE32(head, 0);     // accuracy
    putLE32(head, 65535); // snap length
    putLE32(head, 1);     // Ethernet
    out_.write(reinterpret_cast<const char*>(head.data()), std::streamsize(head.size()));
    out_.flush();
    bytes_ = head.size();
    // The time limit holds on the host clock too, so that a quiet capture ends all the same.
    timer_.start(int(std::min<uint64_t>(span * 1000, 0x7FFFFFFF)));
    instrument_.log("capture to " + hostPath + " started");
    return true;
}

void PacketCapture::stop() {
    timer_.stop();
    if (!out_.is_open()) return;
    out_.close();
    instrument_.log("capture to " + path_ + " ended after " + std::to_string(packets_) + " packets");
}

bool PacketCapture::passes(uint32_t src, uint32_t dst) const {
    if (filters_.empty()) return true;
    for (const Filter& f : filters_) {
        if (f.wildcard) return true;
        if ((f.kind != Filter::Dst && src == f.ip) || (f.kind != Filter::Src && dst == f.ip)) return true;
    }
    return false;
}

void PacketCapture::record(const Flow& flow, bool fromClient, const uint8_t* data, size_t len) {
    if (!active() || len == 0) return;
    if (instrument_.nowNs() >= deadlineNs_) {
        stop();
        return;
    }
    const uint32_t src = fromClient ? flow.clientIp : flow.serverIp;
    const uint32_t dst = fromClient ? flow.serverIp : flow.clientIp;
    if (!passes(src, dst)) return;
    for (size_t at = 0; at < len && active(); at += CSegment) {
        writeSegment(flow, fromClient, data + at, std::min(CSegment, len - at));
        if ((limit_ > 0 && packets_ >= limit_) || bytes_ >= CMaxFileBytes) stop();
    }
}

void PacketCapture::writeSegment(const Flow& flow, bool fromClient, const uint8_t* data, size_t len) {
    const uint32_t srcIp = fromClient ? flow.clientIp : flow.serverIp;
    const uint32_t dstIp = fromClient ? flow.serverIp : flow.clientIp;
    const uint16_t srcPort = fromClient ? flow.clientPort : flow.serverPort;
    const uint16_t dstPort = fromClient ? flow.serverPort : flow.clientPort;
    // Each direction starts at a number of its own; the acknowledgement is the other side's next.
    auto next = [&](bool dir) -> uint32_t& {
        auto it = seq_.find({flow.clientPort, dir});
        if (it == seq_.end())
            it = seq_.emplace(std::make_pair(uint32_t(flow.clientPort), dir),
                              (dir ? 0x10000000u : 0x60000000u) + uint32_t(flow.clientPort) * 7919u)
                     .first;
        return it->second;
    };
    uint32_t& seq = next(fromClient);
    const uint32_t ack = next(!fromClient);

    std::vector<uint8_t> f;
    f.reserve(54 + len);
    f.insert(f.end(), fromClient ? kInstrumentMac : kClientMac,
             (fromClient ? kInstrumentMac : kClientMac) + 6);
    f.insert(f.end(), fromClient ? kClientMac : kInstrumentMac,
             (fromClient ? kClientMac : kInstrumentMac) + 6);
    put16(f, 0x0800);
    const size_t ip = f.size();
    put16(f, 0x4500);
    put16(f, uint16_t(20 + 20 + len));
    put16(f, ipId_++);
    put16(f, 0x4000); // do not fragment
    f.push_back(64);  // TTL
    f.push_back(6);   // TCP
    put16(f, 0);      // checksum, below
    put32(f, srcIp);
    put32(f, dstIp);
    const uint16_t ipSum = fold(sum16(f.data() + ip, 20));
    f[ip + 10] = uint8_t(ipSum >> 8);
    f[ip + 11] = uint8_t(ipSum);
    const size_t tcp = f.size();
    put16(f, srcPort);
    put16(f, dstPort);
    put32(f, seq);
    put32(f, ack);
    put16(f, 0x5018); // header of 5 words; PSH, ACK
    put16(f, 65535);  // window
    put16(f, 0);      // checksum, below
    put16(f, 0);      // urgent pointer
    f.insert(f.end(), data, data + len);
    uint8_t pseudo[12];
    for (int i = 0; i < 4; ++i) {
        pseudo[i] = uint8_t(srcIp >> (24 - 8 * i));
        pseudo[4 + i] = uint8_t(dstIp >> (24 - 8 * i));
    }
    pseudo[8] = 0;
    pseudo[9] = 6;
    pseudo[10] = uint8_t((20 + len) >> 8);
    pseudo[11] = uint8_t(20 + len);
    const uint16_t tcpSum = fold(sum16(f.data() + tcp, f.size() - tcp, sum16(pseudo, 12)));
    f[tcp + 16] = uint8_t(tcpSum >> 8);
    f[tcp + 17] = uint8_t(tcpSum);
    seq += uint32_t(len);

    const uint64_t ns = instrument_.nowNs();
    std::vector<uint8_t> rec;
    putLE32(rec, uint32_t(ns / 1000000000ull));
    putLE32(rec, uint32_t(ns % 1000000000ull / 1000));
    putLE32(rec, uint32_t(f.size()));
    putLE32(rec, uint32_t(f.size()));
    out_.write(reinterpret_cast<const char*>(rec.data()), std::streamsize(rec.size()));
    out_.write(reinterpret_cast<const char*>(f.data()), std::streamsize(f.size()));
    out_.flush();
    bytes_ += rec.size() + f.size();
    ++packets_;
}

} // namespace ferro::sim
