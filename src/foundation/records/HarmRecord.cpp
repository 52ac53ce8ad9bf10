#include "foundation/records/HarmRecord.h"

#include "foundation/records/FieldTable.h"
#include "foundation/records/RecordLayout.h"

#include <string>

namespace ferro {

namespace {

struct HarmOffsets {
    size_t len = 0;
    std::array<uint32_t, 7> HrmU{}, IHrmU{}, VecU{};
    std::array<uint32_t, 4> HrmI{}, IHrmI{}, VecI{};
};

HarmOffsets makeOffsets(const char* recName) {
    const TRecordDef& r = *TFieldTable::Instance().Record(recName);
    const std::string is = r.Member("i_std_t_V2_2") ? "i_std_t_V2_2" : "i_std_t_V1_0";
    auto at = [&r](const std::string& m, const std::string& f) { return uint32_t(r.AbsOffset(m, f)); };
    static const char* const u7[] = {"U1E", "U2E", "U3E", "UNE", "U12", "U23", "U31"};
    static const char* const i4[] = {"I1", "I2", "I3", "IN"};
    HarmOffsets o;
    o.len = r.Size;
    for (size_t c = 0; c < 7; ++c) {
        o.HrmU[c] = at("u_std_t", std::string("H ") + u7[c]);
        o.IHrmU[c] = at("u_std_t", std::string("IH ") + u7[c]);
        o.VecU[c] = at("u_std_t", std::string(u7[c]) + " polar");
    }
    for (size_t c = 0; c < 4; ++c) {
        o.HrmI[c] = at(is, std::string("H ") + i4[c]);
        o.IHrmI[c] = at(is, std::string("IH ") + i4[c]);
        o.VecI[c] = at(is, std::string(i4[c]) + " polar");
    }
    return o;
}

const HarmOffsets& offsetsFor(uint8_t gen) {
    static const HarmOffsets v10 = makeOffsets("c_150t_t_V1_0");
    static const HarmOffsets v22 = makeOffsets("c_150t_t_V2_2");
    return gen >= 2 ? v22 : v10;
}

template <size_t N> void readArr(std::array<float, N>& dst, const uint8_t* b, uint32_t off) {
    ReadSingles(dst.data(), b + off, N);
}

} // namespace

size_t THarmRecord::Length(uint8_t gen) {
    return offsetsFor(gen).len;
}

bool THarmRecord::DecodeInto(const uint8_t* b, size_t len, uint8_t gen, THarmValues& v) {
    const HarmOffsets& o = offsetsFor(gen);
    if (!b || len != o.len) return false;
    v.TS = {MemStream::peekU32(b + 4), MemStream::peekU32(b + 8)};
    for (size_t c = 0; c < 4; ++c) {
        readArr(v.HrmULE[c], b, o.HrmU[c]);
        readArr(v.IHrmULE[c], b, o.IHrmU[c]);
        readArr(v.HrmIL[c], b, o.HrmI[c]);
        readArr(v.IHrmIL[c], b, o.IHrmI[c]);
        v.VecI[c] = {MemStream::peekF32(b + o.VecI[c]), MemStream::peekF32(b + o.VecI[c] + 4)};
    }
    for (size_t c = 0; c < 3; ++c) {
        readArr(v.HrmULL[c], b, o.HrmU[4 + c]);
        readArr(v.IHrmULL[c], b, o.IHrmU[4 + c]);
    }
    for (size_t c = 0; c < 7; ++c)
        v.VecU[c] = {MemStream::peekF32(b + o.VecU[c]), MemStream::peekF32(b + o.VecU[c] + 4)};
    return true;
}

std::optional<THarmValues> THarmRecord::Decode(const uint8_t* b, size_t len, uint8_t gen) {
    THarmValues v;
    if (!DecodeInto(b, len, gen, v)) return std::nullopt;
    return v;
}

} // namespace ferro
