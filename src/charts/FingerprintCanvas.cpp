#include "charts/FingerprintCanvas.h"

#include <atomic>
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

void TFingerprintCanvas::Clear(TAlphaColor Color) {
    Mix(opClear);
    Mix(Color);
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
}

void TFingerprintCanvas::DrawLine(const TPointF& P1, const TPointF& P2, double Opacity) {
    Mix(opLine);
    Mix(P1.X);
    Mix(P1.Y);
    Mix(P2.X);
    Mix(P2.Y);
    Mix(Opacity);
    MixStroke();
}

void TFingerprintCanvas::DrawRect(const TRectF& Rect, double Opacity) {
    Mix(opRect);
    Mix(Rect);
    Mix(Opacity);
    MixStroke();
}

void TFingerprintCanvas::FillRect(const TRectF& Rect, double Opacity) {
    FillRect(Rect, Opacity, TBrush{Fill.Color});
}

void TFingerprintCanvas::FillRect(const TRectF& Rect, double Opacity, const TBrush& Brush) {
    Mix(opFill);
    Mix(Rect);
    Mix(Opacity);
    Mix(Brush.Color);
}

void TFingerprintCanvas::DrawEllipse(const TRectF& Rect, double Opacity) {
    Mix(opEllipse);
    Mix(Rect);
    Mix(Opacity);
    MixStroke();
}

void TFingerprintCanvas::DrawPath(const TPathData& Path, double Opacity) {
    Mix(opPath);
    for (const auto& s : Path.Steps()) {
        Mix(s.Move);
        Mix(s.Point.X);
        Mix(s.Point.Y);
    }
    Mix(Opacity);
    MixStroke();
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
}

} // namespace ferro
