// The chart host widget: paints the chart through QPainter and passes mouse and wheel on.
#include "charts/PQPaintBoxPanel.h"
#include "forms/PaintBoxWidget.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QImage>
#include <QMouseEvent>
#include <QThread>
#include <QWheelEvent>

#include <gtest/gtest.h>

#include <sstream>

using namespace ferro;

namespace {

std::string Ev(const char* kind, int button, int shift, double x, double y, int delta = 0) {
    std::ostringstream o;
    o << kind << " button " << button << " shift " << shift << " at " << x << "," << y << " delta " << delta;
    return o.str();
}

// Records what reaches it; claims the wheel so the widget accepts the event.
class RecordingBox : public TPQPaintBoxPanel {
public:
    std::vector<std::string> Events;
    void MouseDown(TMouseButton B, TShiftState S, double X, double Y) override {
        Events.push_back(Ev("down", B, S, X, Y));
    }
    void MouseMove(TShiftState S, double X, double Y) override { Events.push_back(Ev("move", -1, S, X, Y)); }
    void MouseUp(TMouseButton B, TShiftState S, double X, double Y) override {
        Events.push_back(Ev("up", B, S, X, Y));
    }
    void MouseWheel(TShiftState S, int Delta, bool& Handled) override {
        Events.push_back(Ev("wheel", -1, S, 0, 0, Delta));
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
    int paints = 0;
    panel->SetPaintNotify([&](TPQPaintBox*, uint32_t) { ++paints; });

    PaintBoxWidget w(std::move(owned));
    w.SetChartFontSize(13);
    w.resize(900, 210);
    const QImage img = w.grab().toImage();
    EXPECT_EQ(paints, 1);
    EXPECT_DOUBLE_EQ(panel->Width(), 900);
    EXPECT_EQ(img.pixel(880, 160) | 0xFF000000u, 0xFFF5F5F5u);

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

    EXPECT_EQ(box->Events, (std::vector<std::string>{
                               Ev("down", mbLeft, ssShift | ssLeft, 30, 40), Ev("move", -1, ssLeft, 35.5, 41),
                               Ev("up", mbRight, ssCtrl, 60, 45), Ev("wheel", -1, 0, 0, 0, -120)}));
    EXPECT_TRUE(wheel.isAccepted());
}

int main(int argc, char** argv) {
    if (!qEnvironmentVariableIsSet("QT_QPA_PLATFORM")) qputenv("QT_QPA_PLATFORM", "offscreen");
    ::testing::InitGoogleTest(&argc, argv);
    QApplication app(argc, argv);
    return RUN_ALL_TESTS();
}
