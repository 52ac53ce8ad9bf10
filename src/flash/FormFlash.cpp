#include "flash/FormFlash.h"

#include "flash/FlashTexts.h"
#include "flash/FrmChangelog.h"
#include "forms/Icons.h"
#include "foundation/Format.h"

#include <QApplication>
#include <QFile>
#include <QFileDialog>
#include <QFontDatabase>
#include <QGridLayout>
#include <QLabel>
#include <QPlainTextEdit>
#include <QStyle>
#include <QTimer>
#include <QVBoxLayout>

#include <filesystem>
#include <fstream>

namespace fs = std::filesystem;

namespace ferro {

std::function<std::string(QWidget*)> TFormFlash::ChooseArchive = [](QWidget* Parent) {
    return QFileDialog::getOpenFileName(Parent, "Updatedatei wählen", QString(), "Firmware-Update (*.zip)")
        .toStdString();
};

std::string TFormFlash::StatusScript() {
    static const char* const lines[] = {
        R"lua(local function prntStat(offset, story, out))lua",
        R"lua(if out then)lua",
        R"lua(stat = io.open(out , "w") end)lua",
        R"lua(assert(stat, "could not open/create output - file"))lua",
        R"lua(for n, v in pairs(story) do)lua",
        R"lua(if type (v) == "table" then prntStat(offset..n..".", v, nil))lua",
        R"lua(else stat: write(string.format("%-35s", offset..n), story[n], "\r\n"))lua",
        R"lua(end)lua",
        R"lua(end)lua",
        R"lua(if out then stat: close() end)lua",
        R"lua(end)lua",
        R"lua(function main(name, ...))lua",
        R"lua(local arg = table.pack(...))lua",
        R"lua(if arg[1] then path = arg[1] else path = "/mnt/flashdrive0/data/ccci/scratchpad" end)lua",
        R"lua(if uti.stat then)lua",
        R"lua(uti.mute())lua",
        R"lua(local cwd = fs.pwd())lua",
        R"lua(prntStat("", uti.stat(), path.."/stat.txt"))lua",
        R"lua(fs.cd(cwd))lua",
        R"lua(uti.unmute())lua",
        R"lua(else print("\"uti.stat()\"cmd is not available on this Firmware! STOP"))lua",
        R"lua(end)lua",
        R"lua(end)lua",
        R"lua(main(name, ...))lua",
    };
    std::string s;
    for (const char* l : lines)
        s += (s.empty() ? "" : "\r\n") + std::string(l);
    return s;
}

TFormFlash::TFormFlash(QWidget* Parent) : TFormBasic(Parent) {
    setObjectName("TFormFlash");
    auto* lay = new QVBoxLayout(lytBase);
    lay->setContentsMargins(12, 12, 12, 8);
    auto* title = new QLabel("Firmware-Update", lytBase);
    title->setStyleSheet("font-size: 14pt; font-weight: 600;");
    lay->addWidget(title);
    auto* grid = new QGridLayout;
    grid->setColumnStretch(1, 1);
    auto row = [&](int r, const char* caption, QLabel*& value, const char* name) {
        auto* c = new QLabel(caption, lytBase);
        c->setStyleSheet("color: palette(mid);");
        value = new QLabel("–", lytBase);
        value->setObjectName(name);
        value->setTextInteractionFlags(Qt::TextSelectableByMouse);
        grid->addWidget(c, r, 0);
        grid->addWidget(value, r, 1);
    };
    row(0, "Gerät", lblDevice, "lblDevice");
    row(1, "Firmware", lblFirmware, "lblFirmware");
    row(2, "Updatedatei", lblFile, "lblFile");
    row(3, "Zustand", lblState, "lblState");
    lblState->setStyleSheet("font-weight: 600;");
    lay->addLayout(grid);
    mmoLog = new QPlainTextEdit(lytBase);
    mmoLog->setObjectName("mmoLog");
    mmoLog->setReadOnly(true);
    mmoLog->setMaximumBlockCount(5000);
    mmoLog->setFont(QFontDatabase::systemFont(QFontDatabase::FixedFont));
    lay->addWidget(mmoLog, 1);
    dlgSave1 = new QFileDialog(this, "Parametersicherung speichern");
    dlgSave1->setObjectName("dlgSave1");
    dlgSave1->setAcceptMode(QFileDialog::AcceptSave);
    dlgSave1->setOption(QFileDialog::DontUseNativeDialog);
    dlgSave1->setNameFilter("Setup (*.xml)");
    dlgSave1->setDefaultSuffix("xml");
    SetState("Verbinde mit dem Gerät …");
}

