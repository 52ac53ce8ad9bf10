// The QPainter canvas puts the canvas operations onto images and PDF pages.
#include "charts/FingerprintCanvas.h"
#include "charts/ImageBitmap.h"
#include "charts/PQPaintBoxHarm.h"
#include "charts/PQPaintBoxVecDiag.h"
#include "charts/PainterCanvas.h"

#include <QBuffer>
#include <QImage>
#include <QPdfWriter>

#include <gtest/gtest.h>

#include <cmath>

using namespace ferro;

namespace {

QRgb Px(const QImage& img, int x, int y) {
    return img.pixel(x, y) | 0xFF000000u;
}

// Dark pixels in the rectangle of a white image.
int InkIn(const QImage& img, const QRect& r) {
    int n = 0;
    for (int y = r.top(); y <= r.bottom(); ++y)
        for (int x = r.left(); x <= r.right(); ++x)
            n += qGray(img.pixel(x, y)) < 225;
    return n;
}

} // namespace

TEST(PainterCanvas, ClearFillLinesAndBitmapOnAnImage) {
    QImage img(100, 60, QImage::Format_ARGB32_Premultiplied);
    TPainterCanvas c(img);
    std::unique_ptr<TCanvasBitmap> bmp = c.CreateBitmap(); // drawn off screen, then copied
    bmp->SetSize(20, 20);
    ASSERT_TRUE(bmp->Canvas().BeginScene());
    bmp->Canvas().Clear(0xFF008000);
    bmp->Canvas().EndScene();

    ASSERT_TRUE(c.BeginScene());
    c.Clear(0xFFF5F5F5);
    c.Fill.Color = 0xFF0000FF;
    c.FillRect(TRectF(10, 10, 30, 30), 1);
    c.FillRect(TRectF(40, 10, 60, 30), 1, TBrush{0xFFFF0000});
    c.DrawBitmap(*bmp, TRectF(0, 0, 20, 20), TRectF(70, 10, 90, 30), 1);
    c.Stroke.Color = 0xFF000000;
    c.Stroke.Thickness = 2;
    c.DrawLine({0, 50}, {100, 50}, 1);
    c.EndScene();

    EXPECT_EQ(Px(img, 1, 1), 0xFFF5F5F5u);
    EXPECT_EQ(Px(img, 20, 20), 0xFF0000FFu);
    EXPECT_EQ(Px(img, 50, 20), 0xFFFF0000u);
    EXPECT_EQ(Px(img, 80, 20), 0xFF008000u);
    EXPECT_EQ(Px(img, 65, 20), 0xFFF5F5F5u);
    EXPECT_EQ(Px(img, 50, 50), 0xFF000000u);
    EXPECT_EQ(Px(img, 50, 45), 0xFFF5F5F5u);
}

TEST(PainterCanvas, TextIsMeasuredInDevicePixelsAndDrawnInItsBox) {
    QImage img(200, 80, QImage::Format_ARGB32_Premultiplied);
    TPainterCanvas c(img);
    ASSERT_TRUE(c.BeginScene());
    c.Clear(0xFFFFFFFF);
    c.Font.Size = 20;
    const double h = c.TextHeight("H");
    const double w = c.TextWidth("H");
    // DejaVu Sans: a line is about 1.16 em, a capital H about 0.75 em.
    EXPECT_GT(h, 20);
    EXPECT_LT(h, 27);
    EXPECT_GT(w, 12);
    EXPECT_LT(w, 18);
    EXPECT_NEAR(c.TextHeight("H\r\nH"), 2 * h, 2);
    c.Font.Style = fsBold;
    EXPECT_GT(c.TextWidth("HHHH"), 4 * w);

    c.Font.Style = 0;
    c.Fill.Color = 0xFF000000;
    c.FillText(TRectF(100, 10, 190, 10 + h), "HHH", false, 1, 0, taTrailing, taCenter);
    c.EndScene();
    // Trailing alignment: ink near the right end of the box, none at its left.
    EXPECT_GT(InkIn(img, QRect(150, 10, 40, int(h))), 20);
    EXPECT_EQ(InkIn(img, QRect(100, 10, 40, int(h))), 0);
    EXPECT_EQ(InkIn(img, QRect(0, 0, 100, 80)), 0);
}

