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
};

} // namespace ferro
