#include "foundation/records/PQTimeProgs.h"

#include "foundation/Format.h"

namespace ferro {

const TPQTimeProgs TM;

namespace {

struct Civil {
    int year;
    unsigned mon, day, hour, min, sec;
};

Civil civilFromSeconds(uint64_t secs) {
    const TCivilDate c = CivilFromDays(int64_t(secs / 86400));
    const unsigned sod = unsigned(secs % 86400);
    return {int(c.Year), c.Month, c.Day, sod / 3600, (sod / 60) % 60, sod % 60};
}

std::string dateTimeText(uint64_t secs) {
    const Civil c = civilFromSeconds(secs);
    return Fmt("%02u.%02u.%04d %02u:%02u:%02u", c.day, c.mon, c.year, c.hour, c.min, c.sec);
}

} // namespace

int32_t TPQTimeProgs::UTCTimeShiftSoc(const time_tz_t& tz, bool summer) const {
    return tz.offsetSeconds() + (summer ? 3600 : 0);
}

int32_t TPQTimeProgs::UTCTimeShiftSoc(const time_set_t& ts, bool& summer) const {
    summer = (ts.dstmode & 1u) != 0;
    return ts.tz.offsetSeconds();
}

std::string TPQTimeProgs::FerroTS_to_Str(const tmStamp_t& ts) const {
    return dateTimeText(ts.sec);
}

std::string TPQTimeProgs::FerroTS_to_Str(uint64_t linear) const {
    return dateTimeText(linear / 1000000000ull);
}

std::string TPQTimeProgs::FerroTS_to_StrMilSec(const tmStamp_t& ts) const {
    const uint32_t ns = ts.frac & ~CSummerTimeFlag;
    return dateTimeText(ts.sec) + Fmt(".%03u", (ns / 1000000u) % 1000u);
}

std::string TPQTimeProgs::FerroTS_to_StrMicSec(uint64_t linear) const {
    const Civil c = civilFromSeconds(linear / 1000000000ull);
    const unsigned us = unsigned((linear % 1000000000ull) / 1000ull);
    return Fmt("%02u:%02u:%02u.%06u", c.hour, c.min, c.sec, us);
}

TDateTime TPQTimeProgs::FerroTS_to_DateTime(uint64_t linear) const {
    return CUnixDateDelta + double(linear) / 1e9 / 86400.0;
}

uint64_t TPQTimeProgs::MilliSecsBetween(uint64_t a, uint64_t b) const {
    return (a > b ? a - b : b - a) / 1000000ull;
}

} // namespace ferro
