#pragma once
// A button that opens a call-out shaped drop-down with one button per action. The drop-down
// slides in below the button and fades in; a click outside, or on one of its buttons, closes it.

#include "foundation/Sammler.h"

#include <QToolButton>

class QAction;
class QFrame;
class QPushButton;
class QVBoxLayout;
class QVariantAnimation;

namespace ferro {

class TVRXPopupMenu : public QToolButton {
    Q_OBJECT
public:
    explicit TVRXPopupMenu(QWidget* Parent = nullptr);
    ~TVRXPopupMenu() override;

    // Appends a button for `Action` (style "btnmenustyle"); it follows the action's text and state.
    QPushButton* AddButton(QAction* Action);
    // Places the drop-down on `Parent`, above `FrontOverlay`; when open its top lies at `StartHeight`.
    void PopUpSetParent(QWidget* Parent, QWidget* FrontOverlay, int StartHeight);
    void Expand();
    void Contract();
    void PopUpClick();
    // Hides the container once it is contracted.
    void SwitchVisibility();

    bool Expanded() const { return FExpanded; }
    QFrame* DropDown() const { return FDropDown; }
    // Called before the drop-down opens, so the owner can size the buttons to the moment's needs.
    TMenuButtonResizeCallBack FOnResize;
    // Length of the slide and fade.
    int AnimationMs = 160;

protected:
    bool eventFilter(QObject* Watched, QEvent* Event) override;

private:
    void animate(bool Open);

    QFrame* FDropDown = nullptr;
    QVBoxLayout* FLayout = nullptr;
    QWidget* FOverlay = nullptr;
    QVariantAnimation* FAnim = nullptr;
    int FStartHeight = 0;
    bool FExpanded = false;
};

} // namespace ferro
