#include "SshServer.h"

#include <libssh/callbacks.h>
#include <libssh/libssh.h>
#include <libssh/server.h>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cstring>
#include <fstream>
#include <sstream>
#include <vector>

namespace ferrosim {

namespace {

std::string upperHexMd5(ssh_key key) {
    unsigned char* hash = nullptr;
    size_t len = 0;
    if (ssh_get_publickey_hash(key, SSH_PUBLICKEY_HASH_MD5, &hash, &len) != 0) return std::string();
    char* hex = ssh_get_hexa(hash, len);
    std::string s = hex ? hex : "";
    ssh_string_free_char(hex);
    ssh_clean_pubkey_hash(&hash);
    for (auto& c : s)
        c = char(std::toupper(static_cast<unsigned char>(c)));
    return s;
}

int connectLoopback(int port) {
    int fd = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (fd < 0) return -1;
    sockaddr_in a{};
    a.sin_family = AF_INET;
    a.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    a.sin_port = htons(uint16_t(port));
    if (::connect(fd, reinterpret_cast<sockaddr*>(&a), sizeof a) != 0) {
        ::close(fd);
        return -1;
    }
    int one = 1;
    ::setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &one, sizeof one);
    return fd;
}

bool sendAll(int fd, const void* data, size_t len) {
    const char* p = static_cast<const char*>(data);
    while (len > 0) {
        ssize_t n = ::send(fd, p, len, MSG_NOSIGNAL);
        if (n <= 0) return false;
        p += n;
        len -= size_t(n);
    }
    return true;
}

} // namespace

struct SshServer::Session {
    struct Forward {
        ssh_channel channel = nullptr;
        int fd = -1;
        ssh_channel_callbacks_struct cb{};
        Session* owner = nullptr;
    };

    SshServer* server = nullptr;
    ssh_session session = nullptr;
    ssh_event event = nullptr;
    std::thread thread;
    std::atomic<bool> done{false};
    std::string user;
    bool authed = false;
    ssh_channel shell = nullptr;
    ssh_channel_callbacks_struct shellCb{};
    std::string line;
    std::list<Forward> forwards;
    ssh_server_callbacks_struct serverCb{};

    void writeShell(const std::string& s) {
        if (shell && !s.empty()) ssh_channel_write(shell, s.data(), uint32_t(s.size()));
    }
    void closeForward(Forward& f) {
        if (f.fd >= 0) {
            ssh_event_remove_fd(event, f.fd);
            ::close(f.fd);
            f.fd = -1;
        }
        if (f.channel && !ssh_channel_is_closed(f.channel)) {
            ssh_channel_send_eof(f.channel);
            ssh_channel_close(f.channel);
        }
    }
};

SshServer::SshServer(Config cfg, PasswordCheck check, LuaRunner lua)
    : cfg_(std::move(cfg)), check_(std::move(check)), lua_(std::move(lua)) {}

SshServer::~SshServer() {
    Stop();
}

bool SshServer::loadOrMakeKey(std::string& error) {
    ssh_key key = nullptr;
    std::ifstream probe(cfg_.hostKeyFile);
    if (probe.good()) {
        if (ssh_pki_import_privkey_file(cfg_.hostKeyFile.c_str(), nullptr, nullptr, nullptr, &key) !=
            SSH_OK) {
            error = "host key unreadable: " + cfg_.hostKeyFile;
            return false;
        }
    } else {
        bool made = cfg_.rsaKey ? ssh_pki_generate(SSH_KEYTYPE_RSA, 2048, &key) == SSH_OK
                                : ssh_pki_generate(SSH_KEYTYPE_ECDSA_P256, 256, &key) == SSH_OK;
        if (!made ||
            ssh_pki_export_privkey_file(key, nullptr, nullptr, nullptr, cfg_.hostKeyFile.c_str()) != SSH_OK) {
            if (key) ssh_key_free(key);
            error = "cannot make the host key " + cfg_.hostKeyFile;
            return false;
        }
    }
    fingerprint_ = upperHexMd5(key);
    // The bind takes the key over.
    ssh_bind_options_set(static_cast<ssh_bind>(bind_), SSH_BIND_OPTIONS_IMPORT_KEY, key);
    return true;
}

