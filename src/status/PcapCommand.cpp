#include "status/PcapCommand.h"

#include "foundation/Format.h"

#include <cmath>
#include <sstream>

namespace ferro {

std::string DefaultPcapName(const QDateTime& Now) {
    return Now.toString("yyMMdd_hhmmss").toStdString() + ".pcap";
}

std::string PcapDurationText(int Hours, int Minutes, int Seconds) {
    std::string t = "\"";
    if (Hours > 0) t += Fmt("%dh", Hours);
    if (Minutes > 0) t += Fmt("%dm", Minutes);
    if (Seconds > 0) t += Fmt("%ds", Seconds);
    return t + "\"";
}

std::string PcapFilterText(const std::string& Kind, const std::string& Address) {
    if (Address.empty()) return std::string();
    return (Kind.empty() ? std::string() : Kind + "@") + Address;
}

std::string GenPcapCommand(TPcapSettings& Settings, const QDateTime& Now) {
    if (Trim(Settings.FileName).empty()) Settings.FileName = DefaultPcapName(Now);
    std::string filters;
    for (const std::string& f : Settings.Filters)
        filters += Fmt(", \"%s\"", f.c_str());
    const std::string duration = Settings.ByPackets
                                     ? std::to_string(std::llround(Settings.Packets))
                                     : PcapDurationText(Settings.Hours, Settings.Minutes, Settings.Seconds);
    return Trim(Fmt("ips.pcapStart(\"%s\", \"/mnt/flashdrive0/data/%s\", %s%s", Settings.Device.c_str(),
                    Settings.FileName.c_str(), duration.c_str(), filters.c_str())) +
           ")";
}

bool ParsePcapListLine(const std::string& Line, TPcapListItem& Item) {
    if (Line.find("file") == std::string::npos) return false;
    std::istringstream in(Line);
    std::string t[5];
    for (std::string& s : t)
        if (!(in >> s)) return false;
    // The name is stored locally under itself: nothing that names another folder.
    if (LocalFileName(t[4]) != t[4]) return false;
    Item.Name = t[4];
    Item.Detail = Fmt("%s%s - %s %s", t[0].c_str(), t[1].c_str(), t[2].c_str(), t[3].c_str());
    return true;
}

std::string PcapCdLine() {
    return Fmt("fs.cd(\"%s\")", CPcapFolder);
}

std::string PcapLsLine() {
    return "fs.ls(\"*.pcap\")";
}

std::string PcapRmLine(const std::string& Name) {
    return Fmt("fs.rm(\"%s\")", Name.c_str());
}

std::string PcapCopyToScratchpadLine(const std::string& Name) {
    return Fmt("fs.cp(\"//mnt/flashdrive0/data/%s\",\"//mnt/flashdrive0/data/ccci/scratchpad/%s\")",
               Name.c_str(), Name.c_str());
}

} // namespace ferro
