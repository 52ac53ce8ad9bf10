#pragma once
// The network form of the link: one background thread does the connecting, reading and writing.

#include "link/ComUnit.h"

#include <atomic>
#include <functional>
#include <memory>
#include <mutex>

namespace ferro {

class TIdReadThreadTCP;
class TIdReadThreadTCPTCP;
enum class TcpStatus;

class TTCPComUnit : public TComUnit {
    Q_OBJECT
public:
    explicit TTCPComUnit(bool IsSSH);
    ~TTCPComUnit() override;

    void CreateThread(bool IsSSH) override;
    void CloseConnection(bool Value) override;
    void WorkEvent(TWorkMode, uint64_t, TWorkStatus) override {}
    void ReadData(MemStream& Stream) override;
    bool SendCommandStream(MemStream& Stream, bool IsLua) override;
    void ReConnect() override {}
    bool IsConnected() const override;
    void SetIPAndPort(const std::string& IP, int Port, int BoundPort) override;
    void DoConnect() override;
    void ResetForConnect() override;
    // For a link that is going away: ends a connect under way at once, from any thread, and refuses
    // later ones.
    void CancelConnect() override;
    std::string ConnectError() const override;
    bool AuthFailed() const override { return FAuthError; }
    uint64_t ReadArrived() const override;
    void DoDisconnect(bool Value) override;
    void DropHalfFrame() override;

    TIdReadThreadTCP* ReadThread() const { return FReadThread.get(); }

    bool FWantedDisco = false;
    bool FIsOffline = false;
    TIpVer FIPVersion = ipverV4;
    bool FAuthError = false;
    // Milliseconds the connect may take before it counts as failed.
    int ConnectTimeoutMs = 10000;
    // Key login over SSH (OpenSSH texts); empty means password login.
    std::string FSSHPublicKey, FSSHPrivateKey;
    bool FInvalidAuth = false;

private:
    void onStatus(TcpStatus status, const std::string& text);
    void afterConnected();
    void onDisconnected();
    // The SSH connection ended (from either side): the shutdown, the view's close or the message.
    void sshDisconnected();
    // The close the view asked for: once the line is down the view is asked to close.
    bool requestCloseIfWanted();
    // A line that fell: the session is told, or without one the user; `AskToClose` asks the view
    // to close once the user has read it.
    void tellLineLost(bool AskToClose);
    void createSshThread();
    // The thread's transfer events reach TransferWork on the main thread.
    void wireWork();
    // Whether the frame under way in each direction (read, write) is large enough to report.
    std::atomic<bool> FReportWork[2] = {false, false};
    void sshConnected(bool ok);
    // Asks the user about a host key on the main thread; the calling thread waits for the answer.
    bool askHostKey(const std::string& question);
    // CancelConnect also answers a host-key question that waits (or comes later) with No.
    std::mutex hostKeyMutex_;
    bool connectCanceled_ = false;
    std::function<void()> cancelHostKey_;

    std::unique_ptr<TIdReadThreadTCP> FReadThread;
};

} // namespace ferro
