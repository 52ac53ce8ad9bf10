#include "foundation/records/ObjectHeader.h"

#include "foundation/MemStream.h"
#include "foundation/Sammler.h"

namespace ferro {

size_t TObjectHeader::PayloadOffset(uint32_t objId) {
    return objId == CDataObj[0] || objId == CDataObj[1] ? 20 : 16;
}

int TObjectHeader::DataObjOf(uint32_t objId) {
    for (size_t i = 0; i < CDataObj.size(); ++i)
        if (CDataObj[i] == objId) return int(i);
    return -1;
}

std::optional<TObjectHeader> TObjectHeader::Read(const uint8_t* bytes, size_t len) {
    if (!bytes || len < 16) return std::nullopt;
    TObjectHeader h;
    h.ObjID = MemStream::peekU32(bytes);
    if (len < PayloadOffset(h.ObjID)) return std::nullopt;
    h.TS = {MemStream::peekU32(bytes + 4), MemStream::peekU32(bytes + 8)};
    return h;
}

} // namespace ferro
