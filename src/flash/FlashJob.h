#pragma once
// One firmware update on one instrument, without any widget: backup of the setup, the update
// archive unpacked, its files sent to the scratchpad (by CCCI frames one after the other, or by
// FTP), the update command run, and the wait until the instrument has rebooted and tells its new
// firmware. The view adds its dialogs between the steps; the mass update and ferroctl run the
// steps in one go (RunSilent).

#include "flash/UpdateArchive.h"
#include "link/DeviceSession.h"

#include <QElapsedTimer>
#include <QObject>
#include <QPointer>

#include <functional>
#include <memory>
#include <string>
#include <thread>

namespace ferro {

enum TKind : uint8_t { KndFirmware, KndStatus, KndMassFW };

// The end of a step: success, and in German what went wrong (or what came back).
using TFlashStep = std::function<void(bool Ok, const std::string& Text)>;

struct TFlashResult {
    bool Ok = false;
    std::string Text;   // German: the reason of a failure, or the new firmware
    std::string Backup; // the backup written, "" without
    uint32_t OldRev = 0, NewRev = 0;
};

class TFlashJob : public QObject {
    Q_OBJECT
public:
    explicit TFlashJob(TDeviceSession& Session, QObject* Parent = nullptr);
    ~TFlashJob() override;

    // Log lines; the flag asks for the user's memo.
    std::function<void(const std::string& Text, bool ToUser)> FLog;
    // How long a reboot may take, and how often the instrument is asked meanwhile.
    int FRebootTimeoutMs = 180000;
    int FRetryMs = 1000;

    // Reads the setup and copies it to `Target` (overwriting).
    void Backup(const std::string& Target, TFlashStep Done);
    // The mass update's backup name in `Dir`: serial, address, the host's id and the device name.
    std::string MassBackupName(const std::string& Dir, const std::string& PQStartID) const;
    // Unpacks the update archive into the link's temporary folder.
    bool Unpack(const std::string& Zip, std::string& Error);
    const TUpdateArchive& Archive() const { return FArchive; }
    // Sends every file of the archive but the change log to the scratchpad, in archive order.
    void SendFiles(TFlashStep Done);
    // Runs the update command; Done gets the instrument's answer.
    void StartFlash(TFlashStep Done);
    // The Lua line of the update: the SSH form prints the instrument's answer as text.
    static std::string FlashCommand(const std::string& Image, bool Ssh);
    // Waits until the instrument accepts a session again and tells a new firmware (the archive's,
    // when its image names one); Done gets the new firmware word, 0 when it did not come back.
    void AwaitReboot(std::function<void(bool Ok, const std::string& Text, uint32_t NewRev)> Done);

    // Backup (when `BackupDir` is not empty), unpack, send, flash, reboot: the mass update's run.
    void RunSilent(const std::string& Zip, const std::string& BackupDir, const std::string& PQStartID,
                   std::function<void(const TFlashResult&)> Done);

    uint32_t OldRev() const { return FOldRev; }
    static std::string RevText(uint32_t Rev);

private:
    void Log(const std::string& Text, bool ToUser = false) const;
    void SendNext(TFlashStep Done);
    void Probe();
    void ProbeEnded(bool Established);
    void FinishSilent(bool Ok, const std::string& Text);

    TDeviceSession& FSession;
    TUpdateArchive FArchive;
    std::vector<std::string> FSL; // still to send
    uint32_t FOldRev = 0;
    // The reboot wait.
    std::unique_ptr<TDeviceSession> FProbe;
    QElapsedTimer FRebootClock;
    bool FRebooting = false;
    std::function<void(bool, const std::string&, uint32_t)> FRebootDone;
    std::thread FFtpWorker; // an FTP upload under way
    // The silent run.
    TFlashResult FResult;
    std::function<void(const TFlashResult&)> FSilentDone;
};

} // namespace ferro
