#pragma once
// Anonymous FTP on loopback for the instrument tree: runs Debian's pyftpdlib as a child process
// rooted at the instrument root, with write access (setup uploads land in ramdrive0/ccci).

#include "foundation/ChildProcess.h"

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

    std::string root_;
    ChildProcess process_;
    int port_ = 0;
};

} // namespace ferro::sim
