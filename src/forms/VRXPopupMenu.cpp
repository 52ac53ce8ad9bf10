#include "forms/VRXPopupMenu.h"

#include <QAction>
#include <QApplication>
#include <QFrame>
#include <QGraphicsOpacityEffect>
#include <QMouseEvent>
#include <QPainter>
#include <QPainterPath>
#include <QPushButton>
#include <QVBoxLayout>
#include <QVariantAnimation>

namespace ferro {

namespace {

constexpr int CArrow = 8; // height of the call-out's point

// The drop-down: a rounded panel with a point towards the button.
class TCallOut : public QFrame {
public:
    explicit TCallOut(QWidget* Parent) : QFrame(Parent) {
        setObjectName("popMenu");
        setAttribute(Qt::WA_TranslucentBackground);
    }

protected:
    void paintEvent(QPaintEvent*) override {
        QPainter p(this);
        p.setRenderHint(QPainter::Antialiasing);
        const QRectF body = QRectF(rect()).adjusted(0.5, CArrow + 0.5, -0.5, -0.5);
        QPainterPath path;
        path.addRoundedRect(body, 5, 5);
        QPainterPath point;
        const double x = 18;
        point.moveTo(x - CArrow, body.top() + 1);
        point.lineTo(x, 0.5);
        point.lineTo(x + CArrow, body.top() + 1);
        point.closeSubpath();
        path = path.united(point);
        p.setPen(palette().color(QPalette::Mid));
        p.setBrush(palette().color(QPalette::Window));
        p.drawPath(path);
    }
};

} // namespace

TVRXPopupMenu::TVRXPopupMenu(QWidget* Parent) : QToolButton(Parent) {
    setPopupMode(QToolButton::InstantPopup);
    FDropDown = new TCallOut(Parent ? Parent : this);
    FLayout = new QVBoxLayout(FDropDown);
    FLayout->setContentsMargins(6, CArrow + 6, 6, 6);
    FLayout->setSpacing(3);
    auto* fade = new QGraphicsOpacityEffect(FDropDown);
    fade->setOpacity(0.0);
    FDropDown->setGraphicsEffect(fade);
    FDropDown->hide();
    FAnim = new QVariantAnimation(this);
    FAnim->setStartValue(0.0);
    FAnim->setEndValue(1.0);
    // One value from 0 (contracted, one height above and transparent) to 1 (open at the start height).
    connect(FAnim, &QVariantAnimation::valueChanged, this, [this, fade](const QVariant& v) {
        const double t = v.toDouble();
        fade->setOpacity(t);
        const int h = FDropDown->height();
        FDropDown->move(FDropDown->x(), FStartHeight - int((1.0 - t) * h));
    });
    connect(FAnim, &QVariantAnimation::finished, this, [this] {
        if (!FExpanded) SwitchVisibility();
    });
    connect(this, &QToolButton::clicked, this, &TVRXPopupMenu::PopUpClick);
    qApp->installEventFilter(this);
}

TVRXPopupMenu::~TVRXPopupMenu() {
    qApp->removeEventFilter(this);
    // The drop-down lives on the parent; it goes with its menu.
    if (FDropDown && FDropDown->parent() != this) delete FDropDown;
}

QPushButton* TVRXPopupMenu::AddButton(QAction* Action) {
    auto* b = new QPushButton(Action->icon(), Action->text(), FDropDown);
    b->setObjectName("btnmenustyle");
    b->setFlat(true);
    b->setStyleSheet("text-align: left; padding: 4px 10px;");
    b->setEnabled(Action->isEnabled());
    connect(Action, &QAction::changed, b, [b, Action] {
        b->setText(Action->text());
        b->setEnabled(Action->isEnabled());
        b->setVisible(Action->isVisible());
    });
    connect(b, &QPushButton::clicked, this, [this, Action] {
        Contract();
        Action->trigger();
    });
    FLayout->addWidget(b);
    FDropDown->adjustSize();
    return b;
}

void TVRXPopupMenu::PopUpSetParent(QWidget* Parent, QWidget* FrontOverlay, int StartHeight) {
    FOverlay = FrontOverlay;
    FStartHeight = StartHeight;
    if (Parent && FDropDown->parentWidget() != Parent) FDropDown->setParent(Parent);
    FDropDown->adjustSize();
    QWidget* on = FDropDown->parentWidget();
    const int x = on && on != this ? on->mapFromGlobal(mapToGlobal(QPoint(0, 0))).x() : 0;
    FDropDown->move(x, FStartHeight - FDropDown->height());
}

void TVRXPopupMenu::Expand() {
    if (FOnResize) FOnResize(this);
    FDropDown->adjustSize();
    FExpanded = true;
    FDropDown->show();
    FDropDown->raise();
    if (FOverlay) FOverlay->stackUnder(FDropDown);
    animate(true);
}

void TVRXPopupMenu::Contract() {
    if (!FExpanded) return;
    FExpanded = false;
    animate(false);
}

void TVRXPopupMenu::PopUpClick() {
    if (FExpanded)
        Contract();
    else
        Expand();
}

void TVRXPopupMenu::SwitchVisibility() {
    if (!FExpanded && FAnim->state() != QAbstractAnimation::Running) FDropDown->hide();
}

void TVRXPopupMenu::animate(bool Open) {
    const double from =
        FAnim->state() == QAbstractAnimation::Running ? FAnim->currentValue().toDouble() : (Open ? 0.0 : 1.0);
    FAnim->stop();
    FAnim->setStartValue(from);
    FAnim->setEndValue(Open ? 1.0 : 0.0);
    FAnim->setDuration(std::max(1, int(AnimationMs * std::abs((Open ? 1.0 : 0.0) - from))));
    FAnim->start();
}

bool TVRXPopupMenu::eventFilter(QObject* Watched, QEvent* Event) {
    // A press anywhere but on the menu or its button closes the drop-down.
    if (FExpanded && Event->type() == QEvent::MouseButtonPress) {
        auto* w = qobject_cast<QWidget*>(Watched);
        if (w && w != this && w != FDropDown && !FDropDown->isAncestorOf(w)) Contract();
    }
    return QToolButton::eventFilter(Watched, Event);
}

} // namespace ferro
