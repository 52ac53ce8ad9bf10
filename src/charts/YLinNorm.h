#pragma once
// Linear vertical value axis: pixels grow downward from FBotLeft.

#include "charts/YNorm.h"

namespace ferro {

class TYLinNorm : public TYNorm {
public:
    // Inline: a chart's loop over many values calls it on the concrete type, without a call.
    double YNorm(double Value) const override {
        // Pixels per unit as one factor, worked out before any test: a division that every call
        // makes is one a loop moves out of itself; behind the test it stayed in (it may trap).
        const double perUnit = FXorYBer / (FSclMax - FSclMin);
        if (!(FSclMax > FSclMin)) return FBotLeft;
        // Two plain selects: the lower one becomes a maximum instruction.
        Value = Value < FSclMin ? FSclMin : Value;
        Value = Value > FSclMax ? FSclMax : Value;
        return FBotLeft - (Value - FSclMin) * perUnit;
    }
    double InversVal(int Pixel) const override;
    double ScaleAt(int i) const override { return FSclStart + i * FSclDiff; }
};

} // namespace ferro
