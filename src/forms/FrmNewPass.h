#pragma once
// The dialog for an expired SSH password: the new password twice.

#include <QDialog>

#include <string>

class QLineEdit;
class QPushButton;

namespace ferro {

class TFrmNewPass : public QDialog {
    Q_OBJECT
public:
    explicit TFrmNewPass(QWidget* Parent = nullptr);

    // The accepted new password (empty until OK succeeded).
    std::string FNewPW;

    void btnOKClick();
    void btnAbortClick();

    QLineEdit* edtNewPW = nullptr;
    QLineEdit* edtNewPWConf = nullptr;
    QPushButton* btnOK = nullptr;
    QPushButton* btnAbort = nullptr;
};

} // namespace ferro
