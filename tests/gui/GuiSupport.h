#pragma once
// Helpers of the widget tests: bounded waiting, open message boxes, host fixtures, the simulator.

#include "ConnectionView.h"

#include <QAbstractButton>
#include <QApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QMessageBox>
#include <QProcess>
#include <QSettings>
#include <QTemporaryDir>

#include <functional>

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

// The first open message box whose text contains `piece` (any box for an empty `piece`).
inline QMessageBox* BoxContaining(const QString& piece) {
    for (QWidget* w : QApplication::allWidgets())
        if (auto* b = qobject_cast<QMessageBox*>(w); b && b->isVisible() && b->text().contains(piece))
            return b;
    return nullptr;
}

inline QMessageBox* WaitForBox(const QString& piece, int timeoutMs = 3000) {
    WaitUntil([&] { return BoxContaining(piece) != nullptr; }, timeoutMs);
    return BoxContaining(piece);
}

inline void CloseAllBoxes() {
    while (QMessageBox* b = BoxContaining(""))
        b->reject();
    QApplication::processEvents();
}

inline bool AnyContains(const std::vector<std::string>& lines, const std::string& piece) {
    for (const auto& l : lines)
        if (l.find(piece) != std::string::npos) return true;
    return false;
}

inline TInstrument Entry(const std::string& name, const std::string& address, int port,
                         TTransport transport = TTransport::Tcp, const std::string& user = "",
                         const std::string& password = "", const std::string& device = "") {
    return TInstrument{name, address, port, transport, ipverV4, user, password, device};
}

inline std::unique_ptr<QSettings> SettingsIn(const QTemporaryDir& dir) {
    return std::make_unique<QSettings>(dir.filePath("marlinlite.ini"), QSettings::IniFormat);
}

inline TFolders FoldersIn(const QTemporaryDir& dir) {
    return {dir.filePath("data/").toStdString(), dir.filePath("ini/").toStdString(),
            dir.filePath("tmp/").toStdString()};
}

inline bool SaveScreenshot(QWidget& w, const char* name) {
    QDir().mkpath(FERRO_BINARY_DIR "/screenshots");
    return w.grab().save(QString(FERRO_BINARY_DIR "/screenshots/") + name);
}

#ifdef FERROSIM_PATH
// ferrosim on an empty temporary instrument tree, on loopback ports chosen by the system. Its output
// goes to a file, so that a full pipe never stalls it.
class SimProcess {
public:
    explicit SimProcess(const QStringList& extra = {}) {
        const QString out = logDir_.filePath("ferrosim.out");
        proc_.setStandardOutputFile(out);
        proc_.setStandardErrorFile(logDir_.filePath("ferrosim.err"));
        proc_.start(FERROSIM_PATH, QStringList{"--root", root_.path(), "--port", "0"} + extra);
        const bool ssh = extra.contains("--ssh-port"), pty = extra.contains("--serial");
        QElapsedTimer t;
        t.start();
        while (proc_.waitForStarted(5000) && t.elapsed() < 10000 && proc_.state() != QProcess::NotRunning) {
            if (QFile f(out); f.open(QIODevice::ReadOnly)) banner_ = QString::fromUtf8(f.readAll());
            for (const QString& raw : banner_.split('\n')) {
                const QString line = raw.trimmed(), tail = line.mid(line.lastIndexOf(':') + 1);
                if (line.startsWith("listening on ")) port = tail.toInt();
                if (line.startsWith("ssh on ")) sshPort = tail.toInt();
                if (line.startsWith("serial on ")) serial = line.mid(10).trimmed();
            }
            ok_ = port > 0 && (!ssh || sshPort > 0) && (!pty || !serial.isEmpty());
            if (ok_ || proc_.waitForFinished(50)) break;
        }
    }
    ~SimProcess() { Stop(); }

    bool Ok() const { return ok_; }
    std::string Output() const { return banner_.toStdString(); }
    void Stop() {
        if (proc_.state() == QProcess::NotRunning) return;
        proc_.terminate();
        if (!proc_.waitForFinished(5000)) proc_.kill();
        proc_.waitForFinished(2000);
    }

    int port = 0, sshPort = 0;
    QString serial;

private:
    QTemporaryDir root_, logDir_;
    QString banner_;
    QProcess proc_;
    bool ok_ = false;
};
#endif

} // namespace ferro::guitest
