#pragma once
// The instrument's status as its status script writes it (stat.txt): one "key value" line per
// leaf, parsed into pairs and sorted into the lists that the status pages show. No widgets, so
// ferroctl and the tests read a report exactly as the view does.

#include "foundation/TimeRecords.h"

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace ferro {

using TNameValue = std::pair<std::string, std::string>;
using TNameValueList = std::vector<TNameValue>;

struct TSysloadRec {
    std::string Syspart;
    float Load = 0.0f;
};

// One drive in bytes as the instrument reports it.
struct TDriveValues {
    bool Present = false; // all four values are there
    uint64_t Total = 0, Used = 0, Free = 0, Bad = 0;
};

// What the overview page shows; empty texts leave a control as it was.
struct TStatusOverview {
    std::string Time, Anlage, Feld, Geraet, Firmware, RevNum, ArtikelNum, Serial, Laufzeit;
    std::optional<int> SystemPercent; // free share of the flash drive
    bool CardShown = false;           // the card reports its values
    int CardPercent = 0;
    std::string CardText; // "%d%%", or the instrument's word for a missing card
    // Summer time as the instrument's clock tells it.
    bool Summer = false;
};

// The lists of the pages, filled by one pass over the report.
struct TStatusLists {
    TNameValueList CCCILst, Network, Log, ModBus, IEC104;
    TNameValueList NTP[4];
    std::vector<TSysloadRec> SysLoad;
    std::map<std::string, std::string> Time;
};

class TStatusReport {
public:
    // More than this is no status report; nothing of it is read.
    static constexpr size_t CMaxBytes = 4u << 20;
    static constexpr size_t CMaxLines = 20000;

    // Reads the text; false with a German reason in Error() when it holds no usable line.
    bool Parse(const std::string& Text);
    bool ParseFile(const std::string& Path);
    const std::string& Error() const { return FError; }

    const TNameValueList& Values() const { return FValList; }
    // The value of a key, "" when it is missing.
    std::string Value(const std::string& Key) const;
    bool Has(const std::string& Key) const { return !Value(Key).empty(); }

    // The overview page's texts; `Tz` is the instrument's zone for the clock.
    TStatusOverview Overview(const time_tz_t& Tz) const;
    TDriveValues Drive(const std::string& Name) const;
    // The lists of the CCCI, system, SCADA and time pages, with the zone's two extra time rows.
    TStatusLists Lists(const time_tz_t& Tz) const;

    // The report as one JSON object of its keys; values that are numbers come as numbers.
    std::string ToJson() const;

private:
    TNameValueList FValList;
    std::map<std::string, size_t> FIndex;
    std::string FError;
};

// Bytes to whole megabytes (two divisions by 1024, rounded), as the drive texts show them.
std::string MegaBytes(uint64_t Bytes);
// A number with "." as the decimal separator; nullopt for anything else (a comma, trailing text).
std::optional<double> StatusNumber(const std::string& Text);
// The radio clock's quality number as a word.
std::string DCFQualityWord(uint64_t Quality);
// Replaces "quality" with its word when the time comes from a DCF77 radio clock.
void CheckDCF(std::map<std::string, std::string>& Time);
// "dd.mm.yyyy hh:mm:ss" of Unix seconds in UTC; the text itself when it is no number.
std::string UnixSecondsText(const std::string& Seconds);

} // namespace ferro
