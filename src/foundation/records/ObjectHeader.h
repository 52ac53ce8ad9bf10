#pragma once
// The header every stream object starts with: object id, UTC stamp, reserved words.

#include "foundation/TimeRecords.h"

#include <cstddef>
#include <cstdint>
#include <optional>

namespace ferro {

struct TObjectHeader {
    uint32_t ObjID = 0;
    tmStamp_t TS{}; // UTC as on the wire

    // Reads id and stamp; nothing when the buffer is shorter than the header of that object.
    static std::optional<TObjectHeader> Read(const uint8_t* bytes, size_t len);
    // Payload start: 20 for the 200 ms and 3 s objects (a second reserved word), 16 for the others.
    static size_t PayloadOffset(uint32_t objId);
    // TDataObj ordinal of an object id, -1 for an id outside the table.
    static int DataObjOf(uint32_t objId);
};

} // namespace ferro
