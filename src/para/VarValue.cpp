#include "para/VarValue.h"

#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <locale.h>

namespace ferro {

namespace {
bool Blank(char C) {
    return C == ' ' || C == '\t' || C == '\r' || C == '\n';
}

std::string_view Trimmed(std::string_view S) {
    size_t b = 0, e = S.size();
    while (b < e && Blank(S[b]))
        ++b;
    while (e > b && Blank(S[e - 1]))
        --e;
    return S.substr(b, e - b);
}

// Plain decimals ("230", "-0.75", "49.95"), the numbers a setup holds, without strtod: up to 15
// digits are an exact double, and one division by an exact power of ten rounds correctly.
bool FastDecimal(std::string_view T, double& V) {
    static constexpr double CPow10[] = {1e0, 1e1, 1e2,  1e3,  1e4,  1e5,  1e6,  1e7,
                                        1e8, 1e9, 1e10, 1e11, 1e12, 1e13, 1e14, 1e15};
    size_t i = T[0] == '-' || T[0] == '+' ? 1 : 0;
    uint64_t m = 0;
    int digits = 0, decimals = 0;
    bool point = false, any = false;
    for (; i < T.size(); ++i) {
        const char c = T[i];
        if (c >= '0' && c <= '9') {
            if (++digits > 15) return false;
            m = m * 10 + uint64_t(c - '0');
            decimals += point;
            any = true;
        } else if ((c == '.' || c == ',') && !point) {
            point = true;
        } else {
            return false;
        }
    }
    if (!any) return false;
    V = double(m) / CPow10[decimals];
    if (T[0] == '-') V = -V;
    return true;
}

// strtod of the "C" locale, whatever the program's locale is.
double CStrtod(const char* S, char** End) {
    static locale_t c = newlocale(LC_NUMERIC_MASK, "C", locale_t(0));
    return strtod_l(S, End, c);
}
} // namespace

std::string FormatFloat(double V, char DecimalSep) {
    if (!std::isfinite(V)) return "0";
    // Whole numbers, the most common setting, without the formatter.
    if (V == std::floor(V) && std::fabs(V) < 1e15) return std::to_string(int64_t(V) == 0 ? 0 : int64_t(V));
    char buf[400];
    std::snprintf(buf, sizeof buf, "%.5f", V);
    std::string t = buf;
    if (size_t dot = t.find_first_of(".,"); dot != std::string::npos) {
        while (t.back() == '0')
            t.pop_back();
        if (t.back() == '.' || t.back() == ',')
            t.pop_back();
        else
            t[dot] = DecimalSep;
    }
    if (t == "-0") t = "0";
    return t;
}

std::optional<int32_t> ParseInt32(std::string_view S) {
    const std::string_view t = Trimmed(S);
    if (t.empty()) return std::nullopt;
    size_t i = (t[0] == '-' || t[0] == '+') ? 1 : 0;
    if (i == t.size() || t.size() - i > 12) return std::nullopt;
    int64_t v = 0;
    for (; i < t.size(); ++i) {
        if (t[i] < '0' || t[i] > '9') return std::nullopt;
        v = v * 10 + (t[i] - '0');
    }
    if (t[0] == '-') v = -v;
    if (v < INT32_MIN || v > INT32_MAX) return std::nullopt;
    return int32_t(v);
}

std::optional<uint64_t> ParseUInt64(std::string_view S) {
    const std::string_view t = Trimmed(S);
    if (t.empty()) return std::nullopt;
    uint64_t v = 0;
    for (char c : t) {
        if (c < '0' || c > '9') return std::nullopt;
        const uint64_t d = uint64_t(c - '0');
        if (v > (UINT64_MAX - d) / 10) return std::nullopt;
        v = v * 10 + d;
    }
    return v;
}

std::optional<double> ParseFloat(std::string_view S) {
    const std::string_view t = Trimmed(S);
    if (t.empty() || t.size() > 63) return std::nullopt;
    if (double v = 0; FastDecimal(t, v)) return v;
    char buf[64];
    t.copy(buf, t.size());
    buf[t.size()] = '\0';
    // The user types the locale's comma, the document holds a point; one of them is the point.
    if (!std::memchr(buf, '.', t.size()))
        if (char* c = static_cast<char*>(std::memchr(buf, ',', t.size()))) *c = '.';
    for (size_t i = 0; i < t.size(); ++i) {
        const char c = buf[i];
        if (!((c >= '0' && c <= '9') || c == '.' || c == '-' || c == '+' || c == 'e' || c == 'E'))
            return std::nullopt;
    }
    char* end = nullptr;
    const double v = CStrtod(buf, &end);
    if (*end != '\0' || end == buf || !std::isfinite(v)) return std::nullopt;
    return v;
}

std::string TVarValue::AsString(char DecimalSep) const {
    if (auto s = std::get_if<std::string>(&FV)) return *s;
    if (auto i = std::get_if<int64_t>(&FV)) return std::to_string(*i);
    if (auto u = std::get_if<uint64_t>(&FV)) return std::to_string(*u);
    return FormatFloat(std::get<double>(FV), DecimalSep);
}

int64_t TVarValue::AsInt() const {
    if (auto i = std::get_if<int64_t>(&FV)) return *i;
    if (auto u = std::get_if<uint64_t>(&FV)) return int64_t(*u);
    if (auto d = std::get_if<double>(&FV)) return std::isfinite(*d) ? int64_t(*d) : 0;
    if (auto i = ParseInt32(std::get<std::string>(FV))) return *i;
    return 0;
}

uint64_t TVarValue::AsUInt64() const {
    if (auto u = std::get_if<uint64_t>(&FV)) return *u;
    if (auto i = std::get_if<int64_t>(&FV)) return uint64_t(*i);
    if (auto d = std::get_if<double>(&FV)) return *d > 0 && std::isfinite(*d) ? uint64_t(*d) : 0;
    if (auto u = ParseUInt64(std::get<std::string>(FV))) return *u;
    return 0;
}

double TVarValue::AsFloat() const {
    if (auto d = std::get_if<double>(&FV)) return *d;
    if (auto i = std::get_if<int64_t>(&FV)) return double(*i);
    if (auto u = std::get_if<uint64_t>(&FV)) return double(*u);
    if (auto f = ParseFloat(std::get<std::string>(FV))) return *f;
    return 0;
}

} // namespace ferro
