#pragma once
// The binary input record (object 10000000): 14 bytes of header, then one byte per input.

#include "foundation/TimeRecords.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

namespace ferro {

struct TBinaryInputs {
    static constexpr size_t HeaderSize = 14;
    uint32_t id = 0;
    tmStamp_t TS{};
    uint8_t Ver = 0;
    std::vector<uint8_t> Inputs; // 0 off, anything else on

    // Nothing unless the length is exactly the header plus inputCnt bytes.
    static std::optional<TBinaryInputs> Decode(const uint8_t* bytes, size_t len);
    // At most 255 inputs fit the count byte; more are cut.
    std::vector<uint8_t> Encode() const;
};

} // namespace ferro
