#pragma once
// Linear horizontal value axis (frequency axis of the spectrum): pixels grow to the right and are
// rounded to whole pixels.

#include "charts/YLinNorm.h"

namespace ferro {

class TXLinNorm : public TYLinNorm {
public:
    double YNorm(double Value) const override;
    double InversVal(int Pixel) const override;
};

} // namespace ferro
