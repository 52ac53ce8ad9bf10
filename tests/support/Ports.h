#pragma once
// A loopback port that nobody listens on right now: taken and let go again.

#include <QHostAddress>
#include <QTcpServer>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

namespace ferro::test {

inline int FreeLoopbackPort() {
    QTcpServer probe;
    probe.listen(QHostAddress::LocalHost, 0);
    return probe.serverPort();
}

// A loopback port where a connect hangs: the listener's accept queue is full (one connection waits in
// it, never accepted), so the kernel drops further SYNs.
class HangingListener {
public:
    HangingListener() {
        sockaddr_in a{};
        a.sin_family = AF_INET;
        a.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        listener_ = ::socket(AF_INET, SOCK_STREAM, 0);
        ok_ =
            ::bind(listener_, reinterpret_cast<sockaddr*>(&a), sizeof a) == 0 && ::listen(listener_, 0) == 0;
        socklen_t len = sizeof a;
        ::getsockname(listener_, reinterpret_cast<sockaddr*>(&a), &len);
        port_ = ntohs(a.sin_port);
        filler_ = ::socket(AF_INET, SOCK_STREAM, 0);
        ok_ = ok_ && ::connect(filler_, reinterpret_cast<sockaddr*>(&a), sizeof a) == 0;
    }
    ~HangingListener() {
        ::close(filler_);
        ::close(listener_);
    }
    HangingListener(const HangingListener&) = delete;
    HangingListener& operator=(const HangingListener&) = delete;
    bool ok() const { return ok_; }
    int port() const { return port_; }

private:
    int listener_ = -1, filler_ = -1, port_ = 0;
    bool ok_ = false;
};

} // namespace ferro::test
