#pragma once
// The drawing operations that every chart uses. Charts draw only through this interface, so that
// they run against QPainter on a widget, an image or a PDF page, or against a recorder in tests.

#include "charts/CanvasBitmap.h"
#include "charts/Geometry.h"
#include "charts/PathData.h"
#include "foundation/Sammler.h"

#include <cstdint>
#include <memory>
#include <string>

namespace ferro {

enum class TStrokeDash : uint8_t { Solid, Dash, Dot, DashDot, DashDotDot };
enum class TStrokeCap : uint8_t { Flat, Round };
enum class TStrokeJoin : uint8_t { Miter, Round, Bevel };

// Font styles as bits.
enum TFontStyle : uint8_t { fsBold = 1, fsItalic = 2, fsUnderline = 4 };
using TFontStyles = uint8_t;

// Horizontal and vertical placement of text in its rectangle.
enum TTextAlign : uint8_t { taCenter = 0, taLeading = 1, taTrailing = 2 };

// FillText flags.
enum TFillTextFlag : uint8_t { ftRightToLeft = 1 };
using TFillTextFlags = uint8_t;

struct TFillState {
    TAlphaColor Color = 0xFF000000;
};

struct TStrokeState {
    TAlphaColor Color = 0xFF000000;
    double Thickness = 1.0;
    TStrokeDash Dash = TStrokeDash::Solid;
    TStrokeCap Cap = TStrokeCap::Flat;
    TStrokeJoin Join = TStrokeJoin::Miter;
    // Off for curves whose pixel columns must cover exactly their value span (time chart).
    bool Antialias = true;
};

// Size in device pixels.
struct TFontState {
    double Size = 12.0;
    TFontStyles Style = 0;
    std::string Family = "DejaVu Sans";
};

// A fill that is not the canvas's current one, such as the box behind an inverted label.
struct TBrush {
    TAlphaColor Color = 0xFFF5F5DC;
};

class TCanvas {
public:
    virtual ~TCanvas() = default;

    // Current pen, fill and font; read by every drawing operation at the time of the call.
    TFillState Fill;
    TStrokeState Stroke;
    TFontState Font;

    // Brackets a drawing pass. When BeginScene refuses, the caller draws nothing.
    virtual bool BeginScene() = 0;
    virtual void EndScene() = 0;

    virtual void Clear(TAlphaColor Color) = 0;

    // Multi-line texts ("\n" or "\r\n") measure their widest line and all their lines.
    virtual double TextWidth(const std::string& Text) = 0;
    virtual double TextHeight(const std::string& Text) = 0;
    // Text in Fill.Color inside the rectangle.
    virtual void FillText(const TRectF& Rect, const std::string& Text, bool WordWrap, double Opacity,
                          TFillTextFlags Flags, TTextAlign HAlign, TTextAlign VAlign) = 0;

    virtual void DrawLine(const TPointF& P1, const TPointF& P2, double Opacity) = 0;
    virtual void DrawRect(const TRectF& Rect, double Opacity) = 0;
    // With the current Fill, or with a brush of its own.
    virtual void FillRect(const TRectF& Rect, double Opacity) = 0;
    virtual void FillRect(const TRectF& Rect, double Opacity, const TBrush& Brush) = 0;
    virtual void DrawEllipse(const TRectF& Rect, double Opacity) = 0;
    virtual void DrawPath(const TPathData& Path, double Opacity) = 0;

    // The transform applied to all following operations.
    virtual void SetMatrix(const TMatrix& M) = 0;
    // M applied in front of the current transform.
    virtual void MultiplyMatrix(const TMatrix& M) = 0;
    virtual TMatrix Matrix() const = 0;

    // True where a chart may paint its unchanging parts from a bitmap of its own instead of drawing
    // them (a screen or an image at one device pixel per unit); a recorder or a printer gets calls.
    virtual bool CachesLayers() const { return false; }
    // A bitmap whose canvas is of the same kind as this one.
    virtual std::unique_ptr<TCanvasBitmap> CreateBitmap() const = 0;
    virtual void DrawBitmap(TCanvasBitmap& Bitmap, const TRectF& Src, const TRectF& Dst, double Opacity) = 0;
};

} // namespace ferro
