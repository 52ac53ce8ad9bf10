#include "foundation/TimeRecords.h"

#include "foundation/Format.h"
#include "foundation/MemStream.h"

#include <cstdio>
#include <cstring>

namespace ferro {

time_tz_t time_tz_t::fromOffsetMinutes(int minutes) {
    time_tz_t tz;
    int a = minutes < 0 ? -minutes : minutes;
    tz.signHours = uint16_t(((a / 60) << 1) | (minutes < 0 ? 1 : 0));
    tz.minutes = uint16_t(a % 60);
    return tz;
}

namespace {
time_tz_t readTz(const uint8_t* p) {
    time_tz_t t;
    t.signHours = MemStream::peekU16(p);
    t.minutes = MemStream::peekU16(p + 2);
    return t;
}
void writeTz(uint8_t* p, const time_tz_t& t) {
    MemStream::pokeU16(p, t.signHours);
    MemStream::pokeU16(p + 2, t.minutes);
}
} // namespace

time_set_t time_set_t::decode(const uint8_t* p) {
    time_set_t t;
    t.Std = MemStream::peekU32(p + 0);
    t.Stdtz = readTz(p + 4);
    t.tz = readTz(p + 8);
    t.dstmode = MemStream::peekU32(p + 12);
    t.ws = {p[16], p[17], p[18], p[19]};
    t.sw = {p[20], p[21], p[22], p[23]};
    t.ls = {p[24], p[25], p[26], p[27]};
    t.ntpcycle = MemStream::peekU32(p + 28);
    for (int i = 0; i < 4; ++i) {
        const char* s = reinterpret_cast<const char*>(p + 32 + 32 * i);
        t.ntpip[i].assign(s, strnlen(s, 32));
        t.ntpport[i] = MemStream::peekU16(p + 160 + 2 * i);
    }
    t.bdnmea = MemStream::peekU32(p + 168);
    t.rsnmea = MemStream::peekU32(p + 172);
    t.rspcm = MemStream::peekU32(p + 176);
    return t;
}

void time_set_t::encode(uint8_t* p) const {
    std::memset(p, 0, Size);
    MemStream::pokeU32(p + 0, Std);
    writeTz(p + 4, Stdtz);
    writeTz(p + 8, tz);
    MemStream::pokeU32(p + 12, dstmode);
    const time_rule_t* rules[2] = {&ws, &sw};
    for (int r = 0; r < 2; ++r) {
        uint8_t* q = p + 16 + 4 * r;
        q[0] = rules[r]->mon;
        q[1] = rules[r]->day;
        q[2] = rules[r]->hour;
        q[3] = rules[r]->dow;
    }
    p[24] = ls.year;
    p[25] = ls.mon;
    p[26] = ls.day;
    p[27] = ls.sgn;
    MemStream::pokeU32(p + 28, ntpcycle);
    for (int i = 0; i < 4; ++i) {
        std::memcpy(p + 32 + 32 * i, ntpip[i].data(), ntpip[i].size() < 31 ? ntpip[i].size() : 31);
        MemStream::pokeU16(p + 160 + 2 * i, ntpport[i]);
    }
    MemStream::pokeU32(p + 168, bdnmea);
    MemStream::pokeU32(p + 172, rsnmea);
    MemStream::pokeU32(p + 176, rspcm);
}

// Two forms of the word exist: a plain build revision (below 0x01000000) and a packed version
// major.minor.patch.build (one byte each). Generation 0 and 1 are the V1_0 layouts, 2 is V2_2,
// 3 is the later oscilloscope header without the gap.
void TFerroFW::CalcVer() {
    // The instrument knows the V1_0 and V2_2 layouts only: every firmware from 2.2 (revision
    // 20000) on, 3.x included, sends the V2_2 layouts.
    if (Rev >= 0x01000000u) {
        uint8_t major = uint8_t(Rev >> 24), minor = uint8_t(Rev >> 16);
        if (major < 2)
            Gen = 0;
        else if (major == 2 && minor < 2)
            Gen = 1;
        else
            Gen = 2;
        return;
    }
    if (Rev <= 13685)
        Gen = 0;
    else if (Rev < 20000)
        Gen = 1;
    else
        Gen = 2;
}

std::string TFerroFW::VerAsStr() const {
    const char* layout = Gen < 2 ? "V1_0" : "V2_2";
    if (Rev >= 0x01000000u)
        return Fmt("V%u.%u.%u.%u (%s)", Rev >> 24, (Rev >> 16) & 0xFF, (Rev >> 8) & 0xFF, Rev & 0xFF, layout);
    return Fmt("Rev %u (%s)", Rev, layout);
}

bool TFerroFW::HasBinaryInputs() const {
    return Rev >= 0x02010200u;
}

void UTCtoLocal(const tmStamp_t& stamp, const time_tz_t& tz, tmStamp_t& out) {
    int64_t sec = int64_t(stamp.sec) + tz.offsetSeconds();
    uint32_t frac = stamp.frac;
    if (frac & CSummerTimeFlag) {
        sec += 3600;
        frac &= ~CSummerTimeFlag;
    }
    if (sec < 0) sec = 0;
    out.sec = uint32_t(sec);
    out.frac = frac;
}

uint64_t TStoLinear(const tmStamp_t& ts) {
    return uint64_t(ts.sec) * 1000000000ull + (ts.frac & ~CSummerTimeFlag);
}

TCivilDate CivilFromDays(int64_t days) {
    // Era arithmetic (H. Hinnant's civil_from_days): exact for any count of days.
    const int64_t z = days + 719468;
    const int64_t era = (z >= 0 ? z : z - 146096) / 146097;
    const unsigned doe = unsigned(z - era * 146097);
    const unsigned yoe = (doe - doe / 1460 + doe / 36524 - doe / 146096) / 365;
    const int64_t y = int64_t(yoe) + era * 400;
    const unsigned doy = doe - (365 * yoe + yoe / 4 - yoe / 100);
    const unsigned mp = (5 * doy + 2) / 153;
    const unsigned d = doy - (153 * mp + 2) / 5 + 1;
    const unsigned m = mp < 10 ? mp + 3 : mp - 9;
    return {y + (m <= 2 ? 1 : 0), m, d};
}

std::string UtcOffsetText(int offsetSeconds) {
    const int minutes = offsetSeconds / 60, a = minutes < 0 ? -minutes : minutes;
    char text[16];
    std::snprintf(text, sizeof text, "%c%02d:%02d", minutes < 0 ? '-' : '+', a / 60, a % 60);
    return text;
}

tmStamp_t LinearToTS(uint64_t linear) {
    tmStamp_t t;
    t.sec = uint32_t(linear / 1000000000ull);
    t.frac = uint32_t(linear % 1000000000ull);
    return t;
}

} // namespace ferro
