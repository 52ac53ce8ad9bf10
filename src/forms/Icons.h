#pragma once
// Icons of the forms and the host: the desktop theme's icon where there is one, otherwise a small
// drawn picture, so that a bare (offscreen or minimal) desktop still shows something meaningful.

#include <QIcon>
#include <QPixmap>

namespace ferro {

enum class TIconKind {
    Secure,
    Unsecure,
    Add,
    Edit,
    Remove,
    Connect,
    Disconnect,
    Parameter,
    Live,
    Data,
    Offline,
    Firmware,
    Status,
    Key,
    User,
    Refresh,
    Serial,
    Network,
    Calibration
};

// The theme icon for `kind` or the drawn fallback.
QIcon FerroIcon(TIconKind kind);
// Always the drawn picture (the form's "secure"/"unsecure" resources).
QPixmap DrawnIcon(TIconKind kind, int size);

} // namespace ferro
