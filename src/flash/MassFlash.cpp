#include "flash/MassFlash.h"

#include "flash/FlashTexts.h"
#include "foundation/Format.h"

#include <QTimer>

#include <filesystem>

namespace ferro {

struct TMassFlash::TRun {
    std::unique_ptr<TDeviceSession> Session;
    std::unique_ptr<TFlashJob> Job;
};

TMassFlash::TMassFlash(std::vector<TConnectionRec> Targets, std::string Zip, std::string BackupDir,
                       QObject* Parent)
    : QObject(Parent), FTargets(std::move(Targets)), FZip(std::move(Zip)), FBackupDir(std::move(BackupDir)) {
    for (const TConnectionRec& r : FTargets) {
        TMassLine l;
        l.Name = r.Name.empty() ? r.Where() : r.Name;
        FLines.push_back(l);
    }
    FRuns.resize(FTargets.size());
}

TMassFlash::~TMassFlash() = default;

void TMassFlash::Start() {
    if (FTargets.empty()) {
        QTimer::singleShot(0, this, [this] { emit AllDone(); });
        return;
    }
    for (int i = 0; i < std::max(1, FParallel); ++i)
        StartNext();
}

void TMassFlash::StartNext() {
    if (FNext >= int(FTargets.size())) return;
    const int i = FNext++;
    ++FRunning;
    TConnectionRec rec = FTargets[size_t(i)];
    rec.CheckXML = false;
    // Each instrument unpacks into a folder of its own.
    if (!rec.Folders.Tmp.empty()) rec.Folders.Tmp += Fmt("flash-%d/", i);
    std::error_code ec;
    std::filesystem::create_directories(rec.Folders.Tmp, ec);
    auto run = std::make_unique<TRun>();
    run->Session = std::make_unique<TDeviceSession>(rec);
    TDeviceSession* s = run->Session.get();
    s->FPresent = FPresent;
    const std::string name = FLines[size_t(i)].Name;
    connect(s, &TDeviceSession::SessionFailed, this, [this, i](const QString& Reason) {
        if (!FRuns[size_t(i)] || FRuns[size_t(i)]->Job) return;
        Finish(i, false, "Verbindung fehlgeschlagen: " + Reason.toStdString(), std::string());
    });
    connect(s, &TDeviceSession::SessionEstablished, this, [this, i, name] {
        TRun& r = *FRuns[size_t(i)];
        if (r.Job) return;
        r.Job = std::make_unique<TFlashJob>(*r.Session);
        r.Job->FRebootTimeoutMs = FRebootTimeoutMs;
        r.Job->FRetryMs = FRetryMs;
        r.Job->FLog = [this, name](const std::string& T, bool) {
            if (FLog) FLog(name, T);
        };
        r.Job->RunSilent(FZip, FBackupDir, name, [this, i](const TFlashResult& R) {
            std::string text =
                R.Ok ? "Firmware " + R.Text
                     : (R.Text.rfind(_SMassLineLost, 0) == 0 ? R.Text
                                                             : std::string(_SMassFailed) + ": " + R.Text);
            Finish(i, R.Ok, text, R.Backup);
        });
    });
    FRuns[size_t(i)] = std::move(run);
    s->Open();
}

void TMassFlash::Finish(int Index, bool Ok, const std::string& Text, const std::string& Backup) {
    TMassLine& l = FLines[size_t(Index)];
    if (l.Done) return;
    l.Done = true;
    l.Ok = Ok;
    l.Text = Text;
    l.Backup = Backup;
    ++FDoneCount;
    --FRunning;
    if (FLog) FLog(l.Name, (Ok ? "OK: " : "FEHLER: ") + Text);
    // The run's session and job stay until the whole run goes: this is one of their callbacks.
    TRun* r = FRuns[size_t(Index)].get();
    if (r && r->Session) {
        TDeviceSession* s = r->Session.get();
        QTimer::singleShot(0, this, [s] {
            if (s->Established()) s->Close();
        });
    }
    emit LineDone(Index);
    StartNext();
    if (Finished()) emit AllDone();
}

int TMassFlash::Succeeded() const {
    int n = 0;
    for (const TMassLine& l : FLines)
        n += l.Ok ? 1 : 0;
    return n;
}

std::string TMassFlash::Summary() const {
    std::string failed;
    for (const TMassLine& l : FLines)
        if (l.Done && !l.Ok) failed += (failed.empty() ? "" : ", ") + l.Name;
    std::string s = Fmt("%d von %d Geräten aktualisiert.", Succeeded(), int(FLines.size()));
    if (!failed.empty()) s += " Fehlgeschlagen: " + failed;
    return s;
}

} // namespace ferro
