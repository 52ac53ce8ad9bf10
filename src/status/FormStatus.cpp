#include "status/FormStatus.h"

#include "foundation/Format.h"
#include "link/ComUnit.h"
#include "status/FrameStatCCCI.h"
#include "status/FrameStatDrives.h"
#include "status/FrameStatLUA.h"
#include "status/FrameStatMain.h"
#include "status/FrameStatModBus.h"
#include "status/FrameStatNTP.h"
#include "status/FrameStatPCAP.h"
#include "status/FrameStatSystem.h"

#include <QDateTime>
#include <QFileDialog>
#include <QFileInfo>
#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QScrollArea>
#include <QTreeWidget>
#include <QVBoxLayout>

#include <filesystem>

namespace ferro {

namespace {

struct TMenuEntry {
    const char* Name;
    const char* Text;
    int Tag;
};
constexpr TMenuEntry CMenu[] = {
    {"btnUebersicht", "Übersicht", 0},
    {"btnCCCI", "Marlin - Interface (CCCI)", 1},
    {"btnSpeicher", "Speicher", 2},
    {"btnSystem", "System", 3},
    {"btnScade", "SCADA", 4},
    {"btnZeitsynch", "Zeitsynchronisation", 6},
    {"btnPCAP", "PCAP", 7},
    {"btnLUA", "LUA", 8},
};

} // namespace

TfrmStatus::TfrmStatus(QWidget* Parent) : TFormBasic(Parent) {
    setObjectName("frmStatus");
    auto* h = new QHBoxLayout(lytBase);
    h->setContentsMargins(0, 0, 0, 0);
    scrlbxMenu = new QScrollArea(lytBase);
    scrlbxMenu->setObjectName("scrlbxMenu");
    scrlbxMenu->setWidgetResizable(true);
    scrlbxMenu->setFixedWidth(190);
    auto* menu = new QWidget;
    auto* mv = new QVBoxLayout(menu);
    for (const TMenuEntry& e : CMenu) {
        auto* b = new QPushButton(e.Text, menu);
        b->setObjectName(e.Name);
        b->setProperty("Tag", e.Tag);
        b->setCheckable(true);
        b->setMinimumHeight(34);
        connect(b, &QPushButton::clicked, this, [this, b] { MenuBtnClick(b); });
        mv->addWidget(b);
        FMenuButtons.push_back(b);
    }
    btnUebersicht = FMenuButtons[0], btnCCCI = FMenuButtons[1], btnSpeicher = FMenuButtons[2];
    btnSystem = FMenuButtons[3], btnScade = FMenuButtons[4], btnZeitsynch = FMenuButtons[5];
    btnPCAP = FMenuButtons[6], btnLUA = FMenuButtons[7];
    mv->addStretch();
    lblInfo = new QLabel(menu);
    lblInfo->setObjectName("lblInfo");
    lblInfo->setWordWrap(true);
    mv->addWidget(lblInfo);
    scrlbxMenu->setWidget(menu);
    h->addWidget(scrlbxMenu);
    lytFrame = new QWidget(lytBase);
    lytFrame->setObjectName("lytFrame");
    auto* fl = new QVBoxLayout(lytFrame);
    fl->setContentsMargins(0, 0, 0, 0);
    h->addWidget(lytFrame, 1);
    CreateFrames();
    EnableMenu(false);
    FAskSavePath = [this](const std::string& Arrived) {
        return QFileDialog::getSaveFileName(this, "Aufzeichnung speichern", QString::fromStdString(Arrived),
                                            "Paketaufzeichnung (*.pcap)")
            .toStdString();
    };
}

TfrmStatus::~TfrmStatus() {
    // Completions still queued on the link must not reach the pages any more.
    FCollector.reset();
    FPcap.reset();
}

void TfrmStatus::CreateFrames() {
    FFrameMain = new TFrameMain;
    FFrameCCCI = new TFrameCCCI;
    FFrameDrives = new TFrameDrives;
    FFrameSystem = new TFrameSystem;
    FFrameModbus = new TFrameModBus;
    FFrameNTP = new TFrameNTP;
    FFrameLUA = new TFrameLUA;
    FFramePCAP = new TFramePCAP;
    // All pages belong to lytFrame and go with the view; only the one on view is shown.
    for (QWidget* f : std::initializer_list<QWidget*>{FFrameMain, FFrameCCCI, FFrameDrives, FFrameSystem,
                                                      FFrameModbus, FFrameNTP, FFrameLUA, FFramePCAP}) {
        f->setParent(lytFrame);
        f->hide();
    }
    auto refresh = [this] { refreshView(this); };
    FFrameMain->FOnRefresh = refresh;
    FFrameDrives->FOnRefresh = refresh;
    FFrameCCCI->FOnRefresh = refresh;
    FFrameSystem->FOnRefresh = refresh;
    FFrameModbus->FOnRefresh = refresh;
    FFrameNTP->FOnRefresh = refresh;
    FFrameLUA->FSendCmd = [this](const std::string& Text) {
        if (!FComUnit || !Established()) {
            FFrameLUA->WriteToMemo("Keine Verbindung zum Gerät.");
            LUACommandDone();
            return;
        }
        QPointer<TfrmStatus> self(this);
        FComUnit->Lua(Text, [self](const TReply& r) {
            if (!self) return;
            self->FFrameLUA->WriteToMemo(r.Ok ? r.Text : "Fehler: " + r.Text);
            self->LUACommandDone();
        });
    };
    FFramePCAP->FSendLuaStart = [this](const std::string& Line) {
        if (!FPcap) return;
        LogPrepare(this, "PCAP: " + Line, false);
        FPcap->Start(Line, [this](bool Ok, const std::string& Error) {
            if (!Ok)
                DisplayMessage("Die Aufzeichnung wurde nicht gestartet: " + Error, mtWarning, Buttons({mbOK}),
                               mbOK, nullptr);
            GetPCAPListing();
        });
    };
    FFramePCAP->FGetPCAPListing = [this] { GetPCAPListing(); };
    FFramePCAP->FInteractFiles = [this](TPCAPInteractType Kind, const std::string& Name) {
        PCAPFileInteract(Kind, Name);
    };
}

QWidget* TfrmStatus::PageOfTag(int Tag) const {
    switch (Tag) {
    case 0:
        return FFrameMain;
    case 1:
        return FFrameCCCI;
    case 2:
        return FFrameDrives;
    case 3:
        return FFrameSystem;
    case 4:
        return FFrameModbus;
    case 6:
        return FFrameNTP;
    case 7:
        return FFramePCAP;
    case 8:
        return FFrameLUA;
    default:
        return nullptr;
    }
}

bool TfrmStatus::IsQuartz() const {
    return FComUnit && FComUnit->Identity().DevType == devtypQuartz;
}

QStringList TfrmStatus::Pages() const {
    QStringList l;
    for (const TMenuEntry& e : CMenu)
        l << e.Text;
    return l;
}

void TfrmStatus::ShowPage(int Index) {
    if (Index >= 0 && Index < int(FMenuButtons.size())) MenuBtnClick(FMenuButtons[size_t(Index)]);
}

void TfrmStatus::ConnEst(TSender Sender, bool Success) {
    TFormBasic::ConnEst(Sender, Success);
    if (!Success || !FComUnit) return;
    FCollector = std::make_unique<TStatusCollector>(*FComUnit);
    FPcap = std::make_unique<TPcapRemote>(*FComUnit);
    if (IsQuartz()) {
        // Such an instrument has only the console.
        for (QPushButton* b : FMenuButtons)
            b->setVisible(b == btnLUA);
        btnLUA->setEnabled(true);
        MenuBtnClick(btnLUA);
        return;
    }
    StartWork("Verbinden");
    ShowInfo("Der Status wird gelesen …", false);
    FCollector->Collect(
        [this](bool Ok, bool Refused, const std::string& Error) { Collected(Ok, Refused, Error); });
}

void TfrmStatus::refreshView(TSender) {
    // A capture on its way holds the scratchpad's file kind: the status read waits for it.
    if (!FCollector || FCollector->Busy() || FDownloading || IsQuartz() || !Established()) return;
    EnableMenu(false);
    StartWork("Verbinden");
    ShowInfo("Der Status wird gelesen …", false);
    FCollector->Collect(
        [this](bool Ok, bool Refused, const std::string& Error) { Collected(Ok, Refused, Error); });
}

void TfrmStatus::ShowInfo(const QString& Text, bool Failure) {
    lblInfo->setText(Text);
    lblInfo->setStyleSheet(Failure ? "color: #b00020;" : "");
}

void TfrmStatus::Collected(bool Ok, bool Refused, const std::string& Error) {
    EndWork();
    if (!Ok) {
        LogPrepare(this, Error, true);
        ShowInfo(QString::fromStdString(Error), true);
        if (Refused) {
            // The instrument would not take the script: there is nothing to read on this line.
            DisplayMessage(Error, mtError, Buttons({mbOK}), mbOK, nullptr);
            if (Session()) Session()->Close();
            return;
        }
        // A report that could not be read leaves the pages as they were; the menu works if it did before.
        if (!ValList().Values().empty()) EnableMenu(true);
        DisplayMessage(Error, mtWarning, Buttons({mbOK}), mbOK, nullptr);
        return;
    }
    ShowInfo("Stand: " + QDateTime::currentDateTime().toString("dd.MM.yyyy hh:mm:ss"), false);
    PrepareFrames();
    SetActiveFrame(FActiveFrame ? FActiveFrame : FFrameMain);
    EnableMenu(true);
    for (QPushButton* b : FMenuButtons)
        b->setChecked(PageOfTag(b->property("Tag").toInt()) == FActiveFrame);
}

const TStatusReport& TfrmStatus::ValList() const {
    static const TStatusReport empty;
    return FCollector ? FCollector->Report() : empty;
}

void TfrmStatus::PrepareFrames() {
    const TStatusReport& r = ValList();
    const TStatusOverview o = r.Overview(Ftme);
    FFrameMain->SetOverview(o);
    FFrameDrives->SetDrive("flashdrive0", r.Drive("flashdrive0"));
    FFrameDrives->SetDrive("ramdrive0", r.Drive("ramdrive0"));
    FFrameDrives->ShowCard(o.CardShown);
    if (o.CardShown) FFrameDrives->SetDrive("sd0", r.Drive("sd0"));

    FFrameCCCI->ClearForm();
    FFrameSystem->ClearForm();
    FFrameModbus->ClearForm();
    FFrameNTP->ClearForm();
    TStatusLists l = r.Lists(Ftme);
    FFrameCCCI->CCCILst = std::move(l.CCCILst);
    FFrameCCCI->FLstNetwork = std::move(l.Network);
    FFrameSystem->FLstSysLoad = std::move(l.SysLoad);
    FFrameSystem->FLstLog = std::move(l.Log);
    FFrameModbus->FLstModBus = std::move(l.ModBus);
    FFrameModbus->FLstIEC104 = std::move(l.IEC104);
    FFrameNTP->FLstNTP1 = std::move(l.NTP[0]);
    FFrameNTP->FLstNTP2 = std::move(l.NTP[1]);
    FFrameNTP->FLstNTP3 = std::move(l.NTP[2]);
    FFrameNTP->FLstNTP4 = std::move(l.NTP[3]);
    FFrameNTP->FLstTime = std::move(l.Time);

    FFrameCCCI->SetData();
    FFrameDrives->PrepareBitmaps();
    FFrameSystem->SetSystemData();
    FFrameModbus->SetModbusData();
    FFrameNTP->SetNTPData();
    FFramePCAP->FGetPCAPListing = [this] { GetPCAPListing(); };
}

void TfrmStatus::EnableMenu(bool B) {
    for (QPushButton* b : FMenuButtons)
        b->setEnabled(B);
}

void TfrmStatus::SetActiveFrame(QWidget* Frame) {
    if (Frame == FFramePCAP) {
        FFramePCAP->GenText();
        GetPCAPListing();
    }
    scrlbxMenu->setEnabled(false);
    if (FActiveFrame && FActiveFrame != Frame) {
        lytFrame->layout()->removeWidget(FActiveFrame);
        FActiveFrame->hide();
    }
    if (Frame) {
        if (lytFrame->layout()->indexOf(Frame) < 0) lytFrame->layout()->addWidget(Frame);
        Frame->show();
    }
    FActiveFrame = Frame;
    scrlbxMenu->setEnabled(true);
}

void TfrmStatus::MenuBtnClick(QPushButton* Sender) {
    if (FInClick || !Sender) return;
    FInClick = true;
    EnableMenu(false);
    for (QPushButton* b : FMenuButtons)
        b->setChecked(b == Sender);
    // Tag 5 and unknown tags show no page.
    SetActiveFrame(PageOfTag(Sender->property("Tag").toInt()));
    // A Quartz instrument, or one whose status is not read yet, offers only what it has.
    if (IsQuartz())
        btnLUA->setEnabled(true);
    else
        EnableMenu(!ValList().Values().empty());
    FInClick = false;
}

void TfrmStatus::GetPCAPListing() {
    if (!FPcap || !Established()) return;
    FFramePCAP->ListView1->clear();
    FPcap->List([this](bool Ok, const std::vector<TPcapListItem>& Items, const std::string& Error) {
        if (!Ok) {
            LogPrepare(this, "PCAP listing: " + Error, true);
            return;
        }
        FFramePCAP->SetListing(Items);
    });
}

void TfrmStatus::PCAPFileInteract(TPCAPInteractType Kind, const std::string& Name) {
    if (!FPcap) return;
    if (Kind == PCAPDelete) {
        FPcap->Remove(Name, [this](bool, const std::string&) { GetPCAPListing(); });
        return;
    }
    if (FDownloading || (FCollector && FCollector->Busy())) {
        DisplayMessage("Bitte warten: das Gerät liefert gerade eine andere Datei.", mtInformation,
                       Buttons({mbOK}), mbOK, nullptr);
        return;
    }
    FDownloading = true;
    StartWork("Herunterladen");
    FPcap->Download(Name, [this](bool Ok, const std::string& File, const std::string& Error) {
        FDownloading = false;
        EndWork();
        LogPrepare(this, "Before Safe", false);
        if (!Ok) {
            DisplayMessage(Error, mtWarning, Buttons({mbOK}), mbOK, nullptr);
            return;
        }
        const std::string target = FAskSavePath ? FAskSavePath(File) : std::string();
        if (!target.empty() && target != File) {
            std::error_code ec;
            std::filesystem::copy_file(File, target, std::filesystem::copy_options::overwrite_existing, ec);
            if (ec) {
                DisplayMessage("Die Aufzeichnung kann nicht gespeichert werden: " + target + " (" +
                                   ec.message() + ")",
                               mtWarning, Buttons({mbOK}), mbOK, nullptr);
                return;
            }
            LogPrepare(this, "PCAP Saved to " + target, true);
        }
        LogPrepare(this, "After Safe", false);
    });
}

void TfrmStatus::LUACommandDone() {
    if (FFrameLUA) FFrameLUA->btnSend->setEnabled(true);
}

void TfrmStatus::GetLog(TSender) {
    if (!FComUnit || !Established()) return;
    if (FComUnit->FHead.Ver < 4) {
        FComUnit->FCCCISratchpad = spFlushLog;
        SendCommandToCom("CCC_LUA_COMMAND", 6, 1, 0, "uti.flushLog()", true);
    } else {
        SendCommandToCom("CCC_READOUT_LOGD_RD", 5, 0, 0x22);
    }
}

void TfrmStatus::LogPrepare(TSender Sender, const std::string& Text, bool ToMemo) {
    if (FActiveFrame && FActiveFrame == FFrameLUA && ToMemo) FFrameLUA->WriteToLog(Text);
    TFormBasic::LogPrepare(Sender, Text, ToMemo);
}

} // namespace ferro
