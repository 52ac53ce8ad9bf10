#pragma once
// The change log of an update, shown before the update starts: "Update Starten" (result 1) or
// "Abbrechen" (result 3).

#include <QDialog>
#include <QIcon>

#include <string>

class QPlainTextEdit;
class QPushButton;

namespace ferro {

class TFrmChangelog : public QDialog {
    Q_OBJECT
public:
    explicit TFrmChangelog(QWidget* Parent = nullptr);

    void SetImages(const QIcon& Ok, const QIcon& Abort);
    // The text to show; loaded when the dialog shows, if the file exists.
    std::string FFN;

    QPlainTextEdit* mmoChangelog = nullptr;
    QPushButton* btnok = nullptr;
    QPushButton* btnAbort = nullptr;

protected:
    void showEvent(QShowEvent* Event) override;

private:
    void FormShow();
    void btnOkClick();
    void btnAbortClick();
};

} // namespace ferro
