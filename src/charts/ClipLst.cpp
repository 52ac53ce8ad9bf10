#include "charts/ClipLst.h"

#include <QClipboard>
#include <QGuiApplication>

namespace ferro {

std::string TClipLst::Text() const {
    std::string s;
    for (const auto& l : FLines) {
        s += l;
        s += '\n';
    }
    return s;
}

bool TClipLst::CopyToClip() {
    const bool any = !FLines.empty();
    if (any) {
        // Without a GUI application there is no clipboard to talk to.
        if (qobject_cast<QGuiApplication*>(QCoreApplication::instance()))
            QGuiApplication::clipboard()->setText(QString::fromStdString(Text()));
    }
    FLines.clear();
    return any;
}

} // namespace ferro
