#pragma once
// The EN 50160 evaluation of a 10-minute recording: one row per quantity the recording holds,
// judged per observation week, the dips, swells and interruptions of the same period classified
// by residual voltage and duration, and the statistics of the six families. No drawing here: the
// PDF writer lays it out.

#include "data/DataFileReader.h"
#include "report/ENStatistic.h"

#include <array>
#include <cstdint>
#include <string>
#include <vector>

namespace ferro {

// Object ids of the quantities a 10-minute recording carries (docs/recording-format.md).
namespace enids {
constexpr uint32_t Frequency = 0x01020000;
constexpr uint32_t RmsBase = 0x01010000; // + channel: U1E, U2E, U3E, UNE, U12, U23, U31
constexpr uint32_t ThdBase = 0x01030000; // + channel
constexpr uint32_t Unbalance = 0x010D0000;
constexpr uint32_t PltBase = 0x010E0000; // + phase
} // namespace enids

struct TENWeek {
    uint64_t FromNs = 0, ToNs = 0; // UTC, half open
    int Records = 0;
};

struct TENCell {
    std::string Observed95, Observed100; // texts as the report shows them
    bool Pass = true;
    bool Present = false; // the week has values of the quantity
};

struct TENRow {
    std::string Name, Limit;
    std::vector<TENCell> Weeks;
};

// EN 50160 classes: dips by residual voltage (rows) and duration (columns), swells likewise.
struct TENEventTable {
    static constexpr int DipRows = 5, DipCols = 5, SwellRows = 2, SwellCols = 3;
    std::array<std::array<int, DipCols>, DipRows> Dips{};
    std::array<std::array<int, SwellCols>, SwellRows> Swells{};
    int DipCount = 0, SwellCount = 0, InterruptionCount = 0;
    static const char* DipRowText(int r);
    static const char* DipColText(int c);
    static const char* SwellRowText(int r);
    static const char* SwellColText(int c);
    // The cell of a residual voltage in % and a duration in s; false outside the table.
    static void DipCell(double Percent, double Seconds, int& Row, int& Col);
    static void SwellCell(double Percent, double Seconds, int& Row, int& Col);
};

struct TENEventLine {
    tmStamp_t Local{};
    uint8_t Type = 0;
    uint8_t Phase = 0;
    double Percent = 0, Seconds = 0;
};

struct TENReport {
    std::string FileName;
    std::string Plant, Field, Device;
    uint32_t Serial = 0;
    uint8_t LeiterSys = 0;
    double NominalVoltage = 0;   // Un, line to earth (line to line without neutral), primary side
    double NominalFrequency = 0; // Hz
    tmStamp_t FromLocal{}, ToLocal{};
    uint64_t FromNs = 0, ToNs = 0; // UTC period of the recording
    time_tz_t TimeZone;
    std::vector<TENWeek> Weeks;
    std::vector<TENRow> Rows;
    TENEventTable Events;
    std::vector<TENEventLine> EventLines;
    std::vector<std::string> EventFilesRefused; // "name: reason"
    // The six families as the statistic actions show them.
    std::vector<TENStatistic> Statistics;
};

// The period starts one interval before the first record's stamp (the stamp ends its interval).
// A last part shorter than a day joins the week before it.
std::vector<TENWeek> SplitWeeks(uint64_t FromNs, uint64_t ToNs);

// Evaluates a recording that has been read; events are taken from `EventFiles` inside the period.
void EvaluateEN50160(const std::string& FileName, const TRecData& Rec,
                     const std::vector<std::string>& EventFiles, TENReport& Out);
// Reads and evaluates; false with a German reason when the recording cannot be read.
bool BuildENReport(const std::string& FileName, const std::vector<std::string>& EventFiles, TENReport& Out,
                   std::string& Error);

// German number with `Decimals` places ("0,35").
std::string DeNumber(double V, int Decimals);

} // namespace ferro