TEST(PainterCanvas, LinesOfATextStackInTheirBoxEachAlignedOnItsOwn) {
    QImage img(200, 120, QImage::Format_ARGB32_Premultiplied);
    TPainterCanvas c(img);
    ASSERT_TRUE(c.BeginScene());
    c.Clear(0xFFFFFFFF);
    c.Font.Size = 20;
    c.Fill.Color = 0xFF000000;
    const double h = c.TextHeight("H");
    const double block = c.TextHeight("H\r\nHHHH");
    // Bottom and right: the short first line ends where the long second one does.
    c.FillText(TRectF(0, 0, 190, 110), "H\r\nHHHH", false, 1, 0, taTrailing, taTrailing);
    c.EndScene();
    const int top = int(110 - block), mid = int(110 - block + h);
    EXPECT_EQ(InkIn(img, QRect(0, 0, 200, top - 1)), 0) << "nothing above the block";
    EXPECT_GT(InkIn(img, QRect(170, top, 20, int(h))), 10) << "first line at the right";
    EXPECT_EQ(InkIn(img, QRect(0, top, 150, int(h) - 2)), 0) << "and only there";
    EXPECT_GT(InkIn(img, QRect(120, mid, 40, int(h))), 10) << "second line below it, wider";
}

TEST(PainterCanvas, PathEllipseAndRotatedLine) {
    QImage img(100, 100, QImage::Format_ARGB32_Premultiplied);
    TPainterCanvas c(img);
    ASSERT_TRUE(c.BeginScene());
    c.Clear(0xFFFFFFFF);
    c.Stroke.Thickness = 2;
    TPathData p;
    p.MoveTo({10, 10});
    p.LineTo({90, 10});
    p.LineTo({90, 90});
    c.DrawPath(p, 1);
    c.DrawEllipse(TRectF(20, 20, 60, 60), 1);
    c.SetMatrix(TMatrix::CreateTranslation(50, 50));
    c.MultiplyMatrix(TMatrix::CreateRotation(M_PI / 2));
    c.DrawLine({0, 0}, {45, 0}, 1); // after the turn it runs downward from the centre
    c.EndScene();
    EXPECT_EQ(Px(img, 50, 10), 0xFF000000u);
    EXPECT_EQ(Px(img, 90, 50), 0xFF000000u);
    EXPECT_EQ(Px(img, 10, 50), 0xFFFFFFFFu); // the path is not closed
    EXPECT_EQ(Px(img, 40, 40), 0xFFFFFFFFu); // the ellipse is not filled
    EXPECT_GT(InkIn(img, QRect(18, 38, 5, 5)), 0);
    EXPECT_EQ(Px(img, 50, 90), 0xFF000000u);
    EXPECT_EQ(Px(img, 70, 50), 0xFFFFFFFFu); // not to the right of the centre
}

TEST(PainterCanvas, PlacedChartClearsOnlyItsSurface) {
    QImage img(100, 60, QImage::Format_ARGB32_Premultiplied);
    img.fill(0xFFFFFFFF);
    QPainter painter(&img);
    painter.translate(50, 20); // where a report puts the chart
    TPainterCanvas c(painter, QRectF(0, 0, 40, 30));
    ASSERT_TRUE(c.BeginScene());
    c.Clear(0xFF0000FF);
    c.SetMatrix(TMatrix::CreateTranslation(0, 10));
    c.Stroke.Thickness = 2;
    c.Stroke.Color = 0xFFFF0000;
    c.DrawLine({0, 0}, {40, 0}, 1); // chart y 10 -> image y 30
    c.EndScene();
    EXPECT_EQ(painter.transform(), QTransform::fromTranslate(50, 20)) << "the report's painter is as it was";
    // A second scene on the same painter lands in the same place.
    ASSERT_TRUE(c.BeginScene());
    c.DrawLine({0, 0}, {40, 0}, 1);
    c.EndScene();
    painter.end();
    EXPECT_EQ(Px(img, 60, 25), 0xFF0000FFu);
    EXPECT_EQ(Px(img, 60, 30), 0xFFFF0000u);
    EXPECT_EQ(Px(img, 45, 25), 0xFFFFFFFFu); // left of the chart
    EXPECT_EQ(Px(img, 60, 55), 0xFFFFFFFFu); // below it
    EXPECT_EQ(Px(img, 60, 40), 0xFF0000FFu) << "no second shift by the chart's own matrix";
}

