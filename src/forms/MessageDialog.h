#pragma once
// The dialog service of the views: asynchronous message boxes. A box opens without blocking the
// caller; the answer comes back as a TModalResult through a callback.

#include "foundation/Sammler.h"

#include <QMessageBox>

#include <functional>
#include <string>

namespace ferro {

// The answer of a box mapped to the dialog results the views compare with (Yes is 6).
int ModalResultOf(QMessageBox::StandardButton Button);
QMessageBox::StandardButtons StandardButtonsOf(TMsgDlgButtons Buttons);
QMessageBox::StandardButton StandardButtonOf(TMsgDlgBtn Button);

// Opens a window-modal box on `Parent` and returns at once. `Done` gets the result when the user
// has answered (closing the box counts as Cancel, or No when there is no Cancel button).
QMessageBox* OpenMessageBox(QWidget* Parent, const std::string& Text, TMsgDlgType Type,
                            TMsgDlgButtons Buttons, TMsgDlgBtn DefaultButton,
                            std::function<void(int Result)> Done);

} // namespace ferro
