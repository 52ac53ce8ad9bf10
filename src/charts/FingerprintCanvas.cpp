#include "charts/FingerprintCanvas.h"

#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstring>

namespace ferro {

namespace {
enum TOp : uint8_t { opClear = 1, opText, opLine, opRect, opFill, opEllipse, opPath, opMatrix, opBitmap };
}

void TFingerprintCanvas::Mix(const void* Data, size_t Size) {
    // Eight bytes a step (FNV-1a's prime, with the high bits folded back in): every repaint of a
    // cached layer runs its drawing through here.
    const auto* p = static_cast<const uint8_t*>(Data);
    auto step = [this](uint64_t w) {
        FHash = (FHash ^ w) * 1099511628211ull;
        FHash ^= FHash >> 29;
    };
    for (; Size >= 8; p += 8, Size -= 8) {
        uint64_t w;
        std::memcpy(&w, p, 8);
        step(w);
    }
    if (Size) {
        uint64_t w = 0;
        std::memcpy(&w, p, Size);
        step(w ^ (uint64_t(Size) << 56)); // the length keeps "a" and "a\0" apart
    }
}

void TFingerprintCanvas::Mix(const std::string& Text) {
    Mix(Text.size());
    Mix(Text.data(), Text.size());
}

void TFingerprintCanvas::Mix(const TRectF& R) {
    Mix(R.Left);
    Mix(R.Top);
    Mix(R.Right);
    Mix(R.Bottom);
}

void TFingerprintCanvas::MixStroke() {
    Mix(Stroke.Color);
    Mix(Stroke.Thickness);
    Mix(uint8_t(Stroke.Dash));
    Mix(uint8_t(Stroke.Cap));
    Mix(uint8_t(Stroke.Join));
    Mix(Stroke.Antialias);
}

void TFingerprintCanvas::MixFont() {
    Mix(Font.Size);
    Mix(Font.Style);
    Mix(Font.Family);
}

void TFingerprintCanvas::Touch(const TRectF& R, double Margin) {
    if (!FKeepTouched) return;
    const TMatrix& m = FMatrix;
    double l = HUGE_VAL, t = HUGE_VAL, r = -HUGE_VAL, b = -HUGE_VAL;
    for (const TPointF& p : {TPointF(R.Left, R.Top), TPointF(R.Right, R.Top), TPointF(R.Left, R.Bottom),
                             TPointF(R.Right, R.Bottom)}) {
        const double x = p.X * m.m11 + p.Y * m.m21 + m.m31, y = p.X * m.m12 + p.Y * m.m22 + m.m32;
        l = std::min(l, x);
        r = std::max(r, x);
        t = std::min(t, y);
        b = std::max(b, y);
    }
    // Not a number anywhere: where the painter puts it is not known.
    if (!(l <= r && t <= b)) {
        FAll = true;
        return;
    }
    const TRectF d(l - Margin, t - Margin, r + Margin, b + Margin);
    if (!FAny) {
        FTouched = d;
        FAny = true;
        return;
    }
    FTouched = TRectF(std::min(FTouched.Left, d.Left), std::min(FTouched.Top, d.Top),
                      std::max(FTouched.Right, d.Right), std::max(FTouched.Bottom, d.Bottom));
}

double TFingerprintCanvas::StrokeMargin() const {
    // Caps and mitred corners reach a thickness beyond the line; one more pixel for the soft edge.
    return 2 * std::max(1.0, Stroke.Thickness) + 1;
}

void TFingerprintCanvas::Clear(TAlphaColor Color) {
    Mix(opClear);
    Mix(Color);
    FAll = true;
}

double TFingerprintCanvas::TextWidth(const std::string& Text) {
    FMeasure.Font = Font;
    return FMeasure.TextWidth(Text);
}

double TFingerprintCanvas::TextHeight(const std::string& Text) {
    FMeasure.Font = Font;
    return FMeasure.TextHeight(Text);
}

void TFingerprintCanvas::FillText(const TRectF& Rect, const std::string& Text, bool WordWrap, double Opacity,
                                  TFillTextFlags Flags, TTextAlign HAlign, TTextAlign VAlign) {
    Mix(opText);
    Mix(Rect);
    Mix(Text);
    Mix(WordWrap);
    Mix(Opacity);
    Mix(Flags);
    Mix(HAlign);
    Mix(VAlign);
    Mix(Fill.Color);
    MixFont();
    if (!FKeepTouched) return;
    if (WordWrap) {
        FAll = true;
        return;
    }
    // Where the painter puts the text in its rectangle (it may run over a smaller one), with room
    // for accents and strokes that reach past the line's measured box.
    auto place = [](double Lo, double Hi, double Size, TTextAlign Align) {
        return Align == taLeading ? Lo : Align == taTrailing ? Hi - Size : (Lo + Hi - Size) / 2;
    };
    const double w = TextWidth(Text), h = TextHeight(Text);
    const double x = place(Rect.Left, Rect.Right, w, HAlign), y = place(Rect.Top, Rect.Bottom, h, VAlign);
    Touch(TRectF(x, y, x + w, y + h), 2 + h / 4);
}

void TFingerprintCanvas::DrawLine(const TPointF& P1, const TPointF& P2, double Opacity) {
    Mix(opLine);
    Mix(P1.X);
    Mix(P1.Y);
    Mix(P2.X);
    Mix(P2.Y);
    Mix(Opacity);
    MixStroke();
    Touch(TRectF(std::min(P1.X, P2.X), std::min(P1.Y, P2.Y), std::max(P1.X, P2.X), std::max(P1.Y, P2.Y)),
          StrokeMargin());
}

void TFingerprintCanvas::DrawRect(const TRectF& Rect, double Opacity) {
    Mix(opRect);
    Mix(Rect);
    Mix(Opacity);
    MixStroke();
    Touch(Rect, StrokeMargin());
}

void TFingerprintCanvas::FillRect(const TRectF& Rect, double Opacity) {
    FillRect(Rect, Opacity, TBrush{Fill.Color});
}

void TFingerprintCanvas::FillRect(const TRectF& Rect, double Opacity, const TBrush& Brush) {
    Mix(opFill);
    Mix(Rect);
    Mix(Opacity);
    Mix(Brush.Color);
    Touch(Rect, 1);
}

void TFingerprintCanvas::DrawEllipse(const TRectF& Rect, double Opacity) {
    Mix(opEllipse);
    Mix(Rect);
    Mix(Opacity);
    MixStroke();
    Touch(Rect, StrokeMargin());
}

void TFingerprintCanvas::DrawPath(const TPathData& Path, double Opacity) {
    Mix(opPath);
    double l = HUGE_VAL, t = HUGE_VAL, r = -HUGE_VAL, b = -HUGE_VAL;
    for (const auto& s : Path.Steps()) {
        Mix(s.Move);
        Mix(s.Point.X);
        Mix(s.Point.Y);
        if (!std::isfinite(s.Point.X) || !std::isfinite(s.Point.Y)) FAll = true;
        l = std::min(l, s.Point.X);
        r = std::max(r, s.Point.X);
        t = std::min(t, s.Point.Y);
        b = std::max(b, s.Point.Y);
    }
    Mix(Opacity);
    MixStroke();
    if (Path.Count() > 0) Touch(TRectF(l, t, r, b), StrokeMargin());
}

void TFingerprintCanvas::SetMatrix(const TMatrix& M) {
    FMatrix = M;
    Mix(opMatrix);
    Mix(M);
}

void TFingerprintCanvas::MultiplyMatrix(const TMatrix& M) {
    SetMatrix(M * FMatrix);
}

void TFingerprintCanvas::DrawBitmap(TCanvasBitmap&, const TRectF& Src, const TRectF& Dst, double Opacity) {
    Mix(opBitmap);
    static std::atomic<uint64_t> serial{0};
    Mix(++serial);
    Mix(Src);
    Mix(Dst);
    Mix(Opacity);
    Touch(Dst, 1);
}

} // namespace ferro
