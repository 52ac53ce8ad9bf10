#include "charts/PQPaintBoxCrvFFT.h"

#include "foundation/Format.h"

#include <algorithm>
#include <cfloat>
#include <cmath>
#include <strings.h>

namespace ferro {

namespace {

constexpr TAlphaColor CDefColors[] = {0xFF0000FF, 0xFF00FF00, 0xFFFF0000, 0xFF800000, 0xFF800080, 0xFFFF6347,
                                      0xFFFF8C00, 0x008000C0, 0x00004080, 0x00004040, 0x00008040, 0xFF808000,
                                      0x00808040, 0xFF008000, 0x00804000, 0x00400000, 0xFF000080, 0x00804040,
                                      0x00FF8000, 0xFFFFD700, 0xFF000000};
constexpr int CDefColorCnt = int(sizeof CDefColors / sizeof CDefColors[0]);

// Curves beyond what a region's set can name are not drawn.
constexpr int CMaxSetCrv = 256;

} // namespace

TPQPaintBoxCrvFFT::TPQPaintBoxCrvFFT() {
    FFerroDisp = chartdefs::sdOsziFFT;
    FFFTCls.SetOnGetData([this](int i, std::complex<float>& Out) { GetFFTData(i, Out); });
    FFFTCls.SetSampleNum(2048, 4);
}

void TPQPaintBoxCrvFFT::SetCrvCnt(int n) {
    FForceRepaint = true;
    n = std::max(0, n);
    FMessLst.Clear();
    FMessLst.SetCrvCnt(n);
    FYRecLst.assign(size_t(n), TYRec{});
    for (int i = 0; i < n; ++i)
        FYRecLst[size_t(i)].FColor = CDefColors[std::min(i, CDefColorCnt - 1)];
}

void TPQPaintBoxCrvFFT::SetBaseRec(int i, const TYBaseRec& Rec) {
    if (i < 0 || i >= GetCrvCnt()) return;
    if (i == 0) FGrpLst.clear();
    TYRec& y = FYRecLst[size_t(i)];
    y.FSym = Rec.FSym;
    y.FGrpSym = Rec.FGrpSym;
    y.FUnt = Rec.FUnt;
    y.FBaseUnt = Rec.FBaseUnt;
    const std::string pair = Fmt("%s=%s", Rec.FGrpSym.c_str(), Rec.FUnt.c_str());
    if (std::find(FGrpLst.begin(), FGrpLst.end(), pair) == FGrpLst.end()) FGrpLst.push_back(pair);
}

TYBaseRec TPQPaintBoxCrvFFT::GetBaseRec(int i) const {
    if (i < 0 || i >= GetCrvCnt()) return {};
    const TYRec& y = FYRecLst[size_t(i)];
    return TYBaseRec{y.FSym, y.FGrpSym, y.FUnt, y.FBaseUnt};
}

void TPQPaintBoxCrvFFT::SetLnColor(int i, TAlphaColor C) {
    if (i >= 0 && i < GetCrvCnt()) FYRecLst[size_t(i)].FColor = C;
}

TAlphaColor TPQPaintBoxCrvFFT::GetLnColor(int i) const {
    return i >= 0 && i < GetCrvCnt() ? FYRecLst[size_t(i)].FColor : 0;
}

void TPQPaintBoxCrvFFT::SetScl(int i, double Min, double Max) {
    if (i < 0 || i >= GetCrvCnt()) return;
    FYRecLst[size_t(i)].FSclMin = Min;
    FYRecLst[size_t(i)].FSclMax = Max;
    FForceRepaint = true;
}

void TPQPaintBoxCrvFFT::SetStack(TStackTyp t) {
    FStack = t;
    FForceRepaint = true;
}

void TPQPaintBoxCrvFFT::NewValues(const TSingleArray& Values, uint64_t Ts) {
    // An empty ring could never make room.
    if (FMaxRecs <= 0) return;
    while (FMessLst.Count() >= FMaxRecs)
        FMessLst.Delete0();
    const int n = GetCrvCnt();
    if (int(Values.size()) >= n) {
        FMessLst.Add(Ts, Values.data(), size_t(FMaxRecs));
        return;
    }
    TSingleArray padded(Values);
    padded.resize(size_t(n), 0.0f);
    FMessLst.Add(Ts, padded.data(), size_t(FMaxRecs));
}

bool TPQPaintBoxCrvFFT::TakeRecords(TMessLst& Records) {
    if (Records.CrvCnt() != GetCrvCnt()) return false;
    FMessLst.Swap(Records);
    FMaxRecs = std::max(FMaxRecs, FMessLst.Count());
    FForceRepaint = true;
    return true;
}

int TPQPaintBoxCrvFFT::SubRegionNumber() const {
    switch (FStack) {
    case stkNone:
        return 1;
    case stkGroup:
        return int(FGrpLst.size());
    case stkCurve:
        return GetCrvCnt();
    }
    return 0;
}

std::string TPQPaintBoxCrvFFT::SubRegionSym(int i) const {
    if (FStack == stkNone) return "ALL";
    if (FStack == stkGroup) {
        if (i < 0 || i >= int(FGrpLst.size())) return {};
        const std::string& p = FGrpLst[size_t(i)];
        return p.substr(0, p.find('='));
    }
    return i >= 0 && i < GetCrvCnt() ? FYRecLst[size_t(i)].FSym : std::string();
}

std::string TPQPaintBoxCrvFFT::SubRegionUnt(int i) const {
    if (FStack == stkNone) return chartdefs::CPercent;
    if (FStack == stkGroup) {
        if (i < 0 || i >= int(FGrpLst.size())) return {};
        const std::string& p = FGrpLst[size_t(i)];
        const size_t eq = p.find('=');
        return eq == std::string::npos ? std::string() : p.substr(eq + 1);
    }
    return i >= 0 && i < GetCrvCnt() ? FYRecLst[size_t(i)].FUnt : std::string();
}

TByteSet TPQPaintBoxCrvFFT::SubRegionSet(int i) const {
    TByteSet set;
    const int n = std::min(GetCrvCnt(), CMaxSetCrv);
    if (FStack == stkNone) {
        for (int c = 0; c < n; ++c)
            set.set(size_t(c));
    } else if (FStack == stkGroup) {
        if (i < 0 || i >= int(FGrpLst.size())) return set;
        for (int c = 0; c < n; ++c) {
            const TYRec& y = FYRecLst[size_t(c)];
            const std::string pair = Fmt("%s=%s", y.FGrpSym.c_str(), y.FUnt.c_str());
            if (strcasecmp(pair.c_str(), FGrpLst[size_t(i)].c_str()) == 0) set.set(size_t(c));
        }
    } else if (i >= 0 && i < n) {
        set.set(size_t(i));
    }
    return set;
}

void TPQPaintBoxCrvFFT::AutoScale(int Crv) {
    if (FMessLst.Count() == 0 || Crv < 0 || Crv >= GetCrvCnt()) return;
    const double df = FFFTCls.GetFreqDif();
    const int n = std::min(FFFTCls.GetSpecNum(), FMessLst.Count());
    double mx = -FLT_MAX;
    bool any = false;
    for (int k = 0; k < n; ++k) {
        // The mains line itself would flatten every harmonic; only a line exactly on it is left out.
        if (k * df == 50.0) continue;
        const double v = FMessLst.Val(k, Crv);
        if (!std::isfinite(v)) continue;
        any = true;
        mx = std::max(mx, v);
    }
    if (!any) return;
    if (FRoundAftScl) mx = RoundMaxValue(mx, mx);
    FYRecLst[size_t(Crv)].FSclMin = 0;
    FYRecLst[size_t(Crv)].FSclMax = mx;
    FXNorm.FSclMin = 0;
    FXNorm.FSclMax = FFFTCls.GetSpecNum() * df;
}

void TPQPaintBoxCrvFFT::AutoScaleAll() {
    for (int c = 0; c < GetCrvCnt(); ++c)
        AutoScale(c);
    FForceRepaint = true;
    Repaint();
}

void TPQPaintBoxCrvFFT::GetFFTData(int Index, std::complex<float>& Out) const {
    Out = Index >= 0 && Index < FMessLst.Count() && FCrvFFTIdx < GetCrvCnt()
              ? std::complex<float>(FMessLst.Val(Index, FCrvFFTIdx), 0.0f)
              : std::complex<float>();
}

void TPQPaintBoxCrvFFT::DoFFT() {
    const int n = FFFTCls.GetSpecNum();
    // The lines are written over the records they came from; a short block has no spectrum.
    if (n == 0 || FMessLst.Count() < FFFTCls.SampleCount()) return;
    for (int c = 0; c < GetCrvCnt(); ++c) {
        FCrvFFTIdx = c;
        FFFTCls.DoFFT();
        for (int k = 0; k < n; ++k)
            FMessLst.SetVal(k, c, std::abs(FFFTCls.GetTransformedData(k)) / float(n) / float(M_SQRT2));
    }
    FForceRepaint = true;
}

bool TPQPaintBoxCrvFFT::ZoomFFT(int Step) {
    const int forced = std::clamp(Step, 1, 20);
    if (forced == FScaleVal) return false;
    const double factor = std::pow(2.0, double(FScaleVal - forced));
    for (auto& y : FYRecLst)
        y.FSclMax *= factor;
    // Kept as given, so the next step starts from it.
    FScaleVal = Step;
    FForceRepaint = true;
    Repaint();
    return true;
}

void TPQPaintBoxCrvFFT::MouseWheel(TShiftState, int WheelDelta, bool& Handled) {
    ZoomFFT(WheelDelta < 1 ? FScaleVal - 1 : FScaleVal + 1);
    if (FUpdateTrackBar) FUpdateTrackBar(FScaleVal);
    Handled = true;
}

void TPQPaintBoxCrvFFT::BeginPass(TCanvas& Canvas) {
    Canvas.Clear(0xFFFFFFFF);
    Canvas.Font.Size -= 1.5;
    Canvas.Stroke.Thickness = 0.3;
    Canvas.Stroke.Dash = TStrokeDash::Solid;
    Canvas.Stroke.Color = 0xFF000000;
    Canvas.Stroke.Antialias = true;
    PaintCaption(Canvas);
    FCrvRect = FGraphRect;
    FCrvRect.Left = 10 * FTxtW;
    FCrvRect.Right -= FTxtW;
    Canvas.DrawRect(FCrvRect, 1);
}

int TPQPaintBoxCrvFFT::AddRegion(int i, const TRectF& RR) {
    TPropertyRect p;
    p.RR = RR;
    p.Sym = SubRegionSym(i);
    p.Unt = SubRegionUnt(i);
    p.CrvSet = SubRegionSet(i);
    double mn = FLT_MAX, mx = -FLT_MAX;
    for (int c = 0; c < std::min(GetCrvCnt(), CMaxSetCrv); ++c) {
        if (!p.CrvSet.test(size_t(c))) continue;
        mn = std::min(mn, FYRecLst[size_t(c)].FSclMin);
        mx = std::max(mx, FYRecLst[size_t(c)].FSclMax);
    }
    p.Min = p.CrvSet.any() ? mn : 0;
    p.Max = p.CrvSet.any() ? mx : 0;
    FPropLst.push_back(p);
    return int(FPropLst.size()) - 1;
}

void TPQPaintBoxCrvFFT::PaintRegionAxis(TCanvas& Canvas, int i, bool Percent) {
    const TPropertyRect& p = FPropLst[size_t(i)];
    const TRectF& r = p.RR;
    Canvas.Stroke.Dash = TStrokeDash::Solid;
    Canvas.Stroke.Color = FFontCol;
    if (i > 0) Canvas.DrawLine(TPointF(r.Left, r.Top), TPointF(r.Right, r.Top), 1);

    // Caption turned upright at the far left, centred on the region.
    const std::string cap = Fmt("%s [%s]", p.Sym.c_str(), p.Unt.c_str());
    const TMatrix saved = Canvas.Matrix();
    const TPointF c(FTxtH, (r.Top + r.Bottom) / 2);
    Canvas.MultiplyMatrix(TMatrix::CreateTranslation(-c.X, -c.Y) * TMatrix::CreateRotation(-M_PI / 2) *
                          TMatrix::CreateTranslation(c.X, c.Y));
    Canvas.Fill.Color = FFontCol;
    const double w = r.Height();
    Canvas.FillText(TRectF(c.X - w / 2, c.Y - FTxtH / 2, c.X + w / 2, c.Y + FTxtH / 2), cap, false, 1, 0,
                    taCenter, taCenter);
    Canvas.SetMatrix(saved);

    const double half = FTxtH / 2;
    if (Percent) {
        for (int q = 0; q <= 4; ++q) {
            const double y = r.Bottom - r.Height() * q / 4;
            TextOutR(Canvas, Fmt("%d %s", 25 * q, chartdefs::CPercent.c_str()), TPointF(r.Left, y), -half,
                     FFontCol, true);
        }
        return;
    }
    if (!(p.Max > p.Min)) return;
    // Enough decimals that neighbouring labels differ: a frequency spans hundredths of a hertz.
    const double step = FYNorm.FSclCnt > 0 ? (p.Max - p.Min) / FYNorm.FSclCnt : p.Max - p.Min;
    const TAftPoint digits =
        TAftPoint(step > 0 ? std::clamp(int(std::ceil(-std::log10(step) + 1e-9)), 2, 6) : 2);
    TextOutR(Canvas, FltToStrShrt(p.Max, digits, buAuto, p.Unt), TPointF(r.Left, r.Top), 0, FFontCol, true);
    TextOutR(Canvas, FltToStrShrt(p.Min, digits, buAuto, p.Unt), TPointF(r.Left, r.Bottom), -FTxtH, FFontCol,
             true);
    Canvas.Stroke.Dash = TStrokeDash::Dot;
    for (int k = 0; k <= FYNorm.FSclCnt; ++k) {
        const double v = FYNorm.ScaleAt(k);
        if (!(v > p.Min && v < p.Max)) continue;
        const double y = FYNorm.YNorm(v);
        Canvas.DrawLine(TPointF(r.Left, y), TPointF(r.Right, y), 1);
        TextOutR(Canvas, FltToStrShrt(v, digits, buAuto, p.Unt), TPointF(r.Left, y), -half, FFontCol, true);
    }
    Canvas.Stroke.Dash = TStrokeDash::Solid;
}

void TPQPaintBoxCrvFFT::Paint(TCanvas& Canvas) {
    if (FInPaint || FMessLst.Count() <= 3 || !Canvas.BeginScene()) return;
    FInPaint = true;
    const TFontState savedFont = Canvas.Font;
    BeginPass(Canvas);

    const double df = FFFTCls.GetFreqDif();
    const int lines = std::min(FFFTCls.GetSpecNum(), FMessLst.Count());
    FXNorm.SetSclMinMax(FCrvRect.Left, FCrvRect.Width());
    for (int k = 0; k < lines; ++k)
        FMessLst.SetXX(k, float(FXNorm.YNorm(k * df)));

    // "Frequenz" first, so that a frequency label that would run into it falls away.
    TextOutR(Canvas, chartdefs::_SFrequency, TPointF(FCrvRect.Right + FTxtW, FCrvRect.Bottom), 0, FFontCol,
             true);
    Canvas.Stroke.Dash = TStrokeDash::Dot;
    for (int i = 0; i <= FXNorm.FSclCnt; ++i) {
        const double f = FXNorm.ScaleAt(i);
        if (!FXNorm.InScale(f)) continue;
        const double x = FXNorm.YNorm(f);
        Canvas.DrawLine(TPointF(x, FCrvRect.Top), TPointF(x, FCrvRect.Bottom), 1);
        TextOutC(Canvas, FltToStrShrt(f, 0, buAuto, chartdefs::CHertz), TPointF(x, FCrvRect.Bottom), 0,
                 FFontCol, true);
    }
    Canvas.Stroke.Dash = TStrokeDash::Solid;

    FPropLst.clear();
    const int regions = SubRegionNumber();
    for (int i = 0; i < regions; ++i) {
        const double h = FCrvRect.Height() / regions;
        AddRegion(i, TRectF(FCrvRect.Left, FCrvRect.Top + i * h, FCrvRect.Right, FCrvRect.Top + (i + 1) * h));
        PaintSpectrumRegion(Canvas, i, lines);
    }
    TextFromLst(Canvas);
    Canvas.Font = savedFont;
    Canvas.EndScene();
    FForceRepaint = false;
    FInPaint = false;
    NotifyPaint();
}

void TPQPaintBoxCrvFFT::PaintSpectrumRegion(TCanvas& Canvas, int i, int Lines) {
    const TPropertyRect& p = FPropLst[size_t(i)];
    FYNorm.FSclMin = p.Min;
    FYNorm.FSclMax = p.Max;
    FYNorm.SetSclMinMax(p.RR.Bottom, p.RR.Height());
    PaintRegionAxis(Canvas, i, false);
    for (int c = 0; c < std::min(GetCrvCnt(), CMaxSetCrv); ++c) {
        if (!p.CrvSet.test(size_t(c))) continue;
        FPath.Clear();
        for (int k = 0; k < Lines; ++k) {
            const float v = FMessLst.Val(k, c);
            if (!std::isfinite(v)) continue;
            const TPointF pt(FMessLst.XX(k), FYNorm.YNorm(v));
            if (FPath.Empty())
                FPath.MoveTo(pt);
            else
                FPath.LineTo(pt);
        }
        // A curve one pixel wide: at the grid's 0.3 a spectrum would be too faint to read.
        Canvas.Stroke.Color = FYRecLst[size_t(c)].FColor;
        Canvas.Stroke.Thickness = 1;
        Canvas.DrawPath(FPath, 1);
        Canvas.Stroke.Thickness = 0.3;
    }
}

bool TPQPaintBoxCrvFFT::CopyToClip(TClipLst& List) {
    std::string head = "FFT";
    for (const auto& y : FYRecLst)
        head += Fmt("%s%s [%s]", chartdefs::CTab.c_str(), y.FSym.c_str(), y.FUnt.c_str());
    List.Add(head);
    const double df = FFFTCls.GetFreqDif();
    const int n = std::min(FFFTCls.GetSpecNum(), FMessLst.Count());
    for (int k = 0; k < n; ++k) {
        std::string line = FltToStrShrt(k * df, chartdefs::CHertz);
        for (int c = 0; c < GetCrvCnt(); ++c)
            line += chartdefs::CTab + FloatToStr(FMessLst.Val(k, c));
        List.Add(line);
    }
    return !List.Empty();
}

} // namespace ferro
