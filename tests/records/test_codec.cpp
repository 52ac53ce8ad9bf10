// The generic encoder (the simulator's side) and decoder (the client's side) agree field by field,
// and agree with the typed decoders of the live views.
#include "RecordBytes.h"

#include "foundation/MemStream.h"
#include "foundation/records/CsRecord.h"
#include "foundation/records/FieldTable.h"
#include "foundation/records/HarmRecord.h"
#include "foundation/records/OscRecord.h"
#include "foundation/records/RecordCodec.h"

#include <gtest/gtest.h>

using namespace ferro;

namespace {

// A value for element `n` that the field's kind carries exactly and that differs from its neighbours.
TFieldElem sample(TFieldKind k, uint32_t n) {
    TFieldElem e;
    if (k == fkStamp || k == fkExtrem) e.ts = {1700000000u + n, n * 7u};
    if (k == fkF32 || k == fkExtrem)
        e.val = double(float(n % 100000) * 0.5f + 0.25f);
    else if (k == fkF64)
        e.val = 1.0e9 + n + 0.125;
    else if (k == fkU32)
        e.val = 0x01000000u + n;
    else if (k == fkU8)
        e.val = n % 256;
    return e;
}

void fill(TRecordValues& v, size_t tailCount) {
    const TRecordDef& def = v.Def();
    uint32_t n = 1;
    for (size_t m = 0; m < def.Members.size(); ++m)
        for (size_t f = 0; f < def.Members[m].Type->Fields.size(); ++f)
            for (auto& e : v.FieldAt(m, f))
                e = sample(def.Members[m].Type->Fields[f].Kind, n++);
    if (!def.HasTail()) return;
    v.SetTailCount(tailCount);
    for (size_t k = 0; k < tailCount; ++k)
        for (size_t f = 0; f < def.TailType->Fields.size(); ++f)
            for (auto& e : v.TailFieldAt(k, f))
                e = sample(def.TailType->Fields[f].Kind, n++);
}

bool sameElem(const TFieldElem& a, const TFieldElem& b) {
    return a.val == b.val && a.ts.sec == b.ts.sec && a.ts.frac == b.ts.frac;
}

} // namespace

TEST(RecordCodec, EveryRecordRoundTripsFieldByFieldAndRejectsWrongLengths) {
    for (const auto& rp : TFieldTable::Instance().Records()) {
        const TRecordDef& def = *rp;
        SCOPED_TRACE(def.Name);
        TRecordValues in(def);
        const size_t tailCount = def.TailCountKind == fkU8 ? 5 : 3;
        fill(in, tailCount);
        std::vector<uint8_t> bytes = TRecordCodec::Encode(in);
        ASSERT_EQ(bytes.size(), def.LengthFor(def.HasTail() ? tailCount : 0));
        EXPECT_FALSE(TRecordCodec::Decode(bytes.data(), bytes.size() - 1, def));
        EXPECT_FALSE(TRecordCodec::Decode(nullptr, bytes.size(), def));
        std::vector<uint8_t> longer = bytes;
        longer.push_back(0);
        EXPECT_FALSE(TRecordCodec::Decode(longer, def));
        auto out = TRecordCodec::Decode(bytes, def);
        ASSERT_TRUE(out);
        for (size_t m = 0; m < def.Members.size(); ++m) {
            const TSubRecDef& s = *def.Members[m].Type;
            for (size_t f = 0; f < s.Fields.size(); ++f) {
                const auto& a = in.FieldAt(m, f);
                const auto& b = out->FieldAt(m, f);
                ASSERT_EQ(a.size(), b.size());
                if (def.HasTail() && def.Members[m].Offs + s.Fields[f].Offs == def.TailCountOffs) {
                    // The count word was replaced by the real number of elements.
                    EXPECT_EQ(b[0].val, double(tailCount));
                    continue;
                }
                for (size_t i = 0; i < a.size(); ++i)
                    ASSERT_TRUE(sameElem(a[i], b[i]))
                        << s.TypeName << "." << s.Fields[f].Name << "[" << i << "]";
            }
        }
        if (def.HasTail()) {
            ASSERT_EQ(out->TailCount(), tailCount);
            for (size_t k = 0; k < tailCount; ++k)
                for (size_t f = 0; f < def.TailType->Fields.size(); ++f)
                    ASSERT_TRUE(sameElem(in.TailFieldAt(k, f)[0], out->TailFieldAt(k, f)[0]))
                        << def.TailType->Fields[f].Name << " of element " << k;
        }
        // Encoding what was decoded gives the same bytes.
        EXPECT_EQ(TRecordCodec::Encode(*out), bytes);
    }
}

