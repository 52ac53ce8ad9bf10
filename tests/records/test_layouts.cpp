// Records decode at the wire offsets, written here by hand.
#include "RecordBytes.h"

#include "foundation/records/BinaryInputRecord.h"
#include "foundation/records/CsRecord.h"
#include "foundation/records/HarmRecord.h"
#include "foundation/records/ObjectHeader.h"
#include "foundation/records/OscRecord.h"

#include <gtest/gtest.h>

using namespace ferro;
using ferro::test::Bytes;

namespace {

// A c_s_t object with every single after the header telling its own offset.
Bytes makeCs(size_t len) {
    Bytes b(len);
    b.u32(0, 0x04FFFFFF);
    b.u32(4, 1700000000);
    b.u32(8, 250000000);
    for (size_t off = 16; off < len; off += 4)
        b.markF32(off);
    return b;
}

void expectCs(const TCsValues& v, size_t iFb, size_t pStd) {
    auto m = Bytes::mark;
    EXPECT_EQ(v.TS.sec, 1700000000u);
    EXPECT_EQ(v.TS.frac, 250000000u);
    EXPECT_EQ(v.F, m(16));
    for (size_t c = 0; c < 7; ++c) {
        EXPECT_EQ(v.U[c], m(20 + 4 * c)) << c;
        EXPECT_EQ(v.UMag[c], m(48 + 8 * c)) << c;
        EXPECT_EQ(v.UAng[c], m(52 + 8 * c)) << c;
        EXPECT_EQ(v.THDU[c], m(136 + 4 * c)) << c;
        EXPECT_EQ(v.FbU[c][0], m(192 + 140 * c)) << c;
        EXPECT_EQ(v.FbU[c][34], m(192 + 140 * c + 136)) << c;
    }
    EXPECT_EQ(v.UU, m(128));
    for (size_t c = 0; c < 4; ++c) {
        if (c < 3) {
            EXPECT_EQ(v.PHL[c], m(52 + 8 * c)) << c;
        }
        EXPECT_EQ(v.I[c], m(1172 + 4 * c)) << c;
        EXPECT_EQ(v.THDI[c], m(1252 + 4 * c)) << c;
        EXPECT_EQ(v.FbI[c][0], m(iFb + 140 * c)) << c;
        EXPECT_EQ(v.QV[c], m(pStd + 52 + 16 * c)) << c;
        EXPECT_EQ(v.D[c], m(pStd + 112 + 4 * c)) << c;
        EXPECT_EQ(v.PF[c], m(pStd + 128 + 8 * c)) << c;
        EXPECT_EQ(v.CosPhi[c], m(pStd + 160 + 4 * c)) << c;
        EXPECT_EQ(v.P[c], m(pStd + 12 * c)) << c; // the total follows the three phases
        EXPECT_EQ(v.Q[c], m(pStd + 12 * c + 4)) << c;
        EXPECT_EQ(v.S[c], m(pStd + 12 * c + 8)) << c;
    }
}

} // namespace

TEST(CsRecord, BothLayoutsReadEveryPanelValueAtItsOffset) {
    // V2_2 is 8 bytes longer: i_fb_t and p_std_t move by 4 bytes, nothing in front of them does.
    struct Case {
        uint8_t gen;
        size_t len, iFb, pStd;
    };
    for (const Case& c : {Case{0, 2320, 1332, 1892}, Case{1, 2320, 1332, 1892}, Case{2, 2328, 1336, 1896}}) {
        SCOPED_TRACE(int(c.gen));
        EXPECT_EQ(TCsRecord::Length(c.gen), c.len);
        Bytes b = makeCs(c.len);
        auto v = TCsRecord::Decode(b.data(), b.size(), c.gen);
        ASSERT_TRUE(v);
        expectCs(*v, c.iFb, c.pStd);
    }
}

TEST(CsRecord, WrongLengthIsNotDecoded) {
    Bytes b = makeCs(2328);
    EXPECT_FALSE(TCsRecord::Decode(b.data(), b.size(), 0)); // a V2_2 object under a V1_0 firmware
    EXPECT_FALSE(TCsRecord::Decode(b.data(), 2320, 2));
    EXPECT_FALSE(TCsRecord::Decode(b.data(), 2319, 0));
    EXPECT_FALSE(TCsRecord::Decode(nullptr, 2320, 0));
}

