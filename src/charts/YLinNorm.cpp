#include "charts/YLinNorm.h"

namespace ferro {

double TYLinNorm::InversVal(int Pixel) const {
    return (FBotLeft - Pixel) / FXorYBer * (FSclMax - FSclMin) + FSclMin;
}

} // namespace ferro