bool SshServer::Start(std::string& error) {
    ssh_bind b = ssh_bind_new();
    bind_ = b;
    if (!loadOrMakeKey(error)) return false;
    int port = cfg_.port;
    ssh_bind_options_set(b, SSH_BIND_OPTIONS_BINDADDR, "127.0.0.1");
    ssh_bind_options_set(b, SSH_BIND_OPTIONS_BINDPORT, &port);
    if (ssh_bind_listen(b) != SSH_OK) {
        error = std::string("ssh listen: ") + ssh_get_error(b);
        return false;
    }
    sockaddr_in a{};
    socklen_t len = sizeof a;
    ::getsockname(ssh_bind_get_fd(b), reinterpret_cast<sockaddr*>(&a), &len);
    port_ = ntohs(a.sin_port);
    acceptThread_ = std::thread([this] { acceptLoop(); });
    return true;
}

void SshServer::Stop() {
    stop_ = true;
    if (acceptThread_.joinable()) acceptThread_.join();
    {
        std::lock_guard<std::mutex> lk(sessionsMutex_);
        for (auto& s : sessions_)
            s->done = true;
        for (auto& s : sessions_)
            if (s->thread.joinable()) s->thread.join();
        sessions_.clear();
    }
    if (bind_) {
        ssh_bind_free(static_cast<ssh_bind>(bind_));
        bind_ = nullptr;
    }
}

void SshServer::acceptLoop() {
    ssh_bind b = static_cast<ssh_bind>(bind_);
    while (!stop_) {
        pollfd p{ssh_bind_get_fd(b), POLLIN, 0};
        if (::poll(&p, 1, 100) <= 0) continue;
        ssh_session s = ssh_new();
        if (ssh_bind_accept(b, s) != SSH_OK) {
            ssh_free(s);
            continue;
        }
        std::lock_guard<std::mutex> lk(sessionsMutex_);
        // Ended sessions are reaped here, so the list stays short.
        for (auto it = sessions_.begin(); it != sessions_.end();) {
            if ((*it)->done && (*it)->thread.joinable()) {
                (*it)->thread.join();
                it = sessions_.erase(it);
            } else {
                ++it;
            }
        }
        if (active_ >= cfg_.maxSessions) {
            ssh_disconnect(s);
            ssh_free(s);
            continue;
        }
        auto sess = std::make_unique<Session>();
        sess->server = this;
        sess->session = s;
        Session* raw = sess.get();
        ++active_;
        sess->thread = std::thread([this, raw] {
            serve(raw);
            --active_;
            raw->done = true;
        });
        sessions_.push_back(std::move(sess));
    }
}

int SshServer::onPassword(void*, const char* user, const char* password, void* data) {
    auto* s = static_cast<Session*>(data);
    if (s->server->check_ && s->server->check_(user ? user : "", password ? password : "")) {
        s->user = user ? user : "";
        s->authed = true;
        return SSH_AUTH_SUCCESS;
    }
    return SSH_AUTH_DENIED;
}

bool SshServer::keyAuthorized(void* pubkey) const {
    std::ifstream in(cfg_.authorizedKeys);
    std::string line;
    while (std::getline(in, line)) {
        std::istringstream words(line);
        std::string type, b64;
        if (!(words >> type >> b64)) continue;
        ssh_key key = nullptr;
        if (ssh_pki_import_pubkey_base64(b64.c_str(), ssh_key_type_from_name(type.c_str()), &key) != SSH_OK)
            continue;
        bool same = ssh_key_cmp(key, static_cast<ssh_key>(pubkey), SSH_KEY_CMP_PUBLIC) == 0;
        ssh_key_free(key);
        if (same) return true;
    }
    return false;
}

