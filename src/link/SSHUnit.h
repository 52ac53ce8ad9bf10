#pragma once
// An SSH client seen as two byte pipes: a direct channel to the CCCI server inside the instrument
// and a shell for Lua. Every libssh call runs under one lock, so a read never meets a teardown.
// Arriving data is reported by data events: libssh marks the pipe that got something, and
// ProcessEvents hands it to FCCCIDataCallBack and FLUACallBack once the lock is released.

#include "foundation/MemStream.h"
#include "link/HashManager.h"

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

struct ssh_session_struct;
struct ssh_channel_struct;
struct ssh_channel_callbacks_struct;
struct ssh_counter_struct;

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
    // A line that has been silent this long gets a message the server ignores, so that the
    // instrument and any router between see it alive (and a dead one is noticed).
    static constexpr int64_t CServerAliveMs = 25000;

    TSSHUnit();
    ~TSSHUnit();
    TSSHUnit(const TSSHUnit&) = delete;
    TSSHUnit& operator=(const TSSHUnit&) = delete;

    void SetHost(const std::string& h) { host_ = h; }
    void SetPort(int p) { port_ = p; }
    void SetUsername(const std::string& u) { user_ = u; }
    void SetPassword(const std::string& p) { password_ = p; }
    void SetAuth(TSshAuth a) { auth_ = a; }
    // Blocking or not for the standing connection (the login itself always waits); also later.
    void SetBlocking(bool Value);
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

    // Connects, checks the host key, logs in, opens channel and shell. False on any failure, which
    // is logged and given to HandleAutherror.
    bool Connect();
    // Connect on a worker of its own; ConnAsyncFinisch hands the result to `Callback` there.
    void ConnectAsync(std::function<void(bool)> Callback);
    void ConnAsyncFinisch(bool Connected);
    // A failed connect: a refused login goes to FOnAuthFail, whose "no" ends any retry (FCanceled).
    void HandleAutherror(const std::string& Message);
    // Tears the connection down and calls FDisConnectCallBack (once for a connection that stood).
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
    // Lets libssh take in what the socket holds and hands up to `MaxReads` blocks of each pipe to
    // the data callbacks. True if anything was handed on.
    bool ProcessEvents(int MaxReads);
    // A data event marked a pipe that has not been read empty yet.
    bool DataPending() const { return FNewChannelData || FNewShellData; }
    // Sends the server-alive message when the line has been silent for CServerAliveMs.
    void CheckServerAlive();
    // Bytes this side has put on the wire in this connection.
    uint64_t BytesSent() const;
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
    // The same key as OpenSSH shows it ("SHA256:" and base64), and its type ("ECDSA", "RSA", ...).
    const std::string& ServerFingerprintSha256() const { return fingerprintSha256_; }
    const std::string& KeyTypeName() const { return keyType_; }

    THashManager FHashManager;
    std::function<void(TSSHUnit*)> FConnectCallBack, FDisConnectCallBack;
    std::function<void(TSSHUnit*, const std::string&)> FLogCB, FSSHErrorCB;
    TFingerprintEvent FOnFingerprint;
    TContinueEvent FOnAuthFail;
    std::function<void(uint64_t)> FOnWorkWrite;
    // Data events: what the channel brought (called with the block) and the shell's text.
    std::function<void(const uint8_t* Data, int Count)> FCCCIDataCallBack;
    std::function<void(const std::string&)> FLUACallBack;
    std::function<void(bool)> FAsyncConCB;
    std::atomic<bool> FCanceled{false};
    std::atomic<bool> FNewChannelData{false}, FNewShellData{false};

private:
    static int dataEvent(ssh_session_struct*, ssh_channel_struct* channel, void*, uint32_t len, int,
                         void* self);
    // The data event, inside libssh and so under the monitor: marks the pipe that got data.
    void OnAsyncRecieve(ssh_channel_struct* Sender, uint32_t Incoming);
    bool connectSteps(std::string& why);
    bool writeAll(ssh_channel_struct* pipe, const char* data, size_t count, size_t& Written, bool report);
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
    std::string host_ = "127.0.0.1", user_, password_, pubKey_, privKey_, fingerprint_, fingerprintSha256_,
                keyType_, lastError_;
    int port_ = 22;
    int timeoutSec_ = 5;
    int presetFd_ = -1;
    // The socket handed to the session: libssh leaves it open when the session is freed.
    int givenFd_ = -1;
    TSshAuth auth_ = TSshAuth::Password;
    bool authFailed_ = false;
    bool hostKeyRefused_ = false;
    bool blocking_ = true;
    bool stood_ = false; // the connection stood; its end is reported once
    int64_t lastHeardMs_ = 0;
    std::vector<char> FChannelBuf, FTerminalBuf;
    std::unique_ptr<ssh_channel_callbacks_struct> channelEvents_, shellEvents_;
    std::unique_ptr<ssh_counter_struct> counter_;
    std::thread asyncWorker_;
};

} // namespace ferro
