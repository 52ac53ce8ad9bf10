#pragma once
// The device's end of the NTP tunnel: while open it asks the client for the time at a fixed period,
// measures its clock's offset from each reply (the four stamps of NTP) and checks that it is small.

#include <QTimer>

#include <cstdint>
#include <functional>
#include <memory>
#include <vector>

namespace ferro::sim {

class NtpTunnel {
public:
    using SendRequest = std::function<void(const std::vector<uint8_t>& packet48)>;
    using DeviceClock = std::function<int64_t()>; // device time, Unix milliseconds
    NtpTunnel(int periodMs, SendRequest send, DeviceClock clock);

    void open();
    void close();

    // Measures one reply packet; false if it is not a server reply or its time is far off.
    bool acceptReply(const uint8_t* packet48);
    // Server time minus device time, from the last reply.
    int64_t lastOffsetMs() const { return lastOffsetMs_; }

    std::vector<uint8_t> requestPacket();

private:
    std::unique_ptr<QTimer> timer_;
    SendRequest send_;
    DeviceClock clock_;
    int64_t lastSentMs_ = 0; // for a reply that does not hand our stamp back
    int64_t lastOffsetMs_ = 0;
};

} // namespace ferro::sim
