#pragma once
// The module choice before a sending (or a CSV export): one tick per module; what is unticked is
// left out. The list of name=flag lines belongs to the caller and changes only on OK.

#include "para/SetupDocument.h"

#include <QDialog>

class QLabel;
class QListWidget;
class QPushButton;

namespace ferro {

class TFrmParaSelect : public QDialog {
    Q_OBJECT
public:
    explicit TFrmParaSelect(TModulList& FSL, QWidget* Parent = nullptr);

    // Before a sending: the modules flagged "1", ticked.
    void CreateSelect(const std::string& DeviceName);
    // Before a CSV export: every line by its value part, ticked; OK removes the unticked lines.
    void CreateCopySelect();
    void SetImages(const QIcon& Ok, const QIcon& Abort);

    QListWidget* lstSel;
    QPushButton *btnOk, *btnAbort;
    QLabel* TxtDescSelect;

protected:
    bool eventFilter(QObject* Watched, QEvent* Event) override;

private:
    void btnOkClick();
    void btnCopyOkClick();
    TModulList& FSL;
    bool FCopy = false;
};

} // namespace ferro