TFormFlash::~TFormFlash() {
    LogCallBack("Flash Begin Destroy", false);
    if (FKind == KndMassFW && !FMassFlashDone && FMassFlashSucc) {
        FMassFlashDone = true;
        FMassFlashSucc(false, _SMassLineLost);
    }
    LogCallBack("Flash End Destroy", false);
}

void TFormFlash::SetState(const QString& Text) {
    lblState->setText(Text);
}

void TFormFlash::ShowFirmware() {
    if (!FComUnit) return;
    const TIdentity& id = FComUnit->Identity();
    lblDevice->setText(QString::fromStdString(
        Fmt("%s (Seriennummer %u)  %s %s", id.Device.c_str(), id.SN, id.Plant.c_str(), id.Field.c_str())));
    lblFirmware->setText(QString::fromStdString(TFlashJob::RevText(id.Rev.Rev)));
    lblFile->setText(QString::fromStdString(FFN.empty() ? std::string("–") : FFN));
}

void TFormFlash::ShowMessage(const std::string& Text) {
    DisplayMessage(Text, mtError, Buttons({mbOK}), mbOK, nullptr);
}

void TFormFlash::LogPrepare(TSender Sender, const std::string& Text, bool ToUser) {
    // While the instrument reboots the link's complaints about the lost line are expected: log only.
    const bool rebootNoise = FAwaitReboot && Sender != this;
    if (ToUser && mmoLog && !rebootNoise) mmoLog->appendPlainText(QString::fromStdString(Text).trimmed());
    TFormBasic::LogPrepare(Sender, Text, ToUser);
}

void TFormFlash::ConnEst(TSender Sender, bool Success) {
    TFormBasic::ConnEst(Sender, Success);
    if (!Success || !FComUnit) return;
    ShowFirmware();
    if (FBackAfterReboot) {
        FBackAfterReboot = false;
        EndWork();
        SetState("Update abgeschlossen, Firmware " + lblFirmware->text());
        LogPrepare(this, "Neue Firmware: " + lblFirmware->text().toStdString(), true);
        DisplayConnMessage(
            _SUpdateDone, mtInformation, [this](TSender S, int R) { Shutdown(S, R); }, Buttons({mbOK}), mbOK);
        return;
    }
    if (FFlashDone) return;
    // The setup backup and the unpacked archive land in the temporary folder.
    std::error_code ec;
    if (!FComUnit->FTmpDir.empty()) fs::create_directories(FComUnit->FTmpDir, ec);
    // The update command's end comes through the job, never through the link's Lua hook.
    FComUnit->FFlashDone = nullptr;
    FJob = std::make_unique<TFlashJob>(*Session());
    FJob->FRebootTimeoutMs = FRebootTimeoutMs;
    FJob->FRetryMs = FRetryMs;
    FJob->FLog = [this](const std::string& T, bool ToUser) { LogPrepare(this, T, ToUser); };
    CheckData();
    switch (FKind) {
    case KndFirmware:
        SetState("Bereit");
        if (FSecureConnection)
            CheckSSHRight(
                "lua.user.print", [this] { AskBackup(); }, [this] { FlashDone(this, false); });
        else
            AskBackup();
        break;
    case KndStatus:
        RunStatus();
        break;
    case KndMassFW:
        RunMass();
        break;
    }
}

void TFormFlash::CheckData() {
    TFormBasic::CheckData();
    if (FKind == KndMassFW && FComUnit)
        FComUnit->FNAKCB = [this](TSender S, uint32_t Code) { MassNAKCB(S, Code); };
}

void TFormFlash::AskBackup() {
    StartWork("Verbinden");
    SetState("Parametersicherung?");
    DisplayAsyncConnMessage(_SAskBackup, mtConfirmation, Buttons({mbYes, mbNo}), mbYes,
                            [this](TSender S, int R) { BackupDialogResult(S, R); });
}

void TFormFlash::BackupDialogResult(TSender, int Result) {
    if (Result == mrYes) {
        SetState("Parametersicherung wird gelesen …");
        QPointer<TFormFlash> self(this);
        // The setup arrives in ParaToTable like every setup read; only a failure is taken here.
        FComUnit->ReadSetup([self](const TReply& R) {
            if (!self || R.Ok) return;
            self->EndWork();
            self->SetState("Parametersicherung fehlgeschlagen");
            self->ShowMessage(Fmt(_SBackupFailed, R.Text.c_str()));
        });
        return;
    }
    if (!FFlashDone) UpdateFirmware();
}

