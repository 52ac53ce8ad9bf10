#pragma once
// A real FTP server (pyftpdlib) on a free loopback port, serving one folder, for the duration of a test.

#include "foundation/ChildProcess.h"
#include "support/Ports.h"
#include <QFile>
#include <QTcpSocket>
#include <QTemporaryDir>

#include <chrono>
#include <string>
#include <thread>

namespace ferro::test {

class FtpServer {
public:
    explicit FtpServer(const std::string& root) {
        port_ = FreeLoopbackPort();
        log_ = dir_.filePath("ftp.log").toStdString();
        proc_.start("/usr/bin/python3",
                    {"-m", "pyftpdlib", "-i", "127.0.0.1", "-p", std::to_string(port_), "-w", "-d", root},
                    "/dev/null", dir_.filePath("ftp.out").toStdString(), log_);
        auto until = std::chrono::steady_clock::now() + std::chrono::seconds(10);
        while (std::chrono::steady_clock::now() < until && proc_.running()) {
            QTcpSocket s;
            s.connectToHost(QHostAddress::LocalHost, port_);
            if (s.waitForConnected(200)) {
                ready_ = true;
                break;
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(50));
        }
    }
    ~FtpServer() { proc_.stop(2000); }
    bool ready() const { return ready_; }
    // Logins the server has seen so far (it logs each one).
    int logins() {
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
        std::string log;
        for (const QString& name : {dir_.filePath("ftp.out"), QString::fromStdString(log_)})
            if (QFile f(name); f.open(QIODevice::ReadOnly)) log += f.readAll().toStdString();
        int n = 0;
        for (size_t at = log.find("logged in"); at != std::string::npos; at = log.find("logged in", at + 1))
            ++n;
        return n;
    }
    int port() const { return port_; }

private:
    QTemporaryDir dir_;
    ChildProcess proc_;
    std::string log_;
    int port_ = 0;
    bool ready_ = false;
};

} // namespace ferro::test
