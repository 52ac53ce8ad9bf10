#pragma once
// How a read recording becomes curves on a time chart: the checked columns are decoded column by
// column straight from the records stream into a block of chart records with their local times.
// The block can be filled on any thread and handed to the chart whole.

#include "charts/MessLst.h"
#include "charts/PQPaintBoxCrvTime.h"
#include "data/DataFileReader.h"

#include <functional>
#include <string>
#include <vector>

namespace ferro {

// The checked columns of a recording as chart records, with what the chart needs besides.
struct TGraphSeries {
    std::vector<int> Tags;
    TMessLst Records;
    // The finite range of each curve; Min above Max when a curve has no finite value.
    std::vector<float> Min, Max;
    tmStamp_t Start{};   // local time of the first record
    tmStamp_t Trigger{}; // local; zero when the file has none
};

class TGraphAssembly {
public:
    using TShortName = std::function<std::string(uint32_t Id)>;
    using TLog = std::function<void(const std::string&)>;

    // Decodes the columns `Tags` (row indices of the recording's columns) of every record. Touches
    // nothing but `Out`, so it runs on a worker. False, with the log line "Unknown PaintStruc: %u",
    // when a column has a storage kind no chart can take.
    static bool Assemble(const TRecData& Data, const std::vector<int>& Tags, TGraphSeries& Out,
                         const TLog& Log);
    // Sets one curve per tag with name, group, unit and the colour the tag gives, and hands the
    // records over (the series is left empty). Scaled to each curve's range, the whole span shown.
    static void Show(const TRecData& Data, TGraphSeries& Series, TPQPaintBoxCrvTime& Chart,
                     const std::vector<TAlphaColor>& Colours, const TShortName& Names);
    // Assemble and Show. The times are the instrument's local times (its zone from the file). On
    // false the chart keeps what it had.
    static bool Paint(const TRecData& Data, const std::vector<int>& Tags, TPQPaintBoxCrvTime& Chart,
                      const std::vector<TAlphaColor>& Colours, const TShortName& Names, const TLog& Log);
    // The colour of a column: by its tag, so a curve keeps it while others come and go. Only the
    // first eleven colours are used.
    static TAlphaColor ColourOf(int Tag, const std::vector<TAlphaColor>& Colours);
    // The local linear time of a UTC stamp in the file's zone.
    static uint64_t LocalLinear(const tmStamp_t& Utc, const time_tz_t& Zone);
};

} // namespace ferro
