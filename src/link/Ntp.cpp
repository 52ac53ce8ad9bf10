#include "link/Ntp.h"

#include "foundation/Clock.h"

#include <cstring>

namespace ferro {

namespace {
constexpr uint64_t kNtpUnixDelta = 2208988800ull; // 1900-01-01 to 1970-01-01 in seconds

void putBE64(uint8_t* p, uint64_t v) {
    for (int i = 7; i >= 0; --i) {
        p[i] = uint8_t(v);
        v >>= 8;
    }
}
} // namespace

uint64_t NtpTimestampFromMs(int64_t unixMs) {
    uint64_t secs = uint64_t(unixMs / 1000) + kNtpUnixDelta;
    uint64_t frac = (uint64_t(unixMs % 1000) << 32) / 1000;
    return (secs << 32) | frac;
}

void FillNTP(uint8_t* packet) {
    uint8_t originate[8];
    std::memcpy(originate, packet + 40, 8); // the client's transmit time becomes our originate time
    uint8_t version = (packet[0] >> 3) & 7;
    if (version == 0) version = 4;
    packet[0] = uint8_t((0 << 6) | (version << 3) | 4); // no leap warning, server mode
    packet[1] = 1;                                      // stratum 1: the computer is the reference
    packet[2] = packet[2] ? packet[2] : 6;
    packet[3] = uint8_t(-20);      // precision about 1 microsecond
    std::memset(packet + 4, 0, 8); // root delay and dispersion
    std::memcpy(packet + 12, "LOCL", 4);
    uint64_t now = NtpTimestampFromMs(clock().nowMs());
    putBE64(packet + 16, now); // reference
    std::memcpy(packet + 24, originate, 8);
    putBE64(packet + 32, now); // receive
    putBE64(packet + 40, now); // transmit
}

} // namespace ferro
