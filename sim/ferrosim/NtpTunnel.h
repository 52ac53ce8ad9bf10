#pragma once
// The device's end of the NTP tunnel: while open it asks the client for the time at a fixed period
// and checks that the replies carry a time close to the host's clock.

#include <QTimer>

#include <cstdint>
#include <functional>
#include <memory>
#include <vector>

namespace ferro::sim {

class NtpTunnel {
public:
    using SendRequest = std::function<void(const std::vector<uint8_t>& packet48)>;
    NtpTunnel(int periodMs, SendRequest send);

    void open();
    void close();

    // Checks one reply packet; false if it is not a server reply or its time is far off.
    bool acceptReply(const uint8_t* packet48);
    int64_t lastOffsetMs() const { return lastOffsetMs_; }

    static std::vector<uint8_t> requestPacket();

private:
    std::unique_ptr<QTimer> timer_;
    SendRequest send_;
    int64_t lastOffsetMs_ = 0;
};

} // namespace ferro::sim
