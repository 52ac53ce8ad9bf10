#pragma once
// Stored data on a connected instrument: its recordings by class and its events, downloaded on a
// click (resuming a file that stopped short) or in bulk, shown as curves or tables.

#include "forms/FormLayout.h"

namespace ferro {

class TFormOnline : public TFormLayout {
    Q_OBJECT
public:
    explicit TFormOnline(QWidget* Parent = nullptr);

    // The session stands: the two roots of the tree, then both listings are asked for.
    void ConnEst(TSender Sender, bool Success) override;

private:
    // The language file names groups, columns and events: the one a connection left in the ini
    // folder, else the instrument's.
    void LoadLanguage();
};

} // namespace ferro
