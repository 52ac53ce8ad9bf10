#pragma once
// Helpers of the widget tests: bounded waiting, open message boxes, host fixtures, the simulator.

#include "ConnectionView.h"
#include "support/Lines.h"
#include "support/SimProcess.h"
#include "support/Wait.h"

#include <QAbstractButton>
#include <QApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QMessageBox>
#include <QProcess>
#include <QSettings>
#include <QTemporaryDir>

#include <filesystem>
#include <functional>

namespace ferro::guitest {

using ferro::test::WaitFor;

// The first open message box whose text contains `piece` (any box for an empty `piece`).
inline QMessageBox* BoxContaining(const QString& piece) {
    for (QWidget* w : QApplication::allWidgets())
        if (auto* b = qobject_cast<QMessageBox*>(w); b && b->isVisible() && b->text().contains(piece))
            return b;
    return nullptr;
}

inline QMessageBox* WaitForBox(const QString& piece, int timeoutMs = 3000) {
    WaitFor([&] { return BoxContaining(piece) != nullptr; }, timeoutMs);
    return BoxContaining(piece);
}

inline void CloseAllBoxes() {
    while (QMessageBox* b = BoxContaining(""))
        b->reject();
    QApplication::processEvents();
}

using ferro::test::AnyContains;

inline TInstrument Entry(const std::string& name, const std::string& address, int port,
                         TTransport transport = TTransport::Tcp, const std::string& user = "",
                         const std::string& password = "", const std::string& device = "") {
    TInstrument e;
    e.Name = name;
    e.Address = address;
    e.Port = port;
    e.Transport = transport;
    e.SshUser = user;
    e.SshPassword = password;
    e.SerialDevice = device;
    return e;
}

inline std::unique_ptr<QSettings> SettingsIn(const QTemporaryDir& dir) {
    return std::make_unique<QSettings>(dir.filePath("marlinlite.ini"), QSettings::IniFormat);
}

inline TFolders FoldersIn(const QTemporaryDir& dir) {
    return {dir.filePath("data/").toStdString(), dir.filePath("ini/").toStdString(),
            dir.filePath("tmp/").toStdString()};
}

#ifdef FERRO_SOURCE_DIR
// A copy of the fixture instrument without its scheduled dips and swells, so values compare with
// the steady supply.
inline std::string SteadyRoot(const QTemporaryDir& dir) {
    const std::string root = dir.filePath("instrument").toStdString();
    std::filesystem::copy(FERRO_SOURCE_DIR "/fixtures/instrument", root,
                          std::filesystem::copy_options::recursive);
    QFile f(QString::fromStdString(root + "/profile.json"));
    if (!f.open(QIODevice::ReadOnly)) return root;
    QJsonObject profile = QJsonDocument::fromJson(f.readAll()).object();
    f.close();
    QJsonObject supply = profile.value("supply").toObject();
    supply["events"] = QJsonArray();
    profile["supply"] = supply;
    if (f.open(QIODevice::WriteOnly | QIODevice::Truncate)) f.write(QJsonDocument(profile).toJson());
    return root;
}
#endif

inline bool SaveScreenshot(QWidget& w, const char* name) {
    // Layout requests posted by the last changes are applied first, as a running program would.
    QCoreApplication::processEvents();
    QDir().mkpath(FERRO_BINARY_DIR "/screenshots");
    return w.grab().save(QString(FERRO_BINARY_DIR "/screenshots/") + name);
}

} // namespace ferro::guitest
