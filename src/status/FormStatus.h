#pragma once
// The device status view: the instrument's status is read through a script in its scratchpad
// and spread over eight pages (overview, CCCI, drives, system, SCADA, time, capture, Lua console).

#include "forms/FormBasic.h"
#include "status/PcapRemote.h"
#include "status/StatusCollector.h"

#include <memory>

class QLabel;
class QPushButton;
class QScrollArea;

namespace ferro {

class TFrameMain;
class TFrameCCCI;
class TFrameDrives;
class TFrameSystem;
class TFrameModBus;
class TFrameNTP;
class TFrameLUA;
class TFramePCAP;

class TfrmStatus : public TFormBasic {
    Q_OBJECT
public:
    explicit TfrmStatus(QWidget* Parent = nullptr);
    ~TfrmStatus() override;

    void ConnEst(TSender Sender, bool Success) override;
    void LogPrepare(TSender Sender, const std::string& Text, bool ToMemo) override;
    QStringList Pages() const override;
    void ShowPage(int Index) override;

    // Reads the status again; the page on view stays.
    void refreshView(TSender Sender);
    // Spreads the parsed status over the pages.
    void PrepareFrames();
    void EnableMenu(bool B);
    void SetActiveFrame(QWidget* Frame);
    void MenuBtnClick(QPushButton* Sender);
    void GetPCAPListing();
    void PCAPFileInteract(TPCAPInteractType Kind, const std::string& Name);
    void LUACommandDone();
    // Fetches the instrument's log (opened with the desktop's viewer).
    void GetLog(TSender Sender);

    const TStatusReport& ValList() const;
    QWidget* ActiveFrame() const { return FActiveFrame; }
    // Where a downloaded capture is saved: asks the user by default; "" keeps it where it arrived.
    std::function<std::string(const std::string& Arrived)> FAskSavePath;

    TFrameMain* FFrameMain = nullptr;
    TFrameCCCI* FFrameCCCI = nullptr;
    TFrameDrives* FFrameDrives = nullptr;
    TFrameSystem* FFrameSystem = nullptr;
    TFrameModBus* FFrameModbus = nullptr;
    TFrameNTP* FFrameNTP = nullptr;
    TFrameLUA* FFrameLUA = nullptr;
    TFramePCAP* FFramePCAP = nullptr;

private:
    void CreateFrames();
    void Collected(bool Ok, bool Refused, const std::string& Error);
    void ShowInfo(const QString& Text, bool Failure);
    bool IsQuartz() const;
    QWidget* PageOfTag(int Tag) const;

    std::unique_ptr<TStatusCollector> FCollector;
    std::unique_ptr<TPcapRemote> FPcap;
    QWidget* FActiveFrame = nullptr;
    bool FInClick = false;
    bool FDownloading = false;
    QScrollArea* scrlbxMenu = nullptr;
    QWidget* lytFrame = nullptr;
    QLabel* lblInfo = nullptr;
    QPushButton *btnUebersicht, *btnCCCI, *btnSpeicher, *btnSystem, *btnScade, *btnZeitsynch, *btnPCAP,
        *btnLUA;
    std::vector<QPushButton*> FMenuButtons;
};

} // namespace ferro
