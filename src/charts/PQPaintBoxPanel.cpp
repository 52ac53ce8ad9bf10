#include "charts/PQPaintBoxPanel.h"

#include "charts/NumFormat.h"

#include <initializer_list>
#include <utility>

namespace ferro {

namespace {

using TLine = std::pair<const char*, std::string>;

// Caption, then one line per value; the last line has no line end.
std::string JoinColumn(const std::string& Caption, std::initializer_list<TLine> Lines) {
    std::string s = Caption + "\r\n";
    bool first = true;
    for (const auto& l : Lines) {
        if (!first) s += "\r\n";
        first = false;
        s += l.first;
        s += l.second;
    }
    return s;
}

std::string V(float Value, const std::string& Unit) {
    return FltToStrShrt(Value, 2, Unit);
}

} // namespace

TPQPaintBoxPanel::TPQPaintBoxPanel() {
    FFerroDisp = chartdefs::sdPanel;
}

bool TPQPaintBoxPanel::CopyToClip(TClipLst& List) {
    List.Clear();
    return false;
}

void TPQPaintBoxPanel::SetPanDispType(TPanDispType t) {
    switch (t) {
    case pdtMains:
        FPanDispColSet = PanCol(pdcMains) | PanCol(pdcVolt) | PanCol(pdcCurrent) | PanCol(pdcFact);
        break;
    case pdtHarms:
        FPanDispColSet = PanCol(pdcHrmU) | PanCol(pdcHrmI);
        break;
    case pdtFrqBand:
        FPanDispColSet = PanCol(pdcFrqBand);
        break;
    default:
        FPanDispColSet = 0;
        break;
    }
}

void TPQPaintBoxPanel::SetMains(float F, float P, float Q, float D, float S) {
    FF = F;
    FP = P;
    FQ = Q;
    FD = D;
    FS = S;
}

void TPQPaintBoxPanel::SetVoltage(float U1E, float U2E, float U3E, float UNE, float U12, float U23,
                                  float U31) {
    FU1E = U1E;
    FU2E = U2E;
    FU3E = U3E;
    FUNE = UNE;
    FU12 = U12;
    FU23 = U23;
    FU31 = U31;
}

void TPQPaintBoxPanel::SetCurrent(float I1, float I2, float I3, float I0) {
    FI1 = I1;
    FI2 = I2;
    FI3 = I3;
    FI0 = I0;
}

void TPQPaintBoxPanel::SetCosPhi(float Cos, float Cos1, float Cos2, float Cos3) {
    FCosPhi = Cos;
    FCosPhi1 = Cos1;
    FCosPhi2 = Cos2;
    FCosPhi3 = Cos3;
}

std::string TPQPaintBoxPanel::ColumnText(TPanDispCols Col) const {
    switch (Col) {
    case pdcMains:
        return JoinColumn(chartdefs::_SpdcMains, {{"F=", V(FF, chartdefs::CHertz)},
                                                  {"P=", V(FP, chartdefs::CWatt)},
                                                  {"Q=", V(FQ, chartdefs::CVoltAmpRea)},
                                                  {"D=", V(FD, chartdefs::CVoltAmpRea)},
                                                  {"S=", V(FS, chartdefs::CVoltAmpere)}});
    case pdcVolt:
        return JoinColumn(chartdefs::_SpdcVolt, {{"U1E=", V(FU1E, chartdefs::CVolt)},
                                                 {"U2E=", V(FU2E, chartdefs::CVolt)},
                                                 {"U3E=", V(FU3E, chartdefs::CVolt)},
                                                 {"UNE=", V(FUNE, chartdefs::CVolt)},
                                                 {"U12=", V(FU12, chartdefs::CVolt)},
                                                 {"U23=", V(FU23, chartdefs::CVolt)},
                                                 {"U31=", V(FU31, chartdefs::CVolt)}});
    case pdcCurrent:
        return JoinColumn(chartdefs::_SpdcCurrent, {{"I1=", V(FI1, chartdefs::CAmpere)},
                                                    {"I2=", V(FI2, chartdefs::CAmpere)},
                                                    {"I3=", V(FI3, chartdefs::CAmpere)},
                                                    {"IN=", V(FI0, chartdefs::CAmpere)}});
    case pdcFact:
        return JoinColumn(chartdefs::_SpdcFact, {{"CosPhi1=", V(FCosPhi1, "")},
                                                 {"CosPhi2=", V(FCosPhi2, "")},
                                                 {"CosPhi3=", V(FCosPhi3, "")},
                                                 {"CosPhi=", V(FCosPhi, "")}});
    case pdcHrmU:
    case pdcHrmI:
    case pdcFrqBand:
        break;
    }
    return std::string();
}

void TPQPaintBoxPanel::Paint(TCanvas& Canvas) {
    if (!BeginPaint(Canvas, 0xFFF5F5F5)) return;
    Canvas.Font.Size += 2;
    PaintCaption(Canvas);
    Canvas.DrawRect(FGraphRect, 1);

    const double colWidth = Canvas.TextWidth(std::string(20, 'H'));
    const double rowTop = FGraphRect.Top + FTxtH;
    Canvas.Font.Style |= fsBold;
    FBrush.Color = 0xFF000000;

    int n = 0;
    for (int c = 0; c < CPanDispColCount; ++c) {
        const auto col = TPanDispCols(c);
        if (!(FPanDispColSet & PanCol(col))) continue;
        const double x = n * colWidth + FGraphRect.Left + FTxtW;
        TextOutL(Canvas, ColumnText(col), TPointF(x, rowTop), 0, 0xFF000000, false);
        ++n;
    }

    EndPaint(Canvas);
}

} // namespace ferro
