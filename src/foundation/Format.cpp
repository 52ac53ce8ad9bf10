#include "foundation/Format.h"

#include <algorithm>
#include <cctype>
#include <cstdarg>
#include <cstdio>
#include <ctime>
#include <vector>

namespace ferro {

std::string Fmt(const char* fmt, ...) {
    va_list ap;
    va_start(ap, fmt);
    char small[256];
    va_list ap2;
    va_copy(ap2, ap);
    int n = std::vsnprintf(small, sizeof small, fmt, ap);
    va_end(ap);
    std::string out;
    if (n < 0) {
        va_end(ap2);
        return out;
    }
    if (size_t(n) < sizeof small) {
        out.assign(small, size_t(n));
    } else {
        std::vector<char> big(size_t(n) + 1);
        std::vsnprintf(big.data(), big.size(), fmt, ap2);
        out.assign(big.data(), size_t(n));
    }
    va_end(ap2);
    return out;
}

std::string ClockText(int64_t ms, char sep) {
    std::time_t t = std::time_t(ms / 1000);
    std::tm tm{};
    localtime_r(&t, &tm);
    return Fmt("%02d:%02d:%02d%c%03d", tm.tm_hour, tm.tm_min, tm.tm_sec, sep, int(ms % 1000));
}

std::string ToLower(std::string s) {
    std::transform(s.begin(), s.end(), s.begin(), [](unsigned char c) { return char(std::tolower(c)); });
    return s;
}

std::string ToUpper(std::string s) {
    std::transform(s.begin(), s.end(), s.begin(), [](unsigned char c) { return char(std::toupper(c)); });
    return s;
}

std::string Trim(const std::string& s) {
    size_t b = 0, e = s.size();
    while (b < e && static_cast<unsigned char>(s[b]) <= ' ')
        ++b;
    while (e > b && static_cast<unsigned char>(s[e - 1]) <= ' ')
        --e;
    return s.substr(b, e - b);
}

bool ContainsNoCase(const std::string& haystack, const std::string& needle) {
    return ToLower(haystack).find(ToLower(needle)) != std::string::npos;
}

bool EqualsNoCase(const std::string& a, const std::string& b) {
    return ToLower(a) == ToLower(b);
}

std::string LocalFileName(const std::string& instrumentName) {
    const size_t cut = instrumentName.find_last_of("/\\:");
    std::string name = cut == std::string::npos ? instrumentName : instrumentName.substr(cut + 1);
    // A NUL would cut the name short on disk, so that two listed names share one file.
    const bool bad = name == "." || name == ".." || name.find('\0') != std::string::npos;
    return bad ? std::string() : name;
}

uint32_t PackFirmwareWord(const std::string& version, const std::string& revision) {
    unsigned a = 0, b = 0, c = 0, d = 0;
    char tail = 0;
    if (std::sscanf(version.c_str(), "%u.%u.%u%c", &a, &b, &c, &tail) != 3) return 0;
    if (std::sscanf(revision.c_str(), "%u%c", &d, &tail) != 1) return 0;
    if (a > 255 || b > 255 || c > 255 || d > 255) return 0;
    return (a << 24) | (b << 16) | (c << 8) | d;
}

} // namespace ferro
