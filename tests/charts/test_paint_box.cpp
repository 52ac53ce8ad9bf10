// The paint box base: caption layout, text placement, deferred labels and their overlap test. The
// recorder measures a letter as half the font size wide and 1.25 sizes high: 6 x 15 in font 12.
#include "charts/PQPaintBox.h"
#include "charts/RecordingCanvas.h"

#include <gtest/gtest.h>

using namespace ferro;

namespace {

// A minimal chart: caption and whatever the test draws through the helpers.
class TestBox : public TPQPaintBox {
public:
    void Paint(TCanvas& Canvas) override {
        if (!Canvas.BeginScene()) return;
        PaintCaption(Canvas);
        Canvas.EndScene();
    }
    bool CopyToClip(TClipLst&) override { return true; }
};

struct PaintBoxTest : ::testing::Test {
    TestBox box;
    TRecordingCanvas c;
    void SetUp() override {
        box.SetSize(400, 300);
        c.Font.Size = 12;
        box.PaintCaption(c);
        c.Reset();
    }
};

} // namespace

TEST_F(PaintBoxTest, CaptionTakesOneLineOfTheLargerFont) {
    c.Font.Size = 12;
    box.SetTSStart(tmStamp_t{uint32_t(19782u * 86400 + 13 * 3600 + 45 * 60 + 7), 0});
    box.PaintCaption(c);
    // Caption font 14: line height 17.5.
    EXPECT_EQ(box.CapRect(), TRectF(0, 0, 400, 17.5));
    EXPECT_EQ(box.GraphRect(), TRectF(0, 17.5, 400, 282.5));
    ASSERT_EQ(c.Calls.size(), 1u);
    const auto& cap = c.Calls[0];
    EXPECT_EQ(cap.Text, "Messwerte [29.02.2024 13:45:07]");
    EXPECT_EQ(cap.Fill.Color, 0xFF0000FFu);
    EXPECT_EQ(cap.Rect, box.CapRect());
    EXPECT_DOUBLE_EQ(c.Font.Size, 12); // back to the base font
}

TEST_F(PaintBoxTest, TextOutPlacesTheMeasuredBox) {
    // "ABCD" is 24 wide and 15 high, "AB" 12 wide.
    box.TextOutC(c, "ABCD", {100, 50}, 99, 0xFF112233, false); // centred below P, offset not used
    box.TextOutL(c, "ABCD", {100, 50}, 5, 0xFF112233, false);  // one letter right, lifted by 5
    box.TextOutR(c, "ABCD", {100, 50}, 5, 0xFF112233, false);  // one letter left, lowered by 5
    // TextOutLR goes away from the other end, and one line up when that end is lower.
    box.TextOutLR(c, "AB", {100, 100}, {200, 150}, 0xFF000000, false);
    box.TextOutLR(c, "AB", {100, 100}, {200, 50}, 0xFF000000, false);
    box.TextOutLR(c, "AB", {100, 100}, {0, 150}, 0xFF000000, false);
    box.TextOutLR(c, "AB", {100, 100}, {0, 50}, 0xFF000000, false);
    const auto t = c.Of(TCanvasOp::FillText);
    ASSERT_EQ(t.size(), 7u);
    const TRectF rects[] = {{88, 50, 112, 65},  {106, 45, 130, 60},  {70, 55, 94, 70},    {82, 85, 94, 100},
                            {82, 100, 94, 115}, {106, 85, 118, 100}, {106, 100, 118, 115}};
    for (size_t i = 0; i < 7; ++i)
        EXPECT_EQ(t[i].Rect, rects[i]) << i;
    EXPECT_EQ(t[0].HAlign, taCenter);
    EXPECT_EQ(t[1].HAlign, taLeading);
    EXPECT_EQ(t[2].HAlign, taTrailing);
}

TEST_F(PaintBoxTest, InvertedTextIsWhiteOnABoxOfTheColour) {
    box.TextOutInvers(c, "M1", {200, 20}, 0, 0xFFFF0000);
    ASSERT_EQ(c.Calls.size(), 2u);
    EXPECT_EQ(c.Calls[0].Rect, TRectF(194, 20, 206, 35));
    EXPECT_EQ(c.Calls[0].Color, 0xFFFF0000u);
    EXPECT_EQ(c.Calls[1].Fill.Color, 0xFFFFFFFFu);
    EXPECT_EQ(c.Calls[1].Rect, c.Calls[0].Rect);
}

TEST_F(PaintBoxTest, TouchingDeferredLabelIsDropped) {
    // "AB" is 12 wide: the first spans 94..106, the second 106..118 and touches it.
    box.TextOutC(c, "AB", {100, 50}, 0, 0xFFFF0000, true);
    box.TextOutC(c, "CD", {112, 50}, 0, 0xFF00FF00, true);
    // A hair further right it is free.
    box.TextOutC(c, "EF", {112.5, 50}, 0, 0xFF0000FF, true);
    // Below the first one, touching its foot at 65.
    box.TextOutC(c, "GH", {100, 65}, 0, 0xFF0000FF, true);
    EXPECT_TRUE(c.Calls.empty()); // nothing drawn before the end of the pass
    ASSERT_EQ(box.LabDispLst().size(), 2u);

    box.TextFromLst(c);
    const auto t = c.Of(TCanvasOp::FillText);
    ASSERT_EQ(t.size(), 2u);
    EXPECT_EQ(t[0].Text, "AB");
    EXPECT_EQ(t[0].Fill.Color, 0xFFFF0000u);
    EXPECT_EQ(t[0].Rect, TRectF(94, 50, 106, 65));
    EXPECT_EQ(t[1].Text, "EF");
    EXPECT_EQ(t[1].Fill.Color, 0xFF0000FFu);
}

TEST_F(PaintBoxTest, LabelsDrawnAtOnceNeverBlockDeferredOnes) {
    box.TextOutC(c, "AB", {100, 50}, 0, 0xFF000000, false);
    box.TextOutL(c, "AB", {94, 50}, 0, 0xFF000000, false);
    ASSERT_EQ(c.Of(TCanvasOp::FillText).size(), 2u); // drawn now
    box.TextOutC(c, "AB", {100, 50}, 0, 0xFF000000, true);
    EXPECT_EQ(box.LabDispLst().size(), 1u);
    EXPECT_TRUE(box.ChkInterSect(TRectF(0, 0, 93.9, 49.9)));
    EXPECT_FALSE(box.ChkInterSect(TRectF(0, 0, 94, 50))); // a corner touches
}

TEST_F(PaintBoxTest, NextCaptionStartsANewLabelPass) {
    box.TextOutC(c, "AB", {100, 50}, 0, 0xFF000000, true);
    ASSERT_EQ(box.LabDispLst().size(), 1u);
    box.PaintCaption(c);
    EXPECT_TRUE(box.LabDispLst().empty());
    box.TextOutC(c, "", {10, 10}, 0, 0xFF000000, true);
    box.TextOutC(c, "", {10, 10}, 0, 0xFF000000, false);
    EXPECT_TRUE(box.LabDispLst().empty());           // empty texts are neither queued
    EXPECT_EQ(c.Of(TCanvasOp::FillText).size(), 1u); // nor drawn (only the caption)
}
