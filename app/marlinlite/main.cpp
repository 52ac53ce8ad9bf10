// marlinlite: the desktop host. A list of instruments, and views on them in tabs.
#include "MainWindow.h"
#include "ScreenshotRun.h"

#include <QApplication>
#include <QCommandLineParser>
#include <QDir>
#include <QSettings>
#include <QTemporaryDir>
#include <QTimer>

#include <cstdio>

namespace {
// The help in German; Qt's own is English and needs a running application.
QString HelpText(const QString& Description, const QList<QCommandLineOption>& Options) {
    QString text = "Aufruf: marlinlite [Optionen]\n" + Description + "\n\nOptionen:\n";
    for (const QCommandLineOption& o : Options) {
        QStringList names;
        for (const QString& n : o.names())
            names << (n.size() == 1 ? "-" : "--") + n;
        QString left = "  " + names.join(", ");
        if (!o.valueName().isEmpty()) left += " <" + o.valueName() + ">";
        text += left.leftJustified(28) + " " + o.description() + "\n";
    }
    return text;
}
} // namespace

int main(int argc, char** argv) {
    QStringList arguments;
    for (int i = 0; i < argc; ++i)
        arguments << QString::fromLocal8Bit(argv[i]);
    QCommandLineParser parser;
    QCommandLineOption help(QStringList{"h", "help"}, "Zeigt diese Hilfe an.");
    parser.addOption(help);
    QCommandLineOption demo("demo",
                            "Fügt Simulator-Geräte hinzu: HOST:PORT[,ssh=PORT][,serial=DEV][,user=NAME]"
                            "[,password=TEXT]",
                            "eintrag");
    QCommandLineOption settings("settings", "Geräteliste in dieser INI-Datei statt der Benutzereinstellungen",
                                "datei");
    QCommandLineOption shots("screenshots",
                             "Öffnet jede Ansicht auf dem ersten Gerät, speichert je Ansicht und Seite ein "
                             "PNG in diesen Ordner und beendet sich",
                             "ordner");
    QCommandLineOption views("views",
                             "Mit --screenshots: nur diese Ansichten (z. B. complete,visu), ohne Geräteliste "
                             "und Verbindung",
                             "liste");
    QCommandLineOption prefix("prefix", "Mit --screenshots: Anfang jedes Dateinamens", "text");
    parser.addOption(demo);
    parser.addOption(settings);
    parser.addOption(shots);
    parser.addOption(views);
    parser.addOption(prefix);
    // Qt's own help and errors are English; the user reads German.
    if (!parser.parse(arguments)) {
        const QStringList unknown = parser.unknownOptionNames();
        std::fprintf(stderr, "%s\nHilfe: marlinlite --help\n",
                     qPrintable(unknown.isEmpty() ? "Einer Option fehlt ihr Wert."
                                                  : "Unbekannte Option: --" + unknown.join(", --")));
        return 2;
    }
    if (parser.isSet(help)) {
        std::printf("%s", qPrintable(HelpText("Marlin Lite: Desktop-Begleiter des Ferro Recorders",
                                              {help, demo, settings, shots, views, prefix})));
        return 0;
    }
    QApplication app(argc, argv);
    QApplication::setOrganizationName("Ferro");
    QApplication::setApplicationName("marlinlite");
    QApplication::setApplicationDisplayName("Marlin Lite");

    std::vector<ferro::TInstrument> demoEntries;
    for (const QString& entry : parser.values(demo)) {
        std::string error;
        if (!ferro::TInstrumentStore::ParseDemo(entry.toStdString(), demoEntries, error)) {
            std::fprintf(stderr, "%s\n", error.c_str());
            return 2;
        }
    }
    // A screenshot run keeps its list and its files apart from the user's.
    const bool shooting = parser.isSet(shots);
    QTemporaryDir scratch;
    if (shooting && demoEntries.empty()) {
        std::fprintf(stderr, "--screenshots braucht ein Gerät: --demo HOST:PORT\n");
        return 2;
    }
    auto store =
        shooting ? std::make_unique<QSettings>(scratch.filePath("marlinlite.ini"), QSettings::IniFormat)
        : parser.isSet(settings) ? std::make_unique<QSettings>(parser.value(settings), QSettings::IniFormat)
                                 : std::make_unique<QSettings>();
    ferro::TFolders folders = ferro::TMainWindow::StandardFolders();
    if (shooting) {
        const std::string base = scratch.path().toStdString();
        folders = {base + "/data/", base + "/ini/", base + "/tmp/"};
        for (const std::string& d : {folders.Data, folders.Ini, folders.Tmp})
            QDir().mkpath(QString::fromStdString(d));
    }
    ferro::TMainWindow w(std::move(store), folders);
    if (!demoEntries.empty()) w.AddInstruments(demoEntries);
    w.show();
    if (shooting) {
        QTimer::singleShot(0, &w, [&] {
            ferro::TScreenshotRun run(w, parser.value(shots));
            if (parser.isSet(views))
                run.Restrict(parser.value(views).split(',', Qt::SkipEmptyParts), parser.value(prefix));
            const int failed = run.Run();
            QApplication::exit(failed == 0 ? 0 : 1);
        });
    }
    return app.exec();
}
