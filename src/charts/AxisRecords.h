#pragma once
// Plain records that describe a curve for an axis and a pair of limits.

#include "charts/NumFormat.h"

#include <string>

namespace ferro {

struct TYBaseRec {
    std::string FSym;    // symbol, e.g. "u1"
    std::string FGrpSym; // group, e.g. "ULE"
    std::string FUnt;    // unit text
    TBaseUnit FBaseUnt = buAuto;
};

inline TYBaseRec BaseRect(const std::string& Sym, const std::string& GrpSym, const std::string& Unt,
                          TBaseUnit BaseUnt) {
    return TYBaseRec{Sym, GrpSym, Unt, BaseUnt};
}

struct TMinMaxRec {
    float MinVal = 0;
    float MaxVal = 0;
    TBaseUnit BasUnt = buAuto;
    // Closed range: both limits count as inside.
    bool ValInside(float Value) const { return Value >= MinVal && Value <= MaxVal; }
};

} // namespace ferro
