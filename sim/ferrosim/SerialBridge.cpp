#include "ferrosim/SerialBridge.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <poll.h>
#include <termios.h>
#include <unistd.h>

namespace ferro::sim {

namespace {
constexpr size_t kMaxPending = 64u << 20;
}

SerialBridge::SerialBridge(int framePort, QObject* parent) : QObject(parent), framePort_(framePort) {}

SerialBridge::~SerialBridge() {
    readNotifier_.reset();
    writeNotifier_.reset();
    if (socket_) socket_->abort();
    if (master_ >= 0) ::close(master_);
}

bool SerialBridge::open(std::string& error) {
    master_ = ::posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
    if (master_ < 0 || ::grantpt(master_) != 0 || ::unlockpt(master_) != 0) {
        error = std::string("pseudo-terminal: ") + std::strerror(errno);
        return false;
    }
    const char* name = ::ptsname(master_);
    path_ = name ? name : "";
    const int slave = ::open(path_.c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC);
    if (slave < 0) {
        error = std::string("pseudo-terminal slave: ") + std::strerror(errno);
        return false;
    }
    // Raw from the start (the setting lives as long as the master): an echo would send our own
    // replies back to us as requests.
    termios t{};
    ::tcgetattr(slave, &t);
    ::cfmakeraw(&t);
    ::tcsetattr(slave, TCSANOW, &t);
    ::close(slave);
    ::fcntl(master_, F_SETFL, ::fcntl(master_, F_GETFL) | O_NONBLOCK);
    readNotifier_ = std::make_unique<QSocketNotifier>(master_, QSocketNotifier::Read);
    connect(readNotifier_.get(), &QSocketNotifier::activated, this, [this] { onMasterReadable(); });
    writeNotifier_ = std::make_unique<QSocketNotifier>(master_, QSocketNotifier::Write);
    writeNotifier_->setEnabled(false);
    connect(writeNotifier_.get(), &QSocketNotifier::activated, this, [this] { flushToMaster(); });
    clientWatch_.setInterval(20);
    connect(&clientWatch_, &QTimer::timeout, this, [this] { watchForClient(); });
    return true;
}

void SerialBridge::onMasterReadable() {
    char buf[65536];
    for (;;) {
        ssize_t n = ::read(master_, buf, sizeof buf);
        if (n < 0 && errno == EIO) {
            hangUp(); // no client has the line open (any more)
            return;
        }
        if (n <= 0) break;
        if (!socket_ || socket_->state() != QAbstractSocket::ConnectedState) {
            socket_ = std::make_unique<QTcpSocket>();
            socket_->connectToHost(QHostAddress::LocalHost, quint16(framePort_));
            if (!socket_->waitForConnected(2000)) {
                socket_.reset();
                return; // the frame server is gone; the bytes are lost like on a dead line
            }
            connect(socket_.get(), &QTcpSocket::readyRead, this, [this] { onSocketReadable(); });
        }
        socket_->write(buf, n);
    }
}

void SerialBridge::hangUp() {
    readNotifier_->setEnabled(false);
    writeNotifier_->setEnabled(false);
    pending_.clear();
    if (socket_) {
        // What the client sent last (its session stop, say) still reaches the server first.
        QTcpSocket* s = socket_.release();
        s->disconnect(this);
        connect(s, &QTcpSocket::disconnected, s, &QObject::deleteLater);
        s->disconnectFromHost();
        if (s->state() == QAbstractSocket::UnconnectedState) s->deleteLater();
    }
    clientWatch_.start();
}

void SerialBridge::watchForClient() {
    // The master reports a hang-up for as long as nobody has the other end open.
    pollfd p{master_, POLLIN, 0};
    if (::poll(&p, 1, 0) < 0 || (p.revents & POLLHUP)) return;
    clientWatch_.stop();
    readNotifier_->setEnabled(true);
    onMasterReadable();
}

void SerialBridge::onSocketReadable() {
    QByteArray data = socket_->readAll();
    if (pending_.size() + size_t(data.size()) > kMaxPending) pending_.clear(); // nobody reads the line
    pending_.insert(pending_.end(), data.begin(), data.end());
    flushToMaster();
}

void SerialBridge::flushToMaster() {
    size_t done = 0;
    while (done < pending_.size()) {
        ssize_t n = ::write(master_, pending_.data() + done, pending_.size() - done);
        if (n <= 0) break;
        done += size_t(n);
    }
    pending_.erase(pending_.begin(), pending_.begin() + std::ptrdiff_t(done));
    writeNotifier_->setEnabled(!pending_.empty());
}

} // namespace ferro::sim
