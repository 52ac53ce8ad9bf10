#pragma once
// Linear vertical value axis: pixels grow downward from FBotLeft.

#include "charts/YNorm.h"

namespace ferro {

class TYLinNorm : public TYNorm {
public:
    double YNorm(double Value) const override;
    double InversVal(int Pixel) const override;
    double ScaleAt(int i) const override { return FSclStart + i * FSclDiff; }
};

} // namespace ferro
