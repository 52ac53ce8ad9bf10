#include "charts/PQPaintBoxVecDiag.h"

#include "charts/NumFormat.h"
#include "foundation/Format.h"

#include <algorithm>
#include <cmath>
#include <vector>

namespace ferro {

namespace {

constexpr double CPi = 3.14159265358979323846;
const double CSqrt3 = std::sqrt(3.0);

// A row of the table beside the circle.
struct TVecRow {
    std::string Text;
    TAlphaColor Col;
};

// Colour at Opacity over an opaque Page, itself opaque: a plain fill instead of a blend.
TAlphaColor Tinted(TAlphaColor Colour, TAlphaColor Page, double Opacity) {
    auto channel = [&](int Shift) {
        const double top = (Colour >> Shift) & 0xFF, under = (Page >> Shift) & 0xFF;
        return TAlphaColor(std::lround(under + (top - under) * Opacity)) << Shift;
    };
    return 0xFF000000 | channel(16) | channel(8) | channel(0);
}

std::string Volts(float v) {
    return FltToStrShrt(v, 1, CVolt);
}

std::string Degrees(double a) {
    return FltToStrShrt(Correct180(a), 1, buPlain, CGrad);
}

} // namespace

TPQPaintBoxVecDiag::TPQPaintBoxVecDiag() {
    FRefVol = 20000;
    FRefCur = 100;
    FFerroDisp = sdVecDiag;
    FFontCol = 0xFF000000;
}

bool TPQPaintBoxVecDiag::CopyToClip(TClipLst& List) {
    List.Clear();
    return false;
}

const char* TPQPaintBoxVecDiag::VecName(TVecPointer Pointer) {
    static const char* const names[CVecPointerCount] = {"U1E", "U2E", "U3E", "UNE", "U12",
                                                        "U23", "U31", "I1",  "I2",  "I3"};
    return Pointer < CVecPointerCount ? names[Pointer] : "";
}

void TPQPaintBoxVecDiag::SetMagAngle(TVecPointer Pointer, const TMagniAngle& Value) {
    if (Pointer < CVecPointerCount) FVectDiag[Pointer] = Value;
}

void TPQPaintBoxVecDiag::SetRefScale(float Vol, float Cur) {
    if (Vol > 0 && std::isfinite(Vol)) FRefVol = Vol;
    if (Cur > 0 && std::isfinite(Cur)) FRefCur = Cur;
}

void TPQPaintBoxVecDiag::RescaleVec() {
    auto step = [this](float& Ref, TVecPointer First) {
        float top = 0;
        for (int p = First; p < First + 3; ++p) {
            const float v = FVectDiag[size_t(p)].Magn;
            if (std::isfinite(v) && v > top) top = v;
        }
        // Without a magnitude the circle keeps its scale.
        if (!(top > 0)) return;
        const double m = RoundUp(1.1 * top);
        // Calm while the values wander by less than a quarter.
        if (m > 0.75 * Ref && m < 1.25 * Ref) return;
        Ref = float(m);
    };
    step(FRefCur, vpI1);
    step(FRefVol, vpU1E);
}

double TPQPaintBoxVecDiag::Rotation() const {
    const double a = FVectDiag[vpU1E].Angle;
    return std::isfinite(a) ? 90.0 - a : 90.0;
}

TPointF TPQPaintBoxVecDiag::PolarToScreen(const TPointF& C, double A, double R, double K) {
    if (!(K > 0) || !std::isfinite(A) || !std::isfinite(R)) return C;
    if (K > 2) K = 2;
    const double rad = A * CPi / 180.0;
    return TPointF(C.X + std::cos(rad) * R * K, C.Y - std::sin(rad) * R * K);
}

TPointF TPQPaintBoxVecDiag::DrawVector(TCanvas& Canvas, const TPointF& P, double Angle, double K,
                                       TAlphaColor Colour, double Thickness) {
    const TPointF tip = PolarToScreen(P, Angle, FRadius, K);
    Canvas.Stroke.Color = Colour;
    Canvas.Stroke.Thickness = Thickness;
    Canvas.Stroke.Dash = TStrokeDash::Solid;
    // A zero magnitude still shows as a point at the centre: round ends then. Longer vectors end
    // flat, which the painter draws as a plain band instead of an outline with arcs.
    const bool point = std::hypot(tip.X - P.X, tip.Y - P.Y) < Thickness;
    Canvas.Stroke.Cap = point ? TStrokeCap::Round : TStrokeCap::Flat;
    Canvas.DrawLine(P, tip, 1);
    Canvas.Stroke.Cap = TStrokeCap::Flat;
    return tip;
}

void TPQPaintBoxVecDiag::PaintCircle(TCanvas& Canvas) {
    const TPointF& c = FCenter;
    const double r = FRadius;
    Canvas.Stroke.Color = 0xFF000000;
    Canvas.Stroke.Dash = TStrokeDash::Solid;
    Canvas.Stroke.Thickness = 0.25;
    Canvas.DrawEllipse(TRectF(c.X - r, c.Y - r, c.X + r, c.Y + r), 1);
    Canvas.Stroke.Thickness = 0.4;
    Canvas.DrawEllipse(TRectF(c.X - r / 3, c.Y - r / 3, c.X + r / 3, c.Y + r / 3), 1);
    Canvas.Stroke.Thickness = 0.25;
    Canvas.Stroke.Dash = TStrokeDash::Dot;
    for (int i = 0; i < 12; ++i)
        Canvas.DrawLine(c, PolarToScreen(c, i * 30.0, r, 1), 1);
    // The three axes of the phase voltages once U1E stands up.
    Canvas.Stroke.Dash = TStrokeDash::Solid;
    Canvas.Stroke.Thickness = 0.75;
    for (double a : {90.0, 210.0, 330.0})
        Canvas.DrawLine(PolarToScreen(c, a + 180, r, 1), PolarToScreen(c, a, r, 1), 1);
}

void TPQPaintBoxVecDiag::PaintVectors(TCanvas& Canvas) {
    const TPointF& c = FCenter;
    const double rot = Rotation();
    for (int p = 0; p < 3; ++p) {
        const TAlphaColor col = CVecPhaseColors[size_t(p)];
        const TMagniAngle& u = FVectDiag[size_t(vpU1E + p)];
        const TMagniAngle& ll = FVectDiag[size_t(vpU12 + p)];
        const TMagniAngle& i = FVectDiag[size_t(vpI1 + p)];

        const TPointF tip = DrawVector(Canvas, c, u.Angle + rot, CSqrt3 * u.Magn / FRefVol, col, 1.5);
        TextOutLR(Canvas,
                  Fmt("%s=%s <%s", VecName(TVecPointer(vpU1E + p)), Volts(u.Magn).c_str(),
                      Degrees(u.Angle + rot - 90).c_str()),
                  tip, c, col, true);
        // From the tip of UxE back along the line-to-line voltage: the triangle of U12, U23, U31.
        DrawVector(Canvas, tip, ll.Angle + rot + 180, CSqrt3 * ll.Magn / FRefVol, col, 1);

        const TPointF itip = DrawVector(Canvas, c, i.Angle + rot, i.Magn / FRefCur, col, 1.3);
        TextOutLR(Canvas,
                  Fmt("%s=%s Phi_L%d=%s", VecName(TVecPointer(vpI1 + p)),
                      FltToStrShrt(i.Magn, 1, CAmpere).c_str(), p + 1, Degrees(u.Angle - i.Angle).c_str()),
                  itip, c, col, true);
    }
    const TMagniAngle& n = FVectDiag[vpUNE];
    const TPointF ntip =
        DrawVector(Canvas, c, n.Angle + rot, CSqrt3 * n.Magn / FRefVol, CVecNeutralColor, 1.5);
    TextOutLR(Canvas,
              Fmt("%s=%s <%s", VecName(vpUNE), Volts(n.Magn).c_str(), Degrees(n.Angle + rot - 90).c_str()),
              ntip, c, CVecNeutralColor, true);
}

void TPQPaintBoxVecDiag::PaintTable(TCanvas& Canvas, double Left, double Width) {
    const double rot = Rotation();
    std::vector<TVecRow> rows;
    for (int p = 0; p < 4; ++p) {
        const auto v = TVecPointer(vpU1E + p);
        const TMagniAngle& m = FVectDiag[v];
        rows.push_back(
            {Fmt("%s=%s  <%s", VecName(v), Volts(m.Magn).c_str(), Degrees(m.Angle + rot - 90).c_str()),
             p < 3 ? CVecPhaseColors[size_t(p)] : CVecNeutralColor});
    }
    for (int p = 0; p < 3; ++p) {
        const auto v = TVecPointer(vpU12 + p);
        const TMagniAngle& m = FVectDiag[v];
        rows.push_back(
            {Fmt("%s=%s  <%s", VecName(v), Volts(m.Magn).c_str(), Degrees(m.Angle + rot - 90).c_str()),
             CVecPhaseColors[size_t(p)]});
    }
    for (int p = 0; p < 3; ++p) {
        const auto v = TVecPointer(vpI1 + p);
        const TMagniAngle& m = FVectDiag[v];
        rows.push_back({Fmt("%s=%s Phi=%s", VecName(v), FltToStrShrt(m.Magn, 1, CAmpere).c_str(),
                            Degrees(FVectDiag[size_t(vpU1E + p)].Angle - m.Angle).c_str()),
                        CVecPhaseColors[size_t(p)]});
    }

    const double rowH = std::round(Canvas.TextHeight("H")) + 4;
    double y = (FGraphRect.Top + FGraphRect.Bottom) / 2 - (10 * rowH + 60) / 2;
    y = std::max(y, FGraphRect.Top);
    FTableRect = TRectF(Left, y, Left + Width, y);
    TBrush tint;
    for (size_t k = 0; k < rows.size(); ++k) {
        if (k == 4 || k == 7) y += 20; // the blocks: to earth, line to line, currents
        const TRectF row(Left, y, Left + Width, y + rowH);
        if (row.Bottom > FGraphRect.Bottom) break;           // a low chart shows what fits
        tint.Color = Tinted(rows[k].Col, FBackground, 0.12); // the page is always opaque white
        Canvas.FillRect(row, 1, tint);
        Canvas.Fill.Color = rows[k].Col;
        Canvas.FillText(TRectF(row.Left + FTxtW / 2, row.Top, row.Right, row.Bottom), rows[k].Text, false, 1,
                        0, taLeading, taCenter);
        FTableRect.Bottom = row.Bottom;
        y += rowH;
    }
}

void TPQPaintBoxVecDiag::Paint(TCanvas& Canvas) {
    if (!BeginPaint(Canvas, 0xFFFFFFFF, true)) return;
    RescaleVec();
    // Circle, axes and scale change with the size and the scale only.
    PaintLayer(Canvas, [this](TCanvas& c) { PaintFrame(c); });
    PaintCaptionText(Canvas);
    if (FRadius > 0) {
        PaintVectors(Canvas);
        TextFromLst(Canvas);
    }
    if (FTableLeft > FGraphRect.Left) PaintTable(Canvas, FTableLeft, FTableW);
    EndPaint(Canvas);
}

void TPQPaintBoxVecDiag::PaintFrame(TCanvas& Canvas) {
    PaintCaption(Canvas, false);

    // The table takes its width from its widest row (at least 120 pixels). The circle keeps room for
    // the tip labels on both sides; circle and table stand together in the middle.
    double tableW = 120;
    for (const char* probe : {"U1E=000.0 kV  <-000.0 \u00B0", "I1=000.0 kA Phi=-000.0 \u00B0"})
        tableW = std::max(tableW, Canvas.TextWidth(probe) + FTxtW);
    const double labelRoom = Canvas.TextWidth("U2E=000.0 V <-000.0 \u00B0") + 2 * FTxtW;
    const double gap = FTxtW;
    const TRectF& g = FGraphRect;
    FRadius = std::min(g.Height() / 2 - FTxtH, (g.Width() - tableW - 2 * labelRoom - 2 * gap) / 2);
    double tableLeft = g.Right - tableW - gap;
    if (FRadius > 0) {
        const double group = 2 * (FRadius + labelRoom) + gap + tableW;
        FCenter = TPointF(g.Left + std::max(0.0, (g.Width() - group) / 2) + labelRoom + FRadius,
                          (g.Top + g.Bottom) / 2);
        tableLeft = FCenter.X + FRadius + labelRoom + gap;
        PaintCircle(Canvas);
        const std::string scale = FltToStrShrt(FRefCur, 1, CAmpere) + " / " + FltToStrShrt(FRefVol, 1, CVolt);
        TextOutR(Canvas, scale, TPointF(FCenter.X + FRadius + labelRoom, g.Top), 0, FFontCol, false);
    } else {
        FCenter = g.CenterPoint();
    }
    FTableLeft = tableLeft;
    FTableW = tableW;
}

} // namespace ferro
