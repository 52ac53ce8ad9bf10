#include "charts/PQPaintBox.h"

#include "charts/DateText.h"
#include "charts/FingerprintCanvas.h"
#include "foundation/Format.h"

#include <algorithm>
#include <cmath>

namespace ferro {

TPQPaintBox::TPQPaintBox() = default;
TPQPaintBox::~TPQPaintBox() = default;

void TPQPaintBox::SetSize(double Width, double Height) {
    FWidth = Width;
    FHeight = Height;
}

void TPQPaintBox::Repaint() {
    if (FRepaintRequest) FRepaintRequest();
}

void TPQPaintBox::MouseDown(TMouseButton, TShiftState, double, double) {}
void TPQPaintBox::MouseMove(TShiftState, double, double) {}
void TPQPaintBox::MouseUp(TMouseButton, TShiftState, double, double) {}
void TPQPaintBox::MouseWheel(TShiftState, int, bool&) {}

std::string TPQPaintBox::GetCaption() const {
    return Fmt("%s [%s]", chartdefs::DispCaption(FFerroDisp).c_str(), StampToText(FTSStart).c_str());
}

void TPQPaintBox::PaintCaption(TCanvas& Canvas, bool DrawText) {
    FGraphRect = TRectF(0, 0, FWidth, FHeight);
    FCapRect = FGraphRect;
    Canvas.Font.Size += 2;
    const double h = Canvas.TextHeight("H");
    FGraphRect.Top += h;
    FCapRect.Bottom = FGraphRect.Top;
    FGraphRect.Bottom = FHeight - h;
    if (DrawText) {
        Canvas.Fill.Color = 0xFF0000FF;
        Canvas.FillText(FCapRect, GetCaption(), false, 1, 0, taCenter, taCenter);
    }
    Canvas.Font.Size -= 2;
    FLabDispLst.clear();
    FTxtW = Canvas.TextWidth("H");
    FTxtH = Canvas.TextHeight("H");
}

bool TPQPaintBox::ChkInterSect(const TRectF& R) const {
    for (const auto& l : FLabDispLst)
        if (l.RR.IntersectsWith(R)) return false;
    return true;
}

void TPQPaintBox::PlaceText(TCanvas& Canvas, const TRectF& R, const std::string& Text, TTextAlign HAlign,
                            TAlphaColor Colour, bool Deferred) {
    if (Text.empty()) return;
    if (Deferred) {
        // Only queued labels block; one that would overlap them is dropped without trace.
        if (ChkInterSect(R)) FLabDispLst.push_back(TLabDisp{R, Text, Colour});
        return;
    }
    Canvas.Fill.Color = Colour;
    Canvas.FillText(R, Text, false, 1, 0, HAlign, taCenter);
}

void TPQPaintBox::TextOutC(TCanvas& Canvas, const std::string& Text, const TPointF& P, double /*Offset*/,
                           TAlphaColor Colour, bool Deferred) {
    const double w = Canvas.TextWidth(Text);
    PlaceText(Canvas, TRectF(P.X - w / 2, P.Y, P.X + w / 2, P.Y + FTxtH), Text, taCenter, Colour, Deferred);
}

void TPQPaintBox::TextOutL(TCanvas& Canvas, const std::string& Text, const TPointF& P, double Offset,
                           TAlphaColor Colour, bool Deferred) {
    const double left = P.X + FTxtW;
    const double top = P.Y - Offset;
    const TRectF r(left, top, left + Canvas.TextWidth(Text), top + Canvas.TextHeight(Text));
    PlaceText(Canvas, r, Text, taLeading, Colour, Deferred);
}

void TPQPaintBox::TextOutR(TCanvas& Canvas, const std::string& Text, const TPointF& P, double Offset,
                           TAlphaColor Colour, bool Deferred) {
    const double right = P.X - FTxtW;
    const double top = P.Y + Offset;
    const TRectF r(right - Canvas.TextWidth(Text), top, right, top + Canvas.TextHeight(Text));
    PlaceText(Canvas, r, Text, taTrailing, Colour, Deferred);
}

void TPQPaintBox::TextOutLR(TCanvas& Canvas, const std::string& Text, const TPointF& P1, const TPointF& P2,
                            TAlphaColor Colour, bool Deferred) {
    const bool otherEndLower = P2.Y > P1.Y;
    if (P2.X > P1.X)
        TextOutR(Canvas, Text, P1, otherEndLower ? -FTxtH : 0, Colour, Deferred);
    else
        TextOutL(Canvas, Text, P1, otherEndLower ? FTxtH : 0, Colour, Deferred);
}

void TPQPaintBox::TextOutInvers(TCanvas& Canvas, const std::string& Text, const TPointF& P, double /*Offset*/,
                                TAlphaColor Colour) {
    if (Text.empty()) return;
    const double w = Canvas.TextWidth(Text);
    const TRectF r(P.X - w / 2, P.Y, P.X + w / 2, P.Y + FTxtH);
    FBrush.Color = Colour;
    Canvas.FillRect(r, 1, FBrush);
    Canvas.Fill.Color = 0xFFFFFFFF;
    Canvas.FillText(r, Text, false, 1, 0, taCenter, taCenter);
}

void TPQPaintBox::TextFromLst(TCanvas& Canvas, size_t From) {
    for (size_t i = From; i < FLabDispLst.size(); ++i) {
        const TLabDisp& l = FLabDispLst[i];
        Canvas.Fill.Color = l.Col;
        Canvas.FillText(l.RR, l.SS, false, 1, 0, taCenter, taCenter);
    }
}

TCanvasBitmap& TPQPaintBox::MainBitmap(const TCanvas& Like) {
    if (!FBMPMain) FBMPMain = Like.CreateBitmap();
    return *FBMPMain;
}

void TPQPaintBox::PaintCaptionText(TCanvas& Canvas) {
    Canvas.Font.Size += 2;
    Canvas.Fill.Color = 0xFF0000FF;
    Canvas.FillText(FCapRect, GetCaption(), false, 1, 0, taCenter, taCenter);
    Canvas.Font.Size -= 2;
}

void TPQPaintBox::NotifyPaint() {
    if (FPaintNotify) FPaintNotify(this, uint32_t(FPaintCnt));
}

bool TPQPaintBox::BeginPaint(TCanvas& Canvas, TAlphaColor Background, bool LayerFollows) {
    if (FInPaint || !Canvas.BeginScene()) return false;
    FInPaint = true;
    FPaintFont = Canvas.Font;
    FBackground = Background;
    if (!LayerFollows || !CachesLayerOn(Canvas)) Canvas.Clear(Background);
    Canvas.Stroke.Thickness = 0.3;
    Canvas.Stroke.Dash = TStrokeDash::Solid;
    Canvas.Stroke.Color = 0xFF000000;
    return true;
}

void TPQPaintBox::EndPaint(TCanvas& Canvas) {
    Canvas.Font = FPaintFont;
    Canvas.EndScene();
    FInPaint = false;
    NotifyPaint();
}

bool TPQPaintBox::CachesLayerOn(const TCanvas& Canvas) {
    const TMatrix m = Canvas.Matrix();
    const bool upright = m.m11 == 1 && m.m12 == 0 && m.m21 == 0 && m.m22 == 1 && m.m31 == 0 && m.m32 == 0;
    return upright && Canvas.CachesLayers();
}

void TPQPaintBox::PaintLayer(TCanvas& Canvas, const std::function<void(TCanvas&)>& Static) {
    if (!CachesLayerOn(Canvas)) {
        Static(Canvas);
        return;
    }
    // Every run of the layer's drawing starts from the pen, fill and font the canvas has now.
    const TFontState font = Canvas.Font;
    const TStrokeState stroke = Canvas.Stroke;
    const TFillState fill = Canvas.Fill;
    auto prepared = [&](TCanvas& C) -> TCanvas& {
        C.Font = font;
        C.Stroke = stroke;
        C.Fill = fill;
        return C;
    };
    TFingerprintCanvas probe(Canvas);
    Static(prepared(probe));
    const int w = int(std::ceil(FWidth)), h = int(std::ceil(FHeight));
    if (!FLayer) FLayer = Canvas.CreateBitmap();
    if (!FLayerValid || probe.Fingerprint() != FLayerPrint || FLayer->Width() != w || FLayer->Height() != h) {
        FLayerValid = false;
        // Opaque in the page's colour: copied, not blended, onto the page it replaces.
        FLayer->SetSize(w, h, (FBackground >> 24) == 0xFF);
        TCanvas& bc = prepared(FLayer->Canvas());
        if (bc.BeginScene()) {
            bc.Clear(FBackground);
            Static(bc);
            bc.EndScene();
            FLayerPrint = probe.Fingerprint();
            FLayerValid = true;
            // Where the layer drew, found once per new layer: it measures every text.
            TFingerprintCanvas touched(Canvas, true);
            Static(prepared(touched));
            const TRectF t = touched.Touched();
            FLayerPart =
                TRectF(std::max(0.0, std::floor(t.Left)), std::max(0.0, std::floor(t.Top)),
                       std::min(double(w), std::ceil(t.Right)), std::min(double(h), std::ceil(t.Bottom)));
            if (FLayerPart.Width() <= 0 || FLayerPart.Height() <= 0) FLayerPart = TRectF();
            // A layer over most of the page is copied whole; one that is not opaque always is.
            FLayerPartial = !touched.TouchedAll() && (FBackground >> 24) == 0xFF &&
                            FLayerPart.Width() * FLayerPart.Height() < 0.8 * w * h;
        } else {
            Canvas.Clear(FBackground);
            Static(Canvas);
            return;
        }
    }
    if (!FLayerPartial) {
        const TRectF all(0, 0, w, h);
        Canvas.DrawBitmap(*FLayer, all, all, 1);
    } else {
        // Outside what the layer drew it holds only the page's colour: a fill there is cheaper
        // than a copy.
        const TRectF& p = FLayerPart;
        const TBrush page{FBackground};
        Canvas.FillRect(TRectF(0, 0, w, p.Top), 1, page);
        Canvas.FillRect(TRectF(0, p.Bottom, w, h), 1, page);
        Canvas.FillRect(TRectF(0, p.Top, p.Left, p.Bottom), 1, page);
        Canvas.FillRect(TRectF(p.Right, p.Top, w, p.Bottom), 1, page);
        if (p.Width() > 0 && p.Height() > 0) Canvas.DrawBitmap(*FLayer, p, p, 1);
    }
    Canvas.Font = probe.Font;
    Canvas.Stroke = probe.Stroke;
    Canvas.Fill = probe.Fill;
}

} // namespace ferro
