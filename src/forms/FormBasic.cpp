#include "forms/FormBasic.h"

#include "forms/Icons.h"
#include "forms/SetupNodePath.h"
#include "foundation/Clock.h"
#include "foundation/Format.h"
#include "foundation/MainThread.h"
#include "link/CommandTable.h"
#include "link/Messages.h"
#include "link/RSComUnit.h"
#include "link/TCPComUnit.h"

#include <pugixml.hpp>

#include <QCloseEvent>
#include <QFrame>
#include <QHBoxLayout>
#include <QKeyEvent>
#include <QLabel>
#include <QMessageBox>
#include <QProgressBar>
#include <QSlider>
#include <QTimer>
#include <QVBoxLayout>

#include <exception>

namespace ferro {

namespace {

std::vector<std::string> StreamLines(const MemStream& Stream) {
    std::vector<std::string> lines;
    std::string all(reinterpret_cast<const char*>(Stream.data()), Stream.size());
    size_t from = 0;
    while (from < all.size()) {
        size_t lf = all.find('\n', from);
        std::string line = all.substr(from, lf == std::string::npos ? std::string::npos : lf - from);
        if (!line.empty() && line.back() == '\r') line.pop_back();
        if (!line.empty()) lines.push_back(line);
        if (lf == std::string::npos) break;
        from = lf + 1;
    }
    return lines;
}

} // namespace

TFormBasic::TFormBasic(QWidget* Parent) : QWidget(Parent), FXML(std::make_unique<pugi::xml_document>()) {
    FVerInfo = "Ferro";
    FOnGetFerroPtr = [this](TSender S, uint32_t Id) { return GetMGFerroPtr(S, Id); };
    ColArr.assign(TColArr.begin(), TColArr.end());
    BuildStatusBar();
}

TFormBasic::~TFormBasic() {
    // Each step is logged with its time, so a slow tear-down shows where it hangs.
    int step = 0;
    auto stepDone = [this, &step] {
        if (step > 0) LogCallBack("End:", false);
        LogCallBack(Fmt("End: %d %lld", step++, static_cast<long long>(clock().nowMs())), false);
    };
    stepDone();
    // A connecting thread may be waiting for an answer to a host-key question: give it one.
    FinishPendingDialogs();
    // The session goes first: its link's threads post into this form and must be stopped while it
    // still stands. It owns whichever transport was made (TCP or serial).
    if (FComUnit) {
        FComUnit->FOnLogCallBack = nullptr;
        FComUnit->FRequestClose = nullptr;
    }
    FTCPComUnit = nullptr;
    FSession.reset();
    stepDone();
    FRSComUnit = nullptr;
    stepDone();
    FComUnit = nullptr;
    stepDone();
    FMGFerroCls.clear();
    FGrpLst.clear();
    stepDone();
    // The charts are the descendants' own; their slots close the count.
    for (int i = 0; i < 3; ++i)
        stepDone();
    FOnLogCallBack = nullptr;
}

void TFormBasic::BuildStatusBar() {
    auto* root = new QVBoxLayout(this);
    root->setContentsMargins(0, 0, 0, 0);
    root->setSpacing(0);

    lytBase = new QWidget(this);
    lytBase->setObjectName("lytBase");
    root->addWidget(lytBase, 1);

    StatBar = new QFrame(this);
    StatBar->setObjectName("StatBar");
    StatBar->setFrameShape(QFrame::StyledPanel);
    StatBar->setAutoFillBackground(true);
    auto* bar = new QHBoxLayout(StatBar);
    bar->setContentsMargins(8, 3, 8, 3);
    bar->setSpacing(10);
    root->addWidget(StatBar);

    PanelBack = new QFrame(StatBar);
    PanelBack->setObjectName("PanelBack");
    auto* panel = new QHBoxLayout(PanelBack);
    panel->setContentsMargins(0, 0, 0, 0);
    panel->setSpacing(6);
    imgSecure = new QLabel(PanelBack);
    imgSecure->setObjectName("imgSecure");
    imgSecure->setFixedSize(18, 18);
    lblCon = new QLabel(PanelBack);
    lblCon->setObjectName("lblCon");
    panel->addWidget(imgSecure);
    panel->addWidget(lblCon);
    PanelBack->setVisible(false);
    bar->addWidget(PanelBack);

    AniIndi = new QProgressBar(StatBar);
    AniIndi->setObjectName("AniIndi");
    AniIndi->setRange(0, 0);
    AniIndi->setTextVisible(false);
    AniIndi->setFixedSize(64, 10);
    AniIndi->setVisible(false);
    bar->addWidget(AniIndi);

    LabSBar = new QLabel(StatBar);
    LabSBar->setObjectName("LabSBar");
    bar->addWidget(LabSBar, 1);

    lytTrackZoom = new QWidget(StatBar);
    lytTrackZoom->setObjectName("lytTrackZoom");
    auto* zoom = new QHBoxLayout(lytTrackZoom);
    zoom->setContentsMargins(0, 0, 0, 0);
    txtZoomNeg = new QLabel("−", lytTrackZoom);
    txtZoomNeg->setObjectName("txtZoomNeg");
    tbZoom = new QSlider(Qt::Horizontal, lytTrackZoom);
    tbZoom->setObjectName("tbZoom");
    tbZoom->setRange(10, 400);
    tbZoom->setValue(100);
    tbZoom->setFixedWidth(120);
    txtZoomPos = new QLabel("+", lytTrackZoom);
    txtZoomPos->setObjectName("txtZoomPos");
    txtZoomPerc = new QLabel("100 %", lytTrackZoom);
    txtZoomPerc->setObjectName("txtZoomPerc");
    zoom->addWidget(txtZoomNeg);
    zoom->addWidget(tbZoom);
    zoom->addWidget(txtZoomPos);
    zoom->addWidget(txtZoomPerc);
    connect(tbZoom, &QSlider::valueChanged, txtZoomPerc,
            [this](int v) { txtZoomPerc->setText(QString("%1 %").arg(v)); });
    lytTrackZoom->setVisible(false);
    bar->addWidget(lytTrackZoom);

    ProgressBar1 = new QProgressBar(StatBar);
    ProgressBar1->setObjectName("ProgressBar1");
    // The bar counts in percent: transfer sizes do not fit its int range.
    ProgressBar1->setRange(0, 100);
    ProgressBar1->setValue(0);
    ProgressBar1->setTextVisible(false);
    ProgressBar1->setFixedSize(160, 12);
    bar->addWidget(ProgressBar1);
    ProgressBar1->setVisible(false);

    txtProgress = new QLabel("0%", StatBar);
    txtProgress->setObjectName("txtProgress");
    txtProgress->setMinimumWidth(txtProgress->fontMetrics().horizontalAdvance("100%") + 4);
    txtProgress->setAlignment(Qt::AlignRight | Qt::AlignVCenter);
    bar->addWidget(txtProgress);
    txtProgress->setVisible(false);
}

// ---------------------------------------------------------------- the link

void TFormBasic::SetComUnit(bool IsSerial, bool IsSSH, TIpVer IpVer) {
    FRec.Transport = IsSerial ? TTransport::Serial : (IsSSH ? TTransport::Ssh : TTransport::Tcp);
    FRec.IpVer = IpVer;
    FSecureConnection = IsSSH;
    MakeSession(nullptr);
}

void TFormBasic::AdoptComUnit(std::unique_ptr<TComUnit> Unit, bool IsSSH) {
    FSecureConnection = IsSSH;
    MakeSession(std::move(Unit));
}

void TFormBasic::MakeSession(std::unique_ptr<TComUnit> Unit) {
    FComUnit = nullptr;
    FTCPComUnit = nullptr;
    FRSComUnit = nullptr;
    FSession.reset();
    FRec.Visibility = FVisibility;
    FSession = Unit ? std::make_unique<TDeviceSession>(FRec, std::move(Unit))
                    : std::make_unique<TDeviceSession>(FRec);
    FComUnit = &FSession->Link();
    FTCPComUnit = FSession->Tcp();
    FRSComUnit = FSession->Serial();
    WireCallbacks();
    WireSession();
}

void TFormBasic::Open(const TConnectionRec& Rec) {
    FRec = Rec;
    FSecureConnection = Rec.IsSsh();
    MakeSession(nullptr);
    SetCapt(Rec.Name.empty() ? Rec.Where() : Rec.Name);
    StartWork("Verbinde mit " + (Rec.Name.empty() ? Rec.Where() : Rec.Name));
    FConnSucces = true;
    FIP = Rec.Address;
    FPort = Rec.IsSerial() ? Rec.SerialDevice : std::to_string(Rec.Port);
    FSession->Open();
}

void TFormBasic::CloseView() {
    if (FClosing) return;
    FClosing = true;
    PrepareShutdown();
    if (!FSession) {
        Postpone(this, [this] { Finish(); });
        return;
    }
    FSession->Close();
}

void TFormBasic::Finish() {
    if (FFinished) return;
    FFinished = true;
    emit ViewFinished();
}

void TFormBasic::WireCallbacks() {
    TComUnit& l = *FComUnit;
    l.FVisibility = FVisibility;
    l.FOnLogCallBack = [this](TSender S, const std::string& T, bool M) { LogPrepare(S, T, M); };
    l.FOnNewXMLFile = [this](TSender S, const std::string& F, int K) { CallBackXML(S, F, K); };
    l.FStopWork = [this] { StopWork(); };
    l.FClearWork = [this] { ClearWork(); };
    l.FUpdateGrid = [this](TSender S) { FileUpdateGrid(S); };
    l.FRecOverview = [this](TSender S, MemStream& M) { FileRecOverView(S, M); };
    l.FEvtOverview = [this](TSender S, MemStream& M) { FileEvtOverView(S, M); };
    l.FRecToTable = [this](TSender S, const std::string& F) { FileRecToTable(S, F); };
    l.FEvtToTable = [this](TSender S, const std::string& F) { FileEvtToTable(S, F); };
    l.FSetNewDisplayImage = [this](TSender S, MemStream& M) { SetNewDisplayImage(S, M); };
    l.FOnConCallack = [this](TSender S, const std::string& T) { SetLabConText(S, T); };
    l.FThreadExceptCallBack = [this](TSender S) { ThreadExceptCallBack(S); };
    l.FNAKCB = [this](TSender, uint32_t) { EndWork(); };
}

void TFormBasic::WireSession() {
    TDeviceSession& s = *FSession;
    s.FPresent = [this](const std::string& T, TMsgDlgType Ty, TThreadedMessageCallBack Cb, TMsgDlgButtons B,
                        TMsgDlgBtn D) { DisplayConnMessage(T, Ty, std::move(Cb), B, D); };
    connect(&s, &TDeviceSession::StateChanged, this, [this](TSessionState St) { SessionStateChanged(St); });
    connect(&s, &TDeviceSession::ConnectEnded, this, [this](bool Success, bool AuthError) {
        if (!Success) FConnSucces = false;
        FAuthError = AuthError;
        ConnEnd(this);
    });
    connect(&s, &TDeviceSession::SessionEstablished, this, [this] {
        ConnEst(this, true);
        emit EstablishedChanged(true);
    });
    connect(&s, &TDeviceSession::SessionFailed, this, [this](const QString& Reason) {
        EndWork();
        ConnectionFailed(Reason.toStdString());
    });
    connect(&s, &TDeviceSession::SessionLost, this, [this](const QString& Reason) {
        ConnectionLost(Reason.toStdString());
        emit EstablishedChanged(false);
    });
    connect(&s, &TDeviceSession::SessionClosed, this, [this] {
        if (PanelBack->isVisible()) {
            PanelBack->setVisible(false);
            emit EstablishedChanged(false);
        }
        if (FClosing) Finish();
    });
    connect(&s, &TDeviceSession::Progress, this, [this](TWorkStatus St, TWorkMode M, quint64 N) {
        switch (St) {
        case ::ferro::WorkBegin:
            WorkBegin(M, N);
            break;
        case WorkWorking:
            SetWorkProg(M, N);
            break;
        case ::ferro::WorkEnd:
            WorkEnd(M);
            break;
        }
    });
}

void TFormBasic::ConnectionLost(const std::string&) {
    PanelBack->setVisible(false);
    AniIndi->setVisible(false);
    ClearWork();
}

void TFormBasic::ConnectionFailed(const std::string&) {
    PanelBack->setVisible(false);
    AniIndi->setVisible(false);
}

bool TFormBasic::PrepareLink(bool FTP, bool GZ, bool SetFolders, bool Connect, bool CheckXML) {
    FComUnit->FFTP = FTP;
    FComUnit->FGZ = GZ;
    FComUnit->FSetFolders = SetFolders;
    FComUnit->FVisibility = FVisibility;
    if (!Connect) {
        EndWork();
        return false;
    }
    FComUnit->FCheckXMLFileVersions = CheckXML;
    return true;
}

void TFormBasic::SetTCPCommUnit(const std::string& IP, int Port, bool FTP, bool Connect, bool SetFolders,
                                bool GZ, bool CheckXML, int BoundPort) {
    if (!FComUnit) return;
    FConnSucces = true;
    FIP = IP;
    FPort = std::to_string(Port);
    FComUnit->SetIPAndPort(IP, Port, BoundPort);
    if (FTCPComUnit) FTCPComUnit->FIsOffline = IP.empty();
    if (!PrepareLink(FTP, GZ, SetFolders, Connect, CheckXML)) return;
    FSession->SetAddress(IP, Port);
    FSession->Open();
}

void TFormBasic::SetSerialComUnit(const std::string& Port, bool Connect, bool SetFolders, bool GZ,
                                  bool CheckXML, bool UseStart) {
    if (!FComUnit) return;
    FConnSucces = false;
    FPort = Port;
    if (!PrepareLink(false, GZ, SetFolders, Connect, CheckXML)) return;
    if (FRSComUnit) FRSComUnit->SetComPort(Port);
    FSession->SetSerial(Port, UseStart);
    FSession->Open();
}

void TFormBasic::ConnEnd(TSender) {
    if (FConnectThreadEnd) FConnectThreadEnd(this, FConnSucces, FAuthError);
}

void TFormBasic::ConnEst(TSender, bool Success) {
    if (FComUnit) {
        if (Success) {
            imgSecure->setPixmap(
                FerroIcon(FSecureConnection ? TIconKind::Secure : TIconKind::Unsecure).pixmap(18, 18));
            imgSecure->setToolTip(FSecureConnection ? "Verschlüsselte Verbindung (SSH)"
                                                    : "Unverschlüsselte Verbindung");
            Ftme = FComUnit->Identity().TimeSet.tz;
            PanelBack->setVisible(true);
            AniIndi->setVisible(false);
        } else {
            PanelBack->setVisible(false);
            AniIndi->setVisible(false);
        }
        if (FXMLVersionCallback)
            FXMLVersionCallback(this, FComUnit->FLangVer, FComUnit->FObjPropsVer, FComUnit->FstrucVer);
    }
    if (FConnestCB) FConnestCB(Success);
}

// ---------------------------------------------------------------- sending

bool TFormBasic::CheckConnection() {
    if (!FComUnit || FClosing) return false;
    if (FRSComUnit) return true;
    if (FTCPComUnit && FTCPComUnit->FIsOffline) return true;
    if (FComUnit->IsConnected()) return true;
    // The session is opening already: a second connect would race it.
    if (FSession->Connecting()) return false;
    try {
        // The connect runs on the session's worker, never on this thread; the command that asked
        // for it is not sent, the view starts over once the session stands again.
        LogPrepare(this, "Connecting", false);
        StartWork("Verbinde mit " + FRec.Where());
        FSession->Open();
        return false;
    } catch (const std::exception& e) {
        LogPrepare(this, Fmt("Basic Check %s_%s", "Exception", e.what()), false);
        FComUnit->DoDisconnect(false);
        return false;
    }
}

bool TFormBasic::SendCommandToCom(const std::string& Info, uint8_t Cmd, uint8_t Priv, uint16_t ExtCmd) {
    return SendChecked(Info, Cmd, Priv, ExtCmd);
}

bool TFormBasic::SendCommandToCom(const std::string& Info, uint8_t Cmd, uint8_t Priv, uint16_t ExtCmd,
                                  const std::string& txt, bool LUA) {
    return SendChecked(Info, Cmd, Priv, ExtCmd, txt, LUA);
}

bool TFormBasic::SendCommandToCom(const std::string& Info, uint8_t Cmd, uint8_t Priv, uint16_t ExtCmd,
                                  uint32_t ID) {
    return SendChecked(Info, Cmd, Priv, ExtCmd, ID);
}

bool TFormBasic::SendCommandToCom(const std::string& Info, uint8_t Cmd, uint8_t Priv, uint16_t ExtCmd,
                                  const std::string& txt) {
    return SendChecked(Info, Cmd, Priv, ExtCmd, txt);
}

bool TFormBasic::SendCommandToCom(const std::string& Info, uint8_t Cmd, uint8_t Priv, uint16_t ExtCmd,
                                  const std::string& txt, uint32_t Pos, bool LUA) {
    return SendChecked(Info, Cmd, Priv, ExtCmd, txt, Pos, LUA);
}

bool TFormBasic::SendCommandToCom(const std::string& Info, uint8_t Cmd, uint8_t Priv, uint16_t ExtCmd,
                                  const std::string& txt, const std::string& ccciFileName) {
    return SendChecked(Info, Cmd, Priv, ExtCmd, txt, ccciFileName);
}

void TFormBasic::StartStream(TSender, int Kind) {
    if (Kind < 0 || Kind >= int(CDataObj.size())) return;
    if (SendCommandToCom("CCC_STREAM_START", CmdStream, 0, 1, CDataObj[size_t(Kind)])) FStreamRunning = true;
}

void TFormBasic::StartStreamWithBinary(TSender Sender, int Kind) {
    if (FComUnit) FComUnit->FStreamRec.WithBinary = true;
    StartStream(Sender, Kind);
}

void TFormBasic::StopStream(TSender) {
    if (!FStreamRunning || !FComUnit || !FComUnit->IsConnected()) return;
    FStreamRunning = false;
    SendCommandToCom("CCC_STREAM_STOP", CmdStream, 0, 0xFFFF, FComUnit->FStreamRec.ObjHdl);
}

void TFormBasic::GetPara(TSender) {
    SendCommandToCom("CCC_SETUP_RD_ALL", CmdSetup, 0, 1);
}
void TFormBasic::RecUebClick(TSender) {
    SendCommandToCom("CCC_READOUT_REC_LS", CmdReadout, 0, 0);
}
void TFormBasic::EvtUebClick(TSender) {
    SendCommandToCom("CCC_READOUT_EVT_LS", CmdReadout, 0, 0x10);
}

void TFormBasic::RecClick(TSender, const std::string& Name) {
    SendCommandToCom("CCC_READOUT_REC_RD", CmdReadout, 0, 1, Name, 0, false);
}
void TFormBasic::RecClick(TSender, const std::string& Name, uint32_t Pos) {
    SendCommandToCom("CCC_READOUT_REC_RD", CmdReadout, 0, 1, Name, Pos, false);
}
void TFormBasic::EvtClick(TSender, const std::string& Name) {
    SendCommandToCom("CCC_READOUT_EVT_RD", CmdReadout, 0, 0x11, Name, 0, false);
}
void TFormBasic::EvtClick(TSender, const std::string& Name, uint32_t Pos) {
    SendCommandToCom("CCC_READOUT_EVT_RD", CmdReadout, 0, 0x11, Name, Pos, false);
}
void TFormBasic::RecDel(TSender, const std::string& Name) {
    SendCommandToCom("CCC_READOUT_REC_RM", CmdReadout, 0, 2, Name, false);
}
void TFormBasic::RecDelAll(TSender) {
    SendCommandToCom("CCC_READOUT_REC_RMALL", CmdReadout, 0, 3);
}
void TFormBasic::EvtDel(TSender, const std::string& Name) {
    SendCommandToCom("CCC_READOUT_EVT_RM", CmdReadout, 0, 0x12, Name, false);
}
void TFormBasic::EvtDelAll(TSender) {
    SendCommandToCom("CCC_READOUT_EVT_RMALL", CmdReadout, 0, 0x13);
}
void TFormBasic::GetNewDisplayImage(TSender) {
    SendCommandToCom("CCC_READOUT_DISP_RD", CmdReadout, 0, 0x21);
}

const char* TFormBasic::ControlDeviceLua(TBtnControlDevice Btn) {
    switch (Btn) {
    case BtnLeft:
        return "gpio.keyLeft()";
    case BtnRight:
        return "gpio.keyRight()";
    case BtnTop:
        return "gpio.keyUp()";
    case BtnDown:
        return "gpio.keyDown()";
    case BtnEnter:
        return "gpio.keyEnter()";
    }
    return "";
}

void TFormBasic::ControlDevice(TSender, TBtnControlDevice Btn) {
    SendCommandToCom("CCC_LUA_COMMAND", CmdLua, 1, 0, ControlDeviceLua(Btn), true);
}

void TFormBasic::PrepareShutdown() {
    LogPrepare(this, "PrepareShutdown", false);
    if (FComUnit) FComUnit->FRequestClose = nullptr;
}

bool TFormBasic::RightGranted(const std::string& Output) {
    return ContainsNoCase(Output, "true");
}

void TFormBasic::CheckSSHRight(const std::string& Right, TProc Allowed, TProc Denied) {
    if (!FComUnit || !CheckConnection()) return;
    QPointer<TFormBasic> self(this);
    FComUnit->Lua(
        Fmt("print(user.authorized(\"%s\")[\"%s\"]);", Right.c_str(), Right.c_str()),
        [self, Allowed = std::move(Allowed), Denied = std::move(Denied)](const TReply& R) {
            if (!self) return;
            if (R.Ok && RightGranted(R.Text)) {
                if (Allowed) Allowed();
                return;
            }
            const std::string user = self->FComUnit ? self->FComUnit->FSSHUser : std::string();
            self->DisplayMessage(Fmt(_SKeineRechte, user.c_str()), mtError, Buttons({mbOK}), mbOK, nullptr);
            if (Denied) Denied();
        },
        "User");
}

void TFormBasic::CallBackXML(TSender, const std::string& FileName, int XMLType) {
    switch (XMLType) {
    case 0: {
        std::string path;
        if (!UserManagementPath(FileName, path)) return;
        // A text command: the plain text form would treat the path as a file to upload.
        SendCommandToCom("CCC_SETUP_RD_ONE", CmdSetup, 0, 2, path, false);
        break;
    }
    case 1:
        ParaToTable(FileName);
        break;
    case 2:
        LogPrepare(this, Fmt("New XML %s", FileName.c_str()), false);
        // A broken file keeps the texts loaded before and says why in the log.
        if (!FLangXML.SetLangFile(FileName) || !FLangXMLFN.SetLangFile(FileName))
            LogPrepare(this, FLangXML.LastError(), false);
        break;
    default:
        break;
    }
}

TMGFerroRec TFormBasic::GetMGFerroPtr(TSender, uint32_t Id) const {
    auto it = FMGFerroCls.find(Id);
    if (it != FMGFerroCls.end()) return it->second;
    TMGFerroRec miss;
    miss.Id = Id;
    return miss;
}

void TFormBasic::FileRecOverView(TSender, MemStream& Stream) {
    RecOverView(StreamLines(Stream));
}

void TFormBasic::FileEvtOverView(TSender, MemStream& Stream) {
    EvtOverView(StreamLines(Stream));
}

void TFormBasic::FileRecToTable(TSender, const std::string& FileName) {
    RecToTable(FileName);
}

void TFormBasic::FileEvtToTable(TSender, const std::string& FileName) {
    EvtToTable(FileName);
}

void TFormBasic::FileAsyncToTable(TSender, const std::string& FileName) {
    AsyncToTable(FileName);
}

void TFormBasic::FileUpdateGrid(TSender) {
    UpdateGrid();
}

void TFormBasic::keyPressEvent(QKeyEvent* Event) {
    int key = Event->key();
    QChar ch = Event->text().isEmpty() ? QChar() : Event->text().at(0);
    NewOnKeyDown(this, key, ch, Event->modifiers());
    if (key == 0)
        Event->accept();
    else
        QWidget::keyPressEvent(Event);
}

void TFormBasic::closeEvent(QCloseEvent* Event) {
    FinishPendingDialogs();
    QWidget::closeEvent(Event);
}

} // namespace ferro
