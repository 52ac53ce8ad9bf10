#pragma once
// The link thread through SSH: frames over the direct channel, Lua over the shell.

#include "link/ReadThreadTCP.h"
#include "link/SSHUnit.h"

#include <atomic>
#include <functional>
#include <memory>

namespace ferro {

class TIdReadThreadTCPSSH : public TIdReadThreadTCP {
public:
    explicit TIdReadThreadTCPSSH(TTCPComUnit* client);
    ~TIdReadThreadTCPSSH() override;

    void ThreadRun() override;
    bool WriteData(MemStream& Stream, bool IsLua) override;
    void ReadData() override;
    // Requests over SSH are served on the main thread only.
    void HandleNTPSendAnswer(MemStream&) override {}
    bool ServesNtpOnThread() const override { return false; }
    void DoConnect() override;
    void DoDisconnect(bool Notify) override;

    TSSHUnit& SSH() { return *FSSHClient; }
    std::string FUser, FPassword;
    std::string FPublicKey, FPrivateKey; // key login when both are set
    std::string FHashFile;
    std::atomic<bool> FCanceled{false};
    std::atomic<bool> FIntransfer{false};
    std::atomic<bool> FInvalidAuth{false};
    std::function<void(const std::string&)> FLuaCB;
    // Called on the connecting thread once the channel and shell stand, or when connecting failed.
    std::function<void(bool connected)> FOnConnected;
    // The connection ended, from either side: called once per connection that stood, on the thread
    // that ended it (the link thread when the line fell).
    std::function<void()> FOnDisconnected;

private:
    bool waitData(int timeoutMs);
    std::unique_ptr<TSSHUnit> FSSHClient;
};

} // namespace ferro
