#pragma once
// How a read recording becomes curves on a time chart: the checked columns are decoded record by
// record straight from the records stream and handed to the chart with their local times.

#include "charts/PQPaintBoxCrvTime.h"
#include "data/DataFileReader.h"

#include <functional>
#include <string>
#include <vector>

namespace ferro {

class TGraphAssembly {
public:
    using TShortName = std::function<std::string(uint32_t Id)>;
    using TLog = std::function<void(const std::string&)>;

    // Sets one curve per entry of `Tags` (row indices of the recording's columns) with name, group,
    // unit and the colour the tag gives, then feeds every record. The times are the instrument's
    // local times (its zone from the file). False, with the log line "Unknown PaintStruc: %u", when
    // a column has a storage kind no chart can take: the chart then keeps what it had.
    static bool Paint(const TRecData& Data, const std::vector<int>& Tags, TPQPaintBoxCrvTime& Chart,
                      const std::vector<TAlphaColor>& Colours, const TShortName& Names, const TLog& Log);
    // The colour of a column: by its tag, so a curve keeps it while others come and go. Only the
    // first eleven colours are used.
    static TAlphaColor ColourOf(int Tag, const std::vector<TAlphaColor>& Colours);
    // The local linear time of a UTC stamp in the file's zone.
    static uint64_t LocalLinear(const tmStamp_t& Utc, const time_tz_t& Zone);
};

} // namespace ferro
