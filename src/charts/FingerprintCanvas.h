#pragma once
// A canvas that draws nothing but folds every call, with the pen, fill and font in force, into one
// 64-bit fingerprint. A chart runs its static part against it to learn whether the bitmap it
// cached of that part still shows the same picture. Texts are measured by another canvas. It also
// keeps the rectangle on the page that the calls can have touched, so that only that part of the
// bitmap needs copying.

#include "charts/Canvas.h"

#include <cstdint>

namespace ferro {

class TFingerprintCanvas : public TCanvas {
public:
    // Keeping the touched rectangle measures every text: asked for only where it is used.
    explicit TFingerprintCanvas(TCanvas& Measure, bool KeepTouched = false)
        : FMeasure(Measure), FKeepTouched(KeepTouched) {}

    uint64_t Fingerprint() const { return FHash; }
    // With KeepTouched: the device pixels the calls may have changed, antialiased edges included;
    // the whole page after a Clear or a wrapped text, whose lines are not known here. Empty when
    // nothing was drawn.
    TRectF Touched() const { return FTouched; }
    bool TouchedAll() const { return FAll; }

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
    // Widens the touched rectangle by R under the matrix in force, plus Margin pixels each side.
    void Touch(const TRectF& R, double Margin);
    double StrokeMargin() const;

    TCanvas& FMeasure;
    TMatrix FMatrix;
    uint64_t FHash = 1469598103934665603ull; // FNV-1a offset basis
    bool FKeepTouched;
    TRectF FTouched;
    bool FAny = false;
    bool FAll = false;
};

} // namespace ferro