TEST(RecordCodec, NamedAccessAndDefaults) {
    const TRecordDef& def = *TFieldTable::Instance().Record("c_s_t_V2_2");
    TRecordValues v(def);
    EXPECT_EQ(v.Get("hdr16_t", "ObjID"), double(0x04FFFFFF)); // a fresh record carries its own id
    EXPECT_TRUE(v.Set("u_s_t", "U1E polar", 120.0, 1));
    EXPECT_TRUE(v.SetStamp("w_t", "Start", {99, 1}));
    EXPECT_FALSE(v.Set("u_s_t", "no such field", 1.0));
    EXPECT_FALSE(v.Set("u_s_t", "F", 1.0, 1)); // a scalar has one element
    EXPECT_FALSE(v.Set("x_t", "F", 1.0));
    std::vector<uint8_t> b = TRecordCodec::Encode(v);
    EXPECT_EQ(MemStream::peekF32(b.data() + 16 + 36), 120.0f); // PHL1
    EXPECT_EQ(MemStream::peekU32(b.data() + 2120 + 192), 99u);
}

TEST(RecordCodec, SimulatorObjectsReachTheTypedDecoders) {
    const auto& t = TFieldTable::Instance();
    for (uint8_t gen : {uint8_t(0), uint8_t(2)}) {
        TRecordValues cs(*t.RecordFor(do1s, gen));
        const std::string is = gen >= 2 ? "i_s_t_V2_2" : "i_s_t_V1_0";
        cs.Set("u_s_t", "U23", 400.5);
        cs.Set(is, "IN", 3.5);
        cs.Set("p_std_t", "QV total", -512.0);
        cs.Set("i_fb_t", "FB I2", 0.125, 34);
        auto v = TCsRecord::Decode(TRecordCodec::Encode(cs).data(), TCsRecord::Length(gen), gen);
        ASSERT_TRUE(v);
        EXPECT_EQ(v->U[5], 400.5f);
        EXPECT_EQ(v->I[3], 3.5f);
        EXPECT_EQ(v->QV[3], -512.0f);
        EXPECT_EQ(v->FbI[1][34], 0.125f);

        TRecordValues h(*t.RecordFor(do150T, gen));
        const std::string istd = gen >= 2 ? "i_std_t_V2_2" : "i_std_t_V1_0";
        h.Set("u_std_t", "H U31", 2.5, 5);
        h.Set(istd, "H IN", 7.0, 50);
        h.Set(istd, "I3 polar", 33.0, 1);
        auto hv = THarmRecord::Decode(TRecordCodec::Encode(h).data(), THarmRecord::Length(gen), gen);
        ASSERT_TRUE(hv);
        EXPECT_EQ(hv->HrmULL[2][5], 2.5f);
        EXPECT_EQ(hv->HrmIL[3][50], 7.0f);
        EXPECT_EQ(hv->VecI[2].Ang, 33.0f);
    }
    for (uint8_t gen : {uint8_t(0), uint8_t(1), uint8_t(2), uint8_t(3)}) {
        TRecordValues o(*t.RecordFor(doOsc, gen));
        const std::string hdr = o.Def().Members.back().Type->TypeName;
        o.Set(hdr, "smplrte", 2000);
        o.SetTailCount(4);
        o.TailSet(3, "i1", -1.5);
        o.TailSet(0, "u31", 230.0);
        auto bytes = TRecordCodec::Encode(o);
        auto c = TOscRecord::Decode(bytes.data(), bytes.size(), gen, 0);
        ASSERT_TRUE(c) << int(gen);
        EXPECT_EQ(c->SmplCnt, 4u);
        EXPECT_EQ(c->Ch[7][3], -1.5f);
        EXPECT_EQ(c->Ch[6][0], 230.0f);
        EXPECT_EQ(c->Time[3], 1500000u);
    }
}

TEST(RecordCodec, TailCountMustFitItsWord) {
    const TRecordDef& bin = *TFieldTable::Instance().Record("c_bin_in_t");
    TRecordValues v(bin);
    v.SetTailCount(256);
    EXPECT_TRUE(TRecordCodec::Encode(v).empty());
    v.SetTailCount(255);
    auto b = TRecordCodec::Encode(v);
    ASSERT_EQ(b.size(), 14u + 255u);
    EXPECT_EQ(b[13], 255);
}

TEST(RecordCodec, GenericReaderFindsHandWrittenWireOffsets) {
    const auto& t = TFieldTable::Instance();
    ferro::test::Bytes cs(2328);
    cs.f32(1172 + 160, 0.75f); // IR
    cs.f32(2324, 41.0f);       // temperature
    auto v = TRecordCodec::Decode(cs.vec(), *t.Record("c_s_t_V2_2"));
    ASSERT_TRUE(v);
    EXPECT_EQ(v->Get("i_s_t_V2_2", "IR"), 0.75);
    EXPECT_EQ(v->Get("tmp_t_V2_2", "Temp"), 41.0);

    ferro::test::Bytes bin(14 + 2);
    bin.u8(13, 2);
    bin.u8(15, 1);
    auto b = TRecordCodec::Decode(bin.vec(), *t.RecordFor(doBin, 2));
    ASSERT_TRUE(b);
    EXPECT_EQ(b->TailGet(1, "State"), 1.0);
    EXPECT_FALSE(TRecordCodec::Decode(bin.data(), 15, *t.RecordFor(doBin, 2)));
}
