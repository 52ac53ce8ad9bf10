#pragma once
// The instrument runs its clock by the time zone of its setup: a setup it takes changes the zone and
// daylight-saving rules that its identity reports (time_set_t).

#include "foundation/TimeRecords.h"

#include <cstdint>
#include <vector>

namespace ferro::sim {

// Takes the zone ids (FE000306 to FE000311) of `Xml` into `Ts`; false, `Ts` untouched, when the
// setup lacks one of them or a value is no number in its range.
bool ApplySetupTime(const std::vector<uint8_t>& Xml, time_set_t& Ts);

} // namespace ferro::sim
