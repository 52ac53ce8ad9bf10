#include "charts/DateText.h"

#include "foundation/TimeRecords.h"

#include <cstdio>

namespace ferro {

namespace {

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
    const TCivilDate c = CivilFromDays(days);
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
