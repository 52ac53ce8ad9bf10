#pragma once
// The canvas over QPainter: on a QImage, a widget or a PDF page alike.

#include "charts/Canvas.h"

#include <QFontMetricsF>
#include <QPainter>
#include <QPainterPath>

#include <memory>

class QPaintDevice;

namespace ferro {

struct TLaidOutText;

class TPainterCanvas : public TCanvas {
public:
    // Opens its own painter on the device in BeginScene and closes it in EndScene.
    explicit TPainterCanvas(QPaintDevice& Device);
    // Draws with a painter that the caller has already begun (a widget's paint event, a PDF page);
    // BeginScene then only checks that it is active, EndScene leaves it open. The painter's
    // transform at BeginScene places the chart, and Clear fills Surface (in chart coordinates),
    // or the whole device when Surface is empty: a report can put a chart anywhere on a page.
    explicit TPainterCanvas(QPainter& Painter, const QRectF& Surface = QRectF());
    ~TPainterCanvas() override;
    TPainterCanvas(const TPainterCanvas&) = delete;
    TPainterCanvas& operator=(const TPainterCanvas&) = delete;

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
    bool CachesLayers() const override;
    std::unique_ptr<TCanvasBitmap> CreateBitmap() const override;
    void DrawBitmap(TCanvasBitmap& Bitmap, const TRectF& Src, const TRectF& Dst, double Opacity) override;

    // Converts the font state into a QFont whose pixel size on the device equals Font.Size.
    QFont MakeFont() const;

private:
    QPaintDevice* Device() const;
    // The font and its metrics for the current font state, rebuilt only when the state changed:
    // building a QFont and its metrics costs more than measuring a label with them.
    const QFontMetricsF& Metrics();
    const QFont& CurrentFont();
    // The measured size and the layout of a text in the current font, from the thread's cache.
    TLaidOutText& LaidOut(const QString& Text);
    // The text laid out once and ready to be drawn from the cache.
    TLaidOutText& Prepared(const QString& Text);
    // Draws a thin aliased path straight into the image's pixels; false when the painter must.
    bool DrawThinPath(const TPathData& Path, double Opacity);
    void ApplyPen();
    // No outline; fills antialiased unless told otherwise.
    void ApplyNoPen(bool Antialias = true);
    void SetAntialias(bool On);

    QPaintDevice* FDevice = nullptr;
    std::unique_ptr<QPainter> FOwnPainter;
    QPainter* FPainter = nullptr;
    void ApplyTransform();

    QRectF FSurface;
    bool FSaved = false; // the borrowed painter's state is saved for EndScene
    QTransform FBaseTransform;
    TMatrix FMatrix;
    QPainterPath FPathScratch;
    TFontState FFontKey;
    int FFontDpi = 0;
    bool FFontValid = false;
    QFont FFont;
    QString FFontCacheKey; // the current font's prefix of a text's key in the cache
    std::unique_ptr<QFontMetricsF> FMetrics;
};

} // namespace ferro
