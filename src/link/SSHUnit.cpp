#include "link/SSHUnit.h"

#include "foundation/Clock.h"
#include "foundation/Format.h"

#include <libssh/callbacks.h>
#include <libssh/libssh.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <unistd.h>

#include <utility>

namespace ferro {

namespace {
// The key family as a user reads it on the instrument's certificate.
std::string KeyTypeText(ssh_keytypes_e type) {
    switch (type) {
    case SSH_KEYTYPE_RSA:
        return "RSA";
    case SSH_KEYTYPE_ECDSA_P256:
    case SSH_KEYTYPE_ECDSA_P384:
    case SSH_KEYTYPE_ECDSA_P521:
        return "ECDSA";
    case SSH_KEYTYPE_ED25519:
        return "Ed25519";
    default: {
        const char* name = ssh_key_type_to_char(type);
        return name ? name : "SSH";
    }
    }
}
} // namespace

TSSHUnit::TSSHUnit()
    : FChannelBuf(CBlockSize), FTerminalBuf(CBlockSize),
      channelEvents_(std::make_unique<ssh_channel_callbacks_struct>()),
      shellEvents_(std::make_unique<ssh_channel_callbacks_struct>()),
      counter_(std::make_unique<ssh_counter_struct>()) {
    for (auto* cb : {channelEvents_.get(), shellEvents_.get()}) {
        *cb = {};
        ssh_callbacks_init(cb);
        cb->userdata = this;
        cb->channel_data_function = &TSSHUnit::dataEvent;
    }
}

TSSHUnit::~TSSHUnit() {
    if (asyncWorker_.joinable()) asyncWorker_.join();
    std::lock_guard<std::recursive_mutex> lk(monitor_);
    closeAll();
    if (presetFd_ >= 0) ::close(presetFd_);
}

void TSSHUnit::SetKeyAuth(const std::string& PublicKey, const std::string& PrivateKey) {
    pubKey_ = PublicKey;
    privKey_ = PrivateKey;
    auth_ = TSshAuth::PublicKey;
}

void TSSHUnit::error(const std::string& s) const {
    log("SSH ERROR: " + s + " From " + host_);
    if (FSSHErrorCB) FSSHErrorCB(const_cast<TSSHUnit*>(this), s);
}

void TSSHUnit::closeAll() {
    if (shell_) {
        ssh_channel_close(shell_);
        ssh_channel_free(shell_);
        shell_ = nullptr;
    }
    if (channel_) {
        ssh_channel_close(channel_);
        ssh_channel_free(channel_);
        channel_ = nullptr;
    }
    if (session_) {
        if (ssh_is_connected(session_)) ssh_disconnect(session_);
        ssh_free(session_);
        session_ = nullptr;
    }
    if (givenFd_ >= 0) {
        // Ours again once the session is gone; else every connect would leave a line standing.
        ::close(givenFd_);
        givenFd_ = -1;
    }
}

void TSSHUnit::SetSocket(int fd) {
    std::lock_guard<std::recursive_mutex> lk(monitor_);
    if (presetFd_ >= 0) ::close(presetFd_);
    presetFd_ = fd;
}

bool TSSHUnit::Connect() {
    std::lock_guard<std::recursive_mutex> lk(monitor_);
    closeAll();
    authFailed_ = hostKeyRefused_ = stood_ = false;
    FNewChannelData = FNewShellData = false;
    lastError_.clear();
    FCanceled = false;
    std::string why;
    if (connectSteps(why)) {
        stood_ = true;
        lastHeardMs_ = clock().nowMs();
        if (!blocking_) ssh_set_blocking(session_, 0);
        if (FConnectCallBack) FConnectCallBack(this);
        return true;
    }
    lastError_ = why;
    log("SSH Connect Exception: " + why);
    closeAll();
    HandleAutherror(why);
    return false;
}

void TSSHUnit::ConnectAsync(std::function<void(bool)> Callback) {
    if (asyncWorker_.joinable()) asyncWorker_.join();
    FAsyncConCB = std::move(Callback);
    asyncWorker_ = std::thread([this] { ConnAsyncFinisch(Connect()); });
}

void TSSHUnit::ConnAsyncFinisch(bool Connected) {
    if (FAsyncConCB) FAsyncConCB(Connected);
}

void TSSHUnit::HandleAutherror(const std::string& Message) {
    if (!authFailed_) return;
    bool cont = false;
    if (FOnAuthFail) FOnAuthFail(this, cont);
    // The same password would be refused again (and may lock the account): no retry without a yes.
    if (!cont) FCanceled = true;
    log("SSH login refused: " + Message);
}

void TSSHUnit::SetBlocking(bool Value) {
    std::lock_guard<std::recursive_mutex> lk(monitor_);
    blocking_ = Value;
    if (session_ && stood_) ssh_set_blocking(session_, Value ? 1 : 0);
}

bool TSSHUnit::connectSteps(std::string& why) {
    const int given = std::exchange(presetFd_, -1);
    session_ = ssh_new();
    if (!session_) {
        if (given >= 0) ::close(given);
        why = "no SSH session";
        return false;
    }
    // The session uses a given socket from here on; closeAll closes it after the session.
    if (given >= 0) {
        ssh_options_set(session_, SSH_OPTIONS_FD, &given);
        givenFd_ = given;
    }
    int verbosity = SSH_LOG_NOLOG;
    long timeout = timeoutSec_;
    int processConfig = 0; // a user's ~/.ssh/config must not change the connection
    ssh_options_set(session_, SSH_OPTIONS_PROCESS_CONFIG, &processConfig);
    ssh_options_set(session_, SSH_OPTIONS_HOST, host_.c_str());
    ssh_options_set(session_, SSH_OPTIONS_PORT, &port_);
    ssh_options_set(session_, SSH_OPTIONS_USER, user_.c_str());
    ssh_options_set(session_, SSH_OPTIONS_TIMEOUT, &timeout);
    ssh_options_set(session_, SSH_OPTIONS_LOG_VERBOSITY, &verbosity);
    ssh_options_set(session_, SSH_OPTIONS_HOSTKEYS,
                    "ecdsa-sha2-nistp256,ecdsa-sha2-nistp384,ecdsa-sha2-nistp521");
    *counter_ = {};
    ssh_set_counters(session_, counter_.get(), nullptr);
    if (ssh_connect(session_) != SSH_OK) {
        why = ssh_get_error(session_);
        error(why);
        return false;
    }
    int fd = ssh_get_fd(session_);
    int one = 1;
    if (fd >= 0) {
        ::setsockopt(fd, SOL_SOCKET, SO_KEEPALIVE, &one, sizeof one);
        ::setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &one, sizeof one);
    }
    if (const char* banner = ssh_get_serverbanner(session_)) log(std::string("Banner: ") + banner);
    if (!ServerKeyValidate()) {
        hostKeyRefused_ = true;
        why = "host key refused";
        log("SSH host key refused");
        return false;
    }
    if (!authenticate()) {
        authFailed_ = true;
        why = "authentication failed";
        return false;
    }
    channel_ = ssh_channel_new(session_);
    if (channel_) ssh_set_channel_callbacks(channel_, channelEvents_.get());
    if (!channel_ ||
        ssh_channel_open_forward(channel_, "127.0.0.1", CChannelPort, "127.0.0.1", 0) != SSH_OK) {
        why = std::string("channel: ") + ssh_get_error(session_);
        error(why);
        return false;
    }
    shell_ = ssh_channel_new(session_);
    if (shell_) ssh_set_channel_callbacks(shell_, shellEvents_.get());
    if (!shell_ || ssh_channel_open_session(shell_) != SSH_OK ||
        ssh_channel_request_shell(shell_) != SSH_OK) {
        why = std::string("shell: ") + ssh_get_error(session_);
        error(why);
        return false;
    }
    return true;
}

