#pragma once
// The 3-second values (c_150t_t) as the harmonic, vector and load-flow views need them.

#include "foundation/TimeRecords.h"
#include "foundation/records/FerroTypes.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>

namespace ferro {

struct TPolar {
    float Mag = 0; // V or A
    float Ang = 0; // degrees
};

struct THarmValues {
    tmStamp_t TS{};                 // UTC as on the wire
    std::array<THrm, 4> HrmULE{};   // U1E, U2E, U3E, UNE; % of the fundamental, order 1 in V
    std::array<TIHrm, 4> IHrmULE{}; // %
    std::array<THrm, 3> HrmULL{};   // U12, U23, U31
    std::array<TIHrm, 3> IHrmULL{};
    std::array<THrm, 4> HrmIL{}; // I1, I2, I3, IN in A
    std::array<TIHrm, 4> IHrmIL{};
    std::array<TPolar, 7> VecU{}; // U1E, U2E, U3E, UNE, U12, U23, U31
    std::array<TPolar, 4> VecI{}; // I1, I2, I3, IN
};

class THarmRecord {
public:
    // 6052 bytes below generation 2, 6264 from it; the offsets read here are the same in both.
    static size_t Length(uint8_t gen);
    // Nothing for any other length.
    static std::optional<THarmValues> Decode(const uint8_t* bytes, size_t len, uint8_t gen);
    // The same into an existing value set, for callers that decode many objects; false on a wrong length.
    static bool DecodeInto(const uint8_t* bytes, size_t len, uint8_t gen, THarmValues& out);
};

} // namespace ferro
