#include "ferrosim/NtpTunnel.h"

#include <QDateTime>

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
int64_t ntpToUnixMs(const uint8_t* p) {
    uint64_t sec = getBE32(p), frac = getBE32(p + 4);
    return int64_t(sec - kNtpToUnix) * 1000 + int64_t((frac * 1000) >> 32);
}
} // namespace

NtpTunnel::NtpTunnel(int periodMs, SendRequest send)
    : timer_(std::make_unique<QTimer>()), send_(std::move(send)) {
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
    int64_t ms = QDateTime::currentMSecsSinceEpoch();
    putBE32(p.data() + 40, uint32_t(uint64_t(ms / 1000) + kNtpToUnix));
    putBE32(p.data() + 44, uint32_t((uint64_t(ms % 1000) << 32) / 1000));
    return p;
}

bool NtpTunnel::acceptReply(const uint8_t* packet48) {
    const uint8_t* stamp = packet48 + 40;
    if (getBE32(stamp) == 0) stamp = packet48 + 32;
    if (getBE32(stamp) == 0) return false;
    lastOffsetMs_ = ntpToUnixMs(stamp) - QDateTime::currentMSecsSinceEpoch();
    return lastOffsetMs_ > -kMaxOffsetMs && lastOffsetMs_ < kMaxOffsetMs;
}

} // namespace ferro::sim
