// The chart host widget: paints the chart through QPainter and passes mouse and wheel on.
#include "charts/PQPaintBoxPanel.h"
#include "forms/PaintBoxWidget.h"

#include <QApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QImage>
#include <QMouseEvent>
#include <QThread>
#include <QWheelEvent>

#include <gtest/gtest.h>

using namespace ferro;

namespace {

struct TEvent {
    std::string Kind;
    TMouseButton Button;
    TShiftState Shift;
    double X, Y;
    int Delta;
};

// Records what reaches it; claims the wheel so the widget accepts the event.
class RecordingBox : public TPQPaintBoxPanel {
public:
    std::vector<TEvent> Events;
    void MouseDown(TMouseButton B, TShiftState S, double X, double Y) override {
        Events.push_back({"down", B, S, X, Y, 0});
    }
    void MouseMove(TShiftState S, double X, double Y) override {
        Events.push_back({"move", mbLeft, S, X, Y, 0});
    }
    void MouseUp(TMouseButton B, TShiftState S, double X, double Y) override {
        Events.push_back({"up", B, S, X, Y, 0});
    }
    void MouseWheel(TShiftState S, int Delta, bool& Handled) override {
        Events.push_back({"wheel", mbLeft, S, 0, 0, Delta});
        Handled = true;
    }
};

// Bounded wait for a condition while the event loop runs.
template <class F> bool WaitFor(F cond, int ms = 2000) {
    QElapsedTimer t;
    t.start();
    while (!cond() && t.elapsed() < ms) {
        QCoreApplication::processEvents(QEventLoop::AllEvents, 20);
        QThread::msleep(2);
    }
    return cond();
}

} // namespace

TEST(PaintBoxWidget, PaintsTheChartAndRepaintsOnRequest) {
    auto owned = std::make_unique<TPQPaintBoxPanel>();
    TPQPaintBoxPanel* panel = owned.get();
    panel->SetPanDispType(pdtMains);
    panel->SetMains(50.01f, 10400, 820, 150, 10450);
    panel->SetVoltage(229.8f, 230.4f, 230.0f, 0.5f, 398.2f, 398.9f, 398.5f);
    panel->SetCurrent(15.2f, 14.9f, 15.6f, 0.7f);
    panel->SetCosPhi(0.99f, 0.99f, 0.98f, 0.99f);
    int paints = 0;
    panel->SetPaintNotify([&](TPQPaintBox*, uint32_t) { ++paints; });

    PaintBoxWidget w(std::move(owned));
    w.SetChartFontSize(13);
    w.resize(900, 210);
    const QImage img = w.grab().toImage();
    EXPECT_EQ(paints, 1);
    EXPECT_DOUBLE_EQ(panel->Width(), 900);
    EXPECT_EQ(img.pixel(880, 160) | 0xFF000000u, 0xFFF5F5F5u);
    int blue = 0;
    for (int y = 0; y < 18; ++y)
        for (int x = 0; x < 900; ++x)
            if (qBlue(img.pixel(x, y)) > 200 && qRed(img.pixel(x, y)) < 80) ++blue;
    EXPECT_GT(blue, 100);
    const QString dir = QStringLiteral(FERRO_BINARY_DIR "/screenshots");
    QDir().mkpath(dir);
    EXPECT_TRUE(img.save(dir + "/value_panel_widget.png"));

    // A repaint asked for by the chart reaches the screen through the event loop.
    w.show();
    ASSERT_TRUE(WaitFor([&] { return paints >= 2; }));
    const int before = paints;
    panel->Repaint();
    EXPECT_TRUE(WaitFor([&] { return paints > before; }));
}

TEST(PaintBoxWidget, ForwardsMouseAndWheelWithButtonsAndKeys) {
    auto owned = std::make_unique<RecordingBox>();
    RecordingBox* box = owned.get();
    PaintBoxWidget w(std::move(owned));
    w.resize(300, 200);

    QMouseEvent press(QEvent::MouseButtonPress, QPointF(30, 40), QPointF(30, 40), Qt::LeftButton,
                      Qt::LeftButton, Qt::ShiftModifier);
    QApplication::sendEvent(&w, &press);
    QMouseEvent move(QEvent::MouseMove, QPointF(35.5, 41), QPointF(35.5, 41), Qt::NoButton, Qt::LeftButton,
                     Qt::NoModifier);
    QApplication::sendEvent(&w, &move);
    QMouseEvent release(QEvent::MouseButtonRelease, QPointF(60, 45), QPointF(60, 45), Qt::RightButton,
                        Qt::NoButton, Qt::ControlModifier);
    QApplication::sendEvent(&w, &release);
    QWheelEvent wheel(QPointF(10, 10), QPointF(10, 10), QPoint(), QPoint(0, -120), Qt::NoButton,
                      Qt::NoModifier, Qt::NoScrollPhase, false);
    QApplication::sendEvent(&w, &wheel);

    ASSERT_EQ(box->Events.size(), 4u);
    EXPECT_EQ(box->Events[0].Kind, "down");
    EXPECT_EQ(box->Events[0].Button, mbLeft);
    EXPECT_EQ(box->Events[0].Shift, TShiftState(ssShift | ssLeft));
    EXPECT_DOUBLE_EQ(box->Events[0].X, 30);
    EXPECT_DOUBLE_EQ(box->Events[0].Y, 40);
    EXPECT_EQ(box->Events[1].Kind, "move");
    EXPECT_EQ(box->Events[1].Shift, TShiftState(ssLeft));
    EXPECT_DOUBLE_EQ(box->Events[1].X, 35.5);
    EXPECT_EQ(box->Events[2].Kind, "up");
    EXPECT_EQ(box->Events[2].Button, mbRight);
    EXPECT_EQ(box->Events[2].Shift, TShiftState(ssCtrl));
    EXPECT_EQ(box->Events[3].Kind, "wheel");
    EXPECT_EQ(box->Events[3].Delta, -120);
    EXPECT_TRUE(wheel.isAccepted());
}

int main(int argc, char** argv) {
    if (!qEnvironmentVariableIsSet("QT_QPA_PLATFORM")) qputenv("QT_QPA_PLATFORM", "offscreen");
    ::testing::InitGoogleTest(&argc, argv);
    QApplication app(argc, argv);
    return RUN_ALL_TESTS();
}