TEST(PainterCanvas, RefusesWithoutASurfaceAndDrawsOnAPdfPage) {
    QImage none;
    TPainterCanvas c(none);
    EXPECT_FALSE(c.BeginScene());

    QBuffer buf;
    buf.open(QIODevice::WriteOnly);
    {
        QPdfWriter pdf(&buf);
        QPainter painter(&pdf);
        TPainterCanvas pc(painter);
        ASSERT_TRUE(pc.BeginScene());
        pc.Font.Size = 200;
        pc.FillText(TRectF(0, 0, 4000, 400), "Messwerte", false, 1, 0, taLeading, taLeading);
        pc.DrawRect(TRectF(10, 10, 2000, 1000), 1);
        pc.EndScene();
        EXPECT_TRUE(painter.isActive()); // the caller's painter stays open
    }
    EXPECT_TRUE(buf.data().startsWith("%PDF"));
    EXPECT_GT(buf.data().size(), 1000);
}

// Grid, texts and circle come from a bitmap that is drawn again only when they change: after new
// values and a new scale the picture is the one a chart painting everything afresh gives.
TEST(PainterCanvas, ChartsFromTheirCachedLayerPaintWhatAFreshChartPaints) {
    auto paint = [](TPQPaintBox& b, Qt::GlobalColor Under = Qt::black) {
        QImage img(600, 300, QImage::Format_ARGB32_Premultiplied);
        img.fill(Under);
        TPainterCanvas c(img);
        c.Font.Size = 12;
        b.SetSize(600, 300);
        b.Paint(c);
        return img;
    };
    auto harm = [](TPQPaintBoxHarm& b, float scale) {
        b.SetFerroDisp(chartdefs::sdHrmIL);
        THrm v{};
        for (size_t i = 0; i < v.size(); ++i)
            v[i] = scale / float(i + 1);
        b.SetHrmVal(0, v);
        b.HrmRescale();
    };
    TPQPaintBoxHarm cached, fresh;
    harm(cached, 10);
    const QImage before = paint(cached);
    harm(cached, 400); // another scale: other grid labels
    harm(fresh, 400);
    const QImage after = paint(cached);
    EXPECT_NE(before, after);
    EXPECT_EQ(after, paint(fresh));
    EXPECT_EQ(Px(after, 0, 299), 0xFFFFFFFFu); // the layer covers the page it replaces

    TPQPaintBoxVecDiag vcached, vfresh;
    vcached.SetMagAngle(vpU1E, {230, 0});
    paint(vcached);
    for (auto* v : {&vcached, &vfresh}) {
        v->SetMagAngle(vpU1E, {20000, 0}); // medium voltage: the scale moves
        v->SetMagAngle(vpI1, {50, -30});
    }
    EXPECT_EQ(paint(vcached), paint(vfresh));
    // Only the part of the circle's layer that holds drawing is copied; the page around it is
    // filled all the same.
    EXPECT_EQ(paint(vcached, Qt::red), paint(vfresh, Qt::black));
    EXPECT_EQ(paint(cached, Qt::red), paint(fresh, Qt::black));
}

