#pragma once
// The simulated instrument's SSH service: password and public-key login, direct channels that are
// joined to the instrument's own frame server, and a Lua shell. Loopback only.

#include <atomic>
#include <cstdint>
#include <functional>
#include <list>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

namespace ferrosim {

class SshServer {
public:
    struct Config {
        std::string hostKeyFile;    // made on first start (ECDSA) and kept
        std::string authorizedKeys; // OpenSSH public keys, one per line; may be missing
        int port = 0;               // 0 picks a free port
        int framePort = 0;          // where direct channels are joined to
        std::string banner = "Welcome to FerroRecorder";
        std::string prompt = "\x1b[1;32mferro>\x1b[0m ";
        int maxSessions = 8;
        // An RSA host key instead of ECDSA (to try clients that accept only ECDSA).
        bool rsaKey = false;
        // Whether a user exists; a key logs in only a known user (unset: any name).
        std::function<bool(const std::string& user)> knownUser;
    };
    using PasswordCheck = std::function<bool(const std::string& user, const std::string& password)>;
    // Runs one line of Lua for `user` and gives its output (errors included).
    using LuaRunner = std::function<std::string(const std::string& user, const std::string& line)>;

    SshServer(Config cfg, PasswordCheck check, LuaRunner lua);
    ~SshServer();
    SshServer(const SshServer&) = delete;
    SshServer& operator=(const SshServer&) = delete;

    // Binds 127.0.0.1 and starts accepting; false with `error` on failure.
    bool Start(std::string& error);
    void Stop();
    int Port() const { return port_; }
    // The MD5 fingerprint of the host key, upper-case colon hex.
    const std::string& Fingerprint() const { return fingerprint_; }

    struct Session;

private:
    void acceptLoop();
    void serve(Session* s);
    bool loadOrMakeKey(std::string& error);
    bool keyAuthorized(void* pubkey) const;

    // libssh callbacks; `data` is the Session.
    static int onPassword(void* session, const char* user, const char* password, void* data);
    static int onPubkey(void* session, const char* user, void* pubkey, char state, void* data);
    static void* onSessionOpen(void* session, void* data);
    static int onMessage(void* session, void* message, void* data);
    static int onShellData(void* session, void* channel, void* bytes, uint32_t len, int isStderr, void* data);
    static int onShellRequest(void* session, void* channel, void* data);
    static int onPtyRequest(void* session, void* channel, const char* term, int w, int h, int pw, int ph,
                            void* data);
    static int onForwardData(void* session, void* channel, void* bytes, uint32_t len, int isStderr,
                             void* data);
    static void onForwardEof(void* session, void* channel, void* data);
    static int onFrameFd(int fd, int revents, void* data);

    Config cfg_;
    PasswordCheck check_;
    LuaRunner lua_;
    void* bind_ = nullptr;
    int port_ = 0;
    std::string fingerprint_;
    std::atomic<bool> stop_{false};
    std::atomic<int> active_{0};
    std::thread acceptThread_;
    std::mutex sessionsMutex_;
    std::list<std::unique_ptr<Session>> sessions_;
};

} // namespace ferrosim
