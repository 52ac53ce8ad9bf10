#pragma once
// Linear vertical value axis: pixels grow downward from FBotLeft.

#include "charts/YNorm.h"

namespace ferro {

class TYLinNorm : public TYNorm {
public:
    // Inline: a chart's loop over many values calls it on the concrete type and vectorises.
    double YNorm(double Value) const override {
        if (!(FSclMax > FSclMin)) return FBotLeft;
        Value = Value < FSclMin ? FSclMin : Value > FSclMax ? FSclMax : Value;
        // Pixels per unit as one factor, which a loop computes once.
        return FBotLeft - (Value - FSclMin) * (FXorYBer / (FSclMax - FSclMin));
    }
    double InversVal(int Pixel) const override;
    double ScaleAt(int i) const override { return FSclStart + i * FSclDiff; }
};

} // namespace ferro
