#pragma once
// One session with one instrument, without any widget: it owns the link, takes one connection
// record, connects on a worker, closes in order (with a fallback when the instrument does not
// answer), keeps the last error as a value and reports what happens as Qt signals. Every view
// stands on one; ferroctl waits on the same object.

#include "link/ComUnit.h"
#include "link/ConnectionRec.h"

#include <QObject>
#include <QTimer>

#include <atomic>
#include <functional>
#include <memory>
#include <string>
#include <thread>

namespace ferro {

class TTCPComUnit;
class TRSComUnit;

enum class TSessionState { Idle, Connecting, Established, Failed, Lost, Closing, Closed };

enum class TSessionErrorKind {
    None,
    Connect,  // the line could not be opened
    Auth,     // the login was refused
    Refused,  // the instrument refused the session (code and text in Text)
    NoAnswer, // the line stands but the session did not
    Lost      // a standing session fell
};

struct TSessionError {
    TSessionErrorKind Kind = TSessionErrorKind::None;
    std::string Text; // German, as the user reads it
};

// The last refusal of the instrument: which request, its code and its own text.
struct TRefusal {
    uint8_t Cmd = 0;
    uint16_t ExtCmd = 0;
    uint32_t Code = 0;
    std::string Text;
    // "Das Gerät lehnt ab (Code N): text"
    std::string Describe() const;
};

class TDeviceSession : public QObject {
    Q_OBJECT
public:
    // Makes the link for the record's transport.
    explicit TDeviceSession(TConnectionRec Rec, QObject* Parent = nullptr);
    // Runs on a link made elsewhere (an in-memory one in tests).
    TDeviceSession(TConnectionRec Rec, std::unique_ptr<TComUnit> Link, QObject* Parent = nullptr);
    ~TDeviceSession() override;

    const TConnectionRec& Connection() const { return FRec; }
    // Where the next Open goes (the host's entry points name it after the session was made).
    void SetAddress(const std::string& Address, int Port);
    void SetSerial(const std::string& Device, bool UseStart);
    TComUnit& Link() { return *FLink; }
    const TComUnit& Link() const { return *FLink; }
    TTCPComUnit* Tcp() const { return FTcp; }
    TRSComUnit* Serial() const { return FSerial; }

    // Starts connecting and returns at once; ConnectEnded, then Established (or Failed) follow.
    // Also the way back after a lost line.
    void Open();
    // Ends the session in order; Closed follows within CloseLimitMs, answered or not.
    void Close();
    // For programs without a window: Open and run events until the session stands or failed.
    bool OpenAndWait(int TimeoutMs);
    // Close and run events until Closed.
    void CloseAndWait(int TimeoutMs = CloseLimitMs + 1000);
    // Runs events until `Done` holds, the session falls or `TimeoutMs` passes; true if Done held.
    // With `RefusedCmd` (a command group) a refusal of a request of that group ends the wait as
    // well; LastError() then tells the instrument's code and text.
    bool WaitFor(const std::function<bool()>& Done, int TimeoutMs, int RefusedCmd = -1);

    TSessionState State() const { return FState; }
    bool Established() const { return FState == TSessionState::Established; }
    bool Connecting() const { return FState == TSessionState::Connecting; }
    const TSessionError& LastError() const { return FError; }
    // Code 0 when the instrument has refused nothing since the session was opened.
    const TRefusal& LastRefusal() const { return FRefusal; }

    // Shows a message to the user and hands the answer back; unset: messages are only signalled,
    // and questions get DefaultAnswer.
    TDisplayConnMessage FPresent;
    int DefaultAnswer = mrNo;

    static constexpr int CloseLimitMs = 6000;

signals:
    void StateChanged(ferro::TSessionState State);
    // The connect attempt is over (the line stands or not); the session may still be opening.
    void ConnectEnded(bool Success, bool AuthError);
    void SessionEstablished();
    void SessionFailed(const QString& Reason);
    void SessionLost(const QString& Reason);
    void SessionClosed();
    void Progress(ferro::TWorkStatus Status, ferro::TWorkMode Mode, quint64 Count);
    // Every message the session tells the user (also those FPresent shows).
    void Message(const QString& Text, ferro::TMsgDlgType Type);

private:
    void wire();
    void setState(TSessionState S);
    void fail(TSessionErrorKind Kind, const std::string& Text, bool Tell);
    void openTcp();
    void openSerial();
    void serialStarted(int Remaining);
    void connectAttemptEnded(bool Ok, const std::string& Error, bool AuthError);
    void lineLost(const std::string& Reason);
    void finishClose();
    // Keeps the books of a message; false when it is not to be shown (a second error of an attempt).
    bool note(const std::string& Text, TMsgDlgType Type, bool Awaited);
    void present(const std::string& Text, TMsgDlgType Type, TThreadedMessageCallBack Answer,
                 TMsgDlgButtons Buttons, TMsgDlgBtn Default);
    void joinWorker();
    void refused(const TRefusal& R);

    TConnectionRec FRec;
    std::unique_ptr<TComUnit> FLink;
    TTCPComUnit* FTcp = nullptr;
    TRSComUnit* FSerial = nullptr;
    TSessionState FState = TSessionState::Idle;
    TSessionError FError;
    TRefusal FRefusal;
    uint64_t FRefusals = 0;        // counts refusals, so that a wait sees one that came meanwhile
    bool FToldThisAttempt = false; // one message per failure: the first, most specific one
    std::thread FWorker;
    std::atomic<bool> FWorkerRuns{false};
    std::unique_ptr<QTimer> FGuard; // the session start's and the close's time limit
};

} // namespace ferro

Q_DECLARE_METATYPE(ferro::TSessionState)
