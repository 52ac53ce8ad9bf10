#include "charts/YNorm.h"

#include <cmath>

namespace ferro {

void TYNorm::SetScaleIdx() {
    const double diff = FSclMax - FSclMin;
    if (diff <= 0) {
        FAftPnt = 0;
        FSclDiff = 0;
        FSclCnt = 0;
        return;
    }
    FAftPnt = CalcDecimalPoint(diff);
    if (FFixed > 0) {
        // A fixed count is not rounded to tidy values: FFixed lines strictly inside the axis.
        FSclCnt = FFixed;
        FSclDiff = diff / (FFixed + 1);
        FSclStart = FSclMin + FSclDiff;
        return;
    }
    // Divisor 8, truncation toward zero, and the power in single precision: these choose the label
    // values, so they stay exactly so.
    const float exponent = static_cast<float>(std::trunc(std::log10(diff / 8)));
    const double step = static_cast<double>(std::pow(10.0f, exponent));
    FSclDiff = CorrectDiff(diff, step);
    const double n = diff / FSclDiff;
    if (n - std::trunc(n) == 0)
        FSclCnt = int(n) - 1;
    else
        FSclCnt = int(std::trunc(n));
    while (FSclCnt > 12) {
        FSclCnt /= 2;
        FSclDiff *= 2;
    }
    FSclStart = std::trunc((FSclMin + FSclDiff) / FSclDiff) * FSclDiff;
}

void TYNorm::SetSclMinMax(double BotLeft, double Ber) {
    FBotLeft = BotLeft;
    FXorYBer = Ber;
    SetScaleIdx();
}

void TYNorm::SetFixed(int n) {
    FFixed = n;
    SetScaleIdx();
}

std::string TYNorm::TextAt(double Value) const {
    return FltToStrShrt(Value, 2, FBaseRec.FBaseUnt, FBaseRec.FUnt);
}

std::string TYNorm::TextUntAt(double Value) const {
    return FltToStrShrt(Value, 1, FBaseRec.FBaseUnt, FBaseRec.FUnt);
}

double TYNorm::CorrectDiff(double Diff, double Step) const {
    const double r = Diff / Step;
    if (std::isnan(r)) return Step / 2;
    if (r < 5) return Step / 2;
    if (r <= 10) return Step;
    return Step * 2;
}

TAftPoint TYNorm::CalcDecimalPoint(double Diff) const {
    int d = 5 - DecimalPower(Diff);
    if (d < 0) d = 0;
    if (d > 5) d = 5;
    return TAftPoint(d);
}

void TYNorm::FreeItem() {
    FBaseRec.FSym.clear();
    FBaseRec.FGrpSym.clear();
    FBaseRec.FUnt.clear();
}

} // namespace ferro