bool TSSHUnit::ServerKeyValidate() {
    ssh_key key = nullptr;
    if (ssh_get_server_publickey(session_, &key) != SSH_OK) return false;
    keyType_ = KeyTypeText(ssh_key_type(key));
    unsigned char* hash = nullptr;
    size_t hlen = 0;
    if (ssh_get_publickey_hash(key, SSH_PUBLICKEY_HASH_SHA256, &hash, &hlen) == 0) {
        char* text = ssh_get_fingerprint_hash(SSH_PUBLICKEY_HASH_SHA256, hash, hlen);
        fingerprintSha256_ = text ? text : "";
        ssh_string_free_char(text);
        ssh_clean_pubkey_hash(&hash);
    }
    int rc = ssh_get_publickey_hash(key, SSH_PUBLICKEY_HASH_MD5, &hash, &hlen);
    ssh_key_free(key);
    if (rc != 0) return false;
    char* hex = ssh_get_hexa(hash, hlen);
    fingerprint_ = ToUpper(hex ? hex : "");
    ssh_string_free_char(hex);
    ssh_clean_pubkey_hash(&hash);
    if (!FOnFingerprint) return true; // nobody to ask: the key is trusted
    std::string stored = FHashManager.GetFingerprint(host_, port_);
    TConnectHashAction action = chaIgnore;
    if (stored.empty())
        FOnFingerprint(this, fingerprint_, fsNew, action);
    else if (!compareHash(stored, fingerprint_))
        FOnFingerprint(this, fingerprint_, fsChanged, action);
    if (action == chaCancel) return false;
    if (action == chaSave) FHashManager.StoreFingerprint(host_, port_, fingerprint_);
    return true;
}

