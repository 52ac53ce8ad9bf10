#pragma once
// The instrument's packet capture (ips.pcapStart): the bytes its sessions exchange on their
// sockets while a capture runs are written as a libpcap file, each chunk as one or more TCP
// segments with Ethernet and IPv4 headers made up around it (lengths, sequence numbers and
// checksums consistent), stamped with the device clock.

#include <QTimer>

#include <cstdint>
#include <fstream>
#include <map>
#include <string>
#include <vector>

namespace ferro::sim {

class Instrument;

class PacketCapture {
public:
    // One TCP connection as the capture sees it: the client, and the instrument's side.
    struct Flow {
        uint32_t clientIp = 0, serverIp = 0; // host byte order
        uint16_t clientPort = 0, serverPort = 0;
    };

    explicit PacketCapture(Instrument& instrument);
    ~PacketCapture();

    // Starts a capture into `hostPath` (a running one ends first). `packets` 0: no packet limit;
    // `seconds` 0: no time limit (the hard limits below still hold). Filters: "all@ADDR",
    // "src@ADDR", "dst@ADDR" or a bare address, any of them letting a packet pass;
    // 255.255.255.255 and 0.0.0.0 stand for every address. False with a reason for a bad filter or
    // a file that cannot be made.
    bool start(const std::string& hostPath, uint64_t packets, uint64_t seconds,
               const std::vector<std::string>& filters, std::string& error);
    void stop();
    bool active() const { return out_.is_open(); }
    uint64_t packetsWritten() const { return packets_; }

    // Bytes that went over a session's socket, from the client (`fromClient`) or to it.
    void record(const Flow& flow, bool fromClient, const uint8_t* data, size_t len);

    // Payload per segment, as an Ethernet MTU allows; and the most a capture file may grow to.
    static constexpr size_t CSegment = 1448;
    static constexpr uint64_t CMaxFileBytes = 64ull << 20;
    static constexpr uint64_t CMaxSeconds = 24ull * 3600;

private:
    struct Filter {
        enum Kind { Any, Src, Dst } kind = Any;
        uint32_t ip = 0;
        bool wildcard = false;
    };
    bool passes(uint32_t src, uint32_t dst) const;
    void writeSegment(const Flow& flow, bool fromClient, const uint8_t* data, size_t len);

    Instrument& instrument_;
    std::ofstream out_;
    std::string path_;
    std::vector<Filter> filters_;
    uint64_t limit_ = 0, packets_ = 0, bytes_ = 0;
    uint64_t deadlineNs_ = 0;
    uint16_t ipId_ = 1;
    // Next sequence number of each direction, by client port and direction.
    std::map<std::pair<uint32_t, bool>, uint32_t> seq_;
    QTimer timer_;
};

// "1h30m20s", "90s", "2m" as seconds; false for anything else.
bool ParseCaptureDuration(const std::string& text, uint64_t& seconds);

} // namespace ferro::sim
