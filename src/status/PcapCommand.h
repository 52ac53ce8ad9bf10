#pragma once
// The capture page's logic without widgets: the Lua line that starts a capture on the instrument,
// and the reading of the capture listing.

#include <QDateTime>

#include <string>
#include <vector>

namespace ferro {

enum TPCAPInteractType { PCAPDelete, PCAPDownload };

struct TPcapSettings {
    std::string Device = "emac";
    std::string FileName; // empty: one is made from the time
    bool ByPackets = false;
    int Hours = 1, Minutes = 0, Seconds = 0;
    double Packets = 100;
    std::vector<std::string> Filters; // "all@1.2.3.4", "src@...", "dst@...", a bare address
};

// Where captures lie on the instrument, and the scratchpad they are copied to for fetching.
constexpr const char* CPcapFolder = "/mnt/flashdrive0/data";

// "yymmdd_hhmmss.pcap" of `Now`.
std::string DefaultPcapName(const QDateTime& Now);
// "\"1h30s\"": each unit above 0, in this order; all three 0 give "\"\"".
std::string PcapDurationText(int Hours, int Minutes, int Seconds);
// One filter entry: the kind ("all", "src", "dst" or "" for none) and "@" before the address.
std::string PcapFilterText(const std::string& Kind, const std::string& Address);
// The whole "ips.pcapStart(...)" line. Fills an empty FileName from `Now` first.
std::string GenPcapCommand(TPcapSettings& Settings, const QDateTime& Now);

struct TPcapListItem {
    std::string Name;   // the fifth token
    std::string Detail; // "%s%s - %s %s" of the first four
};
// One line of "fs.ls" output; false for lines without "file", of too few parts, or whose name could
// leave the folder it is stored in.
bool ParsePcapListLine(const std::string& Line, TPcapListItem& Item);

// The Lua lines of the page.
std::string PcapCdLine();
std::string PcapLsLine();
std::string PcapRmLine(const std::string& Name);
std::string PcapCopyToScratchpadLine(const std::string& Name);

} // namespace ferro
