#include "charts/XLinNorm.h"

#include <cmath>

namespace ferro {

double TXLinNorm::YNorm(double Value) const {
    // An empty axis gives 0 here, unlike the vertical axis, which gives its bottom.
    if (!(FSclMax > FSclMin)) return 0;
    if (Value < FSclMin)
        Value = FSclMin;
    else if (Value > FSclMax)
        Value = FSclMax;
    // Round half to even, as the default floating rounding mode does.
    return std::nearbyint((Value - FSclMin) / (FSclMax - FSclMin) * FXorYBer) + FBotLeft;
}

double TXLinNorm::InversVal(int Pixel) const {
    return (Pixel - FBotLeft) / FXorYBer * (FSclMax - FSclMin) + FSclMin;
}

} // namespace ferro
