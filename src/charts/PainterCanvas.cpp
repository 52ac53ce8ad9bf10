#include "charts/PainterCanvas.h"

#include "charts/ImageBitmap.h"
#include "charts/ThinPathRaster.h"

#include <QFontMetricsF>
#include <QHash>
#include <QImage>
#include <QPaintDevice>
#include <QPainterPath>
#include <QStaticText>

#include <climits>
#include <cmath>
#include <future>
#include <system_error>
#include <vector>

namespace ferro {

namespace {

QColor ToQColor(TAlphaColor c) {
    return QColor::fromRgba(QRgb(c));
}

QRectF ToQRect(const TRectF& r) {
    return QRectF(QPointF(r.Left, r.Top), QPointF(r.Right, r.Bottom));
}

QString ToQText(const std::string& s) {
    QString t = QString::fromStdString(s);
    t.replace(QLatin1String("\r\n"), QLatin1String("\n"));
    return t;
}

Qt::PenStyle ToPenStyle(TStrokeDash d) {
    switch (d) {
    case TStrokeDash::Dash:
        return Qt::DashLine;
    case TStrokeDash::Dot:
        return Qt::DotLine;
    case TStrokeDash::DashDot:
        return Qt::DashDotLine;
    case TStrokeDash::DashDotDot:
        return Qt::DashDotDotLine;
    case TStrokeDash::Solid:
        break;
    }
    return Qt::SolidLine;
}

Qt::PenCapStyle ToCap(TStrokeCap c) {
    return c == TStrokeCap::Round ? Qt::RoundCap : Qt::FlatCap;
}

Qt::PenJoinStyle ToJoin(TStrokeJoin j) {
    switch (j) {
    case TStrokeJoin::Round:
        return Qt::RoundJoin;
    case TStrokeJoin::Bevel:
        return Qt::BevelJoin;
    case TStrokeJoin::Miter:
        break;
    }
    return Qt::MiterJoin;
}

int AlignFlags(TTextAlign h, TTextAlign v) {
    int f = 0;
    f |= h == taLeading ? Qt::AlignLeft : h == taTrailing ? Qt::AlignRight : Qt::AlignHCenter;
    f |= v == taLeading ? Qt::AlignTop : v == taTrailing ? Qt::AlignBottom : Qt::AlignVCenter;
    return f;
}

QTransform ToQTransform(const TMatrix& m) {
    return QTransform(m.m11, m.m12, m.m21, m.m22, m.m31, m.m32);
}

// From this many steps on, a thin path is drawn by two threads.
constexpr size_t CThinPathSplit = 2048;

} // namespace

// Labels repeat on every paint, and laying out a text costs Qt far more than drawing its glyphs:
// each text is measured and laid out once per font. Per thread, since a report may paint off the
// main thread; cleared when full, which only costs one layout per label again.
struct TLaidOutText {
    QSizeF Size;
    QStaticText Static; // empty until the text is drawn once
};

static QHash<QString, TLaidOutText>& TextCache() {
    thread_local QHash<QString, TLaidOutText> cache;
    return cache;
}

static constexpr int CTextCacheMax = 4096;

TPainterCanvas::TPainterCanvas(QPaintDevice& Device)
    : FDevice(&Device), FOwnPainter(std::make_unique<QPainter>()), FPainter(FOwnPainter.get()) {}

TPainterCanvas::TPainterCanvas(QPainter& Painter, const QRectF& Surface)
    : FPainter(&Painter), FSurface(Surface) {}

TPainterCanvas::~TPainterCanvas() {
    if (FOwnPainter && FOwnPainter->isActive()) FOwnPainter->end();
}

QPaintDevice* TPainterCanvas::Device() const {
    return FDevice ? FDevice : FPainter->device();
}

bool TPainterCanvas::BeginScene() {
    if (FOwnPainter) {
        if (!FOwnPainter->isActive() && !FOwnPainter->begin(FDevice)) return false;
    } else if (!FPainter->isActive()) {
        return false;
    } else {
        // A borrowed painter gets back what it had: its transform, pen, font and opacity.
        if (!FSaved) FPainter->save();
        FSaved = true;
    }
    FPainter->setRenderHint(QPainter::Antialiasing, true);
    FPainter->setRenderHint(QPainter::TextAntialiasing, true);
    FBaseTransform = FOwnPainter ? QTransform() : FPainter->transform();
    ApplyTransform();
    return true;
}

void TPainterCanvas::EndScene() {
    if (FOwnPainter) {
        if (FOwnPainter->isActive()) FOwnPainter->end();
    } else if (FSaved) {
        FPainter->restore();
        FSaved = false;
    }
}

void TPainterCanvas::Clear(TAlphaColor Color) {
    if (!FPainter->isActive()) return;
    FPainter->save();
    FPainter->setOpacity(1.0);
    FPainter->setCompositionMode(QPainter::CompositionMode_Source);
    if (FSurface.isNull()) {
        QPaintDevice* dev = Device();
        FPainter->resetTransform();
        FPainter->fillRect(QRectF(0, 0, dev->width(), dev->height()), ToQColor(Color));
    } else {
        FPainter->setTransform(FBaseTransform);
        FPainter->fillRect(FSurface, ToQColor(Color));
    }
    FPainter->restore();
}

QFont TPainterCanvas::MakeFont() const {
    QFont f(QString::fromStdString(Font.Family));
    const QPaintDevice* dev = Device();
    const int dpi = dev && dev->logicalDpiY() > 0 ? dev->logicalDpiY() : 96;
    // Sizes are pixels of the device; QFont wants points.
    f.setPointSizeF(Font.Size > 0 ? Font.Size * 72.0 / dpi : 1.0);
    f.setBold(Font.Style & fsBold);
    f.setItalic(Font.Style & fsItalic);
    f.setUnderline(Font.Style & fsUnderline);
    return f;
}

const QFont& TPainterCanvas::CurrentFont() {
    const QPaintDevice* dev = Device();
    const int dpi = dev ? dev->logicalDpiY() : 0;
    if (!FFontValid || dpi != FFontDpi || Font.Size != FFontKey.Size || Font.Style != FFontKey.Style ||
        Font.Family != FFontKey.Family) {
        FFont = MakeFont();
        FMetrics = std::make_unique<QFontMetricsF>(FFont, Device());
        FFontKey = Font;
        FFontDpi = dpi;
        FFontValid = true;
        FFontCacheKey = FFont.key() + QLatin1Char('@') + QString::number(dpi) + QLatin1Char('\x1f');
    }
    return FFont;
}

const QFontMetricsF& TPainterCanvas::Metrics() {
    CurrentFont();
    return *FMetrics;
}

TLaidOutText& TPainterCanvas::LaidOut(const QString& Text) {
    const QFontMetricsF& fm = Metrics();
    auto& cache = TextCache();
    const QString key = FFontCacheKey + Text;
    auto it = cache.find(key);
    if (it != cache.end()) return *it;
    if (cache.size() >= CTextCacheMax) cache.clear();
    TLaidOutText t;
    t.Size = Text.isEmpty()
                 ? QSizeF(0, fm.height())
                 : fm.boundingRect(QRectF(0, 0, 1e6, 1e6), Qt::AlignLeft | Qt::AlignTop, Text).size();
    return *cache.insert(key, std::move(t));
}

TLaidOutText& TPainterCanvas::Prepared(const QString& Text) {
    TLaidOutText& t = LaidOut(Text);
    if (t.Static.text().isEmpty() && !Text.isEmpty()) {
        t.Static.setTextFormat(Qt::PlainText);
        t.Static.setPerformanceHint(QStaticText::AggressiveCaching);
        t.Static.setText(Text);
        t.Static.prepare(QTransform(), FFont);
    }
    return t;
}

double TPainterCanvas::TextWidth(const std::string& Text) {
    return LaidOut(ToQText(Text)).Size.width();
}

double TPainterCanvas::TextHeight(const std::string& Text) {
    return LaidOut(ToQText(Text)).Size.height();
}

void TPainterCanvas::FillText(const TRectF& Rect, const std::string& Text, bool WordWrap, double Opacity,
                              TFillTextFlags Flags, TTextAlign HAlign, TTextAlign VAlign) {
    if (!FPainter->isActive()) return;
    FPainter->setOpacity(Opacity);
    FPainter->setPen(ToQColor(Fill.Color));
    FPainter->setFont(CurrentFont());
    const QString text = ToQText(Text);
    const QRectF box = ToQRect(Rect);
    // Where a block of `size` starts between `from` and `to`.
    auto place = [](double from, double to, double size, TTextAlign a) {
        return a == taLeading ? from : a == taTrailing ? to - size : (from + to) / 2 - size / 2;
    };
    if (!WordWrap && !(Flags & ftRightToLeft)) {
        FPainter->setLayoutDirection(Qt::LeftToRight);
        if (!text.contains(QLatin1Char('\n'))) {
            // One line: placed by its measured box, drawn from its cached layout.
            TLaidOutText& t = Prepared(text);
            FPainter->drawStaticText(QPointF(place(box.left(), box.right(), t.Size.width(), HAlign),
                                             place(box.top(), box.bottom(), t.Size.height(), VAlign)),
                                     t.Static);
            return;
        }
        // Several lines: each from its cached layout, stacked as the painter's own text layout
        // stacks them (the leading before each line, a line on a whole pixel), which a detail
        // box redrawn on every repaint would otherwise lay out anew each time.
        const QFontMetricsF& fm = Metrics();
        QStringList lines = text.split(QLatin1Char('\n'));
        for (QString& l : lines)
            if (l.endsWith(QLatin1Char('\r'))) l.chop(1);
        std::vector<double> tops;
        double height = 0;
        for (int i = 0; i < lines.size(); ++i) {
            height = std::ceil(height + fm.leading());
            tops.push_back(height);
            height += fm.ascent() + fm.descent();
        }
        const double y = place(box.top(), box.bottom(), height, VAlign);
        for (int i = 0; i < lines.size(); ++i) {
            if (lines[i].isEmpty()) continue;
            TLaidOutText& t = Prepared(lines[i]);
            FPainter->drawStaticText(
                QPointF(place(box.left(), box.right(), t.Size.width(), HAlign), y + tops[size_t(i)]),
                t.Static);
        }
        return;
    }
    FPainter->setLayoutDirection((Flags & ftRightToLeft) ? Qt::RightToLeft : Qt::LeftToRight);
    int flags = AlignFlags(HAlign, VAlign) | Qt::TextDontClip;
    if (WordWrap) flags |= Qt::TextWordWrap;
    FPainter->drawText(box, flags, text);
}

void TPainterCanvas::ApplyPen() {
    QPen pen(ToQColor(Stroke.Color), Stroke.Thickness, ToPenStyle(Stroke.Dash), ToCap(Stroke.Cap),
             ToJoin(Stroke.Join));
    FPainter->setPen(pen);
    FPainter->setBrush(Qt::NoBrush);
    SetAntialias(Stroke.Antialias);
}

void TPainterCanvas::SetAntialias(bool On) {
    // The painter tells its engine of every hint set, changed or not, and the engine then works
    // out its drawing paths again: a bar chart's hundreds of rectangles would pay that twice each.
    if (FPainter->testRenderHint(QPainter::Antialiasing) != On)
        FPainter->setRenderHint(QPainter::Antialiasing, On);
}

void TPainterCanvas::ApplyNoPen(bool Antialias) {
    FPainter->setPen(Qt::NoPen);
    SetAntialias(Antialias);
}

void TPainterCanvas::DrawLine(const TPointF& P1, const TPointF& P2, double Opacity) {
    if (!FPainter->isActive()) return;
    FPainter->setOpacity(Opacity);
    ApplyPen();
    FPainter->drawLine(QPointF(P1.X, P1.Y), QPointF(P2.X, P2.Y));
}

void TPainterCanvas::DrawRect(const TRectF& Rect, double Opacity) {
    if (!FPainter->isActive()) return;
    FPainter->setOpacity(Opacity);
    ApplyPen();
    FPainter->drawRect(ToQRect(Rect));
}

void TPainterCanvas::FillRect(const TRectF& Rect, double Opacity) {
    FillRect(Rect, Opacity, TBrush{Fill.Color});
}

void TPainterCanvas::FillRect(const TRectF& Rect, double Opacity, const TBrush& Brush) {
    if (!FPainter->isActive()) return;
    FPainter->setOpacity(Opacity);
    // An upright rectangle needs no antialiasing: its edges are only softened, and the rasteriser
    // takes several times as long with it. Turned shapes keep it.
    ApplyNoPen(FPainter->transform().type() > QTransform::TxScale);
    FPainter->fillRect(ToQRect(Rect), ToQColor(Brush.Color));
}

void TPainterCanvas::DrawEllipse(const TRectF& Rect, double Opacity) {
    if (!FPainter->isActive()) return;
    FPainter->setOpacity(Opacity);
    ApplyPen();
    FPainter->drawEllipse(ToQRect(Rect));
}

void TPainterCanvas::DrawPath(const TPathData& Path, double Opacity) {
    if (!FPainter->isActive() || Path.Empty() || DrawThinPath(Path, Opacity)) return;
    FPainter->setOpacity(Opacity);
    ApplyPen();
    // The scratch path keeps its storage between curves.
    FPathScratch.clear();
    for (const auto& s : Path.Steps()) {
        if (s.Move)
            FPathScratch.moveTo(s.Point.X, s.Point.Y);
        else
            FPathScratch.lineTo(s.Point.X, s.Point.Y);
    }
    FPainter->drawPath(FPathScratch);
}

bool TPainterCanvas::DrawThinPath(const TPathData& Path, double Opacity) {
    // Only what the painter would draw exactly so: one opaque, solid, aliased pixel wide, on a
    // plain image, not turned or scaled, nothing clipped or blended otherwise.
    if (Opacity < 1 || Stroke.Antialias || Stroke.Thickness > 1 || Stroke.Dash != TStrokeDash::Solid ||
        (Stroke.Color >> 24) != 0xFF)
        return false;
    QPaintDevice* dev = Device();
    if (!dev || dev->devType() != QInternal::Image || FPainter->hasClipping() ||
        FPainter->compositionMode() != QPainter::CompositionMode_SourceOver)
        return false;
    auto* img = static_cast<QImage*>(dev);
    const QImage::Format f = img->format();
    if ((f != QImage::Format_ARGB32_Premultiplied && f != QImage::Format_ARGB32 &&
         f != QImage::Format_RGB32) ||
        img->devicePixelRatio() != 1.0 || !img->isDetached())
        return false;
    const QTransform& t = FPainter->transform();
    if (t.type() > QTransform::TxTranslate) return false;
    TPixelTarget target;
    target.Bits = reinterpret_cast<uint32_t*>(img->bits());
    target.StrideWords = int(img->bytesPerLine() / 4);
    target.Width = img->width();
    target.Height = img->height();
    // A long path (a dense curve) by halves of the columns on two threads.
    if (Path.Count() >= CThinPathSplit && target.Width >= 64) try {
            TPixelTarget right = target;
            right.XFrom = target.XTo = target.Width / 2;
            auto other = std::async(std::launch::async,
                                    [&] { RasterThinPath(right, Path, t.dx(), t.dy(), Stroke.Color); });
            RasterThinPath(target, Path, t.dx(), t.dy(), Stroke.Color);
            other.get();
            return true;
        } catch (const std::system_error&) {
            target.XTo = INT_MAX; // no thread to spare: all on this one
        }
    RasterThinPath(target, Path, t.dx(), t.dy(), Stroke.Color);
    return true;
}

void TPainterCanvas::ApplyTransform() {
    // The chart's matrix acts first, then whatever placed the chart.
    if (FPainter->isActive()) FPainter->setTransform(ToQTransform(FMatrix) * FBaseTransform);
}

void TPainterCanvas::SetMatrix(const TMatrix& M) {
    FMatrix = M;
    ApplyTransform();
}

void TPainterCanvas::MultiplyMatrix(const TMatrix& M) {
    SetMatrix(M * FMatrix);
}

bool TPainterCanvas::CachesLayers() const {
    const QPaintDevice* dev = Device();
    if (!dev || !FPainter->isActive() || dev->devicePixelRatioF() != 1.0) return false;
    const int type = dev->devType();
    if (type != QInternal::Image && type != QInternal::Widget && type != QInternal::Pixmap) return false;
    // A bitmap copied through a scale or a turn would come out blurred.
    return FBaseTransform.type() <= QTransform::TxTranslate;
}

std::unique_ptr<TCanvasBitmap> TPainterCanvas::CreateBitmap() const {
    return std::make_unique<TImageBitmap>();
}

void TPainterCanvas::DrawBitmap(TCanvasBitmap& Bitmap, const TRectF& Src, const TRectF& Dst, double Opacity) {
    if (!FPainter->isActive()) return;
    auto* img = dynamic_cast<TImageBitmap*>(&Bitmap);
    if (!img) return; // a bitmap of another toolkit cannot be copied here
    FPainter->setOpacity(Opacity);
    // Same format, no blending: a straight copy of the lines, several times faster.
    const bool copy = img->Opaque() && Opacity >= 1;
    if (copy) FPainter->setCompositionMode(QPainter::CompositionMode_Source);
    FPainter->drawImage(ToQRect(Dst), img->Image(), ToQRect(Src));
    if (copy) FPainter->setCompositionMode(QPainter::CompositionMode_SourceOver);
}

} // namespace ferro
