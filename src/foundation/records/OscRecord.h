#pragma once
// Oscilloscope objects (c_osc_dta_t) as curves: one vector of samples per channel, and sample times.

#include "foundation/Sammler.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

namespace ferro {

// Where the parts of an oscilloscope object lie in a firmware generation.
struct TOscLayout {
    uint32_t CountOffs = 0;   // SmplCnt
    uint32_t RateOffs = 0;    // smplrte, samples per second
    uint32_t FirstSample = 0; // also the length of an object without samples
    uint32_t SampleSize = 0;
    uint32_t Channels = 0;

    static const TOscLayout& For(uint8_t gen);
};

struct TOscCurves {
    uint32_t SmplCnt = 0;
    uint32_t smplrte = 0;
    std::vector<std::vector<float>> Ch; // by channel, SmplCnt values each
    std::vector<uint64_t> Time;         // linear time of each sample
};

class TOscRecord {
public:
    // Channel names by index: u1, u2, u3, uN, u12, u23, u31, i1, i2, i3, iN, iR.
    static const char* ChannelName(size_t ch);
    // Linear time of sample k: base + Round(1e9 / rate * k), in double precision. Round is to the
    // nearest, halves to even, as everywhere else in the views.
    static uint64_t SampleTime(uint64_t base, uint32_t rate, uint64_t k);
    // Reads SmplCnt and smplrte; nothing if the buffer does not reach them.
    static bool ReadCounts(const uint8_t* bytes, size_t len, uint8_t gen, uint32_t& smplCnt,
                           uint32_t& smplrte);
    // Nothing unless the length is exactly first sample + SmplCnt x sample size, or when samples
    // come without a rate. `base` is the object's linear time (local, as the views keep it).
    static std::optional<TOscCurves> Decode(const uint8_t* bytes, size_t len, uint8_t gen, uint64_t base);
    static bool DecodeInto(const uint8_t* bytes, size_t len, uint8_t gen, uint64_t base, TOscCurves& out);
    // From the hand-over object: its bytes, with TS_Mess as the base.
    static std::optional<TOscCurves> Decode(const TByteTransport& t, uint8_t gen);
};

} // namespace ferro
