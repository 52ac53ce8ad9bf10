#include "ferrosim/SimServer.h"

#include "ferrosim/Instrument.h"
#include "ferrosim/Session.h"

#include <QTimer>

#include <algorithm>

namespace ferro::sim {

SimServer::SimServer(Instrument& instrument, QObject* parent) : QObject(parent), instrument_(instrument) {
    connect(&server_, &QTcpServer::newConnection, this, &SimServer::onNewConnection);
    // Lua may restart the instrument in the middle of a command: the end frame still goes out first.
    instrument_.onRestart = [this] { QTimer::singleShot(0, this, [this] { dropAll(); }); };
    instrument_.onReboot = [this] { QTimer::singleShot(0, this, [this] { reboot(); }); };
    instrument_.links = [this] {
        std::vector<LinkInfo> l;
        for (const auto& s : sessions_)
            if (!s->overLimit()) l.push_back(s->info());
        return l;
    };
}

SimServer::~SimServer() {
    instrument_.onRestart = nullptr;
    instrument_.onReboot = nullptr;
    instrument_.links = nullptr;
    for (auto& s : sessions_)
        disconnect(s.get(), nullptr, this, nullptr);
}

bool SimServer::listen(quint16 port, std::string& error) {
    if (!server_.listen(QHostAddress::LocalHost, port)) {
        error = server_.errorString().toStdString();
        return false;
    }
    return true;
}

quint16 SimServer::port() const {
    return server_.serverPort();
}

int SimServer::activeSessions() const {
    return int(
        std::count_if(sessions_.begin(), sessions_.end(), [](const auto& s) { return !s->overLimit(); }));
}

void SimServer::dropAll() {
    for (auto& s : sessions_)
        s->closeAfterFlush();
}

void SimServer::reboot() {
    if (rebooting_) return;
    rebooting_ = true;
    const quint16 port = server_.serverPort();
    dropAll();
    server_.close();
    if (rebootHang_) {
        instrument_.log("fault: the reboot hangs, the port stays closed");
        return;
    }
    QTimer::singleShot(rebootMs_, this, [this, port] {
        rebooting_ = false;
        std::string error;
        if (listen(port, error))
            instrument_.log("rebooted, listening again");
        else
            instrument_.log("cannot listen after the reboot: " + error);
    });
}

void SimServer::onNewConnection() {
    while (QTcpSocket* socket = server_.nextPendingConnection()) {
        bool overLimit = activeSessions() >= instrument_.connectionLimit();
        auto session = std::make_unique<Session>(instrument_, socket, overLimit, nextId_++);
        connect(session.get(), &Session::closed, this, &SimServer::onSessionClosed);
        sessions_.push_back(std::move(session));
    }
}

void SimServer::onSessionClosed(Session* session) {
    auto it = std::find_if(sessions_.begin(), sessions_.end(),
                           [session](const auto& s) { return s.get() == session; });
    if (it == sessions_.end()) return;
    // The session is inside one of its own slots: it goes once control is back in the loop.
    it->release()->deleteLater();
    sessions_.erase(it);
}

} // namespace ferro::sim
