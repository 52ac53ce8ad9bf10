#include "ferrosim/SimOptions.h"

#include <cstdlib>

namespace ferro::sim {

const char* SimOptions::usage() {
    return "usage: ferrosim --root DIR [--port N] [--ssh-port N] [--ftp-port N] [--serial] [--faults LIST] "
           "[--supply LIST] [--profile FILE] [--history-days N] [--time-scale K] [--reboot-ms N] "
           "[--generation N] [--exit-with-parent]\n"
           "       ferrosim --make-update VERSION REVISION OUT.zip [--corrupt]";
}

bool SimOptions::parse(int argc, char** argv, std::string& error) {
    for (int i = 1; i < argc; ++i) {
        std::string arg = argv[i];
        if (arg == "--help" || arg == "-h") {
            help = true;
            return true;
        }
        if (arg == "--serial") {
            serial = true;
            continue;
        }
        if (arg == "--exit-with-parent") {
            exitWithParent = true;
            continue;
        }
        if (arg == "--corrupt") {
            corrupt = true;
            continue;
        }
        if (arg == "--make-update") {
            if (i + 3 >= argc) {
                error = std::string("--make-update needs VERSION REVISION OUT.zip\n") + usage();
                return false;
            }
            makeUpdate = {argv[i + 1], argv[i + 2], argv[i + 3]};
            i += 3;
            continue;
        }
        std::string value;
        size_t eq = arg.find('=');
        if (arg.rfind("--", 0) == 0 && eq != std::string::npos) {
            value = arg.substr(eq + 1);
            arg = arg.substr(0, eq);
        } else if (i + 1 < argc) {
            value = argv[++i];
        } else {
            error = "missing value for " + arg + "\n" + usage();
            return false;
        }
        if (arg == "--root") {
            root = value;
        } else if (arg == "--port") {
            char* end = nullptr;
            long p = std::strtol(value.c_str(), &end, 10);
            if (value.empty() || *end || p < 0 || p > 65535) {
                error = "bad port " + value;
                return false;
            }
            port = uint16_t(p);
        } else if (arg == "--ssh-port" || arg == "--ftp-port") {
            char* end = nullptr;
            long p = std::strtol(value.c_str(), &end, 10);
            if (value.empty() || *end || p < 0 || p > 65535) {
                error = "bad port " + value;
                return false;
            }
            (arg == "--ssh-port" ? sshPort : ftpPort) = int(p);
        } else if (arg == "--history-days") {
            char* end = nullptr;
            long d = std::strtol(value.c_str(), &end, 10);
            if (value.empty() || *end || d < 0 || d > 3660) {
                error = "bad history days " + value + " (0 to 3660)";
                return false;
            }
            historyDays = int(d);
        } else if (arg == "--time-scale") {
            char* end = nullptr;
            double k = std::strtod(value.c_str(), &end);
            if (value.empty() || *end || !(k >= 0.001 && k <= 100000)) {
                error = "bad time scale " + value + " (0.001 to 100000)";
                return false;
            }
            timeScale = k;
        } else if (arg == "--reboot-ms") {
            char* end = nullptr;
            long ms = std::strtol(value.c_str(), &end, 10);
            if (value.empty() || *end || ms < 0 || ms > 600000) {
                error = "bad reboot time " + value + " (0 to 600000 ms)";
                return false;
            }
            rebootMs = int(ms);
        } else if (arg == "--generation") {
            if (value != "0" && value != "1" && value != "2") {
                error = "bad generation " + value + " (0, 1 or 2)";
                return false;
            }
            generation = value[0] - '0';
        } else if (arg == "--faults") {
            faults = value;
        } else if (arg == "--supply") {
            supply = value;
        } else if (arg == "--profile") {
            profile = value;
        } else {
            error = "unknown option " + arg + "\n" + usage();
            return false;
        }
    }
    if (root.empty() && makeUpdate.empty()) {
        error = std::string("--root is required\n") + usage();
        return false;
    }
    return true;
}

} // namespace ferro::sim
