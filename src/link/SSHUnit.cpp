#include "link/SSHUnit.h"

#include "foundation/Format.h"

#include <libssh/libssh.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <unistd.h>

#include <utility>

namespace ferro {

TSSHUnit::TSSHUnit() : FChannelBuf(CBlockSize), FTerminalBuf(CBlockSize) {}

TSSHUnit::~TSSHUnit() {
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
}

void TSSHUnit::SetSocket(int fd) {
    std::lock_guard<std::recursive_mutex> lk(monitor_);
    if (presetFd_ >= 0) ::close(presetFd_);
    presetFd_ = fd;
}

bool TSSHUnit::Connect() {
    std::lock_guard<std::recursive_mutex> lk(monitor_);
    closeAll();
    authFailed_ = hostKeyRefused_ = false;
    lastError_.clear();
    FCanceled = false;
    const int given = std::exchange(presetFd_, -1);
    session_ = ssh_new();
    if (!session_) {
        if (given >= 0) ::close(given);
        return false;
    }
    // The session owns a given socket from here on and closes it with itself.
    if (given >= 0) ssh_options_set(session_, SSH_OPTIONS_FD, &given);
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
    if (ssh_connect(session_) != SSH_OK) {
        std::string why = ssh_get_error(session_);
        lastError_ = why;
        log("SSH Connect Exception: " + why);
        error(why);
        closeAll();
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
        lastError_ = "host key refused";
        log("SSH host key refused");
        closeAll();
        return false;
    }
    if (!authenticate()) {
        authFailed_ = true;
        lastError_ = "authentication failed";
        bool cont = false;
        if (FOnAuthFail) FOnAuthFail(this, cont);
        closeAll();
        return false;
    }
    channel_ = ssh_channel_new(session_);
    if (!channel_ ||
        ssh_channel_open_forward(channel_, "127.0.0.1", CChannelPort, "127.0.0.1", 0) != SSH_OK) {
        std::string why = ssh_get_error(session_);
        lastError_ = "channel: " + why;
        error("channel: " + why);
        closeAll();
        return false;
    }
    shell_ = ssh_channel_new(session_);
    if (!shell_ || ssh_channel_open_session(shell_) != SSH_OK ||
        ssh_channel_request_shell(shell_) != SSH_OK) {
        std::string why = ssh_get_error(session_);
        lastError_ = "shell: " + why;
        error("shell: " + why);
        closeAll();
        return false;
    }
    if (FConnectCallBack) FConnectCallBack(this);
    return true;
}

bool TSSHUnit::ServerKeyValidate() {
    ssh_key key = nullptr;
    if (ssh_get_server_publickey(session_, &key) != SSH_OK) return false;
    unsigned char* hash = nullptr;
    size_t hlen = 0;
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
    {
        std::lock_guard<std::recursive_mutex> lk(monitor_);
        log("SSH unit Disconnected");
        closeAll();
    }
    if (cb) cb(this);
    log("SSH Unit after Disconnect");
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
    std::lock_guard<std::recursive_mutex> lk(monitor_);
    return channel_ && ssh_channel_poll(channel_, 0) > 0;
}

bool TSSHUnit::CheckShellNewData() {
    std::lock_guard<std::recursive_mutex> lk(monitor_);
    return shell_ && ssh_channel_poll(shell_, 0) > 0;
}

bool TSSHUnit::ReadCCCI(std::vector<uint8_t>& out) {
    std::lock_guard<std::recursive_mutex> lk(monitor_);
    if (!channel_ || FCanceled) return false;
    int n = ssh_channel_read_nonblocking(channel_, FChannelBuf.data(), uint32_t(FChannelBuf.size()), 0);
    if (n < 0) {
        log("Except Read From CCCI");
        return false;
    }
    out.assign(FChannelBuf.begin(), FChannelBuf.begin() + n);
    return n > 0;
}

int TSSHUnit::ReadTerminal(std::string& Text) {
    std::lock_guard<std::recursive_mutex> lk(monitor_);
    Text.clear();
    if (!shell_ || FCanceled) return 0;
    int n = ssh_channel_read_nonblocking(shell_, FTerminalBuf.data(), uint32_t(FTerminalBuf.size()), 0);
    if (n < 0) {
        log("Except Read From Terminal");
        return 0;
    }
    Text.assign(FTerminalBuf.data(), size_t(n));
    if (n > 0) log(Fmt("Read Shell: %d", n) + Text);
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

bool TSSHUnit::WriteChannelData(const uint8_t* data, size_t count, size_t& Written) {
    Written = 0;
    std::lock_guard<std::recursive_mutex> lk(monitor_);
    if (!session_ || !channel_) return false;
    while (Written < count) {
        size_t n = count - Written < CBlockSize ? count - Written : CBlockSize;
        int w = ssh_channel_write(channel_, data + Written, uint32_t(n));
        if (w <= 0) {
            log(std::string("SSH ERROR on writing Channel Data: ") + ssh_get_error(session_));
            return false;
        }
        Written += size_t(w);
        if (FOnWorkWrite) FOnWorkWrite(Written);
    }
    return true;
}

bool TSSHUnit::WriteTerminal(const std::string& Text, size_t& Written) {
    Written = 0;
    std::lock_guard<std::recursive_mutex> lk(monitor_);
    if (!shell_) return false;
    int w = ssh_channel_write(shell_, Text.data(), uint32_t(Text.size()));
    if (w < 0) {
        log("Except Write To Terminal");
        return false;
    }
    Written = size_t(w);
    return true;
}

} // namespace ferro
