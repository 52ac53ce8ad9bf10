#pragma once
// The link thread over a plain TCP socket.

#include "link/ReadThreadTCP.h"

#include <atomic>
#include <functional>

namespace ferro {

enum class TcpStatus { Resolving, Connecting, Connected, Disconnecting, Disconnected };

class TIdReadThreadTCPTCP : public TIdReadThreadTCP {
public:
    explicit TIdReadThreadTCPTCP(TTCPComUnit* client);
    ~TIdReadThreadTCPTCP() override;

    void ThreadRun() override;
    bool WriteData(MemStream& Stream, bool IsLua) override;
    void ReadData() override;
    void HandleNTPSendAnswer(MemStream& Stream) override;
    void Clearbuffer() override;
    // Connects on the caller's thread (a short worker); failures are logged, never thrown.
    void DoConnect() override;
    void DoDisconnect(bool Notify) override;

    // Status words as the socket passes through them (called on the connecting or link thread).
    std::function<void(TcpStatus, const std::string& text)> FOnStatus;

private:
    bool waitReadable(int timeoutMs, bool* woken);
    size_t receiveAvailable();
    void closeSocket();
    void lostConnection(const std::string& why);

    std::atomic<int> fd_{-1};
    std::mutex writeMutex_;
    std::atomic<bool> disconnectReported_{false};
};

} // namespace ferro
