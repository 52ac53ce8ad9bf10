#pragma once
// The instrument's serial line: a pseudo-terminal whose bytes are joined to the frame server, so a
// client on /dev/pts/N talks to the same instrument as one on TCP. The joining connection stands
// only while a client has the line open: when the last client closes it, the connection ends and
// its session with it, as on an instrument whose serial partner went away.

#include <QObject>
#include <QSocketNotifier>
#include <QTcpSocket>
#include <QTimer>

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
    // The client closed the line: its connection ends; the line is watched until the next client.
    void hangUp();
    void watchForClient();

    int framePort_;
    int master_ = -1;
    std::string path_;
    std::unique_ptr<QSocketNotifier> readNotifier_;
    std::unique_ptr<QSocketNotifier> writeNotifier_;
    std::unique_ptr<QTcpSocket> socket_;
    QTimer clientWatch_;        // while nobody has the line open
    std::vector<char> pending_; // bytes for the client that the terminal has not taken yet
};

} // namespace ferro::sim
