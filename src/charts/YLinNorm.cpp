#include "charts/YLinNorm.h"

namespace ferro {

double TYLinNorm::YNorm(double Value) const {
    if (!(FSclMax > FSclMin)) return FBotLeft;
    if (Value < FSclMin)
        Value = FSclMin;
    else if (Value > FSclMax)
        Value = FSclMax;
    return FBotLeft - (Value - FSclMin) / (FSclMax - FSclMin) * FXorYBer;
}

double TYLinNorm::InversVal(int Pixel) const {
    return (FBotLeft - Pixel) / FXorYBer * (FSclMax - FSclMin) + FSclMin;
}

} // namespace ferro
