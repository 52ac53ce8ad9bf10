#include "ferrosim/SerialBridge.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
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
    if (heldSlave_ >= 0) ::close(heldSlave_);
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
    heldSlave_ = ::open(path_.c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC);
    if (heldSlave_ < 0) {
        error = std::string("pseudo-terminal slave: ") + std::strerror(errno);
        return false;
    }
    // Raw from the start: an echo would send our own replies back to us as requests.
    termios t{};
    ::tcgetattr(heldSlave_, &t);
    ::cfmakeraw(&t);
    ::tcsetattr(heldSlave_, TCSANOW, &t);
    ::fcntl(master_, F_SETFL, ::fcntl(master_, F_GETFL) | O_NONBLOCK);
    readNotifier_ = std::make_unique<QSocketNotifier>(master_, QSocketNotifier::Read);
    connect(readNotifier_.get(), &QSocketNotifier::activated, this, [this] { onMasterReadable(); });
    writeNotifier_ = std::make_unique<QSocketNotifier>(master_, QSocketNotifier::Write);
    writeNotifier_->setEnabled(false);
    connect(writeNotifier_.get(), &QSocketNotifier::activated, this, [this] { flushToMaster(); });
    return true;
}

void SerialBridge::onMasterReadable() {
    char buf[65536];
    for (;;) {
        ssize_t n = ::read(master_, buf, sizeof buf);
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