// A cached layer is copied only where its drawing touched the page, so that rectangle must hold
// every pixel the drawing changed: soft edges, caps and texts larger than their boxes included.
TEST(PainterCanvas, TheTouchedRectangleHoldsEveryPixelTheDrawingChanged) {
    QImage img(300, 200, QImage::Format_ARGB32_Premultiplied);
    img.fill(Qt::white);
    TPainterCanvas pc(img);
    ASSERT_TRUE(pc.BeginScene());
    pc.Font.Size = 14;
    TFingerprintCanvas probe(pc, true);
    probe.Font.Size = 14;
    auto draw = [](TCanvas& c) {
        c.Stroke.Color = 0xFF000000;
        c.Stroke.Thickness = 4;
        c.Stroke.Cap = TStrokeCap::Round;
        c.DrawLine({60, 60}, {90, 75}, 1);
        c.Stroke.Thickness = 2.5;
        c.DrawEllipse(TRectF(100, 50, 140, 90), 1);
        c.Fill.Color = 0xFF000000;
        // Boxes far too small for their texts, one for each way of aligning.
        c.FillText(TRectF(150, 60, 152, 62), "Spannung \u00C4", false, 1, 0, taLeading, taCenter);
        c.FillText(TRectF(150, 100, 152, 102), "Spannung \u00C4", false, 1, 0, taTrailing, taLeading);
        c.FillText(TRectF(150, 140, 152, 142), "Spannung \u00C4", false, 1, 0, taCenter, taTrailing);
        c.SetMatrix(TMatrix::CreateRotation(0.3) * TMatrix::CreateTranslation(80, 120));
        c.DrawRect(TRectF(0, 0, 30, 20), 1);
        c.SetMatrix(TMatrix());
    };
    draw(pc);
    pc.EndScene();
    draw(probe);
    ASSERT_FALSE(probe.TouchedAll());
    const TRectF t = probe.Touched();
    int inside = 0, outside = 0;
    for (int y = 0; y < img.height(); ++y)
        for (int x = 0; x < img.width(); ++x) {
            if (img.pixel(x, y) == 0xFFFFFFFFu) continue;
            const bool in = x >= std::floor(t.Left) && x < std::ceil(t.Right) && y >= std::floor(t.Top) &&
                            y < std::ceil(t.Bottom);
            (in ? inside : outside)++;
        }
    EXPECT_GT(inside, 500);
    EXPECT_EQ(outside, 0);
    EXPECT_LT(t.Width() * t.Height(), 0.8 * 300 * 200) << "and not the whole page";

    // Lines of a wrapped text are not known: the whole page counts as touched.
    probe.FillText(TRectF(0, 0, 40, 10), "ein langer Text", true, 1, 0, taLeading, taLeading);
    EXPECT_TRUE(probe.TouchedAll());
}