void TFormFlash::ParaToTable(const std::string& Path) {
    if (FKind != KndFirmware) return;
    const TIdentity& id = FComUnit->Identity();
    dlgSave1->setDirectory(QString::fromStdString(FComUnit->FOwnTemplateFolder));
    dlgSave1->selectFile(QString::fromStdString(Fmt("Para_%s_%d.xml", id.Device.c_str(), int(id.SN))));
    disconnect(dlgSave1, &QFileDialog::finished, this, nullptr);
    connect(dlgSave1, &QFileDialog::finished, this, [this, Path](int Result) {
        if (Result == QDialog::Accepted && !dlgSave1->selectedFiles().isEmpty()) {
            const fs::path target = dlgSave1->selectedFiles().first().toStdString();
            FComUnit->FOwnTemplateFolder = target.parent_path().string() + "/";
            std::error_code ec;
            fs::copy_file(Path, target, fs::copy_options::overwrite_existing, ec);
            LogPrepare(this, ec ? "Backup not saved: " + ec.message() : "Save Backup " + target.string(),
                       true);
        } else {
            // No backup wanted after all: the update goes on all the same.
            LogPrepare(this, "Backup not saved", false);
        }
        if (!FFlashDone) UpdateFirmware();
    });
    dlgSave1->open();
}

void TFormFlash::UpdateFirmware() {
    FFlashDone = true;
    SetState("Updatedatei wird entpackt …");
    std::string error;
    if (!FJob->Unpack(FFN, error)) {
        EndWork();
        SetState("Updatedatei ungültig");
        return ShowMessage(error);
    }
    FSL = FJob->Archive().FSL;
    FUpdFN = FJob->Archive().FUpdFN;
    FReadmeFN = FJob->Archive().FReadmeFN;
    if (FUpdFN.empty()) {
        EndWork();
        SetState("Updatedatei ungültig");
        return ShowMessage(_SUpdateInvalid);
    }
    StartWork("Update");
    SetState("Firmware wird übertragen …");
    QPointer<TFormFlash> self(this);
    FJob->SendFiles([self](bool Ok, const std::string& Text) {
        if (!self) return;
        if (Ok) return self->StartFlash();
        self->EndWork();
        self->SetState("Übertragung fehlgeschlagen");
        self->ShowMessage(Text);
    });
}

void TFormFlash::StartFlash() {
    if (FShuttingDown) return EndWork();
    if (FKind != KndFirmware) return;
    FChangelog = new TFrmChangelog(this);
    FChangelog->SetImages(FerroIcon(TIconKind::Firmware),
                          style()->standardIcon(QStyle::SP_DialogCancelButton));
    FChangelog->FFN = FReadmeFN;
    EndWork();
    SetState("Änderungen bestätigen");
    FChangelog->setWindowModality(Qt::WindowModal);
    connect(FChangelog, &QDialog::finished, this, [this](int R) { ChangelogClosed(R); });
    FChangelog->open();
}

void TFormFlash::ChangelogClosed(int Result) {
    if (FChangelog) FChangelog->deleteLater();
    FChangelog = nullptr;
    if (Result != 1) {
        if (FComUnit) FComUnit->FRequestClose = nullptr;
        FRebootText = "Das Update wurde abgebrochen.";
        return FlashDone(this, false);
    }
    StartWork("Update");
    SetState("Update läuft …");
    FPresent = Session()->FPresent;
    FAwaitReboot = true;
    QPointer<TFormFlash> self(this);
    FJob->StartFlash([self](bool Ok, const std::string& Text) {
        if (!self) return;
        if (!Ok) self->FRebootText = Text;
        // Posted: the answer may come in the middle of the link's work, the message must not.
        QTimer::singleShot(0, self, [self, Ok] {
            if (self) self->FlashDone(self, Ok);
        });
    });
}

void TFormFlash::FlashDone(TSender, bool Success) {
    if (FKind != KndFirmware) return;
    LogPrepare(this, std::string("Flash Succ: ") + BoolStr(Success), false);
    if (Success && FAwaitReboot) {
        SetState("Das Gerät startet neu …");
        StartWork("Neustart");
        FJob->AwaitReboot([this](bool Ok, const std::string& Text, uint32_t) { RebootEnded(Ok, Text); });
        return;
    }
    FAwaitReboot = false;
    if (FPresent && Session()) Session()->FPresent = FPresent;
    EndWork();
    if (Session() && Session()->Established()) Session()->Close();
    SetState("Update nicht erfolgreich");
    if (!FRebootText.empty()) LogPrepare(this, FRebootText, true);
    DisplayConnMessage(
        FRebootText.empty() ? _SUpdateNotDone : std::string(_SUpdateNotDone) + "\r\n" + FRebootText,
        mtWarning, [this](TSender S, int R) { Shutdown(S, R); }, Buttons({mbOK}), mbOK);
    LogPrepare(this, "Flashdone After Message", false);
}

