#include "foundation/records/CsRecord.h"

#include "foundation/records/FieldTable.h"
#include "foundation/records/RecordLayout.h"

#include <string>

namespace ferro {

namespace {

// Absolute offsets of the panel's fields, looked up once from the field table.
struct CsOffsets {
    size_t len = 0;
    uint32_t F = 0, UU = 0;
    std::array<uint32_t, 7> U{}, Pol{}, THDU{}, FbU{};
    std::array<uint32_t, 4> FbI{}, I{}, THDI{}, P{}, Q{}, S{}, QV{}, D{}, PF{}, Cos{};
};

CsOffsets makeOffsets(const char* recName) {
    const TRecordDef& r = *TFieldTable::Instance().Record(recName);
    const std::string is = r.Member("i_s_t_V2_2") ? "i_s_t_V2_2" : "i_s_t_V1_0";
    auto at = [&r](const std::string& m, const std::string& f) { return uint32_t(r.AbsOffset(m, f)); };
    static const char* const u7[] = {"U1E", "U2E", "U3E", "UNE", "U12", "U23", "U31"};
    static const char* const i4[] = {"I1", "I2", "I3", "IN"};
    static const char* const ps[] = {"1", "2", "3", " total"};
    static const char* const cs[] = {"cos PHL1", "cos PHL2", "cos PHL3", "cos PH"};
    CsOffsets o;
    o.len = r.Size;
    o.F = at("u_s_t", "F");
    o.UU = at("u_s_t", "UU");
    for (size_t c = 0; c < 7; ++c) {
        o.U[c] = at("u_s_t", u7[c]);
        o.Pol[c] = at("u_s_t", std::string(u7[c]) + " polar");
        o.THDU[c] = at("u_s_t", std::string("THD ") + u7[c]);
        o.FbU[c] = at("u_fb_t", std::string("FB ") + u7[c]);
    }
    for (size_t c = 0; c < 4; ++c) {
        o.I[c] = at(is, i4[c]);
        o.THDI[c] = at(is, std::string("THD ") + i4[c]);
        o.FbI[c] = at("i_fb_t", std::string("FB ") + i4[c]);
        o.P[c] = at("p_std_t", std::string("P") + ps[c]);
        o.Q[c] = at("p_std_t", std::string("Q") + ps[c]);
        o.S[c] = at("p_std_t", std::string("S") + ps[c]);
        o.QV[c] = at("p_std_t", std::string("QV") + ps[c]);
        o.D[c] = at("p_std_t", std::string("D") + ps[c]);
        o.PF[c] = at("p_std_t", std::string("PF") + ps[c]);
        o.Cos[c] = at("p_std_t", cs[c]);
    }
    return o;
}

const CsOffsets& offsetsFor(uint8_t gen) {
    static const CsOffsets v10 = makeOffsets("c_s_t_V1_0");
    static const CsOffsets v22 = makeOffsets("c_s_t_V2_2");
    return gen >= 2 ? v22 : v10;
}

} // namespace

size_t TCsRecord::Length(uint8_t gen) {
    return offsetsFor(gen).len;
}

std::optional<TCsValues> TCsRecord::Decode(const uint8_t* b, size_t len, uint8_t gen) {
    const CsOffsets& o = offsetsFor(gen);
    if (!b || len != o.len) return std::nullopt;
    auto f = [b](uint32_t off) { return MemStream::peekF32(b + off); };
    TCsValues v;
    v.TS = {MemStream::peekU32(b + 4), MemStream::peekU32(b + 8)};
    v.F = f(o.F);
    v.UU = f(o.UU);
    for (size_t c = 0; c < 7; ++c) {
        v.U[c] = f(o.U[c]);
        v.UMag[c] = f(o.Pol[c]);
        v.UAng[c] = f(o.Pol[c] + 4);
        v.THDU[c] = f(o.THDU[c]);
        ReadSingles(v.FbU[c].data(), b + o.FbU[c], v.FbU[c].size());
    }
    for (size_t c = 0; c < 3; ++c)
        v.PHL[c] = v.UAng[c];
    for (size_t c = 0; c < 4; ++c) {
        v.I[c] = f(o.I[c]);
        v.THDI[c] = f(o.THDI[c]);
        ReadSingles(v.FbI[c].data(), b + o.FbI[c], v.FbI[c].size());
        v.P[c] = f(o.P[c]);
        v.Q[c] = f(o.Q[c]);
        v.S[c] = f(o.S[c]);
        v.QV[c] = f(o.QV[c]);
        v.D[c] = f(o.D[c]);
        v.PF[c] = f(o.PF[c]);
        v.CosPhi[c] = f(o.Cos[c]);
    }
    return v;
}

} // namespace ferro
