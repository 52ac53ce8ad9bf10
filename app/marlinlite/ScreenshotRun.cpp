#include "ScreenshotRun.h"

#include "ConnectionView.h"
#include "MainWindow.h"

#include <QApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QPointer>
#include <QRegularExpression>
#include <QTabWidget>

#include <cstdio>
#include <functional>

namespace ferro {

namespace {

// Serves the event loop until `Done` holds or `Ms` passed.
bool Serve(const std::function<bool()>& Done, int Ms) {
    QElapsedTimer t;
    t.start();
    while (!Done()) {
        if (t.elapsed() > Ms) return false;
        QApplication::processEvents(QEventLoop::AllEvents, 20);
    }
    return true;
}

void Settle(int Ms) {
    Serve([] { return false; }, Ms);
}

// A file name out of a page title: lower case, letters and digits, the rest as "_".
QString FilePart(QString Text) {
    Text = Text.toLower();
    Text.replace("ä", "ae").replace("ö", "oe").replace("ü", "ue").replace("ß", "ss");
    return Text.replace(QRegularExpression("[^a-z0-9]+"), "_");
}

} // namespace

bool TScreenshotRun::Save(QWidget& W, const QString& Name) {
    const QString path = QDir(FDir).filePath(FPrefix + Name + ".png");
    if (!W.grab().save(path)) {
        std::fprintf(stderr, "Bild nicht gespeichert: %s\n", qPrintable(path));
        return false;
    }
    FWritten << path;
    std::printf("%s\n", qPrintable(path));
    std::fflush(stdout);
    return true;
}

int TScreenshotRun::Run(int ConnectMs) {
    int failed = 0;
    QDir().mkpath(FDir);
    FHost.show();
    FHost.SelectInstrument(0);
    Settle(300);
    if (FKinds.isEmpty()) failed += !Save(FHost, "marlinlite_instruments");

    // Each view in its tab, with its session standing (or its failure shown), then closed again.
    auto photograph = [&](TFormBasic* View, const QString& Name) {
        QPointer<TFormBasic> v(View);
        if (!v) return ++failed, void();
        // A view of local files has no session to wait for.
        Serve([&] { return !v || v->Established() || v->OfflineMode; }, ConnectMs);
        Settle(1500);
        if (v) failed += !Save(*v, Name);
        if (v && Name == "connection") failed += !Save(FHost, "marlinlite_connected");
        const QStringList pages = v ? v->Pages() : QStringList();
        for (int i = 0; v && i < pages.size(); ++i) {
            v->ShowPage(i);
            Settle(2500); // live pages show their first stream object
            if (v) failed += !Save(*v, Name + "_" + FilePart(pages[i]));
        }
        if (v) FHost.CloseViewAt(FHost.Tabs()->indexOf(v));
        Serve([&] { return v.isNull(); }, 10000);
    };
    if (FKinds.isEmpty()) photograph(FHost.OpenConnectionView(), "connection");
    for (const auto& [kind, row] : FHost.Views().Rows()) {
        const QString name = QString(DirectKindName(kind)).mid(2).toLower();
        if (!FKinds.isEmpty() && !FKinds.contains(name)) continue;
        // The firmware update starts with a file dialog and ends with a reboot: its pictures come
        // from its own test (test_flash_gui).
        if (kind == dkflash) continue;
        photograph(FHost.OpenDirect(kind), "view_" + name);
    }
    return failed;
}

} // namespace ferro
