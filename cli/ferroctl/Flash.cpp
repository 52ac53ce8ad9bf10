// ferroctl flash: the firmware update of one instrument or many, with the same core as the view.
#include "Commands.h"

#include "flash/FlashTexts.h"
#include "flash/MassFlash.h"
#include "flash/UpdateArchive.h"

#include <QCoreApplication>
#include <QEventLoop>
#include <QTimer>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>

namespace ferroctl {

namespace {

// "HOST:PORT", "tcp://HOST:PORT", "ssh://[USER[:PASSWORD]@]HOST[:PORT]" or a serial device path;
// the rest as the global options.
bool ParseInstrument(const std::string& text, const ferro::TConnectionRec& base, ferro::TConnectionRec& rec,
                     std::string& error) {
    rec = base;
    rec.Name = text;
    if (!text.empty() && text[0] == '/') {
        rec.Transport = ferro::TTransport::Serial;
        rec.SerialDevice = text;
        return true;
    }
    std::string rest = text;
    if (rest.rfind("ssh://", 0) == 0) {
        rec.Transport = ferro::TTransport::Ssh;
        rest = rest.substr(6);
        rec.Port = ferro::CDefaultSshPort;
    } else if (rest.rfind("tcp://", 0) == 0) {
        rec.Transport = ferro::TTransport::Tcp;
        rest = rest.substr(6);
        rec.Port = ferro::CDefaultCcciPort;
    } else {
        rec.Transport = ferro::TTransport::Tcp;
        rec.Port = ferro::CDefaultCcciPort;
    }
    if (size_t at = rest.rfind('@'); at != std::string::npos) {
        std::string login = rest.substr(0, at);
        rest = rest.substr(at + 1);
        size_t colon = login.find(':');
        rec.SshUser = login.substr(0, colon);
        if (colon != std::string::npos) rec.SshPassword = login.substr(colon + 1);
    }
    size_t colon = rest.rfind(':');
    if (colon != std::string::npos && rest.find(']') == std::string::npos && rest.find(':') == colon) {
        char* end = nullptr;
        const long port = std::strtol(rest.c_str() + colon + 1, &end, 10);
        if (*end || port < 1 || port > 65535) {
            error = "Ungültiges Gerät: " + text;
            return false;
        }
        rec.Port = int(port);
        rest = rest.substr(0, colon);
    }
    if (rest.empty()) {
        error = "Ungültiges Gerät: " + text;
        return false;
    }
    rec.Address = rest;
    return true;
}

} // namespace

int RunFlash(const CliOptions& opt) {
    std::string archive, backup;
    int rebootTimeoutS = 180;
    std::vector<ferro::TConnectionRec> targets;
    for (size_t i = 0; i < opt.args.size(); ++i) {
        const std::string& a = opt.args[i];
        if (a == "--backup" || a == "--reboot-timeout") {
            if (i + 1 >= opt.args.size()) {
                std::fprintf(stderr, "Option %s erwartet einen Wert.\n", a.c_str());
                return 2;
            }
            if (a == "--backup") {
                backup = opt.args[++i];
            } else {
                rebootTimeoutS = std::atoi(opt.args[++i].c_str());
                if (rebootTimeoutS < 1 || rebootTimeoutS > 3600) {
                    std::fprintf(stderr, "Ungültiges Zeitlimit des Neustarts: %s (1 bis 3600 s)\n",
                                 opt.args[i].c_str());
                    return 2;
                }
            }
        } else if (archive.empty()) {
            archive = a;
        } else {
            ferro::TConnectionRec rec;
            std::string error;
            if (!ParseInstrument(a, opt.link, rec, error)) {
                std::fprintf(stderr, "%s\n", error.c_str());
                return 2;
            }
            targets.push_back(rec);
        }
    }
    if (archive.empty()) {
        std::fprintf(stderr, "flash: die Updatedatei fehlt.\n");
        return 2;
    }
    if (targets.empty()) {
        ferro::TConnectionRec rec = opt.link;
        if (!rec.SerialDevice.empty()) rec.Transport = ferro::TTransport::Serial;
        rec.Name = rec.Where();
        targets.push_back(rec);
    }

    // The change log first, from a look into the archive of our own.
    ferro::TUpdateArchive look;
    std::string error;
    if (!ferro::UnpackUpdateArchive(archive, opt.link.Folders.Tmp + "changelog/", look, error)) {
        std::fprintf(stderr, "%s\n", error.c_str());
        return 1;
    }
    if (look.FUpdFN.empty()) {
        std::fprintf(stderr, "%s\n", ferro::_SUpdateInvalid);
        return 1;
    }
    std::ifstream log(look.FReadmeFN, std::ios::binary);
    const std::string changelog((std::istreambuf_iterator<char>(log)), std::istreambuf_iterator<char>());
    std::printf("Firmware-Image: %s\n\n%s\n", look.FUpdFN.c_str(), changelog.c_str());
    std::fflush(stdout);
    if (!opt.yes && !AskTerminal("Update auf " + std::to_string(targets.size()) +
                                 " Gerät(e) übertragen? Die Geräte starten danach neu.")) {
        std::fprintf(stderr, "Abgebrochen.\n");
        return 1;
    }

    ferro::TMassFlash run(targets, archive, backup);
    run.FRebootTimeoutMs = rebootTimeoutS * 1000;
    run.FPresent = TerminalPresenter(opt.yes);
    const bool verbose = opt.verbose;
    run.FLog = [verbose](const std::string& Name, const std::string& Text) {
        if (verbose) std::fprintf(stderr, "%s: %s\n", Name.c_str(), Text.c_str());
    };
    QEventLoop loop;
    QObject::connect(&run, &ferro::TMassFlash::LineDone, &loop, [&run](int i) {
        const ferro::TMassLine& l = run.Lines()[size_t(i)];
        std::printf("%s: %s – %s%s\n", l.Name.c_str(), l.Ok ? "OK" : "Fehler", l.Text.c_str(),
                    l.Backup.empty() ? "" : (" (Sicherung: " + l.Backup + ")").c_str());
        std::fflush(stdout);
    });
    QObject::connect(&run, &ferro::TMassFlash::AllDone, &loop, &QEventLoop::quit);
    // Every step has its own limit; this one only guards against a run that never ends.
    const int perRound = (rebootTimeoutS + 600) * 1000;
    const int rounds =
        int((targets.size() + ferro::TMassFlash::CParallel - 1) / ferro::TMassFlash::CParallel);
    QTimer::singleShot(perRound * rounds, &loop, &QEventLoop::quit);
    run.Start();
    if (!run.Finished()) loop.exec();
    std::printf("%s\n", run.Summary().c_str());
    return run.Finished() && run.Succeeded() == int(targets.size()) ? 0 : 1;
}

} // namespace ferroctl
