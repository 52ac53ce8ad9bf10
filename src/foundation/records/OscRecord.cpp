#include "foundation/records/OscRecord.h"

#include "foundation/records/FieldTable.h"
#include "foundation/records/RecordLayout.h"

#include <cmath>

namespace ferro {

namespace {
// Round to nearest, halves to even, for x >= 0. Below 2^52 adding and removing 2^52 rounds in the
// FPU's default mode without a library call; llrint covers the rest.
inline uint64_t roundEven(double x) {
    constexpr double two52 = 4503599627370496.0;
    if (x < two52) return uint64_t((x + two52) - two52);
    return uint64_t(std::llrint(x));
}

const char* const kChannels[] = {"u1", "u2", "u3", "uN", "u12", "u23", "u31", "i1", "i2", "i3", "iN", "iR"};

TOscLayout makeLayout(uint8_t gen) {
    const TRecordDef& r = *TFieldTable::Instance().RecordFor(doOsc, gen);
    const std::string hdr = r.Members.back().Type->TypeName;
    TOscLayout l;
    l.CountOffs = uint32_t(r.AbsOffset(hdr, "SmplCnt"));
    l.RateOffs = uint32_t(r.AbsOffset(hdr, "smplrte"));
    l.FirstSample = r.Size;
    l.SampleSize = r.TailType->Size;
    l.Channels = uint32_t(r.TailType->Fields.size());
    return l;
}
} // namespace

const TOscLayout& TOscLayout::For(uint8_t gen) {
    static const TOscLayout g0 = makeLayout(0), g1 = makeLayout(1), g2 = makeLayout(2);
    return gen == 0 ? g0 : gen == 1 ? g1 : g2;
}

const char* TOscRecord::ChannelName(size_t ch) {
    return ch < 12 ? kChannels[ch] : "";
}

uint64_t TOscRecord::SampleTime(uint64_t base, uint32_t rate, uint64_t k) {
    if (rate == 0) return base;
    return base + roundEven(1000000000.0 / double(rate) * double(k));
}

bool TOscRecord::ReadCounts(const uint8_t* b, size_t len, uint8_t gen, uint32_t& smplCnt, uint32_t& smplrte) {
    const TOscLayout& l = TOscLayout::For(gen);
    if (!b || len < l.FirstSample) return false;
    smplCnt = MemStream::peekU32(b + l.CountOffs);
    smplrte = MemStream::peekU32(b + l.RateOffs);
    return true;
}

bool TOscRecord::DecodeInto(const uint8_t* b, size_t len, uint8_t gen, uint64_t base, TOscCurves& out) {
    const TOscLayout& l = TOscLayout::For(gen);
    uint32_t cnt = 0, rate = 0;
    if (!ReadCounts(b, len, gen, cnt, rate)) return false;
    if (uint64_t(l.FirstSample) + uint64_t(cnt) * l.SampleSize != len) return false;
    if (cnt > 0 && rate == 0) return false;
    out.SmplCnt = cnt;
    out.smplrte = rate;
    out.Ch.resize(l.Channels);
    for (auto& c : out.Ch)
        c.resize(cnt);
    out.Time.resize(cnt);
    // Channel by channel: each curve is written in one sequential run.
    const uint8_t* first = b + l.FirstSample;
    for (uint32_t c = 0; c < l.Channels; ++c) {
        float* dst = out.Ch[c].data();
        const uint8_t* src = first + 4 * c;
        for (uint32_t k = 0; k < cnt; ++k)
            ReadSingles(dst + k, src + size_t(k) * l.SampleSize, 1);
    }
    const double step = cnt ? 1000000000.0 / double(rate) : 0.0;
    uint64_t* t = out.Time.data();
    for (uint32_t k = 0; k < cnt; ++k)
        t[k] = base + roundEven(step * double(k));
    return true;
}

std::optional<TOscCurves> TOscRecord::Decode(const uint8_t* b, size_t len, uint8_t gen, uint64_t base) {
    TOscCurves c;
    if (!DecodeInto(b, len, gen, base, c)) return std::nullopt;
    return c;
}

std::optional<TOscCurves> TOscRecord::Decode(const TByteTransport& t, uint8_t gen) {
    return Decode(t.FBytes.data(), t.FBytes.size(), gen, TStoLinear(t.TS_Mess));
}

} // namespace ferro