int SshServer::onPubkey(void*, const char* user, void* pubkey, char state, void* data) {
    auto* s = static_cast<Session*>(data);
    const auto& known = s->server->cfg_.knownUser;
    if (known && !known(user ? user : "")) return SSH_AUTH_DENIED;
    if (!s->server->keyAuthorized(pubkey)) return SSH_AUTH_DENIED;
    if (state == SSH_PUBLICKEY_STATE_NONE) return SSH_AUTH_SUCCESS; // the key would do: ask for the signature
    if (state != SSH_PUBLICKEY_STATE_VALID) return SSH_AUTH_DENIED;
    s->user = user ? user : "";
    s->authed = true;
    return SSH_AUTH_SUCCESS;
}

void* SshServer::onSessionOpen(void* session, void* data) {
    auto* s = static_cast<Session*>(data);
    if (!s->authed || s->shell) return nullptr;
    s->shell = ssh_channel_new(static_cast<ssh_session>(session));
    s->shellCb = {};
    s->shellCb.userdata = s;
    s->shellCb.channel_data_function = reinterpret_cast<ssh_channel_data_callback>(&SshServer::onShellData);
    s->shellCb.channel_shell_request_function =
        reinterpret_cast<ssh_channel_shell_request_callback>(&SshServer::onShellRequest);
    s->shellCb.channel_pty_request_function =
        reinterpret_cast<ssh_channel_pty_request_callback>(&SshServer::onPtyRequest);
    ssh_callbacks_init(&s->shellCb);
    ssh_set_channel_callbacks(s->shell, &s->shellCb);
    return s->shell;
}

int SshServer::onPtyRequest(void*, void*, const char*, int, int, int, int, void*) {
    return 0;
}

int SshServer::onShellRequest(void*, void*, void* data) {
    auto* s = static_cast<Session*>(data);
    // Greeting and prompt in one piece, as the instrument's shell sends them.
    s->writeShell(s->server->cfg_.banner + " (" + s->user + ")\r\n" + s->server->cfg_.prompt);
    return 0;
}

int SshServer::onShellData(void*, void*, void* bytes, uint32_t len, int, void* data) {
    auto* s = static_cast<Session*>(data);
    s->line.append(static_cast<const char*>(bytes), len);
    for (;;) {
        size_t end = s->line.find_first_of("\r\n");
        if (end == std::string::npos) break;
        std::string cmd = s->line.substr(0, end);
        size_t next = end + 1;
        if (s->line[end] == '\r' && next < s->line.size() && s->line[next] == '\n') ++next;
        s->line.erase(0, next);
        std::string out = s->server->lua_ && !cmd.empty() ? s->server->lua_(s->user, cmd) : std::string();
        if (!out.empty() && out.back() != '\n') out += "\n";
        s->writeShell(out + s->server->cfg_.prompt);
    }
    if (s->line.size() > 65536) s->line.clear(); // no line is that long; drop what cannot be one
    return int(len);
}

int SshServer::onForwardData(void*, void* channel, void* bytes, uint32_t len, int, void* data) {
    auto* s = static_cast<Session*>(data);
    for (auto& f : s->forwards)
        if (f.channel == channel && f.fd >= 0 && !sendAll(f.fd, bytes, len)) s->closeForward(f);
    return int(len);
}

void SshServer::onForwardEof(void*, void* channel, void* data) {
    auto* s = static_cast<Session*>(data);
    for (auto& f : s->forwards)
        if (f.channel == channel) s->closeForward(f);
}

