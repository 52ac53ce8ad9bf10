#pragma once
// Calendar texts of linear times for axis labels and captions. Linear times on the charts are
// already local, so no zone is applied here.

#include "foundation/TimeRecords.h"

#include <cstdint>
#include <string>

namespace ferro {

// Formats seconds since 1970 by a pattern of the tokens yyyy, yy, mm (month), dd, ddd (short day
// name), hh, nn (minutes) and ss; every other character is copied.
std::string FormatDateTimeSecs(const std::string& Pattern, uint64_t Secs);

// "dd.mm.yyyy hh:nn:ss" of a stamp, the caption form of the charts.
std::string StampToText(const tmStamp_t& Stamp);

} // namespace ferro
