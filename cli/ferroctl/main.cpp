// ferroctl: the link core on the command line.
#include "CliOptions.h"
#include "Commands.h"

#include <QCoreApplication>
#include <QDir>
#include <QGuiApplication>
#include <QTemporaryDir>

#include <cstdio>
#include <cstring>
#include <map>
#include <memory>

int main(int argc, char** argv) {
    // The PDF report lays out text, which needs the fonts of a GUI application; a terminal has no
    // screen, so it draws off screen.
    bool report = false;
    for (int i = 1; i < argc; ++i)
        report = report || std::strcmp(argv[i], "report") == 0;
    if (report && qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM")) qputenv("QT_QPA_PLATFORM", "offscreen");
    std::unique_ptr<QCoreApplication> app = report ? std::make_unique<QGuiApplication>(argc, argv)
                                                   : std::make_unique<QCoreApplication>(argc, argv);
    QCoreApplication::setApplicationName("ferroctl");
    ferroctl::CliOptions opt;
    std::string error;
    if (!ferroctl::ParseCli(argc, argv, opt, error)) {
        std::fprintf(stderr, "%s\n\n", error.c_str());
        ferroctl::PrintUsage();
        return 2;
    }
    if (opt.help) {
        ferroctl::PrintUsage(stdout);
        return 0;
    }
    const std::map<std::string, int (*)(const ferroctl::CliOptions&)> commands = {
        {"identify", ferroctl::RunIdentify},
        {"commands", ferroctl::RunCommands},
        {"lua", ferroctl::RunLua},
        {"setup-get", ferroctl::RunSetupGet},
        {"setup-put", ferroctl::RunSetupPut},
        {"ls", ferroctl::RunList},
        {"get", ferroctl::RunGet},
        {"sync", ferroctl::RunSync},
        {"stream", ferroctl::RunStream},
        {"show", ferroctl::RunShow},
        {"export", ferroctl::RunExport},
        {"report", ferroctl::RunReport},
        {"params", ferroctl::RunParams},
        {"param-set", ferroctl::RunParamSet},
        {"flash", ferroctl::RunFlash},
        {"setup-diff", ferroctl::RunSetupDiff},
        {"setup-delta", ferroctl::RunSetupDelta},
        {"setup-csv", ferroctl::RunSetupCsv},
        {"status", ferroctl::RunStatus},
        {"pcap", ferroctl::RunPcap},
    };
    auto it = commands.find(opt.command);
    if (it == commands.end()) {
        std::fprintf(stderr, "Unbekanntes Kommando: %s\n\n", opt.command.c_str());
        ferroctl::PrintUsage();
        return 2;
    }
    // The setup files, archives and unpacked folders of this run go into a folder of its own that
    // goes with the run: nothing is left in the temp folder, and two runs never share a file.
    QTemporaryDir scratch(QDir::tempPath() + "/ferroctl-XXXXXX");
    if (scratch.isValid()) opt.link.Folders.Tmp = scratch.path().toStdString() + "/";
    return it->second(opt);
}
