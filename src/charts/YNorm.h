#pragma once
// Value axis: limits, pixel geometry and the choice of grid lines. Descendants map values to pixels.

#include "charts/AxisRecords.h"
#include "charts/NumFormat.h"
#include "foundation/Sammler.h"

#include <string>

namespace ferro {

class TYNorm {
public:
    TYNorm() = default;
    virtual ~TYNorm() = default;
    TYNorm(const TYNorm&) = default;
    TYNorm& operator=(const TYNorm&) = default;

    // Chooses the grid from the limits and FFixed; called whenever geometry or FFixed change.
    virtual void SetScaleIdx();
    virtual double YNorm(double Value) const = 0;
    virtual double InversVal(int Pixel) const = 0;
    virtual double ScaleAt(int i) const = 0;
    // Despite the name this takes the pixel geometry; the value limits are written beforehand.
    virtual void SetSclMinMax(double BotLeft, double Ber);

    void SetFixed(int n);
    // A zero line has a place on the axis.
    bool GetNullLine() const { return FSclMin < 0 && FSclMax > 0; }
    bool InScale(double Value) const { return Value >= FSclMin && Value <= FSclMax; }
    // Always two, or one, digits, whatever FAftPnt holds.
    std::string TextAt(double Value) const;
    std::string TextUntAt(double Value) const;
    double CorrectDiff(double Diff, double Step) const;
    TAftPoint CalcDecimalPoint(double Diff) const;
    void FreeItem();

    TYBaseRec FBaseRec;
    double FSclMin = 0;
    double FSclMax = 0;
    double FSclDiff = 0;
    double FSclStart = 0;
    double FBotLeft = 0;
    double FXorYBer = 0;
    TAftPoint FAftPnt = 0;
    int FSclCnt = 0;
    int FFixed = 0;
    TAlphaColor FColor = 0xFF000000;
};

} // namespace ferro
