#pragma once
// Anonymous FTP on loopback for the instrument tree: runs Debian's pyftpdlib as a child process
// rooted at the instrument root, with write access (setup uploads land in ramdrive0/ccci).

#include <sys/types.h>

#include <string>

namespace ferro::sim {

class FtpServer {
public:
    explicit FtpServer(std::string root);
    ~FtpServer();
    FtpServer(const FtpServer&) = delete;
    FtpServer& operator=(const FtpServer&) = delete;

    // Port 0 picks a free one. Returns once the server accepts connections (at most a few seconds).
    bool start(int port, std::string& error);
    // Terminates the server, and kills it if it does not go within a second or two.
    void stop();
    int port() const { return port_; }

    static constexpr const char* CPython = "/usr/bin/python3";

private:
    bool launch(int port, std::string& error);
    bool waitUntilAccepting(int port, std::string& error);
    // True while the child runs; reaps it once it has ended.
    bool running();

    std::string root_;
    // Started through posix_spawn: nothing of ours runs between the clone and the exec, which is
    // also what lets ThreadSanitizer follow a simulator that serves FTP.
    pid_t pid_ = -1;
    int port_ = 0;
};

} // namespace ferro::sim
