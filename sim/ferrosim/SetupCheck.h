#pragma once
// What the instrument checks in a setup it receives before taking it: every parameter's value
// within its limits and of its type, every choice one of its list, every rec 0 or 1.

#include <cstdint>
#include <string>
#include <vector>

namespace ferro::sim {

// True when `Xml` (well-formed) breaks no limit; otherwise false with the first offence in `Reason`.
bool SetupWithinLimits(const std::vector<uint8_t>& Xml, std::string& Reason);

} // namespace ferro::sim
