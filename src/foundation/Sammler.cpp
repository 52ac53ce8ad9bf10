#include "foundation/Sammler.h"

#include "foundation/Format.h"

#include <cmath>
#include <ctime>

namespace ferro {

namespace {
const char* const kDirectKindNames[] = {"dkpara",    "dkparaRefresh", "dkvisu",      "dkdata",
                                        "dkoffline", "dkflash",       "dkmassflash", "dkstatus",
                                        "dkInitSSH", "dkUserSetup",   "dkcalib",     "dkcomplete"};
const char* const kDevTypeNames[] = {"devtypNone", "devtypFerro", "devtypFerroDE", "devtypQuartz",
                                     "devtypFerroNimbus"};

// Round to nearest, halves to even (the default floating-point rounding mode).
long roundEven(double v) {
    return std::lrint(v);
}

uint8_t clampByte(long v) {
    return uint8_t(v < 0 ? 0 : (v > 255 ? 255 : v));
}

TAlphaColor rgb(uint8_t r, uint8_t g, uint8_t b) {
    return 0xFF000000u | (uint32_t(r) << 16) | (uint32_t(g) << 8) | uint32_t(b);
}
} // namespace

const char* DirectKindName(TDirectKind k) {
    return k <= dkcomplete ? kDirectKindNames[k] : "dkpara";
}

const char* DevTypeName(TDevType t) {
    return t <= devtypFerroNimbus ? kDevTypeNames[t] : "devtypNone";
}

void TXMLRec::AddListe(std::string Text) {
    while (!Text.empty()) {
        std::string piece;
        size_t comma = Text.find(',');
        if (comma == std::string::npos) {
            Lst.push_back(Text);
            break;
        }
        piece = Text.substr(0, comma);
        Text.erase(0, comma + 1);
        Lst.push_back(piece);
    }
}

void LocalExtractToChar(std::string& S, char Ch, std::string& Piece) {
    size_t at = S.find(Ch);
    if (at != std::string::npos) {
        Piece = S.substr(0, at);
        S.erase(0, at + 1);
        S = Trim(S);
    } else {
        S = Trim(S);
        Piece = S;
    }
}

TDirectKind GetDirectKind(const std::string& Name) {
    std::string wanted = ToLower("dk" + Name);
    for (int i = 0; i <= dkcomplete; ++i)
        if (ToLower(kDirectKindNames[i]) == wanted) return TDirectKind(i);
    return dkpara;
}

TAlphaColor AlphaColVerlauf(int Count, int Index) {
    if (Count <= 0) return 0xFFFF0000u;
    long p = roundEven(double(Index) * 100.0 / double(Count));
    long s = roundEven(double(Count) / 6.0);
    auto r = [&](int k) -> uint8_t {
        if (s == 0) return 0;
        return clampByte(roundEven(255.0 / double(s) * double(Index - k * s)));
    };
    if (p <= 0) return 0xFFFF0000u;
    if (p <= 16) return rgb(255, r(0), 0);
    if (p == 17) return 0xFFFFFF00u;
    if (p <= 32) return rgb(uint8_t(255 - r(1)), 255, 0);
    if (p == 33) return 0xFF00FF00u;
    if (p <= 49) return rgb(0, 255, r(2));
    if (p == 50) return 0xFF00FFFFu;
    if (p <= 66) return rgb(0, uint8_t(255 - r(3)), 255);
    if (p == 67) return 0xFF0000FFu;
    if (p <= 83) return rgb(r(4), 0, 255);
    if (p == 84) return 0xFFFF00FFu;
    if (p <= 99) return rgb(255, 0, uint8_t(255 - r(5)));
    return 0xFFFF0000u;
}

TAlphaColor GenerateAlphaColor(int V) {
    if (V < 0) return 0xFF000000u;
    if (V < 256) return rgb(255, uint8_t(V), 0);
    if (V <= 510) return rgb(uint8_t(510 - V), 255, 0);
    if (V <= 765) return rgb(0, 255, uint8_t(V - 510));
    if (V <= 1020) return rgb(0, uint8_t(1020 - V), 255);
    if (V <= 1275) return rgb(uint8_t(V - 1021), 0, 255);
    // Truncating remainder of a negative number: the blue byte starts at 0 and jumps to 255.
    if (V <= 1530) return rgb(255, 0, uint8_t(int8_t((-4 - V) % 256)));
    return 0xFF000000u;
}

int64_t UTCToSystemTime(int64_t utcSeconds) {
    std::time_t t = std::time_t(utcSeconds);
    std::tm local{};
    if (!localtime_r(&t, &local)) return utcSeconds;
    return utcSeconds + local.tm_gmtoff;
}

TDateTime UTCToSystemTime(TDateTime utc) {
    const double secs = DateTimeToUnix(utc);
    if (!std::isfinite(secs) || std::fabs(secs) > 1e15) return utc;
    const int64_t whole = int64_t(std::floor(secs));
    return UnixToDateTime(double(UTCToSystemTime(whole)) + (secs - double(whole)));
}

} // namespace ferro
