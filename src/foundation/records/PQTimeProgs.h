#pragma once
// Time services that every view calls through the global `TM`: stamp and linear time conversions,
// zone shifts and display texts. Stamps handed to the texts are already local; nothing here looks
// at the computer's own time zone.

#include "foundation/TimeRecords.h"

#include <cstdint>
#include <string>

namespace ferro {

class TPQTimeProgs {
public:
    uint64_t TStoLinear(const tmStamp_t& ts) const { return ferro::TStoLinear(ts); }
    tmStamp_t LinearToTS(uint64_t linear) const { return ferro::LinearToTS(linear); }
    void UTCtoLocal(const tmStamp_t& stamp, const time_tz_t& tz, tmStamp_t& out) const {
        ferro::UTCtoLocal(stamp, tz, out);
    }
    // Seconds that a zone adds to UTC, with one hour more when `summer` is set.
    int32_t UTCTimeShiftSoc(const time_tz_t& tz, bool summer) const;
    // Shift of the block's zone `tz` without the summer hour; `summer` tells whether summer time
    // applies (bit 0 of `dstmode`), as the time pages show the two apart.
    int32_t UTCTimeShiftSoc(const time_set_t& ts, bool& summer) const;

    // "dd.mm.yyyy hh:nn:ss"
    std::string FerroTS_to_Str(const tmStamp_t& ts) const;
    std::string FerroTS_to_Str(uint64_t linear) const;
    // "dd.mm.yyyy hh:nn:ss.zzz"
    std::string FerroTS_to_StrMilSec(const tmStamp_t& ts) const;
    // "hh:nn:ss.uuuuuu"
    std::string FerroTS_to_StrMicSec(uint64_t linear) const;
    TDateTime FerroTS_to_DateTime(uint64_t linear) const;
    // Distance of two linear times in whole milliseconds, whichever is later.
    uint64_t MilliSecsBetween(uint64_t a, uint64_t b) const;
};

extern const TPQTimeProgs TM;

} // namespace ferro
