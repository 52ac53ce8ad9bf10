#pragma once
// A canvas that draws nothing and keeps every call with the pen, fill and font in force at that
// moment, so that chart logic can be checked without a screen. Text is measured by a fixed rule:
// each character is half the font size wide, each line 1.25 font sizes high.

#include "charts/Canvas.h"

#include <vector>

namespace ferro {

enum class TCanvasOp : uint8_t {
    BeginScene,
    EndScene,
    Clear,
    FillText,
    DrawLine,
    DrawRect,
    FillRect,
    DrawEllipse,
    DrawPath,
    SetMatrix,
    DrawBitmap
};

struct TCanvasCall {
    TCanvasOp Op;
    TRectF Rect;      // text, rectangle and ellipse bounds; destination of a bitmap
    TRectF Src;       // source of a bitmap
    TPointF P1, P2;   // line ends
    std::string Text; // FillText
    TTextAlign HAlign = taCenter;
    TTextAlign VAlign = taCenter;
    bool WordWrap = false;
    double Opacity = 1;
    TAlphaColor Color = 0; // Clear colour, FillRect brush colour
    TFillState Fill;
    TStrokeState Stroke;
    TFontState Font;
    TMatrix Matrix;
    std::vector<TPathData::TStep> Path;
};

class TRecordingCanvas : public TCanvas {
public:
    std::vector<TCanvasCall> Calls;
    // When false, BeginScene refuses.
    bool AcceptScene = true;

    static constexpr double CCharWidth = 0.5;   // times the font size
    static constexpr double CLineHeight = 1.25; // times the font size

    bool BeginScene() override;
    void EndScene() override;
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
    std::unique_ptr<TCanvasBitmap> CreateBitmap() const override;
    void DrawBitmap(TCanvasBitmap& Bitmap, const TRectF& Src, const TRectF& Dst, double Opacity) override;

    // The calls of one kind, in order.
    std::vector<TCanvasCall> Of(TCanvasOp Op) const;
    // The texts of all FillText calls, in order.
    std::vector<std::string> Texts() const;
    void Reset() { Calls.clear(); }

private:
    TCanvasCall& Push(TCanvasOp Op, double Opacity);
    TMatrix FMatrix;
};

} // namespace ferro
