#pragma once
// Helpers of the widget tests: bounded waiting on a condition, finding message boxes, the simulator.

#include <QAbstractButton>
#include <QApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QMessageBox>
#include <QProcess>
#include <QTemporaryDir>
#include <QWidget>

#include <functional>
#include <string>
#include <vector>

namespace ferro::guitest {

// Runs the event loop until `done` holds or `timeoutMs` passed.
inline bool WaitUntil(const std::function<bool()>& done, int timeoutMs) {
    QElapsedTimer t;
    t.start();
    while (!done()) {
        if (t.elapsed() > timeoutMs) return false;
        QApplication::processEvents(QEventLoop::AllEvents, 20);
        QApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    }
    return true;
}

// Message boxes that are open anywhere in the program.
inline std::vector<QMessageBox*> OpenBoxes() {
    std::vector<QMessageBox*> boxes;
    for (QWidget* w : QApplication::allWidgets())
        if (auto* b = qobject_cast<QMessageBox*>(w); b && b->isVisible()) boxes.push_back(b);
    return boxes;
}

inline QMessageBox* BoxContaining(const QString& part) {
    for (QMessageBox* b : OpenBoxes())
        if (b->text().contains(part)) return b;
    return nullptr;
}

inline void CloseAllBoxes() {
    for (QMessageBox* b : OpenBoxes())
        b->reject();
    QApplication::processEvents();
}

inline bool AnyContains(const std::vector<std::string>& lines, const std::string& part) {
    for (const auto& l : lines)
        if (l.find(part) != std::string::npos) return true;
    return false;
}

// ferrosim on an empty temporary instrument tree, on loopback ports chosen by the system.
class SimProcess {
public:
    explicit SimProcess(const QStringList& extra = {}) {
        proc_.setProgram(FERROSIM_PATH);
        proc_.setArguments(QStringList{"--root", root_.path(), "--port", "0"} + extra);
        // The simulator's output goes to a file, so that a full pipe never stalls it.
        outPath_ = logDir_.filePath("ferrosim.out");
        proc_.setStandardOutputFile(outPath_);
        proc_.setStandardErrorFile(logDir_.filePath("ferrosim.err"));
        proc_.start();
        started_ = proc_.waitForStarted(5000);
        expectSsh_ = extra.contains("--ssh-port");
        expectSerial_ = extra.contains("--serial");
        if (started_) readBanner();
    }
    ~SimProcess() { Stop(); }
    SimProcess(const SimProcess&) = delete;
    SimProcess& operator=(const SimProcess&) = delete;

    bool Ok() const {
        return port > 0 && (!expectSsh_ || sshPort > 0) && (!expectSerial_ || !serial.isEmpty());
    }
    void Stop() {
        if (proc_.state() == QProcess::NotRunning) return;
        proc_.terminate();
        if (!proc_.waitForFinished(5000)) {
            proc_.kill();
            proc_.waitForFinished(2000);
        }
    }
    QString Output() const { return banner_; }

    int port = 0;
    int sshPort = 0;
    QString serial;

private:
    void readBanner() {
        QElapsedTimer t;
        t.start();
        while (t.elapsed() < 10000 && !Ok() && proc_.state() != QProcess::NotRunning) {
            QFile f(outPath_);
            if (f.open(QIODevice::ReadOnly)) {
                banner_ = QString::fromUtf8(f.readAll());
                for (const QString& raw : banner_.split('\n')) {
                    const QString line = raw.trimmed();
                    const int colon = line.lastIndexOf(':');
                    if (line.startsWith("listening on ")) port = line.mid(colon + 1).toInt();
                    if (line.startsWith("ssh on ")) sshPort = line.mid(colon + 1).toInt();
                    if (line.startsWith("serial on ")) serial = line.mid(10).trimmed();
                }
            }
            if (!Ok()) proc_.waitForFinished(50);
        }
    }

    QTemporaryDir root_;
    QTemporaryDir logDir_;
    QString outPath_;
    QProcess proc_;
    bool started_ = false;
    bool expectSsh_ = false;
    bool expectSerial_ = false;
    QString banner_;
};

} // namespace ferro::guitest
