#pragma once
// The connection view: opens the link to one instrument and shows who answers, its clock and the
// log. It stands in for the other views until they exist.

#include "Instrument.h"
#include "forms/FormBasic.h"

class QCheckBox;
class QLabel;
class QPlainTextEdit;
class QPushButton;
class QTimer;

namespace ferro {

// Where the link keeps its files (each with a trailing separator).
struct TFolders {
    std::string Data, Ini, Tmp;
};

class TConnectionView : public TFormBasic {
    Q_OBJECT
public:
    explicit TConnectionView(QWidget* Parent = nullptr);
    ~TConnectionView() override;

    // Makes the link for `Entry` and starts connecting; returns at once.
    void Open(const TInstrument& Entry, const TFolders& Folders);
    // Stops the session the orderly way; ViewFinished follows when the line is down.
    void CloseView();

    void ConnEst(TSender Sender, bool Success) override;
    void LogPrepare(TSender Sender, const std::string& Text, bool ToMemo) override;

    bool Established() const { return FEstablished; }
    const TInstrument& Instrument() const { return FEntry; }
    // The instrument's wall clock as shown ("" before the identity arrived).
    std::string DeviceClockText() const;

signals:
    // The host may take the view away now (closed on request or the line asked for it).
    void ViewFinished();
    void EstablishedChanged(bool Established);

private:
    void ConnectAttemptEnded(bool Success, bool AuthError);
    void ShowIdentity();
    void UpdateClock();
    void SetState(const QString& Text, const QString& Color);
    void Finish();

    TInstrument FEntry;
    bool FEstablished = false;
    bool FFinished = false;
    bool FClosing = false;
    int64_t FClockBaseMs = 0;
    uint32_t FClockBaseUtc = 0;
    TConnectThreadEnd FHostConnectThreadEnd;

    QLabel* lblState = nullptr;
    QLabel* lblAddress = nullptr;
    QLabel* lblSerial = nullptr;
    QLabel* lblArticle = nullptr;
    QLabel* lblDevType = nullptr;
    QLabel* lblFirmware = nullptr;
    QLabel* lblStation = nullptr;
    QLabel* lblClock = nullptr;
    QPlainTextEdit* memLog = nullptr;
    QCheckBox* chkAllLines = nullptr;
    QPushButton* btnIdentify = nullptr;
    QTimer* FClockTimer = nullptr;
};

} // namespace ferro
