// The value panel: column choice, column texts, layout on the recorder, and a real rendering
// written to the build tree for a person to look at.
#include "charts/PQPaintBoxPanel.h"
#include "charts/PainterCanvas.h"
#include "charts/RecordingCanvas.h"

#include <QDir>
#include <QImage>

#include <gtest/gtest.h>

using namespace ferro;

namespace {

void FillPlausible(TPQPaintBoxPanel& p) {
    p.SetMains(49.98f, 8245.6f, 1210.4f, 312.9f, 8342.7f);
    p.SetVoltage(230.1f, 229.4f, 231.2f, 0.83f, 398.6f, 397.9f, 399.8f);
    p.SetCurrent(12.3f, 11.8f, 12.9f, 1.05f);
    p.SetCosPhi(0.97f, 0.98f, 0.96f, 0.97f);
}

} // namespace

TEST(PanelColumns, TextsInLineOrderWithUnits) {
    TPQPaintBoxPanel p;
    FillPlausible(p);
    EXPECT_EQ(p.ColumnText(pdcMains),
              "Netz\r\nF=49.98 Hz\r\nP=8.25 kW\r\nQ=1.21 kvar\r\nD=312.90 var\r\nS=8.34 kVA");
    EXPECT_EQ(p.ColumnText(pdcVolt),
              "Spannungen\r\nU1E=230.10 V\r\nU2E=229.40 V\r\nU3E=231.20 V\r\nUNE=0.83 V\r\n"
              "U12=398.60 V\r\nU23=397.90 V\r\nU31=399.80 V");
    EXPECT_EQ(p.ColumnText(pdcCurrent), "Ströme\r\nI1=12.30 A\r\nI2=11.80 A\r\nI3=12.90 A\r\nIN=1.05 A");
    // The total comes first in SetCosPhi but last in the column.
    EXPECT_EQ(p.ColumnText(pdcFact),
              "Leistungsfaktoren\r\nCosPhi1=0.98\r\nCosPhi2=0.96\r\nCosPhi3=0.97\r\nCosPhi=0.97");
    EXPECT_EQ(p.ColumnText(pdcFrqBand), "");
}

TEST(PanelPaint, ColumnsSideBySideOnTheRecorderThenNotifies) {
    TPQPaintBoxPanel p;
    p.SetSize(900, 300);
    FillPlausible(p);
    p.SetPanDispType(pdtMains);
    std::vector<uint32_t> notified;
    p.SetPaintNotify([&](TPQPaintBox* sender, uint32_t num) {
        EXPECT_EQ(sender, &p);
        EXPECT_FALSE(p.InPaint());
        notified.push_back(num);
    });
    p.SetPaintCnt(3);
    TRecordingCanvas c;
    c.Font.Size = 12;
    p.Paint(c);
    EXPECT_EQ(notified, std::vector<uint32_t>{3});

    // Panel font 14, caption 16 (line 20): graph area 20 .. 280, framed thin and black.
    const auto frame = c.Of(TCanvasOp::DrawRect);
    ASSERT_EQ(frame.size(), 1u);
    EXPECT_EQ(frame[0].Rect, TRectF(0, 20, 900, 280));
    EXPECT_DOUBLE_EQ(frame[0].Stroke.Thickness, 0.3);

    // Column width: 20 letters of 7 = 140. "H" in font 14: 7 wide, 17.5 high. Row top 37.5.
    // x = n * 140 + 0 + 7, and TextOutL starts one letter further right.
    auto t = c.Of(TCanvasOp::FillText);
    ASSERT_EQ(t.size(), 5u);
    t.erase(t.begin()); // the caption
    const TPanDispCols cols[] = {pdcMains, pdcVolt, pdcCurrent, pdcFact};
    for (int i = 0; i < 4; ++i) {
        SCOPED_TRACE(i);
        EXPECT_EQ(t[i].Text, p.ColumnText(cols[i]));
        EXPECT_DOUBLE_EQ(t[i].Rect.Left, 14 + 140 * i);
        EXPECT_DOUBLE_EQ(t[i].Rect.Top, 37.5);
        EXPECT_EQ(t[i].Font.Style & fsBold, fsBold);
    }
    // Voltage column: 8 lines of 17.5; widest line "U1E=230.10 V" and "Spannungen" -> 12 chars.
    EXPECT_DOUBLE_EQ(t[1].Rect.Height(), 140);
    EXPECT_DOUBLE_EQ(t[1].Rect.Width(), 84);
    // The font is handed back as it came.
    EXPECT_DOUBLE_EQ(c.Font.Size, 12);
    EXPECT_EQ(c.Font.Style, 0);

    // A refused scene draws nothing and does not notify.
    TRecordingCanvas refusing;
    refusing.AcceptScene = false;
    p.Paint(refusing);
    EXPECT_TRUE(refusing.Calls.empty());
    EXPECT_EQ(notified.size(), 1u);
}

TEST(PanelPaint, EmptyColumnSetShowsCaptionAndFrameOnly) {
    // No type chosen, harmonic and band columns (no values of their own), an unknown type.
    for (int type : {-1, int(pdtHarms), int(pdtFrqBand), 7}) {
        SCOPED_TRACE(type);
        TPQPaintBoxPanel p;
        p.SetSize(600, 200);
        FillPlausible(p);
        if (type >= 0) p.SetPanDispType(TPanDispType(type));
        TRecordingCanvas c;
        p.Paint(c);
        EXPECT_EQ(c.Of(TCanvasOp::FillText).size(), 1u); // the caption
        EXPECT_EQ(c.Of(TCanvasOp::DrawRect).size(), 1u);
    }
}

TEST(PanelClip, CopyToClipEmptiesTheList) {
    TPQPaintBoxPanel p;
    FillPlausible(p);
    TClipLst l;
    l.Add("old line");
    l.Add("another");
    EXPECT_FALSE(p.CopyToClip(l));
    EXPECT_EQ(l.Count(), 0);
}

TEST(PanelRender, ThreePhaseValuesOnAnImage) {
    TPQPaintBoxPanel p;
    p.SetSize(900, 210);
    FillPlausible(p);
    p.SetPanDispType(pdtMains);
    p.SetTSStart(tmStamp_t{uint32_t(19782u * 86400 + 13 * 3600 + 45 * 60 + 7), 0});

    QImage img(900, 210, QImage::Format_ARGB32_Premultiplied);
    TPainterCanvas c(img);
    c.Font.Size = 13;
    p.Paint(c);

    const QString dir = QStringLiteral(FERRO_BINARY_DIR "/screenshots");
    QDir().mkpath(dir);
    ASSERT_TRUE(img.save(dir + "/value_panel.png"));

    // Background in an empty corner of the graph area, blue caption ink, black column ink.
    EXPECT_EQ(img.pixel(880, 160) | 0xFF000000u, 0xFFF5F5F5u);
    int blue = 0, black = 0;
    for (int y = 0; y < 180; ++y)
        for (int x = 0; x < 900; ++x) {
            const QRgb px = img.pixel(x, y);
            blue += y < 18 && qBlue(px) > 200 && qRed(px) < 80 && qGreen(px) < 80;
            black += y >= 40 && qRed(px) < 60 && qGreen(px) < 60 && qBlue(px) < 60;
        }
    EXPECT_GT(blue, 100);
    EXPECT_GT(black, 1000);
}
