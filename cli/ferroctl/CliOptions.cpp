#include "CliOptions.h"

#include <QDir>
#include <QStandardPaths>

#include <cstdio>
#include <cstdlib>

namespace ferroctl {

namespace {
bool toPort(const std::string& s, int& port) {
    char* end = nullptr;
    long v = std::strtol(s.c_str(), &end, 10);
    if (s.empty() || *end || v < 1 || v > 65535) return false;
    port = int(v);
    return true;
}

std::string withSeparator(std::string dir) {
    if (!dir.empty() && dir.back() != '/') dir += '/';
    return dir;
}
} // namespace

void PrintUsage() {
    std::fprintf(
        stderr, "usage: ferroctl [options] COMMAND [ARGS]\n"
                "options:\n"
                "  --host H          instrument address (default 127.0.0.1)\n"
                "  --port P          CCCI port (default 5040)\n"
                "  --ipv6            connect over IPv6\n"
                "  --ssh             connect through SSH (with --user and --password)\n"
                "  --serial DEV      the instrument hangs on this serial line (/dev/ttyUSB0, /dev/pts/N)\n"
                "  --user U, --password W\n"
                "  --ini-dir DIR     folder of the host-key store and language files\n"
                "  --data-dir DIR    data folder (recordings land in <serial>/Recorder/)\n"
                "  --timeout MS      connect time-out\n"
                "  --yes             accept questions (a new host key, new language files)\n"
                "  -v                log every step to stderr\n"
                "  --ftp, --ftp-port N  files by FTP (instrument's port 21 by default)\n"
                "commands:\n"
                "  identify                      the instrument's identity as JSON\n"
                "  lua LINE                      run a Lua line on the instrument, print its output\n"
                "  setup-get FILE                write the instrument's setup XML to FILE\n"
                "  setup-put FILE                send a setup and wait for the acknowledgement\n"
                "  ls rec|evt                    list recordings or events: name, size, start, end\n"
                "  get rec|evt NAME              download into --data-dir/<serial>/Recorder|Event, resuming\n"
                "  stream CLASS --count N --csv  decoded live blocks, one CSV line per block\n"
                "  commands                      the protocol's command table\n");
}

bool ParseCli(int argc, char** argv, CliOptions& out, std::string& error) {
    QString base = QStandardPaths::writableLocation(QStandardPaths::AppDataLocation);
    out.link.Folders.Ini = withSeparator((base.isEmpty() ? QDir::homePath() + "/.ferroctl" : base).toStdString());
    out.link.Folders.Tmp = withSeparator(QDir::tempPath().toStdString());
    QString data = QStandardPaths::writableLocation(QStandardPaths::DocumentsLocation);
    out.link.Folders.Data = withSeparator((data.isEmpty() ? QDir::homePath() : data).toStdString() + "/Ferro");
    for (int i = 1; i < argc; ++i) {
        std::string a = argv[i];
        auto value = [&](std::string& dst) {
            if (i + 1 >= argc) {
                error = "Option " + a + " erwartet einen Wert.";
                return false;
            }
            dst = argv[++i];
            return true;
        };
        // Options may also follow the command; what is not an option is an argument.
        if (!out.command.empty() && a != "-v" && (a.rfind("--", 0) != 0 || a == "--count" || a == "--csv")) {
            out.args.push_back(a);
            continue;
        }
        std::string v;
        if (a == "--host") {
            if (!value(out.link.Address)) return false;
        } else if (a == "--port") {
            if (!value(v)) return false;
            if (!toPort(v, out.link.Port)) {
                error = "Ungültiger Port: " + v;
                return false;
            }
        } else if (a == "--ipv6") {
            out.link.IpVer = ferro::ipverV6;
        } else if (a == "--serial") {
            if (!value(out.link.SerialDevice)) return false;
        } else if (a == "--ssh") {
            out.link.Transport = ferro::TTransport::Ssh;
        } else if (a == "--user") {
            if (!value(out.link.SshUser)) return false;
        } else if (a == "--password") {
            if (!value(out.link.SshPassword)) return false;
        } else if (a == "--ini-dir") {
            if (!value(v)) return false;
            out.link.Folders.Ini = withSeparator(v);
        } else if (a == "--data-dir") {
            if (!value(v)) return false;
            out.link.Folders.Data = withSeparator(v);
        } else if (a == "--timeout") {
            if (!value(v)) return false;
            out.link.ConnectTimeoutMs = std::atoi(v.c_str());
        } else if (a == "--yes") {
            out.yes = true;
        } else if (a == "--ftp") {
            out.ftp = true;
            out.link.Ftp = true;
        } else if (a == "--ftp-port") {
            if (!value(v)) return false;
            if (!toPort(v, out.link.FtpPort)) {
                error = "Ungültiger Port: " + v;
                return false;
            }
        } else if (a == "-v") {
            out.verbose = true;
        } else if (!a.empty() && a[0] == '-') {
            error = "Unbekannte Option: " + a;
            return false;
        } else {
            out.command = a;
        }
    }
    if (out.command.empty()) {
        error = "Kein Kommando angegeben.";
        return false;
    }
    if (!out.link.SerialDevice.empty()) out.link.Transport = ferro::TTransport::Serial;
    return true;
}

} // namespace ferroctl
