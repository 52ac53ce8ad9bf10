// The canvas implementations: the recorder keeps calls with their state, the QPainter canvas puts
// the same operations onto images and PDF pages.
#include "charts/ImageBitmap.h"
#include "charts/PainterCanvas.h"
#include "charts/RecordingBitmap.h"
#include "charts/RecordingCanvas.h"

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

// Pixels in the rectangle that differ clearly from the background.
int InkIn(const QImage& img, const QRect& r, QRgb background) {
    int n = 0;
    for (int y = r.top(); y <= r.bottom(); ++y)
        for (int x = r.left(); x <= r.right(); ++x) {
            const QRgb p = Px(img, x, y);
            if (std::abs(qRed(p) - qRed(background)) + std::abs(qGreen(p) - qGreen(background)) +
                    std::abs(qBlue(p) - qBlue(background)) >
                90)
                ++n;
        }
    return n;
}

} // namespace

TEST(RecordingCanvas, KeepsCallsWithTheStateInForce) {
    TRecordingCanvas c;
    ASSERT_TRUE(c.BeginScene());
    c.Stroke.Color = 0xFFFF0000;
    c.Stroke.Thickness = 1.5;
    c.DrawLine({1, 2}, {3, 4}, 0.25);
    c.Fill.Color = 0xFF0000FF;
    c.Font.Size = 20;
    c.FillText(TRectF(0, 0, 50, 10), "abc", false, 1, 0, taTrailing, taCenter);
    c.FillRect(TRectF(1, 1, 2, 2), 1);
    c.FillRect(TRectF(1, 1, 2, 2), 1, TBrush{0xFF00FF00});
    c.EndScene();

    ASSERT_EQ(c.Calls.size(), 6u);
    const auto& line = c.Calls[1];
    EXPECT_EQ(line.Op, TCanvasOp::DrawLine);
    EXPECT_EQ(line.Stroke.Color, 0xFFFF0000u);
    EXPECT_DOUBLE_EQ(line.Stroke.Thickness, 1.5);
    EXPECT_DOUBLE_EQ(line.Opacity, 0.25);
    EXPECT_EQ(line.P2, TPointF(3, 4));
    const auto& text = c.Calls[2];
    EXPECT_EQ(text.Text, "abc");
    EXPECT_EQ(text.Fill.Color, 0xFF0000FFu);
    EXPECT_DOUBLE_EQ(text.Font.Size, 20);
    EXPECT_EQ(text.HAlign, taTrailing);
    EXPECT_EQ(c.Calls[3].Color, 0xFF0000FFu); // the current fill
    EXPECT_EQ(c.Calls[4].Color, 0xFF00FF00u); // the brush
    EXPECT_EQ(c.Texts(), std::vector<std::string>{"abc"});
}

TEST(RecordingCanvas, MeasuresByAFixedRule) {
    TRecordingCanvas c;
    c.Font.Size = 12;
    EXPECT_DOUBLE_EQ(c.TextWidth("HHHH"), 24);
    EXPECT_DOUBLE_EQ(c.TextHeight("H"), 15);
    // Widest line, all lines; umlauts count as one character.
    EXPECT_DOUBLE_EQ(c.TextWidth("Ströme\r\nU1E=230.10 V"), 72);
    EXPECT_DOUBLE_EQ(c.TextHeight("a\r\nb\r\nc"), 45);
    c.AcceptScene = false;
    EXPECT_FALSE(c.BeginScene());
    EXPECT_TRUE(c.Calls.empty());
}

TEST(RecordingCanvas, MatrixProductAppliesTheNewMatrixFirst) {
    TRecordingCanvas c;
    c.SetMatrix(TMatrix::CreateTranslation(100, 0));
    c.MultiplyMatrix(TMatrix::CreateRotation(M_PI / 2));
    // (10, 0) rotated by 90 degrees is (0, 10), then moved right by 100.
    const TPointF p = c.Matrix().Map({10, 0});
    EXPECT_NEAR(p.X, 100, 1e-9);
    EXPECT_NEAR(p.Y, 10, 1e-9);
    EXPECT_EQ(c.Of(TCanvasOp::SetMatrix).size(), 2u);
}

