#include "charts/TimeNorm.h"

#include "charts/DateText.h"
#include "charts/NumFormat.h"
#include "foundation/TimeRecords.h"

#include <cstdio>

namespace ferro {

namespace {

struct TGridInfo {
    uint64_t Step;
    const char* Pattern;
};

constexpr TGridInfo CGrids[CTimeGridCount] = {
    {1000000ull, "hh:nn:ss"},
    {5000000ull, "hh:nn:ss"},
    {10000000ull, "hh:nn:ss"},
    {20000000ull, "hh:nn:ss"},
    {50000000ull, "hh:nn:ss"},
    {100000000ull, "hh:nn:ss"},
    {200000000ull, "hh:nn:ss"},
    {500000000ull, "hh:nn:ss"},
    {1000000000ull, "hh:nn:ss"},
    {2000000000ull, "hh:nn:ss"},
    {5000000000ull, "hh:nn:ss"},
    {10000000000ull, "hh:nn:ss"},
    {30000000000ull, "hh:nn:ss"},
    {60000000000ull, "hh:nn:ss"},
    {120000000000ull, "hh:nn:ss"},
    {300000000000ull, "hh:nn:ss"},
    {600000000000ull, "hh:nn:ss"},
    {1800000000000ull, "hh:nn"},
    {3600000000000ull, "dd.mm. hh:nn"},
    {21600000000000ull, "dd.mm. hh:nn"},
    {43200000000000ull, "ddd dd.mm. hh:nn"},
    {86400000000000ull, "ddd dd.mm. hh:nn"},
    {172800000000000ull, "ddd dd.mm.yy"},
    {604800000000000ull, "ddd dd.mm.yy"},
    {1728000000000000ull, "dd.mm.yy"},
};

constexpr uint64_t CNsPerSec = 1000000000ull;
constexpr uint64_t CNsPerDay = 86400ull * CNsPerSec;

} // namespace

uint64_t TimeGridStep(TTimeGrid Grid) {
    return CGrids[Grid].Step;
}

void TTimeNorm::SetSclMinMax(uint64_t TSMin, uint64_t TSMax, float XLeft, float XBer, int /*i*/) {
    FTS_SclMin = TSMin;
    FTS_SclMax = TSMax;
    FXLeft = XLeft;
    FXLeftD = XLeft;
    FXBer = XBer;
    FTS_Diff = FTS_SclMax - FTS_SclMin;
    FPixelsPerNs = FTS_Diff ? static_cast<double>(XBer) / static_cast<double>(FTS_Diff) : 0.0;

    // Leading zeros less one: a difference of times shifted by it keeps all its bits in a 64-bit
    // mantissa.
    // Bounded, so that even a forbidden zero range cannot hang the caller.
    FShiftNum = 0;
    uint64_t copy = FTS_Diff;
    for (int k = 1; k < 64; ++k) {
        copy <<= 1;
        if (copy >> 63) break;
        ++FShiftNum;
    }
    SetScale();
}

void TTimeNorm::SetScale() {
    const uint64_t range = FTS_SclMax - FTS_SclMin;
    FTimeGrid = gr20day;
    for (int g = 0; g < CTimeGridCount; ++g) {
        // Strictly greater: a range of exactly ten steps takes the next larger step.
        if (10 * CGrids[g].Step > range) {
            FTimeGrid = TTimeGrid(g);
            break;
        }
    }
    const uint64_t step = CGrids[FTimeGrid].Step;
    const uint64_t dayStart = uint64_t(LinearToTS(FTS_SclMin).sec) / 86400u * CNsPerDay;
    FTS_SclStart = ((FTS_SclMin - dayStart) / step + 1) * step + dayStart;

    FSclCount = int(range / step);
    // Compared as signed numbers: a sum that overflows into the top bit counts as below.
    const uint64_t lastLine = uint64_t(FSclCount) * step + FTS_SclStart;
    if (int64_t(lastLine) < int64_t(FTS_SclMax)) ++FSclCount;
}

std::string TTimeNorm::GetDuration() const {
    // The range is read as milliseconds as it stands.
    const uint64_t number = GetTimeRange();
    const double v = double(number);
    if (number < 10000u) return std::to_string(number) + "ms";
    if (number < 60000u) return FltToStrShrt(v / 1000, 2) + "sec";
    if (number < 3600000u) return FltToStrShrt(v / 1000 / 60, 2) + "min";
    if (number < 86400000u) return FltToStrShrt(v / 1000 / 60 / 60, 2) + "hour";
    return FltToStrShrt(v / 1000 / 60 / 60 / 24, 2) + "days";
}

uint64_t TTimeNorm::ScaleAt(int i) const {
    return FTS_SclStart + uint64_t(int64_t(i)) * CGrids[FTimeGrid].Step;
}

std::string TTimeNorm::TextAt(uint64_t ts) const {
    const uint64_t secs = ts / CNsPerSec;
    const uint64_t rest = ts % CNsPerSec;
    std::string s = FormatDateTimeSecs(CGrids[FTimeGrid].Pattern, secs);
    if (FTimeGrid < gr1Sec) {
        char buf[16];
        std::snprintf(buf, sizeof buf, ".%.3u", unsigned(rest / 1000000u));
        s += buf;
    }
    return s;
}

} // namespace ferro
