#pragma once
// A canvas that draws nothing but folds every call, with the pen, fill and font in force, into one
// 64-bit fingerprint. A chart runs its static part against it to learn whether the bitmap it
// cached of that part still shows the same picture. Texts are measured by another canvas.

#include "charts/Canvas.h"

#include <cstdint>

namespace ferro {

class TFingerprintCanvas : public TCanvas {
public:
    explicit TFingerprintCanvas(TCanvas& Measure) : FMeasure(Measure) {}

    uint64_t Fingerprint() const { return FHash; }

    bool BeginScene() override { return true; }
    void EndScene() override {}
    void Clear(TAlphaColor Color) override;
    double TextWidth(const std::string& Text) override;
    double TextHeight(const std::string& Text) override;
    void FillText(const TRectF& Rect, const std::string& Text, bool WordWrap, double Opacity,
                  TFillTextFlags Flags, TTextAlign HAlign, TTextAlign VAlign) override;
    void DrawLine(const TPointF& P1, const TPointF& P2, double Opacity) override;
    void DrawRect(const TRectF& Rect, double Opacity) override;
    void FillRect(const TRectF& Rect, double Opacity) override;
    void FillRect(const TRectF& Rect, double Opacity, const TBrush& Brush) override;
    void DrawEllipse(const TRectF& Rect, double Opacity) override;
    void DrawPath(const TPathData& Path, double Opacity) override;
    void SetMatrix(const TMatrix& M) override;
    void MultiplyMatrix(const TMatrix& M) override;
    TMatrix Matrix() const override { return FMatrix; }
    std::unique_ptr<TCanvasBitmap> CreateBitmap() const override { return FMeasure.CreateBitmap(); }
    // A bitmap's pixels are not seen: a part drawing one is redrawn on every paint.
    void DrawBitmap(TCanvasBitmap& Bitmap, const TRectF& Src, const TRectF& Dst, double Opacity) override;

private:
    void Mix(const void* Data, size_t Size);
    template <typename T> void Mix(const T& Value) { Mix(&Value, sizeof(Value)); }
    void Mix(const std::string& Text);
    void Mix(const TRectF& R);
    void MixStroke();
    void MixFont();

    TCanvas& FMeasure;
    TMatrix FMatrix;
    uint64_t FHash = 1469598103934665603ull; // FNV-1a offset basis
};

} // namespace ferro
