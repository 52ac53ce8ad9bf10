#include "foundation/records/BinaryInputRecord.h"

#include "foundation/MemStream.h"

namespace ferro {

std::optional<TBinaryInputs> TBinaryInputs::Decode(const uint8_t* b, size_t len) {
    if (!b || len < HeaderSize || len != HeaderSize + b[13]) return std::nullopt;
    TBinaryInputs r;
    r.id = MemStream::peekU32(b);
    r.TS = {MemStream::peekU32(b + 4), MemStream::peekU32(b + 8)};
    r.Ver = b[12];
    r.Inputs.assign(b + HeaderSize, b + len);
    return r;
}

std::vector<uint8_t> TBinaryInputs::Encode() const {
    const size_t n = Inputs.size() < 256 ? Inputs.size() : 255;
    std::vector<uint8_t> out(HeaderSize + n, 0);
    MemStream::pokeU32(out.data(), id);
    MemStream::pokeU32(out.data() + 4, TS.sec);
    MemStream::pokeU32(out.data() + 8, TS.frac);
    out[12] = Ver;
    out[13] = uint8_t(n);
    for (size_t i = 0; i < n; ++i)
        out[HeaderSize + i] = Inputs[i];
    return out;
}

} // namespace ferro
