#include "forms/PaintBoxWidget.h"

#include "charts/PainterCanvas.h"

#include <QMouseEvent>
#include <QPainter>
#include <QWheelEvent>

namespace ferro {

namespace {

TShiftState ShiftOf(Qt::KeyboardModifiers Mods, Qt::MouseButtons Buttons) {
    TShiftState s = 0;
    if (Mods & Qt::ShiftModifier) s |= ssShift;
    if (Mods & Qt::AltModifier) s |= ssAlt;
    if (Mods & Qt::ControlModifier) s |= ssCtrl;
    if (Buttons & Qt::LeftButton) s |= ssLeft;
    if (Buttons & Qt::RightButton) s |= ssRight;
    if (Buttons & Qt::MiddleButton) s |= ssMiddle;
    return s;
}

bool ButtonOf(Qt::MouseButton B, TMouseButton& Out) {
    switch (B) {
    case Qt::LeftButton:
        Out = mbLeft;
        return true;
    case Qt::RightButton:
        Out = mbRight;
        return true;
    case Qt::MiddleButton:
        Out = mbMiddle;
        return true;
    default:
        return false;
    }
}

} // namespace

PaintBoxWidget::PaintBoxWidget(std::unique_ptr<TPQPaintBox> Box, QWidget* Parent)
    : QWidget(Parent), FBox(std::move(Box)) {
    setMouseTracking(true);
    setAttribute(Qt::WA_OpaquePaintEvent); // every chart clears its whole surface
    FBox->SetRepaintRequest([this] { update(); });
    FBox->SetSize(width(), height());
}

PaintBoxWidget::~PaintBoxWidget() {
    FBox->SetRepaintRequest(nullptr);
}

void PaintBoxWidget::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    TPainterCanvas canvas(painter);
    canvas.Font.Size = FFontSize;
    FBox->SetSize(width(), height());
    FBox->Paint(canvas);
}

void PaintBoxWidget::resizeEvent(QResizeEvent* Event) {
    FBox->SetSize(width(), height());
    QWidget::resizeEvent(Event);
}

void PaintBoxWidget::mousePressEvent(QMouseEvent* Event) {
    TMouseButton b;
    if (!ButtonOf(Event->button(), b)) return QWidget::mousePressEvent(Event);
    const QPointF p = Event->position();
    // The pressed button itself counts as held, as the charts expect while dragging.
    FBox->MouseDown(b, ShiftOf(Event->modifiers(), Event->buttons() | Event->button()), p.x(), p.y());
}

void PaintBoxWidget::mouseMoveEvent(QMouseEvent* Event) {
    const QPointF p = Event->position();
    FBox->MouseMove(ShiftOf(Event->modifiers(), Event->buttons()), p.x(), p.y());
}

void PaintBoxWidget::mouseReleaseEvent(QMouseEvent* Event) {
    TMouseButton b;
    if (!ButtonOf(Event->button(), b)) return QWidget::mouseReleaseEvent(Event);
    const QPointF p = Event->position();
    FBox->MouseUp(b, ShiftOf(Event->modifiers(), Event->buttons()), p.x(), p.y());
}

void PaintBoxWidget::wheelEvent(QWheelEvent* Event) {
    bool handled = false;
    FBox->MouseWheel(ShiftOf(Event->modifiers(), Event->buttons()), Event->angleDelta().y(), handled);
    Event->setAccepted(handled);
}

} // namespace ferro
