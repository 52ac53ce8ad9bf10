#pragma once
// An SSH client seen as two byte pipes: a direct channel to the CCCI server inside the instrument
// and a shell for Lua. Every libssh call runs under one lock, so a read never meets a teardown.

#include "foundation/MemStream.h"
#include "link/HashManager.h"

#include <functional>
#include <mutex>
#include <string>
#include <vector>

struct ssh_session_struct;
struct ssh_channel_struct;

namespace ferro {

enum TFingerprintState { fsNew, fsChanged };
enum TConnectHashAction { chaCancel, chaIgnore, chaSave };
enum THashMode { hmMD5, hmSHA1 };
enum class TSshAuth { Password, PublicKey };

class TSSHUnit;
using TFingerprintEvent = std::function<void(TSSHUnit* Sender, const std::string& Fingerprint,
                                             TFingerprintState State, TConnectHashAction& Action)>;
using TContinueEvent = std::function<void(TSSHUnit* Sender, bool& Continue)>;

class TSSHUnit {
public:
    static constexpr size_t CBlockSize = 8192;
    static constexpr int CChannelPort = 5040;

    TSSHUnit();
    ~TSSHUnit();
    TSSHUnit(const TSSHUnit&) = delete;
    TSSHUnit& operator=(const TSSHUnit&) = delete;

    void SetHost(const std::string& h) { host_ = h; }
    void SetPort(int p) { port_ = p; }
    void SetUsername(const std::string& u) { user_ = u; }
    void SetPassword(const std::string& p) { password_ = p; }
    void SetAuth(TSshAuth a) { auth_ = a; }
    // Key login from memory: the OpenSSH texts of both keys.
    void SetKeyAuth(const std::string& PublicKey, const std::string& PrivateKey);
    void SetHashFile(const std::string& FileName) { FHashManager.SetHashStore(FileName); }
    void SetTimeoutSec(int s) { timeoutSec_ = s; }
    // A TCP connection already standing, for the next Connect to use (and own) instead of opening
    // one itself.
    void SetSocket(int fd);
    const std::string& GetHost() const { return host_; }
    int GetPort() const { return port_; }
    static THashMode GetHashMode() { return hmMD5; }

    // Connects, checks the host key, logs in, opens channel and shell. False on any failure; an
    // authentication failure goes to FOnAuthFail first.
    bool Connect();
    void Disconnect();
    bool isConnected() const;
    bool AuthFailed() const { return authFailed_; }
    bool HostKeyRefused() const { return hostKeyRefused_; }
    // Why the last Connect failed, in libssh's words.
    const std::string& LastError() const { return lastError_; }
    // Socket of the session, for waiting on data; -1 when closed.
    int SocketFd() const;

    bool CheckChannelNewData();
    bool CheckShellNewData();
    // Reads what the channel holds without waiting, up to 8192 bytes; false if nothing came.
    bool ReadCCCI(std::vector<uint8_t>& out);
    // Reads the shell's text without waiting; the count read.
    int ReadTerminal(std::string& Text);
    // Lua text (head dropped) to the shell, other frames to the channel.
    bool SendData(const MemStream& Stream, bool IsLua, size_t& Written);
    bool WriteChannelData(const uint8_t* data, size_t count, size_t& Written);
    bool WriteTerminal(const std::string& Text, size_t& Written);

    // The upper-case colon-separated MD5 of the server's key (empty before connecting).
    const std::string& ServerFingerprint() const { return fingerprint_; }

    THashManager FHashManager;
    std::function<void(TSSHUnit*)> FConnectCallBack, FDisConnectCallBack;
    std::function<void(TSSHUnit*, const std::string&)> FLogCB, FSSHErrorCB;
    TFingerprintEvent FOnFingerprint;
    TContinueEvent FOnAuthFail;
    std::function<void(uint64_t)> FOnWorkWrite;
    bool FCanceled = false;

private:
    bool ServerKeyValidate();
    bool authenticate();
    void closeAll();
    void log(const std::string& s) const {
        if (FLogCB) FLogCB(const_cast<TSSHUnit*>(this), s);
    }
    void error(const std::string& s) const;

    mutable std::recursive_mutex monitor_;
    ssh_session_struct* session_ = nullptr;
    ssh_channel_struct* channel_ = nullptr;
    ssh_channel_struct* shell_ = nullptr;
    std::string host_ = "127.0.0.1", user_, password_, pubKey_, privKey_, fingerprint_, lastError_;
    int port_ = 22;
    int timeoutSec_ = 5;
    int presetFd_ = -1;
    TSshAuth auth_ = TSshAuth::Password;
    bool authFailed_ = false;
    bool hostKeyRefused_ = false;
    std::vector<char> FChannelBuf, FTerminalBuf;
};

} // namespace ferro
