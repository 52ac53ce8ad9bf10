#include "data/RecCursor.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>

namespace ferro {

bool TRecCursor::Next() {
    if (row_ >= d_.Records() || d_.RecDataLst.empty()) return false;
    ++row_;
    const TTblStrc& axis = d_.RecDataLst.front();
    const uint64_t base = TStoLinear(d_.Context.Start);
    if (axis.PaintStruc == psStamp) {
        time_ = TStoLinear(Stamp(axis));
    } else if (axis.PaintStruc == psTick) {
        int32_t raw;
        std::memcpy(&raw, record() + axis.Offset, 4);
        const int64_t tick = std::clamp<int64_t>(raw, 0, 9999999);
        // The counter restarts each second: a step back means a whole second more.
        if (lastTick_ >= 0 && tick < lastTick_) ++seconds_;
        lastTick_ = tick;
        time_ = base + uint64_t(tick) * 100 + seconds_ * 1000000000ull;
    } else {
        const double rate = d_.SampleRate ? double(d_.SampleRate) : 1.0;
        time_ = base + uint64_t(std::llround(1.0 / rate * 1e9 * double(row_ - 1)));
    }
    return true;
}

double TRecCursor::Value(const TTblStrc& c) const {
    const uint8_t* p = record() + c.Offset;
    switch (c.PaintStruc) {
    case psSingle:
        return MemStream::peekF32(p);
    case psFloat:
        if (c.Size == 8) {
            double v;
            std::memcpy(&v, p, 8);
            return v;
        }
        return MemStream::peekF32(p);
    case psTick: {
        int32_t v;
        std::memcpy(&v, p, 4);
        if (c.ObjId == CBinaryStateId) v = std::clamp(v, 0, 1);
        return v;
    }
    case psExtrem:
        return MemStream::peekF32(p + 8);
    default:
        return std::numeric_limits<double>::quiet_NaN();
    }
}

tmStamp_t TRecCursor::Stamp(const TTblStrc& c) const {
    if (c.PaintStruc != psStamp && c.PaintStruc != psExtrem) return {};
    const uint8_t* p = record() + c.Offset;
    return {MemStream::peekU32(p), MemStream::peekU32(p + 4)};
}

void TRecCursor::Span(const TRecData& data, tmStamp_t& first, tmStamp_t& last) {
    first = last = data.Context.Start;
    const uint64_t n = data.Records();
    if (n == 0 || data.RecDataLst.empty()) return;
    const TTblStrc& axis = data.RecDataLst.front();
    if (axis.PaintStruc == psStamp) {
        const uint8_t* p = data.Stream.data() + axis.Offset;
        const uint8_t* q = data.Stream.data() + (n - 1) * data.RecMemSize + axis.Offset;
        first = {MemStream::peekU32(p), MemStream::peekU32(p + 4)};
        last = {MemStream::peekU32(q), MemStream::peekU32(q + 4)};
        return;
    }
    // Ticks need the walk; the other kinds follow from the count.
    TRecCursor c(data);
    c.Next();
    first = LinearToTS(c.TimeNs());
    if (axis.PaintStruc == psTick) {
        while (c.Next()) {
        }
    } else {
        c.row_ = n - 1;
        c.Next();
    }
    last = LinearToTS(c.TimeNs());
}

} // namespace ferro
