#pragma once
// The TCP side of the instrument: one server on 127.0.0.1, one Session per connection.

#include <QObject>
#include <QTcpServer>

#include <memory>
#include <string>
#include <vector>

namespace ferro::sim {

class Instrument;
class Session;

class SimServer : public QObject {
    Q_OBJECT
public:
    explicit SimServer(Instrument& instrument, QObject* parent = nullptr);
    ~SimServer() override;

    // Port 0 picks a free port. Binds loopback only.
    bool listen(quint16 port, std::string& error);
    quint16 port() const;
    int activeSessions() const;
    // Drops every connection after what is queued has gone out (restart of the instrument).
    void dropAll();
    // A reboot drops every connection and closes the port for `ms` (for ever with `hang`).
    void setRebootPause(int ms, bool hang) {
        rebootMs_ = ms;
        rebootHang_ = hang;
    }
    bool rebooting() const { return rebooting_; }

private:
    void reboot();

private slots:
    void onNewConnection();
    void onSessionClosed(Session* session);

private:
    Instrument& instrument_;
    QTcpServer server_;
    std::vector<std::unique_ptr<Session>> sessions_;
    int nextId_ = 1;
    int rebootMs_ = 3000;
    bool rebootHang_ = false;
    bool rebooting_ = false;
};

} // namespace ferro::sim
