#include "stored/GraphAssembly.h"

#include "foundation/Format.h"
#include "stored/StoredTexts.h"

#include <algorithm>
#include <cfloat>
#include <cmath>
#include <cstring>
#include <future>
#include <limits>
#include <system_error>

namespace ferro {

namespace {

// From this many records on, the second half is decoded on a second thread.
constexpr uint64_t CSplitRecords = 1u << 16;

// The bytes a value column of this kind reads; 0 for a kind no chart takes.
uint32_t ValueBytes(const TTblStrc& c) {
    switch (c.PaintStruc) {
    case psStamp:
    case psSingle:
    case psTick:
        return c.PaintStruc == psStamp ? 8 : 4;
    case psFloat:
        return c.Size == 8 ? 8 : 4;
    case psExtrem:
        return 12;
    default:
        return 0;
    }
}

// Column c of the records [From, To) into Out[From..To), their finite range into Min and Max. One
// loop per kind, so the kind is decided once per column and block and not once per value.
void DecodeColumn(const TRecData& Data, const TTblStrc& c, uint64_t From, uint64_t To, float* Out, float& Min,
                  float& Max) {
    const size_t stride = Data.RecMemSize;
    const uint8_t* p = Data.Stream.data() + c.Offset + From * stride;
    float mn = Min, mx = Max;
    auto fill = [&](auto Value) {
        for (uint64_t r = From; r < To; ++r, p += stride) {
            const float v = Value(p);
            Out[r] = v;
            // x - x is 0 only for a finite x.
            if (v - v == 0.f) {
                mn = std::min(mn, v);
                mx = std::max(mx, v);
            }
        }
    };
    switch (c.PaintStruc) {
    case psSingle:
        fill([](const uint8_t* q) { return MemStream::peekF32(q); });
        break;
    case psFloat:
        if (c.Size == 8)
            fill([](const uint8_t* q) {
                double d;
                std::memcpy(&d, q, 8);
                return float(d);
            });
        else
            fill([](const uint8_t* q) { return MemStream::peekF32(q); });
        break;
    case psTick: {
        const bool binary = c.ObjId == CBinaryStateId;
        fill([binary](const uint8_t* q) {
            int32_t v;
            std::memcpy(&v, q, 4);
            return float(binary ? std::clamp(v, 0, 1) : v);
        });
        break;
    }
    case psExtrem:
        fill([](const uint8_t* q) { return MemStream::peekF32(q + 8); });
        break;
    default: // a stamp is no value
        std::fill(Out + From, Out + To, std::numeric_limits<float>::quiet_NaN());
        break;
    }
    Min = mn;
    Max = mx;
}

// The local times of the records [From, To) when the first column is a stamp or there is none (a
// fixed rate from the start). A tick counter is read whole by DecodeTicks: each time depends on the
// ones before.
void DecodeTimes(const TRecData& Data, uint64_t From, uint64_t To, uint64_t* Out) {
    const TTblStrc& axis = Data.RecDataLst.front();
    const size_t stride = Data.RecMemSize;
    if (axis.PaintStruc == psStamp) {
        const uint8_t* p = Data.Stream.data() + axis.Offset + From * stride;
        for (uint64_t r = From; r < To; ++r, p += stride)
            Out[r] = TGraphAssembly::LocalLinear({MemStream::peekU32(p), MemStream::peekU32(p + 4)},
                                                 Data.TimeZone);
        return;
    }
    const uint64_t base = TGraphAssembly::LocalLinear(Data.Context.Start, Data.TimeZone);
    const double step = 1.0 / (Data.SampleRate ? double(Data.SampleRate) : 1.0) * 1e9;
    for (uint64_t r = From; r < To; ++r)
        Out[r] = base + uint64_t(std::llround(step * double(r)));
}

void DecodeTicks(const TRecData& Data, uint64_t Records, uint64_t* Out) {
    const TTblStrc& axis = Data.RecDataLst.front();
    const uint8_t* p = Data.Stream.data() + axis.Offset;
    const uint64_t base = TGraphAssembly::LocalLinear(Data.Context.Start, Data.TimeZone);
    // A tick counter of 100 ns that restarts each second: a step back is a whole second more.
    int64_t last = -1;
    uint64_t seconds = 0;
    for (uint64_t r = 0; r < Records; ++r, p += Data.RecMemSize) {
        int32_t raw;
        std::memcpy(&raw, p, 4);
        const int64_t tick = std::clamp<int64_t>(raw, 0, 9999999);
        if (last >= 0 && tick < last) ++seconds;
        last = tick;
        Out[r] = base + uint64_t(tick) * 100 + seconds * 1000000000ull;
    }
}

// The columns and (unless they are ticks) the times of the records [From, To), a block of records
// at a time for all columns: the records pass through the cache once and not once per column.
void DecodeRange(const TRecData& Data, const std::vector<const TTblStrc*>& Cols, uint64_t From, uint64_t To,
                 TMessLst& Out, float* Min, float* Max) {
    constexpr uint64_t CBlock = 4096;
    for (uint64_t from = From; from < To; from += CBlock) {
        const uint64_t to = std::min(To, from + CBlock);
        for (size_t i = 0; i < Cols.size(); ++i)
            DecodeColumn(Data, *Cols[i], from, to, Out.Values(int(i)), Min[i], Max[i]);
    }
    if (Data.RecDataLst.front().PaintStruc != psTick) DecodeTimes(Data, From, To, Out.Times());
}

} // namespace

TAlphaColor TGraphAssembly::ColourOf(int Tag, const std::vector<TAlphaColor>& Colours) {
    if (Colours.empty()) return 0xFF000000;
    const size_t n = std::min<size_t>(Colours.size(), 11);
    return Colours[size_t(Tag < 0 ? 0 : Tag) % n];
}

uint64_t TGraphAssembly::LocalLinear(const tmStamp_t& Utc, const time_tz_t& Zone) {
    tmStamp_t local;
    UTCtoLocal(Utc, Zone, local);
    return TStoLinear(local);
}

bool TGraphAssembly::Assemble(const TRecData& Data, const std::vector<int>& Tags, TGraphSeries& Out,
                              const TLog& Log) {
    if (Data.RecDataLst.empty()) return false;
    std::vector<const TTblStrc*> cols;
    for (int tag : Tags) {
        if (tag < 0 || size_t(tag) >= Data.RecDataLst.size()) return false;
        const TTblStrc& c = Data.RecDataLst[size_t(tag)];
        const uint32_t bytes = ValueBytes(c);
        if (!bytes) {
            if (Log) Log(Fmt("Unknown PaintStruc: %u", unsigned(c.PaintStruc)));
            return false;
        }
        // The reader checks this for a file; a record set made otherwise is checked here.
        if (uint64_t(c.Offset) + bytes > Data.RecMemSize) return false;
        cols.push_back(&c);
    }
    const TTblStrc& axis = Data.RecDataLst.front();
    const uint32_t axisBytes = axis.PaintStruc == psStamp ? 8 : axis.PaintStruc == psTick ? 4 : 0;
    if (uint64_t(axis.Offset) + axisBytes > Data.RecMemSize) return false;
    // One chart record per file record: the chart keeps no more than an int counts.
    const uint64_t records = std::min<uint64_t>(Data.Records(), uint64_t(INT32_MAX));
    Out.Tags = Tags;
    Out.Records.Allocate(int(cols.size()), size_t(records));
    Out.Min.assign(cols.size(), FLT_MAX);
    Out.Max.assign(cols.size(), -FLT_MAX);
    // The second half of the records on a second thread where there are enough of them: reading
    // them is bound by memory, which one core does not use up. Each half keeps its own ranges.
    const uint64_t half = records >= CSplitRecords ? records / 2 : records;
    std::vector<float> min2(cols.size(), FLT_MAX), max2(cols.size(), -FLT_MAX);
    std::future<void> second;
    if (half < records) try {
            second = std::async(std::launch::async, [&] {
                DecodeRange(Data, cols, half, records, Out.Records, min2.data(), max2.data());
            });
        } catch (const std::system_error&) {
            // No thread to spare: all on this one.
        }
    DecodeRange(Data, cols, 0, second.valid() ? half : records, Out.Records, Out.Min.data(), Out.Max.data());
    if (axis.PaintStruc == psTick) DecodeTicks(Data, records, Out.Records.Times());
    if (second.valid()) {
        second.get();
        for (size_t i = 0; i < cols.size(); ++i) {
            Out.Min[i] = std::min(Out.Min[i], min2[i]);
            Out.Max[i] = std::max(Out.Max[i], max2[i]);
        }
    }
    const tmStamp_t start = records && axis.PaintStruc == psStamp
                                ? tmStamp_t{MemStream::peekU32(Data.Stream.data() + axis.Offset),
                                            MemStream::peekU32(Data.Stream.data() + axis.Offset + 4)}
                                : Data.Context.Start;
    UTCtoLocal(start, Data.TimeZone, Out.Start);
    // A file without a trigger gets none, also when the chart showed one before.
    Out.Trigger = {};
    if (Data.Context.Trigger.sec != 0) UTCtoLocal(Data.Context.Trigger, Data.TimeZone, Out.Trigger);
    return true;
}

void TGraphAssembly::Show(const TRecData& Data, TGraphSeries& Series, TPQPaintBoxCrvTime& Chart,
                          const std::vector<TAlphaColor>& Colours, const TShortName& Names) {
    const size_t n = Series.Tags.size();
    Chart.SetCrvCnt(int(n));
    Chart.SetMaxRecs(std::max(Series.Records.Count(), 1));
    for (size_t i = 0; i < n; ++i) {
        const TTblStrc& c = Data.RecDataLst[size_t(Series.Tags[i])];
        const char* grp = c.ValGrp < CPQValGrpTxt.size() ? CPQValGrpTxt[c.ValGrp] : "";
        std::string name = Names ? Names(c.ObjId) : std::string();
        if (name.empty()) name = Fmt("0x%X", c.ObjId);
        Chart.SetBaseRec(int(i), BaseRect(name, grp, c.UnitTxt, buAuto));
        Chart.SetLnColor(int(i), ColourOf(Series.Tags[i], Colours));
    }
    Chart.SetTSStart(Series.Start);
    Chart.TakeRecords(Series.Records);
    Series.Records = TMessLst();
    Chart.SetTrigger(Series.Trigger);
    for (size_t i = 0; i < n && i < Series.Min.size(); ++i)
        Chart.ScaleToRange(int(i), Series.Min[i], Series.Max[i]);
    if (Chart.GetMessCnt() > 0) Chart.ResetZoom();
    Chart.ForceRepaint();
    Chart.Repaint();
}

bool TGraphAssembly::Paint(const TRecData& Data, const std::vector<int>& Tags, TPQPaintBoxCrvTime& Chart,
                           const std::vector<TAlphaColor>& Colours, const TShortName& Names,
                           const TLog& Log) {
    TGraphSeries s;
    if (!Assemble(Data, Tags, s, Log)) return false;
    Show(Data, s, Chart, Colours, Names);
    return true;
}

} // namespace ferro
