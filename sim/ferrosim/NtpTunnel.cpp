#include "ferrosim/NtpTunnel.h"

namespace ferro::sim {

namespace {
constexpr uint64_t kNtpToUnix = 2208988800ull; // seconds from 1900 to 1970
// Replies further off than this count as wrong: the client is supposed to hand over its own clock.
constexpr int64_t kMaxOffsetMs = 5000;

void putBE32(uint8_t* p, uint32_t v) {
    for (int i = 0; i < 4; ++i)
        p[i] = uint8_t(v >> (24 - 8 * i));
}
uint32_t getBE32(const uint8_t* p) {
    return uint32_t(p[0]) << 24 | uint32_t(p[1]) << 16 | uint32_t(p[2]) << 8 | uint32_t(p[3]);
}
// NTP seconds wrap every 136 years; the era is the one nearest to the device's own time.
int64_t ntpToUnixMs(const uint8_t* p, int64_t nearMs) {
    int64_t sec = int64_t(getBE32(p)) - int64_t(kNtpToUnix), frac = getBE32(p + 4);
    const int64_t era = int64_t(1) << 32;
    int64_t d = nearMs / 1000 - sec + era / 2;
    sec += (d >= 0 ? d / era : -((-d + era - 1) / era)) * era;
    return sec * 1000 + ((frac * 1000) >> 32);
}
} // namespace

NtpTunnel::NtpTunnel(int periodMs, SendRequest send, DeviceClock clock)
    : timer_(std::make_unique<QTimer>()), send_(std::move(send)), clock_(std::move(clock)) {
    timer_->setInterval(periodMs > 50 ? periodMs : 50);
    QObject::connect(timer_.get(), &QTimer::timeout, [this] { send_(requestPacket()); });
}

void NtpTunnel::open() {
    timer_->start();
    send_(requestPacket());
}

void NtpTunnel::close() {
    timer_->stop();
}

std::vector<uint8_t> NtpTunnel::requestPacket() {
    std::vector<uint8_t> p(48, 0);
    p[0] = 0x23; // leap 0, version 4, mode 3 (client)
    int64_t ms = lastSentMs_ = clock_();
    putBE32(p.data() + 40, uint32_t(uint64_t(ms / 1000) + kNtpToUnix));
    putBE32(p.data() + 44, uint32_t((uint64_t(ms % 1000) << 32) / 1000));
    return p;
}

bool NtpTunnel::acceptReply(const uint8_t* packet48) {
    const int64_t arrived = clock_();
    const uint8_t* transmit = packet48 + 40;
    if (getBE32(transmit) == 0) transmit = packet48 + 32;
    if (getBE32(transmit) == 0 || (packet48[0] & 7) != 4) return false;
    const uint8_t* receive = getBE32(packet48 + 32) ? packet48 + 32 : transmit;
    const int64_t t1 = getBE32(packet48 + 24) ? ntpToUnixMs(packet48 + 24, arrived) : lastSentMs_;
    const int64_t t2 = ntpToUnixMs(receive, arrived), t3 = ntpToUnixMs(transmit, arrived);
    lastOffsetMs_ = ((t2 - t1) + (t3 - arrived)) / 2;
    return lastOffsetMs_ > -kMaxOffsetMs && lastOffsetMs_ < kMaxOffsetMs;
}

} // namespace ferro::sim
