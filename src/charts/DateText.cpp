#include "charts/DateText.h"

#include <cstdio>

namespace ferro {

namespace {

struct TCivil {
    int64_t Year;
    unsigned Month, Day;
};

// Days since 1970-01-01 to the proleptic Gregorian date (era arithmetic, valid for any count).
TCivil CivilFromDays(int64_t z) {
    z += 719468;
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

const char* const CShortDayNames[7] = {"So", "Mo", "Di", "Mi", "Do", "Fr", "Sa"};

void Append2(std::string& s, unsigned v) {
    char buf[8];
    std::snprintf(buf, sizeof buf, "%02u", v % 100);
    s += buf;
}

} // namespace

std::string FormatDateTimeSecs(const std::string& Pattern, uint64_t Secs) {
    const int64_t days = int64_t(Secs / 86400);
    const unsigned inDay = unsigned(Secs % 86400);
    const TCivil c = CivilFromDays(days);
    const unsigned dow = unsigned((days + 4) % 7); // 1970-01-01 was a Thursday
    std::string out;
    size_t i = 0;
    auto at = [&](const char* tok) {
        return Pattern.compare(i, std::char_traits<char>::length(tok), tok) == 0;
    };
    while (i < Pattern.size()) {
        if (at("yyyy")) {
            out += std::to_string(c.Year);
            i += 4;
        } else if (at("yy")) {
            Append2(out, unsigned(c.Year % 100));
            i += 2;
        } else if (at("ddd")) {
            out += CShortDayNames[dow];
            i += 3;
        } else if (at("dd")) {
            Append2(out, c.Day);
            i += 2;
        } else if (at("mm")) {
            Append2(out, c.Month);
            i += 2;
        } else if (at("hh")) {
            Append2(out, inDay / 3600);
            i += 2;
        } else if (at("nn")) {
            Append2(out, inDay / 60 % 60);
            i += 2;
        } else if (at("ss")) {
            Append2(out, inDay % 60);
            i += 2;
        } else {
            out += Pattern[i++];
        }
    }
    return out;
}

std::string StampToText(const tmStamp_t& Stamp) {
    return FormatDateTimeSecs("dd.mm.yyyy hh:nn:ss", Stamp.sec);
}

} // namespace ferro
