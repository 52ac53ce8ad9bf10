#include "foundation/records/RecordCodec.h"

#include "foundation/MemStream.h"

#include <cmath>
#include <cstring>

namespace ferro {

namespace {

double readNumber(const uint8_t* p, TFieldKind k) {
    switch (k) {
    case fkF32:
        return MemStream::peekF32(p);
    case fkF64: {
        uint64_t u = uint64_t(MemStream::peekU32(p)) | (uint64_t(MemStream::peekU32(p + 4)) << 32);
        double d;
        std::memcpy(&d, &u, 8);
        return d;
    }
    case fkU32:
        return MemStream::peekU32(p);
    case fkU8:
        return p[0];
    default:
        return 0.0;
    }
}

void writeNumber(uint8_t* p, TFieldKind k, double v) {
    switch (k) {
    case fkF32:
        MemStream::pokeF32(p, float(v));
        break;
    case fkF64: {
        uint64_t u;
        std::memcpy(&u, &v, 8);
        MemStream::pokeU32(p, uint32_t(u));
        MemStream::pokeU32(p + 4, uint32_t(u >> 32));
        break;
    }
    case fkU32:
        // Out-of-range numbers are clamped rather than wrapped.
        MemStream::pokeU32(p, v <= 0 ? 0u : v >= 4294967295.0 ? 0xFFFFFFFFu : uint32_t(std::llround(v)));
        break;
    case fkU8:
        p[0] = v <= 0 ? 0 : v >= 255 ? 255 : uint8_t(std::lround(v));
        break;
    default:
        break;
    }
}

void decodeElem(const uint8_t* p, TFieldKind k, TFieldElem& e) {
    switch (k) {
    case fkStamp:
        e.ts = {MemStream::peekU32(p), MemStream::peekU32(p + 4)};
        break;
    case fkExtrem:
        e.ts = {MemStream::peekU32(p), MemStream::peekU32(p + 4)};
        e.val = MemStream::peekF32(p + 8);
        break;
    default:
        e.val = readNumber(p, k);
    }
}

void encodeElem(uint8_t* p, TFieldKind k, const TFieldElem& e) {
    switch (k) {
    case fkStamp:
        MemStream::pokeU32(p, e.ts.sec);
        MemStream::pokeU32(p + 4, e.ts.frac);
        break;
    case fkExtrem:
        MemStream::pokeU32(p, e.ts.sec);
        MemStream::pokeU32(p + 4, e.ts.frac);
        MemStream::pokeF32(p + 8, float(e.val));
        break;
    default:
        writeNumber(p, k, e.val);
    }
}

template <class Elems> void decodeSub(const uint8_t* base, const TSubRecDef& s, Elems elemsOf) {
    for (size_t f = 0; f < s.Fields.size(); ++f) {
        const TFieldDef& fd = s.Fields[f];
        const size_t step = FieldKindSize(fd.Kind);
        auto& elems = elemsOf(f);
        for (uint32_t i = 0; i < fd.Count; ++i)
            decodeElem(base + fd.Offs + i * step, fd.Kind, elems[i]);
    }
}

template <class Elems> void encodeSub(uint8_t* base, const TSubRecDef& s, Elems elemsOf) {
    for (size_t f = 0; f < s.Fields.size(); ++f) {
        const TFieldDef& fd = s.Fields[f];
        const size_t step = FieldKindSize(fd.Kind);
        const auto& elems = elemsOf(f);
        for (uint32_t i = 0; i < fd.Count && i < elems.size(); ++i)
            encodeElem(base + fd.Offs + i * step, fd.Kind, elems[i]);
    }
}

uint64_t readCount(const uint8_t* bytes, const TRecordDef& def) {
    return def.TailCountKind == fkU8 ? bytes[def.TailCountOffs]
                                     : MemStream::peekU32(bytes + def.TailCountOffs);
}

} // namespace

size_t TRecordCodec::ExpectedLength(const uint8_t* bytes, size_t len, const TRecordDef& def) {
    if (!def.HasTail()) return def.Size;
    if (!bytes || len < def.Size) return 0;
    // 64-bit arithmetic: a count near 2^32 times the element size must not wrap to a small length.
    return size_t(uint64_t(def.Size) + readCount(bytes, def) * uint64_t(def.TailType->Size));
}

std::optional<TRecordValues> TRecordCodec::Decode(const uint8_t* bytes, size_t len, const TRecordDef& def) {
    if (!bytes || len < def.Size) return std::nullopt;
    if (ExpectedLength(bytes, len, def) != len) return std::nullopt;
    TRecordValues v(def);
    for (size_t m = 0; m < def.Members.size(); ++m)
        decodeSub(bytes + def.Members[m].Offs, *def.Members[m].Type,
                  [&](size_t f) -> std::vector<TFieldElem>& { return v.FieldAt(m, f); });
    if (def.HasTail()) {
        const size_t n = size_t(readCount(bytes, def));
        v.SetTailCount(n);
        for (size_t k = 0; k < n; ++k)
            decodeSub(bytes + def.Size + k * def.TailType->Size, *def.TailType,
                      [&](size_t f) -> std::vector<TFieldElem>& { return v.TailFieldAt(k, f); });
    }
    return v;
}

std::vector<uint8_t> TRecordCodec::Encode(const TRecordValues& values) {
    const TRecordDef& def = values.Def();
    // A count the count word cannot hold would give an object that no reader accepts.
    if (def.HasTail() && values.TailCount() > (def.TailCountKind == fkU8 ? 0xFFu : 0xFFFFFFFFu)) return {};
    std::vector<uint8_t> out(def.LengthFor(values.TailCount()), 0);
    for (size_t m = 0; m < def.Members.size(); ++m)
        encodeSub(out.data() + def.Members[m].Offs, *def.Members[m].Type,
                  [&](size_t f) -> const std::vector<TFieldElem>& { return values.FieldAt(m, f); });
    if (def.HasTail()) {
        for (size_t k = 0; k < values.TailCount(); ++k)
            encodeSub(out.data() + def.Size + k * def.TailType->Size, *def.TailType,
                      [&](size_t f) -> const std::vector<TFieldElem>& { return values.TailFieldAt(k, f); });
        if (def.TailCountKind == fkU8)
            out[def.TailCountOffs] = uint8_t(values.TailCount());
        else
            MemStream::pokeU32(out.data() + def.TailCountOffs, uint32_t(values.TailCount()));
    }
    return out;
}

} // namespace ferro
