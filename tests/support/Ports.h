#pragma once
// A loopback port that nobody listens on right now: taken and let go again.

#include <QHostAddress>
#include <QTcpServer>

namespace ferro::test {

inline int FreeLoopbackPort() {
    QTcpServer probe;
    probe.listen(QHostAddress::LocalHost, 0);
    return probe.serverPort();
}

} // namespace ferro::test