TEST(HarmRecord, ArraysAndPairsComeFromTheirOffsetsInBothLayouts) {
    auto m = Bytes::mark;
    for (uint8_t gen : {uint8_t(0), uint8_t(2)}) {
        SCOPED_TRACE(int(gen));
        const size_t len = gen >= 2 ? 6264 : 6052;
        EXPECT_EQ(THarmRecord::Length(gen), len);
        Bytes b(len);
        b.u32(0, 0x01FFFFFF);
        b.u32(4, 1234);
        b.u32(8, 5678);
        for (size_t off = 20; off + 4 <= 5464; off += 4)
            b.markF32(off);
        auto v = THarmRecord::Decode(b.data(), b.size(), gen);
        ASSERT_TRUE(v);
        EXPECT_EQ(v->TS.sec, 1234u);
        EXPECT_EQ(v->TS.frac, 5678u);
        const size_t hrmU[] = {244, 648, 1052, 1456, 1860, 2264, 2668};
        const size_t ihrmU[] = {448, 852, 1256, 1660, 2064, 2468, 2872};
        for (size_t c = 0; c < 7; ++c) {
            for (size_t h = 0; h < 51; ++h)
                EXPECT_EQ(c < 4 ? v->HrmULE[c][h] : v->HrmULL[c - 4][h], m(hrmU[c] + 4 * h));
            for (size_t h = 0; h < 50; ++h)
                EXPECT_EQ(c < 4 ? v->IHrmULE[c][h] : v->IHrmULL[c - 4][h], m(ihrmU[c] + 4 * h));
            EXPECT_EQ(v->VecU[c].Mag, m(52 + 8 * c));
            EXPECT_EQ(v->VecU[c].Ang, m(56 + 8 * c));
        }
        const size_t hrmI[] = {3848, 4252, 4656, 5060};
        for (size_t c = 0; c < 4; ++c) {
            EXPECT_EQ(v->HrmIL[c][0], m(hrmI[c]));
            EXPECT_EQ(v->HrmIL[c][50], m(hrmI[c] + 200));
            EXPECT_EQ(v->IHrmIL[c][0], m(hrmI[c] + 204));
            EXPECT_EQ(v->IHrmIL[c][49], m(hrmI[c] + 400));
        }
        for (size_t c = 0; c < 3; ++c) {
            EXPECT_EQ(v->VecI[c].Mag, m(3704 + 8 * c));
            EXPECT_EQ(v->VecI[c].Ang, m(3708 + 8 * c));
        }
    }
    Bytes b(6264);
    EXPECT_FALSE(THarmRecord::Decode(b.data(), 6264, 1));
    EXPECT_FALSE(THarmRecord::Decode(b.data(), 6052, 2));
    EXPECT_FALSE(THarmRecord::Decode(b.data(), 2320, 0)); // a c_s_t length never passes here
}

namespace {
struct OscCase {
    uint8_t gen;
    size_t cntOffs, rateOffs, first, sampleSize, channels;
};
// Generation 1 keeps generation 0's sample size, with the samples 20 bytes further on; a byte
// above 2 has no layout of its own and reads generation 2's.
const OscCase kOsc[] = {{0, 32, 36, 40, 44, 11},
                        {1, 52, 56, 60, 44, 11},
                        {2, 52, 56, 60, 48, 12},
                        {3, 52, 56, 60, 48, 12},
                        {255, 52, 56, 60, 48, 12}};

Bytes makeOsc(const OscCase& c, uint32_t cnt, uint32_t rate) {
    Bytes b(c.first + cnt * c.sampleSize);
    b.u32(0, 0x08FFFFFF);
    b.u32(c.cntOffs, cnt);
    b.u32(c.rateOffs, rate);
    for (size_t k = 0; k < cnt; ++k)
        for (size_t ch = 0; ch < c.channels; ++ch)
            b.markF32(c.first + k * c.sampleSize + 4 * ch);
    return b;
}
} // namespace

TEST(OscRecord, SamplesGoToTheirChannelsWithTheirTimes) {
    const uint64_t base = 1700000000ull * 1000000000ull + 123;
    for (const auto& c : kOsc) {
        SCOPED_TRACE(int(c.gen));
        Bytes b = makeOsc(c, 5, 10240);
        auto v = TOscRecord::Decode(b.data(), b.size(), c.gen, base);
        ASSERT_TRUE(v);
        EXPECT_EQ(v->SmplCnt, 5u);
        EXPECT_EQ(v->smplrte, 10240u);
        ASSERT_EQ(v->Ch.size(), c.channels);
        for (size_t k = 0; k < 5; ++k)
            for (size_t ch = 0; ch < c.channels; ++ch)
                EXPECT_EQ(v->Ch[ch][k], Bytes::mark(c.first + k * c.sampleSize + 4 * ch)) << ch;
        // 1e9 / 10240 = 97656.25 ns per sample, rounded per sample, not accumulated.
        EXPECT_EQ(v->Time[0], base);
        EXPECT_EQ(v->Time[1], base + 97656);
        EXPECT_EQ(v->Time[2], base + 195312); // 195312.5: halves go to the even neighbour
        EXPECT_EQ(v->Time[3], base + 292969); // 292968.75
    }
}

