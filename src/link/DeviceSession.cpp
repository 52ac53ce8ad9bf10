#include "link/DeviceSession.h"

#include "foundation/Clock.h"
#include "foundation/Format.h"
#include "foundation/MainThread.h"
#include "link/Messages.h"
#include "link/RSComUnit.h"
#include "link/TCPComUnit.h"

#include <QCoreApplication>
#include <QEventLoop>

#include <exception>

namespace ferro {

namespace {
// The session start after the line stands: session reply, identity, folders, versions.
constexpr int CSessionStartLimitMs = 20000;

std::unique_ptr<TComUnit> MakeLink(const TConnectionRec& Rec) {
    if (Rec.IsSerial()) {
        auto rs = std::make_unique<TRSComUnit>();
        rs->SetComPort(Rec.SerialDevice);
        return rs;
    }
    auto tcp = std::make_unique<TTCPComUnit>(Rec.IsSsh());
    tcp->FIPVersion = Rec.IpVer;
    tcp->ConnectTimeoutMs = Rec.ConnectTimeoutMs;
    tcp->FSSHPublicKey = Rec.SshPublicKey;
    tcp->FSSHPrivateKey = Rec.SshPrivateKey;
    return tcp;
}
} // namespace

std::string TRefusal::Describe() const {
    return Fmt(_SGeraetLehntAb, unsigned(Code), Text.c_str());
}

TDeviceSession::TDeviceSession(TConnectionRec Rec, QObject* Parent)
    : TDeviceSession(Rec, MakeLink(Rec), Parent) {}

TDeviceSession::TDeviceSession(TConnectionRec Rec, std::unique_ptr<TComUnit> Link, QObject* Parent)
    : QObject(Parent), FRec(std::move(Rec)), FLink(std::move(Link)), FGuard(std::make_unique<QTimer>()) {
    qRegisterMetaType<TSessionState>();
    FTcp = dynamic_cast<TTCPComUnit*>(FLink.get());
    FSerial = dynamic_cast<TRSComUnit*>(FLink.get());
    FGuard->setSingleShot(true);
    TComUnit& l = *FLink;
    l.SetSSHUserPass(FRec.SshUser, FRec.SshPassword);
    l.FIniFolder = FRec.Folders.Ini;
    l.FTmpDir = FRec.Folders.Tmp;
    l.FDatadir = FRec.Folders.Data;
    l.FSetFolders = !FRec.Folders.Data.empty();
    l.FCheckXMLFileVersions = FRec.CheckXML;
    l.FFtpPort = FRec.FtpPort;
    l.FFTP = FRec.Ftp;
    l.FGZ = FRec.GZ;
    l.FVisibility = FRec.Visibility;
    if (!FRec.IsSerial()) l.SetIPAndPort(FRec.Address, FRec.Port, 0);
    wire();
}

TDeviceSession::~TDeviceSession() {
    FGuard->stop();
    // A connect under way is given up, so that the worker ends at once and can be joined.
    FLink->CancelConnect();
    joinWorker();
    FLink->FOnConnDone = nullptr;
    FLink->FOnLineLost = nullptr;
    FLink->FDisplayConnMessage = nullptr;
    FLink->FRequestClose = nullptr;
    FLink->FOnTransferWork = nullptr;
    FLink->FShutDownComplete = nullptr;
    // The link (and with it its thread) goes before the session's members it posts into.
    FLink.reset();
}

void TDeviceSession::SetAddress(const std::string& Address, int Port) {
    FRec.Address = Address;
    FRec.Port = Port;
    FLink->SetIPAndPort(Address, Port, 0);
}

void TDeviceSession::SetSerial(const std::string& Device, bool UseStart) {
    FRec.Transport = TTransport::Serial;
    FRec.SerialDevice = Device;
    FRec.SerialUseStart = UseStart;
    if (FSerial) FSerial->SetComPort(Device);
}

void TDeviceSession::joinWorker() {
    if (FWorker.joinable()) FWorker.join();
}

void TDeviceSession::wire() {
    TComUnit& l = *FLink;
    l.FOnConnDone = [this](TSender, bool Ok) {
        // Idle: a link driven by hand (a replay, a test) that opened its session itself.
        if (FState != TSessionState::Connecting && FState != TSessionState::Idle) return;
        FGuard->stop();
        if (!Ok) {
            fail(TSessionErrorKind::NoAnswer, Fmt("Das Gerät %s antwortet nicht.", FRec.Where().c_str()),
                 true);
            return;
        }
        FError = {};
        setState(TSessionState::Established);
        emit SessionEstablished();
    };
    l.FOnLineLost = [this](const std::string& Reason) { lineLost(Reason); };
    // The instrument or the line asks to end (session refused, USB pulled): the session is over.
    l.FRequestClose = [this](TSender) {
        Postpone(this,
                 [this] { lineLost(FError.Text.empty() ? std::string(_SVerbindungsabbruch) : FError.Text); });
    };
    l.FDisplayConnMessage = [this](const std::string& Text, TMsgDlgType Type, TThreadedMessageCallBack Cb,
                                   TMsgDlgButtons Buttons, TMsgDlgBtn Def) {
        if (IsMainThread()) {
            present(Text, Type, std::move(Cb), Buttons, Def);
            return;
        }
        // From a link thread: the books are kept on the main thread, the message is shown by the
        // presenter, which knows how to hop threads itself (the thread waits for the box).
        bool show = false;
        RunOnMainAndWait([&] { show = note(Text, Type, bool(Cb)); });
        if (show && FPresent)
            FPresent(Text, Type, std::move(Cb), Buttons, Def);
        else if (Cb)
            Cb(nullptr, Type == mtConfirmation ? DefaultAnswer : int(mrOk));
    };
    l.FOnTransferWork = [this](TWorkStatus St, TWorkMode M, uint64_t N) { emit Progress(St, M, quint64(N)); };
    connect(&l, &TComUnit::Refused, this, [this](quint8 Cmd, quint16 Ext, quint32 Code, const QString& Text) {
        refused(TRefusal{Cmd, Ext, Code, Text.toStdString()});
    });
}

void TDeviceSession::refused(const TRefusal& R) {
    FRefusal = R;
    ++FRefusals;
    // A refused opening or identity is the end of the attempt, at once and with the instrument's
    // reason (the message it gave is the error already). Posted: this runs inside the dispatcher.
    if (FState == TSessionState::Connecting && (R.Cmd == CmdSession || R.Cmd == CmdIdentify))
        Postpone(this, [this, R] {
            if (FState == TSessionState::Connecting) fail(TSessionErrorKind::Refused, R.Describe(), true);
        });
}

void TDeviceSession::setState(TSessionState S) {
    if (FState == S) return;
    FState = S;
    emit StateChanged(S);
}

bool TDeviceSession::note(const std::string& Text, TMsgDlgType Type, bool Awaited) {
    if (Type == mtError) {
        // The first error of an attempt is its reason; a later generic one is not shown again.
        if (FState == TSessionState::Connecting || FError.Kind == TSessionErrorKind::None)
            FError = {TSessionErrorKind::Refused, Text};
        if (FToldThisAttempt && !Awaited) return false;
        FToldThisAttempt = true;
    }
    emit Message(QString::fromStdString(Text), Type);
    return true;
}

void TDeviceSession::present(const std::string& Text, TMsgDlgType Type, TThreadedMessageCallBack Answer,
                             TMsgDlgButtons Buttons, TMsgDlgBtn Default) {
    if (!note(Text, Type, bool(Answer))) return;
    if (FPresent) {
        FPresent(Text, Type, std::move(Answer), Buttons, Default);
        return;
    }
    if (Answer) Answer(nullptr, Type == mtConfirmation ? DefaultAnswer : int(mrOk));
}

void TDeviceSession::fail(TSessionErrorKind Kind, const std::string& Text, bool Tell) {
    FGuard->stop();
    // A refusal the instrument sent during the attempt stays the reason: it is the specific one.
    const bool known = FToldThisAttempt && FError.Kind == TSessionErrorKind::Refused;
    if (!known) FError = {Kind, Text};
    if (Tell && !FToldThisAttempt) present(Text, mtError, nullptr, Buttons({mbOK}), mbOK);
    FLink->FailPendingReplies(FError.Text);
    if (FLink->IsConnected()) FLink->DoDisconnect(false);
    setState(TSessionState::Failed);
    emit SessionFailed(QString::fromStdString(FError.Text));
}

void TDeviceSession::Open() {
    if (FWorkerRuns || FState == TSessionState::Connecting || FState == TSessionState::Established ||
        FState == TSessionState::Closing)
        return;
    joinWorker();
    FError = {};
    FRefusal = {};
    FToldThisAttempt = false;
    FLink->ResetForConnect();
    setState(TSessionState::Connecting);
    if (FRec.IsSerial())
        openSerial();
    else
        openTcp();
}

void TDeviceSession::openTcp() {
    TComUnit* link = FLink.get();
    FWorkerRuns = true;
    FWorker = std::thread([this, link] {
        bool ok = false;
        std::string error;
        try {
            link->DoConnect();
            ok = link->IsConnected();
            if (!ok) error = link->ConnectError();
        } catch (const std::exception& e) {
            error = e.what();
        }
        const bool auth = link->AuthFailed();
        FWorkerRuns = false;
        Postpone(this, [this, ok, error, auth] {
            joinWorker();
            connectAttemptEnded(ok, error, auth);
        });
    });
}

void TDeviceSession::connectAttemptEnded(bool Ok, const std::string& Error, bool AuthError) {
    if (FState == TSessionState::Closing) {
        emit ConnectEnded(false, false);
        finishClose();
        return;
    }
    if (FState != TSessionState::Connecting) return;
    emit ConnectEnded(Ok, AuthError);
    if (!Ok) {
        if (AuthError)
            fail(TSessionErrorKind::Auth, _SAuthFehlgeschlagen, true);
        else
            fail(TSessionErrorKind::Connect,
                 Fmt("Keine Verbindung zu %s möglich.", FRec.Where().c_str()) +
                     (Error.empty() ? std::string() : " (" + Error + ")"),
                 true);
        return;
    }
    // The line stands; the session start must follow within its limit.
    FGuard->disconnect();
    connect(FGuard.get(), &QTimer::timeout, this, [this] {
        if (FState == TSessionState::Connecting)
            fail(TSessionErrorKind::NoAnswer, Fmt("Das Gerät %s antwortet nicht.", FRec.Where().c_str()),
                 true);
    });
    FGuard->start(CSessionStartLimitMs);
}

void TDeviceSession::openSerial() {
    FLink->DoConnect();
    const std::string error = FLink->ConnectError();
    if (!error.empty()) {
        emit ConnectEnded(false, false);
        fail(TSessionErrorKind::Connect, error, true);
        return;
    }
    // The line counts as standing once its thread has looked at it; then the session opens.
    QTimer::singleShot(2000, this, [this] {
        if (FState != TSessionState::Connecting) return;
        if (!FLink->IsConnected()) {
            emit ConnectEnded(false, false);
            fail(TSessionErrorKind::Connect,
                 Fmt("Die serielle Schnittstelle %s antwortet nicht.", FRec.SerialDevice.c_str()), true);
            return;
        }
        if (FRec.SerialUseStart)
            FLink->SendStartCommand(0, FRec.SshUser, FRec.SshPassword);
        else
            FLink->StartPlainSession();
        serialStarted(30);
    });
}

// The link's timer runs once the session reply came; looked at in steps of 100 ms.
void TDeviceSession::serialStarted(int Remaining) {
    if (FState != TSessionState::Connecting) return;
    if (FLink->IsTimerActive()) {
        connectAttemptEnded(true, "", false);
        return;
    }
    if (Remaining <= 0) {
        emit ConnectEnded(false, false);
        fail(TSessionErrorKind::NoAnswer, Fmt("Das Gerät an %s antwortet nicht.", FRec.SerialDevice.c_str()),
             true);
        return;
    }
    QTimer::singleShot(100, this, [this, Remaining] { serialStarted(Remaining - 1); });
}

void TDeviceSession::lineLost(const std::string& Reason) {
    switch (FState) {
    case TSessionState::Closing:
        finishClose();
        return;
    case TSessionState::Connecting:
        fail(TSessionErrorKind::Lost, Reason, true);
        return;
    case TSessionState::Established:
        break;
    default:
        return;
    }
    FGuard->stop();
    FError = {TSessionErrorKind::Lost, Reason};
    FLink->WriteLog(Fmt("Verbindung zu %s verloren: %s", FRec.Where().c_str(), Reason.c_str()), true);
    FLink->FailPendingReplies(Reason);
    if (FLink->IsConnected()) FLink->DoDisconnect(false);
    setState(TSessionState::Lost);
    FToldThisAttempt = false;
    present(Reason, mtError, nullptr, Buttons({mbOK}), mbOK);
    emit SessionLost(QString::fromStdString(Reason));
}

void TDeviceSession::Close() {
    switch (FState) {
    case TSessionState::Closing:
    case TSessionState::Closed:
        return;
    case TSessionState::Connecting:
        setState(TSessionState::Closing);
        FLink->CancelConnect();
        // A TCP worker ends at once and reports; the serial steps see the state and stop.
        if (!FWorkerRuns) Postpone(this, [this] { finishClose(); });
        break;
    case TSessionState::Established: {
        setState(TSessionState::Closing);
        FLink->ShutDown(nullptr, [this](TSender) { Postpone(this, [this] { finishClose(); }); });
        break;
    }
    default:
        setState(TSessionState::Closing);
        Postpone(this, [this] { finishClose(); });
        return;
    }
    // The instrument has its time to end the session; after that the line is closed from here.
    FGuard->disconnect();
    connect(FGuard.get(), &QTimer::timeout, this, [this] { finishClose(); });
    FGuard->start(CloseLimitMs);
}

void TDeviceSession::finishClose() {
    if (FState == TSessionState::Closed) return;
    FGuard->stop();
    FLink->FShutDownComplete = nullptr;
    FLink->FailPendingReplies(_SVerbindungBeendet);
    if (FLink->IsConnected()) FLink->DoDisconnect(false);
    setState(TSessionState::Closed);
    emit SessionClosed();
}

bool TDeviceSession::OpenAndWait(int TimeoutMs) {
    Open();
    RunEventsUntil([this] { return FState != TSessionState::Connecting; }, TimeoutMs);
    if (FState == TSessionState::Connecting) {
        FLink->CancelConnect();
        fail(TSessionErrorKind::NoAnswer, Fmt("Das Gerät %s antwortet nicht.", FRec.Where().c_str()), true);
    }
    return Established();
}

void TDeviceSession::CloseAndWait(int TimeoutMs) {
    Close();
    RunEventsUntil([this] { return FState == TSessionState::Closed; }, TimeoutMs);
}

bool TDeviceSession::WaitFor(const std::function<bool()>& Done, int TimeoutMs, int RefusedCmd) {
    const uint64_t before = FRefusals;
    auto refused = [&] { return RefusedCmd >= 0 && FRefusals != before && FRefusal.Cmd == RefusedCmd; };
    RunEventsUntil([&] { return Done() || refused() || FState != TSessionState::Established; }, TimeoutMs);
    if (Done()) return true;
    if (refused()) {
        FError = {TSessionErrorKind::Refused, FRefusal.Describe()};
        return false;
    }
    // The line fell: let the jobs of the fall run, a last answer may be among them.
    QCoreApplication::processEvents(QEventLoop::AllEvents, 20);
    return Done();
}

} // namespace ferro
