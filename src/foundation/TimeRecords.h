#pragma once
// Time stamp, time zone and clock-settings records of the instrument, and the firmware word.

#include <cstdint>
#include <string>

namespace ferro {

// Seconds since 1970 (UTC on the wire) and nanoseconds inside the second. The high bit of `frac`
// may carry a summer-time flag on its way into UTCtoLocal.
struct tmStamp_t {
    uint32_t sec = 0;
    uint32_t frac = 0;
};

constexpr uint32_t CSummerTimeFlag = 0x80000000u;

// Offset 0: bit 0 sign (1 = west of UTC), the bits above the hours; offset 2: minutes.
struct time_tz_t {
    uint16_t signHours = 0;
    uint16_t minutes = 0;
    bool negative() const { return signHours & 1; }
    unsigned hours() const { return signHours >> 1; }
    int32_t offsetSeconds() const {
        int32_t s = int32_t(hours()) * 3600 + int32_t(minutes) * 60;
        return negative() ? -s : s;
    }
    static time_tz_t fromOffsetMinutes(int minutes);
};

struct time_rule_t {
    uint8_t mon = 0, day = 0, hour = 0, dow = 0;
};

struct time_leap_t {
    uint8_t year = 0, mon = 0, day = 0, sgn = 0;
};

// The 180-byte clock block of the full identity.
struct time_set_t {
    static constexpr size_t Size = 180;
    uint32_t Std = 0;
    time_tz_t Stdtz;
    time_tz_t tz;
    uint32_t dstmode = 0;
    time_rule_t ws; // winter to summer
    time_rule_t sw; // summer to winter
    time_leap_t ls;
    uint32_t ntpcycle = 0;
    std::string ntpip[4];
    uint16_t ntpport[4] = {0, 0, 0, 0};
    uint32_t bdnmea = 0;
    uint32_t rsnmea = 0;
    uint32_t rspcm = 0;

    static time_set_t decode(const uint8_t* p);
    void encode(uint8_t* p) const;
};

// Firmware of the connected instrument: the 32-bit word of the identity and the layout generation
// that CalcVer derives from it. `Gen` is the "first byte" the link looks at.
struct TFerroFW {
    uint8_t Gen = 0;
    uint32_t Rev = 0;

    void CalcVer();
    std::string VerAsStr() const;
    // Binary inputs exist from this word on (packed versions only).
    bool HasBinaryInputs() const;
};

// Calendar date-time as days since 1899-12-30 with the time as fraction, as the views use it.
using TDateTime = double;
constexpr double CUnixDateDelta = 25569.0; // 1970-01-01 as TDateTime

inline TDateTime UnixToDateTime(double secs) {
    return CUnixDateDelta + secs / 86400.0;
}
inline double DateTimeToUnix(TDateTime d) {
    return (d - CUnixDateDelta) * 86400.0;
}

// Shifts a stamp by the zone into local time. A set high bit of `frac` adds the summer hour and is
// cleared; nothing else about daylight saving is looked at here.
void UTCtoLocal(const tmStamp_t& stamp, const time_tz_t& tz, tmStamp_t& out);

uint64_t TStoLinear(const tmStamp_t& ts);
tmStamp_t LinearToTS(uint64_t linear);
// A day of the proleptic Gregorian calendar.
struct TCivilDate {
    int64_t Year;
    unsigned Month, Day;
};
// Days since 1970-01-01 (any count, also negative) to the calendar date.
TCivilDate CivilFromDays(int64_t days);
// An offset from UTC as "+hh:mm" / "-hh:mm".
std::string UtcOffsetText(int offsetSeconds);
// The week of a daylight-saving change as the setup writes its day code: 1, 7, 14 and 21 are the
// first four weeks of the month, anything else the last.
inline int WeekOfDayCode(uint32_t Code) {
    switch (Code) {
    case 1:
        return 1;
    case 7:
        return 2;
    case 14:
        return 3;
    case 21:
        return 4;
    default:
        return 5;
    }
}

} // namespace ferro