bool TSSHUnit::authenticate() {
    if (auth_ == TSshAuth::PublicKey) {
        ssh_key priv = nullptr;
        if (ssh_pki_import_privkey_base64(privKey_.c_str(), nullptr, nullptr, nullptr, &priv) != SSH_OK) {
            error("private key unreadable");
            return false;
        }
        int rc = ssh_userauth_publickey(session_, nullptr, priv);
        ssh_key_free(priv);
        return rc == SSH_AUTH_SUCCESS;
    }
    return ssh_userauth_password(session_, nullptr, password_.c_str()) == SSH_AUTH_SUCCESS;
}

void TSSHUnit::Disconnect() {
    auto cb = FDisConnectCallBack;
    bool stood = false;
    {
        std::lock_guard<std::recursive_mutex> lk(monitor_);
        log("SSH unit Disconnected");
        stood = std::exchange(stood_, false);
        closeAll();
        FNewChannelData = FNewShellData = false;
    }
    // Told once per connection that stood; a connect that failed was never a line to lose.
    if (cb && stood) cb(this);
    log("SSH Unit after Disconnect");
}

int TSSHUnit::dataEvent(ssh_session_struct*, ssh_channel_struct* channel, void*, uint32_t len, int,
                        void* self) {
    static_cast<TSSHUnit*>(self)->OnAsyncRecieve(channel, len);
    return 0; // nothing taken: the bytes stay in the channel until read
}

void TSSHUnit::OnAsyncRecieve(ssh_channel_struct* Sender, uint32_t Incoming) {
    if (Sender == channel_)
        FNewChannelData = Incoming > 0;
    else if (Sender == shell_)
        FNewShellData = Incoming > 0;
}

bool TSSHUnit::ProcessEvents(int MaxReads) {
    {
        std::lock_guard<std::recursive_mutex> lk(monitor_);
        if (!session_ || FCanceled) return false;
        // A poll of a pipe whose buffer is empty takes in what the socket holds; the data events
        // mark what arrived for either pipe.
        if (channel_ && !FNewChannelData) ssh_channel_poll(channel_, 0);
        if (shell_ && !FNewShellData) ssh_channel_poll(shell_, 0);
    }
    bool any = false;
    for (int i = 0; i < MaxReads && FNewShellData && FLUACallBack; ++i) {
        std::string text;
        if (ReadTerminal(text) <= 0) break;
        FLUACallBack(text);
        any = true;
    }
    std::vector<uint8_t> block;
    for (int i = 0; i < MaxReads && FNewChannelData && FCCCIDataCallBack; ++i) {
        if (!ReadCCCI(block)) break;
        FCCCIDataCallBack(block.data(), int(block.size()));
        any = true;
    }
    return any;
}

void TSSHUnit::CheckServerAlive() {
    std::lock_guard<std::recursive_mutex> lk(monitor_);
    if (!session_ || !stood_) return;
    const int64_t now = clock().nowMs();
    if (now - lastHeardMs_ < CServerAliveMs) return;
    lastHeardMs_ = now;
    if (ssh_send_ignore(session_, "") != SSH_OK) log("SSH server alive failed");
}

uint64_t TSSHUnit::BytesSent() const {
    std::lock_guard<std::recursive_mutex> lk(monitor_);
    return counter_->out_bytes;
}

bool TSSHUnit::isConnected() const {
    std::lock_guard<std::recursive_mutex> lk(monitor_);
    return session_ && ssh_is_connected(session_) && channel_ && !ssh_channel_is_eof(channel_) &&
           !ssh_channel_is_closed(channel_);
}

int TSSHUnit::SocketFd() const {
    std::lock_guard<std::recursive_mutex> lk(monitor_);
    return session_ ? ssh_get_fd(session_) : -1;
}

