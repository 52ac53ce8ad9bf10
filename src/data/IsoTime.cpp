#include "data/IsoTime.h"

#include <cstdio>

namespace ferro {

std::string IsoTime(uint64_t utcNs, const time_tz_t& tz, int decimals) {
    const int64_t local = int64_t(utcNs / 1000000000ull) + tz.offsetSeconds();
    const uint32_t ns = uint32_t(utcNs % 1000000000ull);
    const int64_t days = local >= 0 ? local / 86400 : -((-local + 86399) / 86400);
    const int64_t sod = local - days * 86400;
    const TCivilDate d = CivilFromDays(days);
    char buf[64];
    std::snprintf(buf, sizeof buf, "%04lld-%02u-%02uT%02d:%02d:%02d", static_cast<long long>(d.Year), d.Month,
                  d.Day, int(sod / 3600), int(sod / 60 % 60), int(sod % 60));
    std::string out = buf;
    if (decimals > 0) {
        char frac[16];
        std::snprintf(frac, sizeof frac, "%09u", ns);
        out += '.';
        out.append(frac, size_t(decimals > 9 ? 9 : decimals));
    }
    return out + UtcOffsetText(tz.offsetSeconds());
}

} // namespace ferro
