#pragma once
// The mass update: one archive onto many instruments, a few at a time, without any question on
// the way. Each instrument gets its own session and TFlashJob; each ends in one result line, and
// the run in a summary.

#include "flash/FlashJob.h"
#include "link/ConnectionRec.h"

#include <QObject>

#include <memory>
#include <string>
#include <vector>

namespace ferro {

struct TMassLine {
    std::string Name;  // the instrument as the list names it
    bool Done = false; // the instrument's run has ended
    bool Ok = false;
    std::string Text;   // German: the new firmware, or why the update failed
    std::string Backup; // the backup file, "" without
};

class TMassFlash : public QObject {
    Q_OBJECT
public:
    // Four at a time: an update moves about a megabyte per instrument and then waits for a
    // reboot, so more parallel runs only crowd the host's uplink and the log.
    static constexpr int CParallel = 4;

    TMassFlash(std::vector<TConnectionRec> Targets, std::string Zip, std::string BackupDir,
               QObject* Parent = nullptr);
    ~TMassFlash() override;

    int FParallel = CParallel;
    int FRebootTimeoutMs = 180000;
    int FRetryMs = 1000;
    std::function<void(const std::string& Name, const std::string& Text)> FLog;
    // How the instruments' sessions ask (a new host key); unset, every question is answered No.
    TDisplayConnMessage FPresent;

    void Start();
    bool Finished() const { return FDoneCount == int(FLines.size()); }
    const std::vector<TMassLine>& Lines() const { return FLines; }
    int Succeeded() const;
    // "2 von 3 Geräten aktualisiert. Fehlgeschlagen: FR-3" and the like.
    std::string Summary() const;

signals:
    void LineDone(int Index);
    void AllDone();

private:
    struct TRun;
    void StartNext();
    void Finish(int Index, bool Ok, const std::string& Text, const std::string& Backup);

    std::vector<TConnectionRec> FTargets;
    std::string FZip, FBackupDir;
    std::vector<TMassLine> FLines;
    std::vector<std::unique_ptr<TRun>> FRuns;
    int FNext = 0, FRunning = 0, FDoneCount = 0;
};

} // namespace ferro
