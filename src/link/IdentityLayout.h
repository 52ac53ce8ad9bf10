#pragma once
// Where the fields of the identity replies lie, counted from the start of the frame (its 20-byte
// head included). The client reads and the simulator writes by these, so both agree by construction.

#include <cstddef>

namespace ferro {

constexpr size_t CIdentityBasicSize = 32;
constexpr size_t CIdentityAllSize = 1592;

constexpr size_t CIdentitySerialAt = 20;
constexpr size_t CIdentityArticleAt = 24;
constexpr size_t CIdentityProdDateAt = 28;
// Full identity only:
constexpr size_t CIdentityClockAt = 32;   // UTC seconds
constexpr size_t CIdentityTimeSetAt = 36; // time_set_t
constexpr size_t CIdentityFirmwareAt = 216;
constexpr size_t CIdentityPlantAt = 476;
constexpr size_t CIdentityBayAt = 1044;
constexpr size_t CIdentityDeviceAt = 1380;
constexpr size_t CIdentityNameWidth = 128; // zero-padded text, the last byte always zero

} // namespace ferro
