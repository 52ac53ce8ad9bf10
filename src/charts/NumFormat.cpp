#include "charts/NumFormat.h"

#include <cmath>
#include <cstdio>

namespace ferro {

namespace {

// A prefix in front of "%" or "°" would read as nonsense.
bool UnitTakesPrefix(const std::string& Unit) {
    return !Unit.empty() && Unit != "%" && Unit != "°";
}

std::string FixedText(double Value, int Digits) {
    char buf[64];
    std::snprintf(buf, sizeof buf, "%.*f", Digits, Value);
    std::string s(buf);
    // "-0.00" helps nobody: a value that rounds to zero is shown without sign.
    if (s[0] == '-' && s.find_first_not_of("-0.") == std::string::npos) s.erase(0, 1);
    return s;
}

double Pow10(int n) {
    return std::pow(10.0, n);
}

} // namespace

std::string FltToStrShrt(double Value, TAftPoint AftPoint, TBaseUnit BaseUnit, const std::string& Unit) {
    const int digits = AftPoint > 5 ? 5 : AftPoint;
    if (std::isnan(Value)) return Unit.empty() ? "NaN" : "NaN " + Unit;
    if (std::isinf(Value)) {
        std::string s = Value < 0 ? "-INF" : "INF";
        return Unit.empty() ? s : s + " " + Unit;
    }
    static const char* const prefixes[] = {"", "k", "M", "G"};
    int level = 0;
    if (UnitTakesPrefix(Unit)) {
        if (BaseUnit == buKilo) {
            level = 1;
        } else if (BaseUnit == buAuto) {
            // Decide on the rounded figure, so that 999.996 becomes "1.00 k" and not "1000.00".
            const double scale = Pow10(digits);
            while (level < 3 && std::fabs(std::round(Value / Pow10(3 * level) * scale) / scale) >= 1000.0)
                ++level;
        }
    }
    std::string s = FixedText(Value / Pow10(3 * level), digits);
    if (Unit.empty()) return s;
    return s + " " + prefixes[level] + Unit;
}

std::string FltToStrShrt(double Value, TAftPoint AftPoint, const std::string& Unit) {
    return FltToStrShrt(Value, AftPoint, buAuto, Unit);
}

std::string FltToStrShrt(double Value, const std::string& Unit) {
    return FltToStrShrt(Value, 2, buAuto, Unit);
}

std::string FltToStrShrt(double Value, TAftPoint AftPoint) {
    return FltToStrShrt(Value, AftPoint, buPlain, std::string());
}

int8_t DecimalPower(double Value) {
    const double a = std::fabs(Value);
    if (a == 0.0 || !std::isfinite(a)) return 0;
    int e = int(std::floor(std::log10(a)));
    // log10 may land a hair beside an exact power of ten; settle it by comparison.
    if (Pow10(e) > a)
        --e;
    else if (Pow10(e + 1) <= a)
        ++e;
    if (e < -128) e = -128;
    if (e > 127) e = 127;
    return int8_t(e);
}

namespace {

double Grain(double Span, double Value) {
    const double basis = Span > 0 ? Span : std::fabs(Value);
    if (basis == 0.0) return 1.0;
    return Pow10(DecimalPower(basis) - 1);
}

// Tolerance against quotients such as 0.3 / 0.1 = 2.9999999999999996.
constexpr double CEps = 1e-9;

} // namespace

double RoundMaxValue(double Span, double MaxVal) {
    if (!std::isfinite(MaxVal)) return MaxVal;
    const double g = Grain(Span, MaxVal);
    if (Span > 0) return std::ceil(MaxVal / g - CEps) * g;
    return std::floor(MaxVal / g + CEps) * g + g;
}

double RoundMinValue(double Span, double MinVal) {
    if (!std::isfinite(MinVal)) return MinVal;
    const double g = Grain(Span, MinVal);
    if (Span > 0) return std::floor(MinVal / g + CEps) * g;
    return std::ceil(MinVal / g - CEps) * g - g;
}

double RoundUp(double Value) {
    if (!(Value > 0) || !std::isfinite(Value)) return 1.0;
    const double decade = Pow10(DecimalPower(Value));
    for (double f : {1.0, 2.0, 2.5, 5.0, 10.0}) {
        if (f * decade >= Value * (1 - CEps)) return f * decade;
    }
    return 10.0 * decade;
}

double Correct180(double Angle) {
    if (!std::isfinite(Angle)) return Angle;
    double a = std::fmod(Angle, 360.0);
    if (a > 180.0)
        a -= 360.0;
    else if (a <= -180.0)
        a += 360.0;
    return a;
}

std::string MilliSecToDuration(uint64_t MilliSecs) {
    const uint64_t days = MilliSecs / 86400000u;
    uint64_t rest = MilliSecs % 86400000u;
    const unsigned h = unsigned(rest / 3600000u);
    rest %= 3600000u;
    const unsigned n = unsigned(rest / 60000u);
    rest %= 60000u;
    const unsigned s = unsigned(rest / 1000u);
    const unsigned z = unsigned(rest % 1000u);
    char buf[64];
    if (days > 0)
        std::snprintf(buf, sizeof buf, "%llud %02u:%02u:%02u.%03u", static_cast<unsigned long long>(days), h,
                      n, s, z);
    else
        std::snprintf(buf, sizeof buf, "%02u:%02u:%02u.%03u", h, n, s, z);
    return buf;
}

std::string FloatToStr(float v) {
    if (std::isnan(v)) return "NaN";
    if (std::isinf(v)) return v < 0 ? "-INF" : "INF";
    char buf[32];
    std::snprintf(buf, sizeof buf, "%.7g", double(v));
    return buf;
}

} // namespace ferro
