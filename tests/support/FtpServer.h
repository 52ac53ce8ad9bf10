#pragma once
// A real FTP server (pyftpdlib) on a free loopback port, serving one folder, for the duration of a test.

#include "support/Ports.h"
#include <QProcess>
#include <QTcpServer>
#include <QTcpSocket>

#include <chrono>
#include <string>
#include <thread>

namespace ferro::test {

class FtpServer {
public:
    explicit FtpServer(const std::string& root) {
        port_ = FreeLoopbackPort();
        proc_.setProcessChannelMode(QProcess::MergedChannels);
        proc_.start("/usr/bin/python3", {"-m", "pyftpdlib", "-i", "127.0.0.1", "-p", QString::number(port_),
                                         "-w", "-d", QString::fromStdString(root)});
        proc_.waitForStarted(5000);
        auto until = std::chrono::steady_clock::now() + std::chrono::seconds(10);
        while (std::chrono::steady_clock::now() < until) {
            QTcpSocket s;
            s.connectToHost(QHostAddress::LocalHost, port_);
            if (s.waitForConnected(200)) {
                ready_ = true;
                break;
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(50));
        }
    }
    ~FtpServer() {
        proc_.kill();
        proc_.waitForFinished(3000);
    }
    bool ready() const { return ready_; }
    // Logins the server has seen so far (it logs each one).
    int logins() {
        proc_.waitForReadyRead(100);
        log_ += proc_.readAll().toStdString();
        int n = 0;
        for (size_t at = log_.find("logged in"); at != std::string::npos; at = log_.find("logged in", at + 1))
            ++n;
        return n;
    }
    int port() const { return port_; }

private:
    QProcess proc_;
    int port_ = 0;
    bool ready_ = false;
    std::string log_;
};

} // namespace ferro::test