TEST(PainterCanvas, ClearFillAndLinesOnAnImage) {
    QImage img(100, 60, QImage::Format_ARGB32_Premultiplied);
    TPainterCanvas c(img);
    ASSERT_TRUE(c.BeginScene());
    c.Clear(0xFFF5F5F5);
    c.Fill.Color = 0xFF0000FF;
    c.FillRect(TRectF(10, 10, 30, 30), 1);
    c.FillRect(TRectF(40, 10, 60, 30), 1, TBrush{0xFFFF0000});
    c.Stroke.Color = 0xFF000000;
    c.Stroke.Thickness = 2;
    c.DrawLine({0, 50}, {100, 50}, 1);
    c.EndScene();

    EXPECT_EQ(Px(img, 1, 1), 0xFFF5F5F5u);
    EXPECT_EQ(Px(img, 20, 20), 0xFF0000FFu);
    EXPECT_EQ(Px(img, 50, 20), 0xFFFF0000u);
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
    EXPECT_NEAR(c.TextWidth("HHHH"), 4 * w, 1);
    EXPECT_NEAR(c.TextHeight("H\r\nH"), 2 * h, 2);
    c.Font.Style = fsBold;
    EXPECT_GT(c.TextWidth("HHHH"), 4 * w);

    c.Font.Style = 0;
    c.Fill.Color = 0xFF000000;
    c.FillText(TRectF(100, 10, 190, 10 + h), "HHH", false, 1, 0, taTrailing, taCenter);
    c.EndScene();
    // Trailing alignment: ink near the right end of the box, none at its left.
    EXPECT_GT(InkIn(img, QRect(150, 10, 40, int(h)), 0xFFFFFFFF), 20);
    EXPECT_EQ(InkIn(img, QRect(100, 10, 40, int(h)), 0xFFFFFFFF), 0);
    EXPECT_EQ(InkIn(img, QRect(0, 0, 100, 80), 0xFFFFFFFF), 0);
}

TEST(PainterCanvas, RotatedMatrixTurnsALine) {
    QImage img(100, 100, QImage::Format_ARGB32_Premultiplied);
    TPainterCanvas c(img);
    ASSERT_TRUE(c.BeginScene());
    c.Clear(0xFFFFFFFF);
    c.SetMatrix(TMatrix::CreateTranslation(50, 50));
    c.MultiplyMatrix(TMatrix::CreateRotation(M_PI / 2));
    c.Stroke.Thickness = 3;
    c.DrawLine({0, 0}, {40, 0}, 1); // after the turn it runs downward from the centre
    c.EndScene();
    EXPECT_EQ(Px(img, 50, 80), 0xFF000000u);
    EXPECT_EQ(Px(img, 80, 50), 0xFFFFFFFFu);
}

TEST(PainterCanvas, BitmapIsDrawnOffScreenThenCopied) {
    QImage img(80, 40, QImage::Format_ARGB32_Premultiplied);
    TPainterCanvas c(img);
    std::unique_ptr<TCanvasBitmap> bmp = c.CreateBitmap();
    bmp->SetSize(20, 20);
    ASSERT_TRUE(bmp->Canvas().BeginScene());
    bmp->Canvas().Clear(0xFF008000);
    bmp->Canvas().EndScene();

    ASSERT_TRUE(c.BeginScene());
    c.Clear(0xFFFFFFFF);
    c.DrawBitmap(*bmp, TRectF(0, 0, 20, 20), TRectF(50, 10, 70, 30), 1);
    c.EndScene();
    EXPECT_EQ(Px(img, 60, 20), 0xFF008000u);
    EXPECT_EQ(Px(img, 40, 20), 0xFFFFFFFFu);
    EXPECT_EQ(bmp->Width(), 20);

    // A bitmap of the recorder records what it gets; the recorder records the copy.
    TRecordingCanvas rec;
    auto rb = rec.CreateBitmap();
    rb->SetSize(30, 10);
    rec.DrawBitmap(*rb, TRectF(0, 0, 30, 10), TRectF(5, 5, 35, 15), 0.5);
    ASSERT_EQ(rec.Of(TCanvasOp::DrawBitmap).size(), 1u);
    EXPECT_EQ(rec.Calls[0].Rect, TRectF(5, 5, 35, 15));
}

TEST(PainterCanvas, PathAndEllipse) {
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
    c.EndScene();
    EXPECT_EQ(Px(img, 50, 10), 0xFF000000u);
    EXPECT_EQ(Px(img, 90, 50), 0xFF000000u);
    EXPECT_EQ(Px(img, 10, 50), 0xFFFFFFFFu); // the path is not closed
    EXPECT_EQ(Px(img, 40, 40), 0xFFFFFFFFu); // the ellipse is not filled
    EXPECT_GT(InkIn(img, QRect(18, 38, 5, 5), 0xFFFFFFFF), 0);
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
    painter.end();
    EXPECT_EQ(Px(img, 60, 25), 0xFF0000FFu);
    EXPECT_EQ(Px(img, 60, 30), 0xFFFF0000u);
    EXPECT_EQ(Px(img, 45, 25), 0xFFFFFFFFu); // left of the chart
    EXPECT_EQ(Px(img, 60, 55), 0xFFFFFFFFu); // below it
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
