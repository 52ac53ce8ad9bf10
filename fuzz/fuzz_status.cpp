// libFuzzer harness of the status report: whatever the instrument writes into stat.txt is parsed,
// sorted onto the pages and turned into JSON without a crash or an unbounded allocation.
#include "status/StatusReport.h"

#include <cstdint>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    using namespace ferro;
    TStatusReport r;
    if (!r.Parse(std::string(reinterpret_cast<const char*>(data), size))) return 0;
    const time_tz_t tz = time_tz_t::fromOffsetMinutes(int(size % 1440) - 720);
    r.Overview(tz);
    TStatusLists l = r.Lists(tz);
    CheckDCF(l.Time);
    for (const auto& [key, value] : l.Time)
        UnixSecondsText(value);
    r.ToJson();
    return 0;
}
