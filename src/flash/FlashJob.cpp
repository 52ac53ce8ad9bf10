#include "flash/FlashJob.h"

#include "flash/FlashTexts.h"
#include "foundation/Format.h"
#include "foundation/MainThread.h"
#include "link/FtpClient.h"

#include <QTimer>

#include <algorithm>

#include <filesystem>

namespace fs = std::filesystem;

namespace ferro {

namespace {
constexpr const char* CScratchpadFtp = "/flashdrive0/data/ccci/scratchpad";
} // namespace

TFlashJob::TFlashJob(TDeviceSession& Session, QObject* Parent) : QObject(Parent), FSession(Session) {
    FOldRev = Session.Link().Identity().Rev.Rev;
}

TFlashJob::~TFlashJob() {
    // The upload ends within the FTP client's own time limits; its result is then dropped.
    if (FFtpWorker.joinable()) FFtpWorker.join();
}

void TFlashJob::Log(const std::string& Text, bool ToUser) const {
    if (FLog) FLog(Text, ToUser);
}

std::string TFlashJob::RevText(uint32_t Rev) {
    if (Rev >= 0x01000000u)
        return Fmt("%u.%u.%u.%u", Rev >> 24, (Rev >> 16) & 0xFF, (Rev >> 8) & 0xFF, Rev & 0xFF);
    return Fmt("Rev %u", Rev);
}

void TFlashJob::Backup(const std::string& Target, TFlashStep Done) {
    QPointer<TFlashJob> self(this);
    FSession.Link().ReadSetup([self, Target, Done](const TReply& R) {
        if (!self) return;
        std::error_code ec;
        if (R.Ok) fs::copy_file(R.File, Target, fs::copy_options::overwrite_existing, ec);
        if (!R.Ok || ec) {
            Done(false, Fmt(_SBackupFailed, (R.Ok ? ec.message() : R.Text).c_str()));
            return;
        }
        self->Log("Save Backup " + Target);
        Done(true, Target);
    });
}

std::string TFlashJob::MassBackupName(const std::string& Dir, const std::string& PQStartID) const {
    const TIdentity& id = FSession.Link().Identity();
    std::string dir = Dir;
    if (!dir.empty() && dir.back() != '/') dir += '/';
    return Fmt("%s%u_%s_%s_%s.xml", dir.c_str(), id.SN, FSession.Connection().Address.c_str(),
               PQStartID.c_str(), id.Device.c_str());
}

bool TFlashJob::Unpack(const std::string& Zip, std::string& Error) {
    std::string folder = FSession.Link().FTmpDir;
    if (folder.empty()) folder = (fs::temp_directory_path() / "ferro-flash").string() + "/";
    folder += "update/";
    std::error_code ec;
    fs::remove_all(folder, ec);
    if (!UnpackUpdateArchive(Zip, folder, FArchive, Error, [this](const std::string& L) { Log(L); }))
        return false;
    FSL = FArchive.FSL;
    return true;
}

void TFlashJob::SendFiles(TFlashStep Done) {
    TComUnit& link = FSession.Link();
    if (link.FFTP) {
        // By FTP on a worker of our own: a firmware image takes a while, and the window goes on
        // meanwhile. Progress and the end come back to the main thread.
        std::vector<std::string> files;
        files.swap(FSL);
        for (const std::string& f : files)
            Log(Fmt("SendTo=%s", f.c_str()));
        if (FFtpWorker.joinable()) FFtpWorker.join();
        TComUnit* l = &link;
        const std::string host = FSession.Connection().Address;
        const int port = link.FFtpPort;
        FFtpWorker = std::thread([this, l, host, port, files, Done = std::move(Done)] {
            TFtpClient ftp;
            ftp.Host = host;
            ftp.Port = port;
            ftp.OnWork = [l](TWorkStatus St, TWorkMode M, uint64_t N) {
                Postpone(l, [l, St, M, N] { l->TransferWork(St, M, N); });
            };
            const bool ok = ftp.Probe() && ftp.Put(files, CScratchpadFtp);
            const std::string why = ok ? std::string() : ftp.LastError();
            ftp.Disconnect();
            Postpone(this, [this, ok, why, Done] {
                if (!ok) Log("FTP upload failed: " + why);
                Done(ok, ok ? std::string() : _SUploadFailed);
            });
        });
        return;
    }
    SendNext(std::move(Done));
}

// One file per request: the next goes when the instrument has acknowledged the last.
void TFlashJob::SendNext(TFlashStep Done) {
    if (FSL.empty()) {
        Done(true, std::string());
        return;
    }
    const std::string path = FSL.front();
    FSL.erase(FSL.begin());
    Log(Fmt("SendTo=%s", path.c_str()));
    QPointer<TFlashJob> self(this);
    FSession.Link().ScratchpadPut(path, fs::path(path).filename().string(), [self, Done](const TReply& R) {
        if (!self) return;
        if (!R.Ok) {
            Done(false, std::string(_SUploadFailed) + (R.Text.empty() ? "" : ": " + R.Text));
            return;
        }
        self->SendNext(Done);
    });
}

std::string TFlashJob::FlashCommand(const std::string& Image, bool Ssh) {
    return Ssh ? Fmt("FW = print(uti.err2ascii(uti.fwUpdate(\"~/%s\")))", Image.c_str())
               : Fmt("uti.fwUpdate(\"~/%s\")", Image.c_str());
}

void TFlashJob::StartFlash(TFlashStep Done) {
    const bool ssh = FSession.Connection().IsSsh();
    QPointer<TFlashJob> self(this);
    // The instrument drops every line when it reboots; that is the expected end here.
    FSession.FPresent = nullptr;
    FSession.Link().Lua(FlashCommand(FArchive.FUpdFN, ssh), [self, ssh, Done](const TReply& R) {
        if (!self) return;
        std::string text = R.Text;
        while (!text.empty() && (text.back() == '\n' || text.back() == '\r' || text.back() == ' '))
            text.pop_back();
        const bool ok = ssh ? R.Ok && ContainsNoCase(R.Text, "No Error") : R.Ok;
        self->Log("Flash answer: " + text);
        Done(ok, text);
    });
}

void TFlashJob::AwaitReboot(std::function<void(bool Ok, const std::string& Text, uint32_t NewRev)> Done) {
    FRebootDone = std::move(Done);
    FRebooting = true;
    FRebootClock.start();
    Log("Das Gerät startet neu; warte auf seine Rückmeldung …", true);
    QTimer::singleShot(FRetryMs, this, [this] { Probe(); });
}

void TFlashJob::Probe() {
    TConnectionRec rec = FSession.Connection();
    rec.CheckXML = false;
    rec.ConnectTimeoutMs = std::min(rec.ConnectTimeoutMs, 10000);
    FProbe = std::make_unique<TDeviceSession>(rec);
    connect(FProbe.get(), &TDeviceSession::SessionEstablished, this, [this] { ProbeEnded(true); });
    connect(FProbe.get(), &TDeviceSession::SessionFailed, this, [this] { ProbeEnded(false); });
    FProbe->Open();
}

void TFlashJob::ProbeEnded(bool Established) {
    TDeviceSession* p = FProbe.release();
    if (!p) return;
    disconnect(p, nullptr, this, nullptr);
    const uint32_t rev = Established ? p->Link().Identity().Rev.Rev : 0;
    if (Established) {
        connect(p, &TDeviceSession::SessionClosed, p, &QObject::deleteLater);
        p->Close();
    } else {
        p->deleteLater();
    }
    const uint32_t want = FArchive.ImageRev;
    const bool isNew = Established && (want ? rev == want : rev != FOldRev);
    const int timeoutS = FRebootTimeoutMs / 1000;
    if (isNew) {
        Log("Das Gerät ist wieder erreichbar, Firmware " + RevText(rev), true);
        auto done = std::move(FRebootDone);
        done(true, RevText(rev), rev);
        return;
    }
    if (FRebootClock.elapsed() + FRetryMs >= FRebootTimeoutMs) {
        auto done = std::move(FRebootDone);
        if (Established)
            done(false, Fmt(_SWrongVersion, RevText(rev).c_str(), RevText(want ? want : FOldRev).c_str()),
                 rev);
        else
            done(false, Fmt(_SNotBack, timeoutS), 0);
        return;
    }
    QTimer::singleShot(FRetryMs, this, [this] { Probe(); });
}

void TFlashJob::RunSilent(const std::string& Zip, const std::string& BackupDir, const std::string& PQStartID,
                          std::function<void(const TFlashResult&)> Done) {
    FSilentDone = std::move(Done);
    FResult = TFlashResult();
    FResult.OldRev = FOldRev = FSession.Link().Identity().Rev.Rev;
    auto update = [this, Zip] {
        std::string error;
        if (!Unpack(Zip, error)) return FinishSilent(false, error);
        if (FArchive.FUpdFN.empty()) return FinishSilent(false, _SUpdateInvalid);
        SendFiles([this](bool Ok, const std::string& Text) {
            if (!Ok) return FinishSilent(false, Text);
            StartFlash([this](bool Ok, const std::string& Text) {
                if (!Ok) return FinishSilent(false, Text.empty() ? std::string(_SMassFailed) : Text);
                AwaitReboot([this](bool Ok, const std::string& Text, uint32_t Rev) {
                    FResult.NewRev = Rev;
                    FinishSilent(Ok, Text);
                });
            });
        });
    };
    if (BackupDir.empty()) return update();
    std::error_code ec;
    fs::create_directories(BackupDir, ec);
    Backup(MassBackupName(BackupDir, PQStartID), [this, update](bool Ok, const std::string& Text) {
        if (!Ok) return FinishSilent(false, Text);
        FResult.Backup = Text;
        update();
    });
}

void TFlashJob::FinishSilent(bool Ok, const std::string& Text) {
    FResult.Ok = Ok;
    // A failure before the reboot names the step that failed; a line that fell meanwhile is said so.
    if (!Ok && !FRebooting && !FSession.Established())
        FResult.Text = std::string(_SMassLineLost) + (Text.empty() ? "" : ": " + Text);
    else
        FResult.Text = Text;
    if (auto done = std::move(FSilentDone)) done(FResult);
}

} // namespace ferro
