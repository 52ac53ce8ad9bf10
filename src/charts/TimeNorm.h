#pragma once
// Time axis in linear nanoseconds: pixel positions, grid lines aligned to midnight, and labels.

#include <cstdint>
#include <string>

namespace ferro {

enum TTimeGrid : uint8_t {
    gr1ms,
    gr5ms,
    gr10ms,
    gr20ms,
    gr50ms,
    gr100ms,
    gr200ms,
    gr500ms,
    gr1Sec,
    gr2Sec,
    gr5Sec,
    gr10Sec,
    gr30Sec,
    gr1Min,
    gr2Min,
    gr5Min,
    gr10Min,
    gr30Min,
    gr1Hour,
    gr6Hour,
    gr12Hour,
    gr24Hour,
    gr48Hour,
    gr7day,
    gr20day
};
constexpr int CTimeGridCount = 25;

// Grid step in nanoseconds.
uint64_t TimeGridStep(TTimeGrid Grid);

class TTimeNorm {
public:
    // Takes the axis. The integer is not looked at. A zero range must not be passed: the charts
    // guard against it before they get here.
    void SetSclMinMax(uint64_t TSMin, uint64_t TSMax, float XLeft, float XBer, int i);

    uint64_t GetTimeRange() const { return FTS_SclMax - FTS_SclMin; }
    // The range read as milliseconds, as text ("250ms", "12.50sec", ...).
    std::string GetDuration() const;

    // Pixel of a time; times outside the axis land on the left edge. A scale and an offset in
    // double precision (53 bits for a float's 24), inline, so that loops over many times vectorise.
    float TmNorm(uint64_t ts) const {
        // Worked out before the range test and as a signed difference (a time in range is far
        // below 2^63 ns from the scale's start): the loop over many times then has no branch for it.
        const double x = static_cast<double>(static_cast<int64_t>(ts - FTS_SclMin)) * FPixelsPerNs + FXLeftD;
        return ts < FTS_SclMin || ts > FTS_SclMax ? FXLeft : static_cast<float>(x);
    }
    uint64_t ScaleAt(int i) const;
    std::string TextAt(uint64_t ts) const;

    uint64_t SclMin() const { return FTS_SclMin; }
    uint64_t SclMax() const { return FTS_SclMax; }
    uint64_t SclStart() const { return FTS_SclStart; }
    TTimeGrid TimeGrid() const { return FTimeGrid; }
    int SclCount() const { return FSclCount; }
    uint8_t ShiftNum() const { return FShiftNum; }

private:
    void SetScale();

    uint64_t FTS_SclMin = 0;
    uint64_t FTS_SclMax = 0;
    uint64_t FTS_SclStart = 0;
    uint64_t FTS_Diff = 0;
    float FXBer = 0;
    float FXLeft = 0;
    double FXLeftD = 0; // FXLeft, widened once
    TTimeGrid FTimeGrid = gr20day;
    int FSclCount = 0;
    uint8_t FShiftNum = 0;
    double FPixelsPerNs = 0;
};

} // namespace ferro
