#pragma once
// A setup that arrives without some of its modules changes only the modules it has: the instrument
// keeps the others as they stand (a client leaves out what the user did not choose to send).

#include <cstdint>
#include <string>
#include <vector>

namespace ferro::sim {

// `Received` with every module of `Stored` that it lacks put back at its place, byte for byte; the
// ids of the modules kept in `Kept`. `Received` as it is when it lacks none.
std::vector<uint8_t> KeepMissingModules(const std::vector<uint8_t>& Stored,
                                        const std::vector<uint8_t>& Received, std::vector<std::string>& Kept);

} // namespace ferro::sim
