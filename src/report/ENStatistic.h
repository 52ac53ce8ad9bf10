#pragma once
// Statistics of a 10-minute recording for the harmonic bar chart: for every harmonic,
// interharmonic or 2-9 kHz band of one family the maximum and the 95 % value over the whole file,
// with the limits from the file's head. Shared by the stored-data view, the PDF report and ferroctl.

#include "data/DataFileReader.h"
#include "foundation/records/FerroTypes.h"

#include <array>
#include <cstdint>
#include <string>
#include <vector>

namespace ferro {

class TPQPaintBoxHarm;

// The ids of one family: a base id per channel; the id of an order has the order in bits 8 to 15.
struct TRepFamily {
    std::array<uint32_t, 4> Base{};
    int FirstOrder = 0, LastOrder = 0;
};

// The family of a display 5 to 13 (bands, harmonics, interharmonics of line-to-earth,
// line-to-line and current channels); null for any other display.
const TRepFamily* RepFamily(int Disp);
// A system without neutral has no line-to-earth quantities: 5, 8 and 11 become 6, 9 and 12.
int EffectiveRepDisp(int Disp, uint8_t LeiterSys);

struct TENStatistic {
    int Disp = 0; // after the three-wire rule
    bool Normalization = false;
    int ValidSymbols = 0; // columns of the file that belong to the family
    THrm Limits{};        // orders 0 to 50, from the head (2 to 50)
    // Per channel and slot (the order; bands 1 to 35): maximum and 95 % value.
    std::array<THrm, 4> Max{}, P95{};
    tmStamp_t First{}, Last{}; // UTC of the first and the last record
    time_tz_t TimeZone;
    std::string Plant, Field, Device;
    double VoltageFactor = 0; // volts that 100 % of the nominal voltage stand for
};

// Maximum and the entry at count x 0.95 (truncated) of the ascending order; NaNs are left out.
// Reorders `Values`. False when nothing is left.
bool MaxAnd95(std::vector<float>& Values, float& Max, float& P95);
// The values of one column over all records (a stamp column gives nothing).
void ColumnValues(const TRecData& Rec, const TTblStrc& Column, std::vector<float>& Out);

// The statistic of `Disp` (5 to 13) from a recording that has been read.
void ComputeENStatistic(const TRecData& Rec, int Disp, TENStatistic& Out, const TReaderLog& Log);
// Reads the file anew and computes; false (logged) when it cannot be read or holds no records.
bool GeneENCompleteRep(const std::string& FileName, int Disp, TENStatistic& Out, const TReaderLog& Log);
// Hands the statistic to the chart: display, limits, values, times (local), scale.
void FeedHarmChart(const TENStatistic& S, TPQPaintBoxHarm& Chart);

} // namespace ferro
