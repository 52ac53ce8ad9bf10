#include "ferrosim/FtpServer.h"

#include <QElapsedTimer>
#include <QHostAddress>
#include <QTcpServer>
#include <QTcpSocket>
#include <QThread>

#include <cerrno>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

extern char** environ;

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
    std::vector<std::string> args = {
        CPython, "-c", CServerScript, root_, std::to_string(port), std::to_string(::getpid())};
    std::vector<char*> argv;
    for (std::string& a : args)
        argv.push_back(a.data());
    argv.push_back(nullptr);
    // Its errors go where ours go; it reads and writes nothing else.
    posix_spawn_file_actions_t files;
    posix_spawn_file_actions_init(&files);
    posix_spawn_file_actions_addopen(&files, 0, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_addopen(&files, 1, "/dev/null", O_WRONLY, 0);
    const int rc = posix_spawn(&pid_, CPython, &files, nullptr, argv.data(), environ);
    posix_spawn_file_actions_destroy(&files);
    if (rc != 0) {
        pid_ = -1;
        error = "cannot start " + std::string(CPython) + ": " + std::strerror(rc);
        return false;
    }
    return true;
}

bool FtpServer::running() {
    if (pid_ <= 0) return false;
    int status = 0;
    const pid_t r = ::waitpid(pid_, &status, WNOHANG);
    if (r == pid_ || (r < 0 && errno == ECHILD)) pid_ = -1;
    return pid_ > 0;
}

bool FtpServer::waitUntilAccepting(int port, std::string& error) {
    QElapsedTimer clock;
    clock.start();
    while (clock.elapsed() < kStartTimeoutMs) {
        if (!running()) {
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
    if (running()) {
        ::kill(pid_, SIGTERM);
        QElapsedTimer clock;
        clock.start();
        while (running() && clock.elapsed() < kStopGraceMs)
            QThread::msleep(10);
        if (running()) {
            ::kill(pid_, SIGKILL);
            clock.restart();
            while (running() && clock.elapsed() < kStopGraceMs)
                QThread::msleep(10);
        }
    }
    port_ = 0;
}

} // namespace ferro::sim
