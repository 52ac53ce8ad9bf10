// ferroctl status and pcap: the instrument's status report, and its packet captures.
#include "Commands.h"

#include "foundation/Format.h"
#include "status/PcapRemote.h"
#include "status/StatusCollector.h"

#include <QDateTime>

#include <cstdio>
#include <filesystem>
#include <regex>

namespace ferroctl {

namespace fs = std::filesystem;

namespace {

constexpr int CWaitMs = 60000;

// The value of "--name VALUE" in args; false when the option is there without a value.
bool TakeOption(std::vector<std::string>& args, const std::string& name, std::vector<std::string>& values) {
    for (size_t i = 0; i < args.size();) {
        if (args[i] != name) {
            ++i;
            continue;
        }
        if (i + 1 >= args.size()) return false;
        values.push_back(args[i + 1]);
        args.erase(args.begin() + long(i), args.begin() + long(i) + 2);
    }
    return true;
}

bool TakeFlag(std::vector<std::string>& args, const std::string& name) {
    for (auto it = args.begin(); it != args.end(); ++it)
        if (*it == name) {
            args.erase(it);
            return true;
        }
    return false;
}

int Usage(const char* text) {
    std::fprintf(stderr, "%s\n", text);
    return 2;
}

} // namespace

int RunStatus(const CliOptions& opt) {
    std::vector<std::string> args = opt.args;
    const bool json = TakeFlag(args, "--json");
    if (!args.empty()) return Usage("status erwartet höchstens --json.");
    auto session = OpenSession(opt, false);
    if (!session) return 1;
    ferro::TStatusCollector collector(session->Link());
    bool done = false, ok = false;
    std::string error;
    collector.Collect([&](bool Ok, bool, const std::string& Error) {
        ok = Ok;
        error = Error;
        done = true;
    });
    if (!session->WaitFor([&] { return done; }, CWaitMs)) {
        std::fprintf(stderr, "Der Status ist nicht angekommen.%s\n", LastReason(*session).c_str());
        return 1;
    }
    if (!ok) {
        std::fprintf(stderr, "%s\n", error.c_str());
        session->CloseAndWait();
        return 1;
    }
    const ferro::TStatusReport& r = collector.Report();
    if (json) {
        std::fputs(r.ToJson().c_str(), stdout);
    } else {
        for (const auto& [key, value] : r.Values())
            std::printf("%-35s %s\n", key.c_str(), value.c_str());
    }
    session->CloseAndWait();
    return 0;
}

int RunPcap(const CliOptions& opt) {
    std::vector<std::string> args = opt.args;
    if (args.empty()) return Usage("pcap erwartet start, ls, get oder rm.");
    const std::string sub = args.front();
    args.erase(args.begin());
    std::vector<std::string> packets, time, filters, names, outs, devices;
    if (!TakeOption(args, "--packets", packets) || !TakeOption(args, "--time", time) ||
        !TakeOption(args, "--filter", filters) || !TakeOption(args, "--name", names) ||
        !TakeOption(args, "--out", outs) || !TakeOption(args, "--device", devices))
        return Usage("Eine Option von pcap erwartet einen Wert.");

    ferro::TPcapSettings settings;
    if (sub == "start") {
        if (!args.empty() || (!packets.empty() && !time.empty()))
            return Usage("pcap start erwartet --packets N oder --time DAUER, --filter, --name, --device.");
        if (!packets.empty()) {
            settings.ByPackets = true;
            try {
                settings.Packets = double(std::stoul(packets.back()));
            } catch (...) {
                return Usage("--packets erwartet eine Zahl ab 1.");
            }
            if (settings.Packets < 1) return Usage("--packets erwartet eine Zahl ab 1.");
        } else if (!time.empty()) {
            static const std::regex duration(R"((?:(\d{1,4})h)?(?:(\d{1,4})m)?(?:(\d{1,6})s)?)");
            std::smatch m;
            if (time.back().empty() || !std::regex_match(time.back(), m, duration))
                return Usage("--time erwartet eine Dauer wie 1h30s, 10m oder 45s.");
            settings.Hours = m[1].matched ? std::stoi(m[1]) : 0;
            settings.Minutes = m[2].matched ? std::stoi(m[2]) : 0;
            settings.Seconds = m[3].matched ? std::stoi(m[3]) : 0;
        }
        if (!names.empty()) settings.FileName = names.back();
        if (!devices.empty()) settings.Device = devices.back();
        settings.Filters = filters;
        if (!settings.FileName.empty() && ferro::LocalFileName(settings.FileName) != settings.FileName)
            return Usage("--name erwartet einen Dateinamen ohne Ordner.");
    } else if ((sub == "get" || sub == "rm") && args.size() != 1) {
        return Usage("pcap get und pcap rm erwarten den Namen einer Aufzeichnung.");
    } else if (sub == "ls" && !args.empty()) {
        return Usage("pcap ls erwartet keine Argumente.");
    } else if (sub != "get" && sub != "rm" && sub != "ls") {
        return Usage("pcap erwartet start, ls, get oder rm.");
    }

    auto session = OpenSession(opt, false);
    if (!session) return 1;
    ferro::TPcapRemote pcap(session->Link());
    bool done = false, ok = false;
    std::string error, file;
    std::vector<ferro::TPcapListItem> items;
    if (sub == "start") {
        const std::string line = ferro::GenPcapCommand(settings, QDateTime::currentDateTime());
        pcap.Start(line, [&](bool Ok, const std::string& Error) { ok = Ok, error = Error, done = true; });
    } else if (sub == "ls") {
        pcap.List([&](bool Ok, const std::vector<ferro::TPcapListItem>& Items, const std::string& Error) {
            ok = Ok, items = Items, error = Error, done = true;
        });
    } else if (sub == "rm") {
        pcap.Remove(args[0], [&](bool Ok, const std::string& Error) { ok = Ok, error = Error, done = true; });
    } else {
        pcap.Download(args[0], [&](bool Ok, const std::string& File, const std::string& Error) {
            ok = Ok, file = File, error = Error, done = true;
        });
    }
    if (!session->WaitFor([&] { return done; }, CWaitMs)) {
        std::fprintf(stderr, "Das Gerät hat nicht geantwortet.%s\n", LastReason(*session).c_str());
        return 1;
    }
    if (!ok) {
        std::fprintf(stderr, "%s\n", error.empty() ? "Das Gerät hat den Befehl abgelehnt." : error.c_str());
        session->CloseAndWait();
        return 1;
    }
    if (sub == "start") {
        std::printf("%s\n", settings.FileName.c_str());
    } else if (sub == "ls") {
        for (const ferro::TPcapListItem& i : items)
            std::printf("%s\t%s\n", i.Name.c_str(), i.Detail.c_str());
    } else if (sub == "get") {
        const std::string target = outs.empty() ? args[0] : outs.back();
        std::error_code ec;
        fs::copy_file(file, target, fs::copy_options::overwrite_existing, ec);
        if (ec) {
            std::fprintf(stderr, "Die Datei %s kann nicht geschrieben werden: %s\n", target.c_str(),
                         ec.message().c_str());
            session->CloseAndWait();
            return 1;
        }
        std::printf("%s\n", target.c_str());
    }
    session->CloseAndWait();
    return 0;
}

} // namespace ferroctl
