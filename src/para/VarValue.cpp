#include "para/VarValue.h"

#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <locale.h>

namespace ferro {

namespace {
std::string Trimmed(const std::string& S) {
    size_t b = S.find_first_not_of(" \t\r\n"), e = S.find_last_not_of(" \t\r\n");
    return b == std::string::npos ? std::string() : S.substr(b, e - b + 1);
}

// strtod of the "C" locale, whatever the program's locale is.
double CStrtod(const char* S, char** End) {
    static locale_t c = newlocale(LC_NUMERIC_MASK, "C", locale_t(0));
    return strtod_l(S, End, c);
}
} // namespace

std::string FormatFloat(double V, char DecimalSep) {
    if (!std::isfinite(V)) return "0";
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

std::optional<int32_t> ParseInt32(const std::string& S) {
    const std::string t = Trimmed(S);
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

std::optional<uint64_t> ParseUInt64(const std::string& S) {
    const std::string t = Trimmed(S);
    if (t.empty() || t[0] < '0' || t[0] > '9') return std::nullopt;
    char* end = nullptr;
    errno = 0;
    const unsigned long long v = std::strtoull(t.c_str(), &end, 10);
    if (errno != 0 || *end != '\0') return std::nullopt;
    return uint64_t(v);
}

std::optional<double> ParseFloat(const std::string& S) {
    std::string t = Trimmed(S);
    if (t.empty() || t.size() > 64) return std::nullopt;
    // The user types the locale's comma, the document holds a point; one of them is the point.
    if (t.find('.') == std::string::npos)
        if (size_t c = t.find(','); c != std::string::npos) t[c] = '.';
    for (char c : t)
        if (!((c >= '0' && c <= '9') || c == '.' || c == '-' || c == '+' || c == 'e' || c == 'E'))
            return std::nullopt;
    char* end = nullptr;
    const double v = CStrtod(t.c_str(), &end);
    if (*end != '\0' || end == t.c_str() || !std::isfinite(v)) return std::nullopt;
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
