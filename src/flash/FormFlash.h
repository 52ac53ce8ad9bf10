#pragma once
// The firmware update of one instrument: backup question, the archive unpacked and sent, the
// change log confirmed, the update command, the wait for the reboot and the new firmware shown.
// Besides, a status read (KndStatus) and a silent member of a mass update (KndMassFW).

#include "flash/FlashJob.h"
#include "forms/FormBasic.h"

#include <functional>
#include <memory>
#include <string>

class QFileDialog;
class QLabel;
class QPlainTextEdit;

namespace ferro {

class TFrmChangelog;

class TFormFlash : public TFormBasic {
    Q_OBJECT
public:
    explicit TFormFlash(QWidget* Parent = nullptr);
    ~TFormFlash() override;

    // How the host asks for the update archive when it opens the view ("" cancels the view).
    static std::function<std::string(QWidget* Parent)> ChooseArchive;
    // The status script that the status read runs on the instrument.
    static std::string StatusScript();
    static constexpr const char* CStatusFN = "status.lua";

    TKind FKind = KndFirmware;
    std::string FFN;
    std::string FMassBackupDir;
    bool FDoMassBackup = false;
    std::string FPQStartID;
    std::function<void(bool Success, const std::string& Text)> FMassFlashSucc;
    bool FMassFlashDone = false;
    TFormClose FFlashClose;
    std::vector<std::string> FSL;
    std::string FUpdFN, FReadmeFN;
    bool FShuttingDown = false;
    bool FFlashDone = false;
    // How long the instrument may take to come back after the update.
    int FRebootTimeoutMs = 180000;
    int FRetryMs = 1000;

    QPlainTextEdit* mmoLog = nullptr;
    QFileDialog* dlgSave1 = nullptr;
    QLabel* lblDevice = nullptr;
    QLabel* lblFirmware = nullptr;
    QLabel* lblFile = nullptr;
    QLabel* lblState = nullptr;

    void ConnEst(TSender Sender, bool Success) override;
    void ParaToTable(const std::string& Path) override;
    void LogPrepare(TSender Sender, const std::string& Text, bool ToUser) override;
    void ThreadExceptCallBack(TSender Sender) override;
    void ConnectionLost(const std::string& Reason) override;
    void PrepareShutdown() override;
    void CheckData() override;

    void AskBackup();
    void BackupDialogResult(TSender Sender, int Result);
    void UpdateFirmware();
    void StartFlash();
    void FlashDone(TSender Sender, bool Success);
    void Shutdown(TSender Sender, int Result);

private:
    void SetState(const QString& Text);
    void ShowFirmware();
    void ShowMessage(const std::string& Text);
    void MassNAKCB(TSender Sender, uint32_t Code);
    void RunStatus();
    void RunMass();
    void ChangelogClosed(int Result);
    void RebootEnded(bool Ok, const std::string& Text);

    std::unique_ptr<TFlashJob> FJob;
    TFrmChangelog* FChangelog = nullptr;
    TDisplayConnMessage FPresent;  // the session's message road, put back after the reboot
    bool FAwaitReboot = false;     // the instrument is expected to drop the line
    bool FBackAfterReboot = false; // the session stands again after the update
    std::string FRebootText;
};

} // namespace ferro
