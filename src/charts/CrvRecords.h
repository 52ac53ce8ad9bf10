#pragma once
// Per-curve settings and per-region results of the curve charts.

#include "charts/Geometry.h"
#include "charts/NumFormat.h"
#include "foundation/Sammler.h"

#include <string>

namespace ferro {

struct TYRec {
    double FSclMin = -50;
    double FSclMax = 100;
    TAlphaColor FColor = 0xFF000000;
    TBaseUnit FBaseUnt = buAuto;
    std::string FSym;
    std::string FUnt;
    std::string FGrpSym;
};

// One painted sub-region: its rectangle, value range, caption and the curves drawn in it.
struct TPropertyRect {
    TRectF RR;
    double Min = 0;
    double Max = 0;
    std::string Sym;
    std::string Unt;
    TByteSet CrvSet;
};

} // namespace ferro
