#pragma once
// ISO 8601 text of a file's times: local time of the file's zone with its offset, as exports and
// ferroctl print them.

#include "foundation/TimeRecords.h"

#include <cstdint>
#include <string>

namespace ferro {

// "2025-11-22T02:30:00.250+01:00" for `decimals` 3; 0 to 9 digits of the second.
std::string IsoTime(uint64_t utcNs, const time_tz_t& tz, int decimals);
inline std::string IsoTime(const tmStamp_t& utc, const time_tz_t& tz, int decimals) {
    return IsoTime(TStoLinear(utc), tz, decimals);
}

} // namespace ferro
