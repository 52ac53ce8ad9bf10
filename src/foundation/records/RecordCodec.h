#pragma once
// The generic reader and writer of measurement records: bytes and a record layout to values, and back.

#include "foundation/records/RecordValues.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

namespace ferro {

class TRecordCodec {
public:
    // Decodes an object of exactly the layout's length (for a record with a tail: the fixed part
    // plus the count word's number of elements). Any other length gives nothing.
    static std::optional<TRecordValues> Decode(const uint8_t* bytes, size_t len, const TRecordDef& def);
    static std::optional<TRecordValues> Decode(const std::vector<uint8_t>& bytes, const TRecordDef& def) {
        return Decode(bytes.data(), bytes.size(), def);
    }

    // Writes the values into a new object. Reserved bytes are zero; the tail's count word is set to
    // the number of tail elements, whatever the values say.
    static std::vector<uint8_t> Encode(const TRecordValues& values);

    // Length a buffer must have to be decoded with `def`, or 0 when even the fixed part is missing.
    static size_t ExpectedLength(const uint8_t* bytes, size_t len, const TRecordDef& def);
};

} // namespace ferro
