#pragma once
// The editor of one instrument entry. It refuses an entry that the store would not accept and
// tells the user why, staying open.

#include "Instrument.h"

#include <QDialog>

class QComboBox;
class QLineEdit;
class QLabel;
class QDialogButtonBox;

namespace ferro {

class TInstrumentDialog : public QDialog {
    Q_OBJECT
public:
    explicit TInstrumentDialog(const TInstrument& Entry, QWidget* Parent = nullptr);

    // The entry as the fields describe it (a port that is no number counts as 0).
    TInstrument Entry() const;
    // Checks the fields; accepts the dialog or shows the reason and stays open.
    void TryAccept();
    // The reason of the last refusal ("" if none).
    const std::string& LastError() const { return FLastError; }

    QLineEdit* edtName = nullptr;
    QLineEdit* edtAddress = nullptr;
    QLineEdit* edtPort = nullptr;
    QComboBox* cbTransport = nullptr;
    QComboBox* cbIpVer = nullptr;
    QLineEdit* edtUser = nullptr;
    QLineEdit* edtPassword = nullptr;
    QLineEdit* edtSerial = nullptr;
    QDialogButtonBox* btnBox = nullptr;

private:
    void UpdateFieldStates();

    std::string FLastError;
};

} // namespace ferro
