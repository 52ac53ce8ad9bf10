#include "ferrosim/FtpServer.h"

#include <QElapsedTimer>
#include <QHostAddress>
#include <QTcpServer>
#include <QTcpSocket>
#include <QThread>

#include <unistd.h>

namespace ferro::sim {

namespace {
constexpr int kStartTimeoutMs = 10000;
constexpr int kStopGraceMs = 2000;
constexpr int kAttempts = 3;

int freeLoopbackPort() {
    QTcpServer probe;
    if (!probe.listen(QHostAddress::LocalHost, 0)) return 0;
    return probe.serverPort();
}
} // namespace

FtpServer::FtpServer(std::string root) : root_(std::move(root)) {}

FtpServer::~FtpServer() {
    stop();
}

bool FtpServer::start(int port, std::string& error) {
    // A free port found here may be taken before the child binds it; then try another one.
    for (int attempt = 0; attempt < (port == 0 ? kAttempts : 1); ++attempt) {
        const int p = port ? port : freeLoopbackPort();
        if (p == 0) {
            error = "no free port";
            return false;
        }
        if (launch(p, error) && waitUntilAccepting(p, error)) {
            port_ = p;
            return true;
        }
        stop();
    }
    return false;
}

// pyftpdlib serving the instrument tree anonymously with write access, but never the simulator's own
// files in it: the SSH host key and authorized keys, and the profile with every user's password.
const char* const CServerScript = R"(
import ctypes, os, signal, sys
# The server must not outlive the simulator, even when it is killed without a chance to stop it.
ctypes.CDLL(None).prctl(1, signal.SIGTERM)  # PR_SET_PDEATHSIG
if os.getppid() != int(sys.argv[3]):
    sys.exit(0)
from pyftpdlib.authorizers import DummyAuthorizer
from pyftpdlib.filesystems import AbstractedFS
from pyftpdlib.handlers import FTPHandler
from pyftpdlib.servers import FTPServer
root, port = os.path.realpath(sys.argv[1]), int(sys.argv[2])
hidden = [os.path.join(root, n) for n in ("ssh", "profile.json")]
def private(p):
    p = os.path.realpath(p)
    return any(p == h or p.startswith(h + os.sep) for h in hidden)
class InstrumentFS(AbstractedFS):
    def validpath(self, path):
        return not private(path) and super().validpath(path)
    def listdir(self, path):
        return [n for n in super().listdir(path) if not private(os.path.join(path, n))]
authorizer = DummyAuthorizer()
authorizer.add_anonymous(root, perm="elradfmwMT")
FTPHandler.authorizer = authorizer
FTPHandler.abstracted_fs = InstrumentFS
FTPServer(("127.0.0.1", port), FTPHandler).serve_forever()
)";

bool FtpServer::launch(int port, std::string& error) {
    // Its errors go where ours go; it reads and writes nothing else.
    std::string why;
    if (!process_.start(CPython,
                        {"-c", CServerScript, root_, std::to_string(port), std::to_string(::getpid())},
                        "/dev/null", "/dev/null", "", &why)) {
        error = "cannot start " + std::string(CPython) + ": " + why;
        return false;
    }
    return true;
}

bool FtpServer::waitUntilAccepting(int port, std::string& error) {
    QElapsedTimer clock;
    clock.start();
    while (clock.elapsed() < kStartTimeoutMs) {
        if (!process_.running()) {
            error = "the FTP server ended at start (is python3-pyftpdlib installed?)";
            return false;
        }
        QTcpSocket probe;
        probe.connectToHost(QHostAddress::LocalHost, quint16(port));
        if (probe.waitForConnected(200)) {
            probe.abort();
            return true;
        }
        QThread::msleep(50);
    }
    error = "the FTP server does not accept connections";
    return false;
}

void FtpServer::stop() {
    process_.stop(kStopGraceMs);
    port_ = 0;
}

} // namespace ferro::sim