bool TSSHUnit::CheckChannelNewData() {
    if (FNewChannelData) return true;
    std::lock_guard<std::recursive_mutex> lk(monitor_);
    return channel_ && ssh_channel_poll(channel_, 0) > 0;
}

bool TSSHUnit::CheckShellNewData() {
    std::lock_guard<std::recursive_mutex> lk(monitor_);
    return shell_ && ssh_channel_poll(shell_, 0) > 0;
}

bool TSSHUnit::ReadCCCI(std::vector<uint8_t>& out) {
    FNewChannelData = false;
    std::lock_guard<std::recursive_mutex> lk(monitor_);
    if (!channel_ || FCanceled) return false;
    int n = ssh_channel_read_nonblocking(channel_, FChannelBuf.data(), uint32_t(FChannelBuf.size()), 0);
    if (n < 0) {
        log("Except Read From CCCI");
        return false;
    }
    out.assign(FChannelBuf.begin(), FChannelBuf.begin() + n);
    if (n > 0) lastHeardMs_ = clock().nowMs();
    // What a full block left behind arrived before: no new event will tell of it.
    if (size_t(n) == FChannelBuf.size()) FNewChannelData = ssh_channel_poll(channel_, 0) > 0;
    return n > 0;
}

int TSSHUnit::ReadTerminal(std::string& Text) {
    FNewShellData = false;
    std::lock_guard<std::recursive_mutex> lk(monitor_);
    Text.clear();
    if (!shell_ || FCanceled) return 0;
    int n = ssh_channel_read_nonblocking(shell_, FTerminalBuf.data(), uint32_t(FTerminalBuf.size()), 0);
    if (n < 0) {
        log("Except Read From Terminal");
        return 0;
    }
    Text.assign(FTerminalBuf.data(), size_t(n));
    if (n > 0) {
        lastHeardMs_ = clock().nowMs();
        log(Fmt("Read Shell: %d", n) + Text);
    }
    if (size_t(n) == FTerminalBuf.size()) FNewShellData = ssh_channel_poll(shell_, 0) > 0;
    return n;
}

bool TSSHUnit::SendData(const MemStream& Stream, bool IsLua, size_t& Written) {
    if (IsLua) {
        std::string text(reinterpret_cast<const char*>(Stream.data()) +
                             (Stream.size() > 20 ? 20 : Stream.size()),
                         Stream.size() > 20 ? Stream.size() - 20 : 0);
        return WriteTerminal(text, Written);
    }
    return WriteChannelData(Stream.data(), Stream.size(), Written);
}

bool TSSHUnit::writeAll(ssh_channel_struct* pipe, const char* data, size_t count, size_t& Written,
                        bool report) {
    // Without blocking a full window or socket takes nothing; what the peer acknowledges meanwhile
    // is taken in while we wait. Ten seconds without progress count as a broken line.
    int64_t stuckSince = 0;
    while (Written < count) {
        size_t n = count - Written < CBlockSize ? count - Written : CBlockSize;
        int w = ssh_channel_write(pipe, data + Written, uint32_t(n));
        if (w < 0 || !ssh_is_connected(session_)) return false;
        if (w == 0) {
            const int64_t now = clock().nowMs();
            if (stuckSince == 0) stuckSince = now;
            if (now - stuckSince > 10000 || ssh_blocking_flush(session_, 100) == SSH_ERROR) return false;
            continue;
        }
        stuckSince = 0;
        Written += size_t(w);
        if (report && FOnWorkWrite) FOnWorkWrite(Written);
    }
    // Out of the library's buffer before the thread goes idle on the socket.
    return blocking_ || ssh_blocking_flush(session_, 5000) == SSH_OK;
}

bool TSSHUnit::WriteChannelData(const uint8_t* data, size_t count, size_t& Written) {
    Written = 0;
    std::lock_guard<std::recursive_mutex> lk(monitor_);
    if (!session_ || !channel_) return false;
    if (!writeAll(channel_, reinterpret_cast<const char*>(data), count, Written, true)) {
        log(std::string("SSH ERROR on writing Channel Data: ") + ssh_get_error(session_));
        return false;
    }
    return true;
}

bool TSSHUnit::WriteTerminal(const std::string& Text, size_t& Written) {
    Written = 0;
    std::lock_guard<std::recursive_mutex> lk(monitor_);
    if (!shell_) return false;
    if (!writeAll(shell_, Text.data(), Text.size(), Written, false)) {
        log("Except Write To Terminal");
        return false;
    }
    return true;
}

} // namespace ferro
