#pragma once
// The instrument's serial line: a pseudo-terminal whose bytes are joined to the frame server, so a
// client on /dev/pts/N talks to the same instrument as one on TCP. The joining connection stands
// only while a client sends.

#include <QObject>
#include <QSocketNotifier>
#include <QTcpSocket>

#include <memory>
#include <string>
#include <vector>

namespace ferro::sim {

class SerialBridge : public QObject {
    Q_OBJECT
public:
    explicit SerialBridge(int framePort, QObject* parent = nullptr);
    ~SerialBridge() override;

    // Opens the pseudo-terminal in raw mode; false with `error` on failure.
    bool open(std::string& error);
    // The device path a client opens ("/dev/pts/N").
    const std::string& devicePath() const { return path_; }

private:
    void onMasterReadable();
    void onSocketReadable();
    void flushToMaster();

    int framePort_;
    int master_ = -1;
    int heldSlave_ = -1; // keeps the line up between clients, and keeps it raw
    std::string path_;
    std::unique_ptr<QSocketNotifier> readNotifier_;
    std::unique_ptr<QSocketNotifier> writeNotifier_;
    std::unique_ptr<QTcpSocket> socket_;
    std::vector<char> pending_; // bytes for the client that the terminal has not taken yet
};

} // namespace ferro::sim
