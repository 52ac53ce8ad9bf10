#pragma once
// Stamps an NTP request packet with the computer's time, as the tunnel's server side does.

#include <cstdint>

namespace ferro {

constexpr int CNtpPacketSize = 48;

// Turns the 48-byte request in `packet` into a server reply carrying the clock's time.
void FillNTP(uint8_t* packet);

// The NTP time (seconds since 1900 in the high word, fraction in the low word) of a clock value.
uint64_t NtpTimestampFromMs(int64_t unixMs);

} // namespace ferro
