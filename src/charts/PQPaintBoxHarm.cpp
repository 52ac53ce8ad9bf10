#include "charts/PQPaintBoxHarm.h"

#include "charts/DateText.h"
#include "charts/NumFormat.h"
#include "foundation/Format.h"
#include "foundation/records/Units.h"

#include <algorithm>
#include <cmath>

namespace ferro {

namespace {

bool IsVoltHarm(TFerroDisp d) {
    return d == sdHrmULE || d == sdHrmULL;
}

bool IsVoltIHarm(TFerroDisp d) {
    return d == sdIHrmULE || d == sdIHrmULL;
}

// A value on an axis from 0 to Top; what is not a number counts as nothing.
double Clamp0(double v, double Top) {
    if (!(v > 0)) return 0;
    return v > Top ? Top : v;
}

} // namespace

TPQPaintBoxHarm::TPQPaintBoxHarm() {
    SetFerroDisp(sdHrmULE);
}

void TPQPaintBoxHarm::SetFerroDisp(TFerroDisp Disp) {
    FFerroDisp = Disp;
    if (Disp < sdFrqBandULE || Disp > sdIHrmIL) return;
    const bool bands = Disp <= sdFrqBandIL;
    const bool harms = Disp >= sdHrmULE && Disp <= sdHrmIL;
    for (int i = 0; i < CHrmSlots; ++i) {
        const size_t s = size_t(i);
        if (bands) {
            FHrmTxt[s] =
                i <= 35 ? FltToStrShrt(2100 + i * 194.28571428571428, 1, buKilo, CHertz) : std::string();
            FHrmLim[s] = 0.05f;
        } else if (harms) {
            FHrmTxt[s] = Fmt("%d", i);
            FHrmLim[s] = CDefHrms[s];
        } else {
            FHrmTxt[s] = i < 50 ? Fmt("%d.5", i) : std::string();
            FHrmLim[s] = 0;
        }
    }
    FHrmMaxIdx = bands ? 35 : harms ? 50 : 49;
    FHrmStartIdx = IsVoltHarm(Disp) ? 2 : 0;

    if (Disp == sdFrqBandIL || Disp == sdHrmIL || Disp == sdIHrmIL)
        FYUnit = "A";
    else if (Disp == sdFrqBandULE || Disp == sdFrqBandULL)
        FYUnit = CVolt;
    else
        FYUnit = "%";

    if (Disp == sdFrqBandULE || Disp == sdHrmULE || Disp == sdIHrmULE) {
        FHrmMeasNum = lt0;
        FHrmMeas = {"U1E", "U2E", "U3E", "UNE"};
    } else if (Disp == sdFrqBandULL || Disp == sdHrmULL || Disp == sdIHrmULL) {
        FHrmMeasNum = lt3;
        FHrmMeas = {"U12", "U23", "U31", ""};
    } else {
        FHrmMeasNum = lt0;
        FHrmMeas = {"I1", "I2", "I3", "IN"};
    }
    if (!IsVoltHarm(Disp)) FNormalization = false;
}

void TPQPaintBoxHarm::SetHarmLim(int i, float Value) {
    if (i < 0 || i >= CHrmSlots || i == 1) return;
    FHrmLim[size_t(i)] = Value;
}

void TPQPaintBoxHarm::SetHarmTxt(int i, const std::string& Text) {
    if (i >= 0 && i < CHrmSlots) FHrmTxt[size_t(i)] = Text;
}

void TPQPaintBoxHarm::SetNormalization(bool On) {
    FNormalization = On && IsVoltHarm(FFerroDisp);
}

namespace {

bool ValidChannel(int c) {
    return c >= 0 && c < 4;
}

template <size_t N> void CopyInto(THrm& Dst, const std::array<float, N>& Src, size_t From) {
    std::copy(Src.begin(), Src.end(), Dst.begin() + long(From));
}

} // namespace

void TPQPaintBoxHarm::SetHrmVal(int Channel, const THrm& V) {
    if (!ValidChannel(Channel)) return;
    FHrmVal[size_t(Channel)] = V;
    FHrmMaxIdx = 50;
}

void TPQPaintBoxHarm::SetIHrmVal(int Channel, const TIHrm& V) {
    if (!ValidChannel(Channel)) return;
    CopyInto(FHrmVal[size_t(Channel)], V, 0);
    FHrmMaxIdx = 49;
}

void TPQPaintBoxHarm::SetFrqBVal(int Channel, const TFrqBand& V) {
    if (!ValidChannel(Channel)) return;
    CopyInto(FHrmVal[size_t(Channel)], V, 1);
    FHrmMaxIdx = 35;
}

void TPQPaintBoxHarm::SetHrmVal95p(int Channel, const THrm& V) {
    if (!ValidChannel(Channel)) return;
    FHrm95p[size_t(Channel)] = V;
    FHrmMaxIdx = 50;
}

void TPQPaintBoxHarm::SetIHrmVal95p(int Channel, const TIHrm& V) {
    if (!ValidChannel(Channel)) return;
    CopyInto(FHrm95p[size_t(Channel)], V, 0);
    FHrmMaxIdx = 49;
}

void TPQPaintBoxHarm::SetFrqBVal95p(int Channel, const TFrqBand& V) {
    if (!ValidChannel(Channel)) return;
    CopyInto(FHrm95p[size_t(Channel)], V, 1);
    FHrmMaxIdx = 35;
}

void TPQPaintBoxHarm::ClearData() {
    for (auto& c : FHrmVal)
        c.fill(0);
    for (auto& c : FHrm95p)
        c.fill(0);
}

std::string TPQPaintBoxHarm::GetCaption() const {
    if (FStatistic)
        return Fmt("%s [%s - %s]", chartdefs::DispCaption(FFerroDisp).c_str(), StampToText(FTSStart).c_str(),
                   StampToText(FTSStop).c_str());
    return Fmt("%s [%s]", chartdefs::DispCaption(FFerroDisp).c_str(), StampToText(FTSStart).c_str());
}

float TPQPaintBoxHarm::CalcBarWidth(float Width) const {
    return FHrmMeasNum < lt0 ? Width * 0.5f : Width * 0.4f;
}

void TPQPaintBoxHarm::HrmRescale() {
    FHrmStartIdx = 0;
    float m = 0;
    if (IsVoltHarm(FFerroDisp)) {
        // The fundamental and order 0 would swamp the scale; voltage harmonics never go below 10 %.
        FHrmStartIdx = 2;
        m = 10;
    } else if (IsVoltIHarm(FFerroDisp)) {
        m = 0.4f;
    }
    const int channels = FFerroDisp == sdHrmULL ? 3 : 4;
    for (int i = FHrmStartIdx; i <= FHrmMaxIdx; ++i)
        for (int c = 0; c < channels; ++c) {
            const float v = FHrmVal[size_t(c)][size_t(i)];
            if (std::isfinite(v) && v > m) m = v;
        }
    FHrmMaxScl = float(RoundUp(m));
}

void TPQPaintBoxHarm::MouseUp(TMouseButton, TShiftState, double X, double Y) {
    const TPointF p(X, Y);
    for (int i = 0; i <= FHrmMaxIdx; ++i) {
        const TRectF& r = FHrmRectF[size_t(i)];
        if (r.Width() > 0 && r.Contains(p)) {
            FHrmActIdx = i;
            Repaint();
            return;
        }
    }
}

void TPQPaintBoxHarm::Paint(TCanvas& Canvas) {
    if (!BeginPaint(Canvas, 0xFFFFFFFF, true)) return;
    // Grid, order texts and limits change with the scale only; the caption carries the values' time.
    PaintLayer(Canvas, [this](TCanvas& c) {
        PaintCaption(c, false);
        FPlotValid = LayoutPlot();
        if (FPlotValid) PaintStatic(c);
        // The order texts stand below the plot, where no bar reaches: drawn with the layer.
        TextFromLst(c);
    });
    const size_t layerLabels = FLabDispLst.size();
    PaintCaptionText(Canvas);
    PaintInner(Canvas);
    TextFromLst(Canvas, layerLabels);
    EndPaint(Canvas);
}

TRectF TPQPaintBoxHarm::CalcPlotRect() const {
    TRectF r = FGraphRect;
    // Half a line above for the top label, the order texts below in the line the caption keeps free.
    r.Inflate(-FTxtW, -FTxtH / 2);
    r.Left += 8 * FTxtW;
    return r;
}

double TPQPaintBoxHarm::SlotX(int i) const {
    const double w = FPlotRect.Width();
    return std::trunc(w / (FHrmMaxIdx + 1) * (i + 1)) + FPlotRect.Left - FBase;
}

void TPQPaintBoxHarm::PaintGrid(TCanvas& Canvas, int Intervals, bool Labels) {
    const TRectF& r = FPlotRect;
    Canvas.Stroke.Color = 0xFF000000;
    Canvas.Stroke.Thickness = 0.3;
    for (int i = 0; i <= Intervals; ++i) {
        const double y = r.Top + std::trunc(r.Height() / Intervals * i);
        Canvas.DrawLine(TPointF(r.Left, y), TPointF(r.Right, y), 1);
        if (Labels)
            TextOutR(Canvas,
                     FltToStrShrt(double(FHrmMaxScl) / Intervals * (Intervals - i), 2, buAuto, FYUnit),
                     TPointF(r.Left, y), -FTxtH / 2, 0xFF000000, false);
    }
}

void TPQPaintBoxHarm::PaintSlots(TCanvas& Canvas, bool FilledMarker, bool FixedLimit) {
    const TRectF& r = FPlotRect;
    const double h = FHalf;
    for (int i = 0; i <= FHrmMaxIdx; ++i) {
        const double x = SlotX(i);
        if (i % 2 == 1) {
            Canvas.Stroke.Color = 0xFF000000;
            Canvas.Stroke.Thickness = 0.3;
            Canvas.DrawLine(TPointF(x, r.Bottom), TPointF(x, r.Bottom + FTxtH / 4), 1);
            // Through the overlap test: on a narrow chart every other text falls away instead of
            // running into its neighbour. The last one is pulled in rather than cut at the edge.
            const std::string& t = FHrmTxt[size_t(i)];
            const double tw = Canvas.TextWidth(t);
            const double left = std::max(FGraphRect.Left, std::min(x - tw / 2, FGraphRect.Right - tw));
            const double top = r.Bottom + FTxtH / 4;
            PlaceText(Canvas, TRectF(left, top, left + tw, top + FTxtH), t, taCenter, 0xFF000000, true);
        }
        const double lim = FixedLimit ? 0.2 : double(FHrmLim[size_t(i)]);
        const double top = r.Bottom - r.Height() * Clamp0(lim, FHrmMaxScl) / FHrmMaxScl;
        // The whole column answers a click, so that an order with a low or no limit can be chosen too.
        FHrmRectF[size_t(i)] = TRectF(x - h, r.Top, x + h, r.Bottom);
        if (FilledMarker) {
            const TRectF marker(x - h, top, x + h, r.Bottom);
            Canvas.Fill.Color = 0xFFADFF2F;
            Canvas.FillRect(marker, 1);
            Canvas.Stroke.Color = 0xFFF5F5DC;
            Canvas.DrawRect(marker, 1);
        } else {
            // Black at a quarter on the white ground, as an opaque grey: a translucent line is
            // dozens of times slower to draw than an opaque one.
            Canvas.Stroke.Color = 0xFFBFBFBF;
            Canvas.DrawLine(TPointF(x - h, r.Top), TPointF(x - h, r.Bottom), 1);
        }
    }
    for (int i = FHrmMaxIdx + 1; i < CHrmSlots; ++i)
        FHrmRectF[size_t(i)] = TRectF();
}

void TPQPaintBoxHarm::FillBar(TCanvas& Canvas, TRectF R, TAlphaColor Colour) {
    // A bar never leaves the plot, also where the base unit rounds a narrow plot's first group outward.
    R.Left = std::max(R.Left, FPlotRect.Left);
    R.Right = std::min(R.Right, FPlotRect.Right);
    R.Top = std::max(R.Top, FPlotRect.Top);
    R.Bottom = std::min(R.Bottom, FPlotRect.Bottom);
    if (R.Width() <= 0 || R.Height() <= 0) return;
    Canvas.Fill.Color = Colour;
    Canvas.FillRect(R, 1);
    FBarRects.push_back(R);
}

void TPQPaintBoxHarm::PaintPlainBars(TCanvas& Canvas, int i) {
    const TRectF& r = FPlotRect;
    const double x = SlotX(i), h = FHalf, w = FBarWidth;
    for (int c = 0; c <= FHrmMeasNum; ++c) {
        const double left = w / 2 + x - h + c * w;
        const double v = Clamp0(FHrmVal[size_t(c)][size_t(i)], FHrmMaxScl);
        FillBar(Canvas, TRectF(left, r.Bottom - r.Height() * v / FHrmMaxScl, left + w, r.Bottom),
                CHrmBarColors[size_t(c)]);
    }
}

const std::string& TPQPaintBoxHarm::DetailUnit(int i) const {
    static const std::string volt = CVolt;
    return i == 1 && IsVoltHarm(FFerroDisp) ? volt : FYUnit;
}

void TPQPaintBoxHarm::PaintDetailBox(TCanvas& Canvas, const std::string& Text) {
    const double w =
        std::max(Canvas.TextWidth(std::string(15, 'H')) * 1.05, Canvas.TextWidth(Text) + 2 * FTxtW);
    const double h = Canvas.TextHeight(Text);
    TRectF box(FPlotRect.Left + 1, FPlotRect.Top + 1, FPlotRect.Left + 1 + w, FPlotRect.Top + 1 + h);
    // The upper left, unless bars reach up there and the upper right is free: tall low orders
    // (the fundamental of a current) stay visible.
    auto covers = [this](const TRectF& b) {
        return std::any_of(FBarRects.begin(), FBarRects.end(),
                           [&](const TRectF& r) { return r.IntersectsWith(b); });
    };
    const TRectF right(FPlotRect.Right - 1 - w, box.Top, FPlotRect.Right - 1, box.Bottom);
    if (covers(box) && right.Left > box.Right && !covers(right)) box = right;
    FBrush.Color = 0xFFF5F5DC;
    Canvas.FillRect(box, 1, FBrush);
    Canvas.Stroke.Color = 0xFF000000;
    Canvas.Stroke.Thickness = 0.3;
    Canvas.DrawRect(box, 1);
    TextOutL(Canvas, Text, TPointF(box.Left, box.Top), 0, 0xFF000000, false);
}

bool TPQPaintBoxHarm::LayoutPlot() {
    FPlotRect = CalcPlotRect();
    FBarRects.clear();
    if (!(FPlotRect.Width() > 0) || !(FPlotRect.Height() > 0)) {
        FHrmRectF.fill(TRectF());
        return false;
    }
    FBase = std::trunc(FPlotRect.Width() / 100);
    FHalf = 0.95 * FBase;
    FBarWidth = CalcBarWidth(float(FHalf));
    return true;
}

void TPQPaintBoxHarm::PaintStatic(TCanvas& Canvas) {
    PaintGrid(Canvas, 5, !(FStatistic && IsVoltHarm(FFerroDisp)));
    PaintSlots(Canvas, (IsVoltHarm(FFerroDisp) || IsVoltIHarm(FFerroDisp)) && !FNormalization,
               IsVoltIHarm(FFerroDisp));
}

void TPQPaintBoxHarm::PaintInner(TCanvas& Canvas) {
    if (!FPlotValid) return;
    const TRectF& r = FPlotRect;

    for (int i = std::max(FHrmStartIdx, 0); i <= FHrmMaxIdx; ++i) {
        if (!FStatistic) {
            PaintPlainBars(Canvas, i);
            continue;
        }
        // Under normalisation every limit falls on two thirds of the height.
        const double t = FNormalization ? double(FHrmLim[size_t(i)]) * 1.5 : double(FHrmMaxScl);
        if (!(t > 0) || !std::isfinite(t)) continue;
        const double x = SlotX(i), h = FHalf, w = FBarWidth;
        for (int c = 0; c <= FHrmMeasNum; ++c) {
            const double left = w / 2 + x - h + c * w;
            const double top95 = r.Bottom - r.Height() * Clamp0(FHrm95p[size_t(c)][size_t(i)], t) / t;
            const double topMax = r.Bottom - r.Height() * Clamp0(FHrmVal[size_t(c)][size_t(i)], t) / t;
            FillBar(Canvas, TRectF(left, top95, left + w, r.Bottom), 0xFFFF0000);
            if (topMax < top95) FillBar(Canvas, TRectF(left, topMax, left + w, top95), 0xFF0000FF);
        }
    }

    if (FNormalization) {
        const double y = r.Bottom - r.Height() / 1.5;
        Canvas.Stroke.Color = 0xFFFF0000;
        Canvas.Stroke.Thickness = 1;
        Canvas.DrawLine(TPointF(r.Left, y), TPointF(r.Right, y), 1);
        TextOutR(Canvas, chartdefs::_SThreshold, TPointF(r.Right, y), -FTxtH, 0xFFFF0000, false);
    }

    const int a = FHrmActIdx;
    if (a < 0 || a > FHrmMaxIdx) return;
    const std::string& unit = DetailUnit(a);
    std::string s = "Index: " + FHrmTxt[size_t(a)];
    if (IsVoltHarm(FFerroDisp))
        s += "\r\n" + Fmt("LIMIT=%s", FltToStrShrt(FHrmLim[size_t(a)], 2, buAuto, unit).c_str());
    for (int c = 0; c <= FHrmMeasNum; ++c) {
        const std::string& name = FHrmMeas[size_t(c)];
        const std::string val = FltToStrShrt(FHrmVal[size_t(c)][size_t(a)], 2, buAuto, unit);
        if (FStatistic)
            s += Fmt("\r\n%s(95%%)=%s\r\n%s(Max)=%s", name.c_str(),
                     FltToStrShrt(FHrm95p[size_t(c)][size_t(a)], 2, buAuto, unit).c_str(), name.c_str(),
                     val.c_str());
        else
            s += Fmt("\r\n%s=%s", name.c_str(), val.c_str());
    }
    PaintDetailBox(Canvas, s);
}

bool TPQPaintBoxHarm::CopyToClip(TClipLst& List) {
    List.Clear();
    const std::string tab(1, CTab);
    auto row = [&](const std::string& head, auto&& cell) {
        std::string line = head;
        for (int i = 0; i <= FHrmMaxIdx; ++i)
            line += tab + cell(size_t(i));
        List.Add(line);
    };
    row("Info", [&](size_t i) { return FHrmTxt[i]; });
    if (IsVoltHarm(FFerroDisp)) row("Limit", [&](size_t i) { return FloatToStr(FHrmLim[i]); });
    static const char* const names[] = {"L1", "L2", "L3", "L0"};
    for (int c = 0; c <= FHrmMeasNum; ++c) {
        const size_t ch = size_t(c);
        if (FStatistic) {
            row(Fmt("%s (95%%)", names[c]), [&](size_t i) { return FloatToStr(FHrm95p[ch][i]); });
            row(Fmt("%s (Max)", names[c]), [&](size_t i) { return FloatToStr(FHrmVal[ch][i]); });
        } else {
            row(Fmt("%s (Val)", names[c]), [&](size_t i) { return FloatToStr(FHrmVal[ch][i]); });
        }
    }
    return !List.Empty();
}

} // namespace ferro