TEST(OscRecord, NoSamplesAndWrongLengths) {
    for (const auto& c : kOsc) {
        SCOPED_TRACE(int(c.gen));
        Bytes empty = makeOsc(c, 0, 10240);
        auto v = TOscRecord::Decode(empty.data(), empty.size(), c.gen, 0);
        ASSERT_TRUE(v);
        EXPECT_EQ(v->SmplCnt, 0u);
        EXPECT_TRUE(v->Time.empty());
        for (const auto& ch : v->Ch)
            EXPECT_TRUE(ch.empty());

        Bytes three = makeOsc(c, 3, 10240);
        EXPECT_FALSE(TOscRecord::Decode(three.data(), three.size() - 1, c.gen, 0));
        EXPECT_FALSE(TOscRecord::Decode(three.data(), three.size() - c.sampleSize, c.gen, 0));
        EXPECT_FALSE(TOscRecord::Decode(three.data(), c.first - 1, c.gen, 0));
        // A count that would reach beyond 4 GiB must not wrap into a plausible length.
        empty.u32(c.cntOffs, 0xFFFFFFFFu);
        EXPECT_FALSE(TOscRecord::Decode(empty.data(), empty.size(), c.gen, 0));
        Bytes noRate = makeOsc(c, 2, 0);
        EXPECT_FALSE(TOscRecord::Decode(noRate.data(), noRate.size(), c.gen, 0));
    }
    // A generation 0 object is not whole under generation 1: its samples start 20 bytes later.
    Bytes g0 = makeOsc(kOsc[0], 4, 1000);
    EXPECT_FALSE(TOscRecord::Decode(g0.data(), g0.size(), 1, 0));
}

TEST(OscRecord, HandOverObjectUsesItsLocalStampAsBase) {
    Bytes b = makeOsc(kOsc[2], 2, 1000);
    TByteTransport t;
    t.FBytes = b.vec();
    t.TS_Mess = {100, 5};
    auto v = TOscRecord::Decode(t, 2);
    ASSERT_TRUE(v);
    EXPECT_EQ(v->Time[0], 100000000005ull);
    EXPECT_EQ(v->Time[1], 100001000005ull);
}

TEST(BinaryInputRecord, HeaderAndInputs) {
    Bytes b(14 + 3);
    b.u32(0, 10000000);
    b.u32(4, 77);
    b.u32(8, 88);
    b.u8(12, 2);
    b.u8(13, 3);
    b.u8(14, 1);
    b.u8(16, 9);
    auto v = TBinaryInputs::Decode(b.data(), b.size());
    ASSERT_TRUE(v);
    EXPECT_EQ(v->id, 10000000u);
    EXPECT_EQ(v->Ver, 2);
    EXPECT_EQ(v->Inputs, (std::vector<uint8_t>{1, 0, 9}));
    EXPECT_EQ(v->Encode(), b.vec());
    EXPECT_FALSE(TBinaryInputs::Decode(b.data(), 16));
    EXPECT_FALSE(TBinaryInputs::Decode(b.data(), 13));
    b.u8(13, 0);
    auto none = TBinaryInputs::Decode(b.data(), 14);
    ASSERT_TRUE(none);
    EXPECT_TRUE(none->Inputs.empty());
}

TEST(ObjectHeader, PayloadStartAndClass) {
    EXPECT_EQ(TObjectHeader::PayloadOffset(0x01FFFFFF), 20u); // the 3 s object has the longer header
    EXPECT_EQ(TObjectHeader::PayloadOffset(0x02FFFFFF), 16u);
    EXPECT_EQ(TObjectHeader::DataObjOf(0x06FFFFFF), int(doNs));
    EXPECT_EQ(TObjectHeader::DataObjOf(10000000), int(doBin));
    EXPECT_EQ(TObjectHeader::DataObjOf(0x09FFFFFF), -1);
    Bytes b(20);
    b.u32(0, 0x01FFFFFF);
    b.u32(4, 42);
    b.u32(8, 7);
    auto h = TObjectHeader::Read(b.data(), 20);
    ASSERT_TRUE(h);
    EXPECT_EQ(h->TS.sec, 42u);
    EXPECT_FALSE(TObjectHeader::Read(b.data(), 19));
    b.u32(0, 0x09FFFFFF);
    auto unknown = TObjectHeader::Read(b.data(), 16);
    ASSERT_TRUE(unknown); // the stamp is taken over even for an id outside the table
    EXPECT_EQ(unknown->TS.frac, 7u);
}
