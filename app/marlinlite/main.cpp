// marlinlite: the desktop host. A list of instruments, and views on them in tabs.
#include "MainWindow.h"

#include <QApplication>
#include <QCommandLineParser>
#include <QSettings>

#include <cstdio>

int main(int argc, char** argv) {
    QApplication app(argc, argv);
    QApplication::setOrganizationName("Ferro");
    QApplication::setApplicationName("marlinlite");
    QApplication::setApplicationDisplayName("Marlin Lite");

    QCommandLineParser parser;
    parser.setApplicationDescription("Marlin Lite: Desktop-Begleiter des Ferro Recorders");
    parser.addHelpOption();
    QCommandLineOption demo("demo",
                            "Fügt Simulator-Geräte hinzu: HOST:PORT[,ssh=PORT][,serial=DEV][,user=NAME]"
                            "[,password=TEXT]",
                            "entry");
    QCommandLineOption settings("settings", "Geräteliste in dieser INI-Datei statt der Benutzereinstellungen",
                                "file");
    parser.addOption(demo);
    parser.addOption(settings);
    parser.process(app);

    std::vector<ferro::TInstrument> demoEntries;
    for (const QString& entry : parser.values(demo)) {
        std::string error;
        if (!ferro::TInstrumentStore::ParseDemo(entry.toStdString(), demoEntries, error)) {
            std::fprintf(stderr, "%s\n", error.c_str());
            return 2;
        }
    }
    auto store = parser.isSet(settings)
                     ? std::make_unique<QSettings>(parser.value(settings), QSettings::IniFormat)
                     : std::make_unique<QSettings>();
    ferro::TMainWindow w(std::move(store), ferro::TMainWindow::StandardFolders());
    if (!demoEntries.empty()) w.AddInstruments(demoEntries);
    w.show();
    return app.exec();
}