int SshServer::onFrameFd(int fd, int revents, void* data) {
    auto* s = static_cast<Session*>(data);
    for (auto& f : s->forwards) {
        if (f.fd != fd) continue;
        if (revents & POLLIN) {
            char buf[16384];
            ssize_t n = ::recv(fd, buf, sizeof buf, MSG_DONTWAIT);
            if (n > 0) {
                if (ssh_channel_write(f.channel, buf, uint32_t(n)) < 0) s->closeForward(f);
                return 0;
            }
            if (n < 0 && (errno == EAGAIN || errno == EINTR)) return 0;
        }
        s->closeForward(f); // the frame server closed: the channel ends with it
        return 0;
    }
    return 0;
}

int SshServer::onMessage(void*, void* message, void* data) {
    auto* s = static_cast<Session*>(data);
    auto msg = static_cast<ssh_message>(message);
    if (ssh_message_type(msg) != SSH_REQUEST_CHANNEL_OPEN ||
        ssh_message_subtype(msg) != SSH_CHANNEL_DIRECT_TCPIP || !s->authed)
        return 1; // not ours: libssh refuses it
    int fd = connectLoopback(s->server->cfg_.framePort);
    if (fd < 0) return 1;
    ssh_channel ch = ssh_message_channel_request_open_reply_accept(msg);
    if (!ch) {
        ::close(fd);
        return 1;
    }
    s->forwards.emplace_back();
    Session::Forward& f = s->forwards.back();
    f.channel = ch;
    f.fd = fd;
    f.owner = s;
    f.cb.userdata = s;
    f.cb.channel_data_function = reinterpret_cast<ssh_channel_data_callback>(&SshServer::onForwardData);
    f.cb.channel_eof_function = reinterpret_cast<ssh_channel_eof_callback>(&SshServer::onForwardEof);
    f.cb.channel_close_function = reinterpret_cast<ssh_channel_close_callback>(&SshServer::onForwardEof);
    ssh_callbacks_init(&f.cb);
    ssh_set_channel_callbacks(ch, &f.cb);
    ssh_event_add_fd(s->event, fd, POLLIN, reinterpret_cast<ssh_event_callback>(&SshServer::onFrameFd), s);
    return 0;
}

void SshServer::serve(Session* s) {
    ssh_session session = s->session;
    s->serverCb = {};
    s->serverCb.userdata = s;
    s->serverCb.auth_password_function = reinterpret_cast<ssh_auth_password_callback>(&SshServer::onPassword);
    s->serverCb.auth_pubkey_function = reinterpret_cast<ssh_auth_pubkey_callback>(&SshServer::onPubkey);
    s->serverCb.channel_open_request_session_function =
        reinterpret_cast<ssh_channel_open_request_session_callback>(&SshServer::onSessionOpen);
    ssh_callbacks_init(&s->serverCb);
    ssh_set_server_callbacks(session, &s->serverCb);
    ssh_set_auth_methods(session, SSH_AUTH_METHOD_PASSWORD | SSH_AUTH_METHOD_PUBLICKEY);
    ssh_set_message_callback(
        session, reinterpret_cast<int (*)(ssh_session, ssh_message, void*)>(&SshServer::onMessage), s);
    long timeout = 5;
    ssh_options_set(session, SSH_OPTIONS_TIMEOUT, &timeout);
    if (ssh_handle_key_exchange(session) == SSH_OK) {
        s->event = ssh_event_new();
        ssh_event_add_session(s->event, session);
        while (!s->done && !stop_) {
            int rc = ssh_event_dopoll(s->event, 100);
            if (rc == SSH_ERROR || !ssh_is_connected(session)) break;
        }
        for (auto& f : s->forwards)
            s->closeForward(f);
        ssh_event_remove_session(s->event, session);
        ssh_event_free(s->event);
        s->event = nullptr;
    }
    for (auto& f : s->forwards)
        if (f.channel) ssh_channel_free(f.channel);
    s->forwards.clear();
    if (s->shell) {
        ssh_channel_free(s->shell);
        s->shell = nullptr;
    }
    ssh_disconnect(session);
    ssh_free(session);
    s->session = nullptr;
}

} // namespace ferrosim