void TFormFlash::RebootEnded(bool Ok, const std::string& Text) {
    FAwaitReboot = false;
    if (FPresent) Session()->FPresent = FPresent;
    if (!Ok) {
        FRebootText = Text;
        return FlashDone(this, false);
    }
    // Back on the new firmware: the view connects again and shows it.
    FBackAfterReboot = true;
    SetState("Verbinde mit dem neu gestarteten Gerät …");
    StartWork("Verbinden");
    if (Session()->Established()) {
        // A line that outlived the reboot (an SSH shell) is closed first.
        auto* s = Session();
        auto once = std::make_shared<QMetaObject::Connection>();
        *once = connect(s, &TDeviceSession::SessionClosed, this, [s, once] {
            QObject::disconnect(*once);
            s->Open();
        });
        s->Close();
        return;
    }
    Session()->Open();
}

void TFormFlash::Shutdown(TSender, int) {
    LogPrepare(this, "Flashdone Before Disconnect", false);
    if (Session() && Session()->Established()) Session()->Close();
    LogPrepare(this, "Flashdone After Disconnect", false);
    if (FFlashClose) FFlashClose(this);
}

void TFormFlash::ConnectionLost(const std::string& Reason) {
    if (FAwaitReboot) {
        LogPrepare(this, "Line dropped for the reboot: " + Reason, false);
        return;
    }
    TFormBasic::ConnectionLost(Reason);
}

void TFormFlash::ThreadExceptCallBack(TSender Sender) {
    TFormBasic::ThreadExceptCallBack(Sender);
    if (FKind == KndFirmware) Shutdown(Sender, 0);
    if (FKind == KndMassFW && !FMassFlashDone && FMassFlashSucc) {
        FMassFlashDone = true;
        FMassFlashSucc(false, _SMassLineLost);
    }
}

void TFormFlash::PrepareShutdown() {
    FShuttingDown = true;
    TFormBasic::PrepareShutdown();
}

void TFormFlash::MassNAKCB(TSender, uint32_t) {
    if (FMassFlashDone) return;
    FMassFlashDone = true;
    EndWork();
    if (FMassFlashSucc) FMassFlashSucc(false, _SMassFailed);
}

void TFormFlash::RunMass() {
    StartWork("Update");
    SetState("Sammel-Update läuft …");
    QPointer<TFormFlash> self(this);
    FJob->RunSilent(
        FFN, FDoMassBackup ? FMassBackupDir : std::string(), FPQStartID, [self](const TFlashResult& R) {
            if (!self || self->FMassFlashDone) return;
            self->EndWork();
            self->FMassFlashDone = true;
            self->SetState(R.Ok ? "Update abgeschlossen" : "Update fehlgeschlagen");
            if (self->FMassFlashSucc)
                self->FMassFlashSucc(R.Ok, R.Ok ? std::string() : std::string(_SMassFailed) + ": " + R.Text);
            self->LogPrepare(self, "Flashdone After Message", false);
            QTimer::singleShot(2000, self, [self] {
                if (self && self->FComUnit && self->FComUnit->FRequestClose)
                    self->FComUnit->FRequestClose(self->FComUnit);
            });
        });
}

void TFormFlash::RunStatus() {
    const std::string path = FComUnit->FTmpDir + CStatusFN;
    {
        std::ofstream f(path, std::ios::binary | std::ios::trunc);
        f << StatusScript();
    }
    if (!fs::exists(path)) return;
    StartWork("Verbinden");
    SetState("Status wird gelesen …");
    LogPrepare(this, Fmt("SendTo=%s", path.c_str()), false);
    QPointer<TFormFlash> self(this);
    auto fail = [self](const TReply& R) {
        self->EndWork();
        self->SetState("Status nicht lesbar");
        self->ShowMessage("Der Status konnte nicht gelesen werden: " + R.Text);
    };
    FComUnit->ScratchpadPut(path, CStatusFN, [self, fail](const TReply& R) {
        if (!self) return;
        if (!R.Ok) return fail(R);
        self->FComUnit->Lua(Fmt("dofile\"/mnt/flashdrive0/data/ccci/scratchpad/%s\" ", CStatusFN),
                            [self, fail](const TReply& L) {
                                if (!self) return;
                                if (!L.Ok) return fail(L);
                                self->FComUnit->ScratchpadGet("stat.txt", [self, fail](const TReply& G) {
                                    if (!self) return;
                                    if (!G.Ok) return fail(G);
                                    self->EndWork();
                                    QFile f(QString::fromStdString(G.File));
                                    self->mmoLog->clear();
                                    if (f.open(QIODevice::ReadOnly))
                                        self->mmoLog->setPlainText(QString::fromUtf8(f.read(4 << 20)));
                                    self->SetState("Status gelesen");
                                    self->Session()->Close();
                                });
                            });
    });
}

} // namespace ferro