// Thin aliased paths on an image are written straight into its pixels: a column's zigzag covers
// exactly its span, either direction gives the same pixels, and coordinates far off cost nothing.
TEST(PainterCanvas, ThinAliasedPathsCoverTheSamePixelsInAnyOrderAndStayOnTheImage) {
    // A white image of Width x 60 with the paths drawn one after another.
    auto render = [](const std::vector<TPathData>& paths, TAlphaColor colour, int Width = 60) {
        QImage img(Width, 60, QImage::Format_ARGB32_Premultiplied);
        TPainterCanvas c(img);
        EXPECT_TRUE(c.BeginScene());
        c.Clear(0xFFFFFFFF);
        c.Stroke.Antialias = false;
        c.Stroke.Thickness = 1;
        c.Stroke.Color = colour;
        for (const TPathData& p : paths)
            c.DrawPath(p, 1);
        c.EndScene();
        return img;
    };
    TPathData zigzag, span, reversed;
    const double ys[] = {30.2, 12.7, 44.9, 20.1, 38.6, 12.7, 25.0};
    zigzag.MoveTo({10.5, ys[0]});
    for (double y : ys)
        zigzag.LineTo({10.5, y});
    zigzag.LineTo({11.5, 50.3}); // on to the next column
    span.MoveTo({10.5, 30.2});
    span.LineTo({10.5, 12.7});
    span.LineTo({10.5, 44.9});
    span.LineTo({10.5, 25.0});
    span.LineTo({11.5, 50.3});
    for (size_t i = zigzag.Count(); i-- > 0;)
        i + 1 == zigzag.Count() ? reversed.MoveTo(zigzag.Steps()[i].Point)
                                : reversed.LineTo(zigzag.Steps()[i].Point);
    const QImage a = render({zigzag}, 0xFF000000), b = render({span}, 0xFF000000),
                 r = render({reversed}, 0xFF000000);
    EXPECT_EQ(a, b);
    EXPECT_EQ(a, r);
    EXPECT_EQ(InkIn(a, QRect(10, 0, 1, 60)), 44 - 12 + 1) << "rows 12 to 44 of the column";
    EXPECT_EQ(Px(a, 10, 11), 0xFFFFFFFFu);
    EXPECT_EQ(Px(a, 11, 50), 0xFF000000u);
    // Two runs of one column with a gap between them stay apart.
    TPathData gap;
    gap.MoveTo({10.5, 5.5});
    gap.LineTo({10.5, 10.5});
    gap.MoveTo({10.5, 20.5});
    gap.LineTo({10.5, 25.5});
    EXPECT_EQ(InkIn(render({gap}, 0xFF000000), QRect(10, 0, 1, 60)), 12);

    // A line across the plane of numbers draws its pixels on the image and no others; what is not
    // finite draws nothing.
    TPathData far;
    far.MoveTo({-1e300, 20.5});
    far.LineTo({1e300, 20.5});
    far.MoveTo({5.5, std::nan("")});
    far.LineTo({5.5, 40});
    const QImage f = render({far}, 0xFF000000);
    EXPECT_EQ(InkIn(f, QRect(0, 0, 60, 60)), 60);
    EXPECT_EQ(InkIn(f, QRect(0, 20, 60, 1)), 60);

    // A long path is drawn by two threads, each in its half of the columns, and its runs are
    // gathered by groups of columns: the same pixels as each of its segments drawn on its own. The
    // width splits neither into whole groups nor into even halves; the second path puts four runs
    // apart in every column.
    TPathData longPath, bands;
    std::vector<TPathData> pieces;
    auto piece = [&](const TPointF& a, const TPointF& b) {
        pieces.emplace_back();
        pieces.back().MoveTo(a);
        pieces.back().LineTo(b);
    };
    TPointF last;
    for (int i = 0; i < 8500; ++i) {
        const TPointF p(0.5 + i * 0.024, 30 + 25 * std::sin(i * 0.37) + 3 * std::sin(i * 0.011));
        i ? longPath.LineTo(p) : longPath.MoveTo(p);
        if (i) piece(last, p);
        last = p;
    }
    for (int x = 0; x < 203; ++x)
        for (double y : {5.5, 15.5, 25.5, 35.5}) {
            bands.MoveTo({x + 0.5, y + x % 3});
            bands.LineTo({x + 0.5, y + 3});
            piece({x + 0.5, y + x % 3}, {x + 0.5, y + 3});
        }
    const QImage whole = render({longPath, bands}, 0xFF0000FF, 203), parts = render(pieces, 0xFF0000FF, 203);
    EXPECT_EQ(whole, parts);
    EXPECT_GT(InkIn(whole, QRect(0, 0, 101, 60)), 1000);
    EXPECT_GT(InkIn(whole, QRect(101, 0, 101, 60)), 1000) << "the right half has its share";

    // A translucent colour is blended by the painter, not written over.
    TPathData line;
    line.MoveTo({0.5, 5.5});
    line.LineTo({50.5, 5.5});
    const QImage t = render({line}, 0x80000000);
    EXPECT_NE(Px(t, 20, 5), 0xFF000000u);
    EXPECT_NE(Px(t, 20, 5), 0xFFFFFFFFu);
}
