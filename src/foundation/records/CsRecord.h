#pragma once
// The one-second values (c_s_t) as the value panel needs them.

#include "foundation/TimeRecords.h"
#include "foundation/records/FerroTypes.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>

namespace ferro {

// Phase-resolved quantities are indexed L1, L2, L3, total.
struct TCsValues {
    tmStamp_t TS{};              // UTC as on the wire
    float F = 0;                 // Hz
    std::array<float, 7> U{};    // U1E, U2E, U3E, UNE, U12, U23, U31 in V
    std::array<float, 7> UMag{}; // magnitude of the polar pairs, same order
    std::array<float, 7> UAng{}; // angle of the polar pairs in degrees
    std::array<float, 3> PHL{};  // phase angles of U1E..U3E in degrees
    float UU = 0;                // voltage unbalance in %
    std::array<float, 7> THDU{}; // %
    std::array<float, 4> I{};    // I1, I2, I3, IN in A
    std::array<float, 4> THDI{}; // %
    std::array<float, 4> P{}, Q{}, S{}, QV{}, D{}, PF{}, CosPhi{};
    std::array<TFrqBand, 7> FbU{}; // bands of U1E..U31 in V
    std::array<TFrqBand, 4> FbI{}; // bands of I1..IN in A
};

class TCsRecord {
public:
    // 2320 bytes below generation 2, 2328 from it.
    static size_t Length(uint8_t gen);
    // Nothing for any other length.
    static std::optional<TCsValues> Decode(const uint8_t* bytes, size_t len, uint8_t gen);
};

} // namespace ferro
