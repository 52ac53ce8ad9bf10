#pragma once
// The connection view: shows who answers on the line, the instrument's clock and the log of the
// connection, and offers to connect again when the line fell.

#include "Instrument.h"
#include "forms/FormBasic.h"

class QCheckBox;
class QLabel;
class QPlainTextEdit;
class QPushButton;
class QTimer;

namespace ferro {

class TConnectionView : public TFormBasic {
    Q_OBJECT
public:
    explicit TConnectionView(QWidget* Parent = nullptr);
    ~TConnectionView() override;

    void ConnEst(TSender Sender, bool Success) override;
    void LogPrepare(TSender Sender, const std::string& Text, bool ToMemo) override;
    void ConnectionLost(const std::string& Reason) override;
    void ConnectionFailed(const std::string& Reason) override;
    void SessionStateChanged(TSessionState State) override;

    // The instrument's wall clock as shown ("" before the identity arrived).
    std::string DeviceClockText() const;

private:
    void Reconnect();
    void ShowIdentity();
    void UpdateClock();
    void SetState(const QString& Text, const QString& Color);

    int64_t FClockBaseMs = 0;
    uint32_t FClockBaseUtc = 0;

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
    QPushButton* btnReconnect = nullptr;
    QTimer* FClockTimer = nullptr;
};

} // namespace ferro
