#include "report/ENStatistic.h"

#include "foundation/Format.h"
#include "foundation/MemStream.h"
#include "foundation/records/Units.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <unordered_map>

namespace ferro {

namespace {

// Displays 5 to 13: bands, harmonics and interharmonics of U line to earth, U line to line and I.
// Line-to-line views keep the neutral's channel of their line-to-earth family.
const TRepFamily CFamilies[9] = {
    {{0x2140000, 0x2150000, 0x2160000, 0x2170000}, 1, 35}, // 5
    {{0x2180000, 0x2190000, 0x21A0000, 0x2170000}, 1, 35}, // 6
    {{0x2300000, 0x2310000, 0x2320000, 0x2330000}, 1, 35}, // 7
    {{0x2030000, 0x2050000, 0x2070000, 0x2090000}, 0, 50}, // 8
    {{0x20B0000, 0x20D0000, 0x20F0000, 0x2090000}, 0, 50}, // 9
    {{0x2250000, 0x2270000, 0x2290000, 0x22B0000}, 0, 50}, // 10
    {{0x2040000, 0x2060000, 0x2080000, 0x20A0000}, 0, 49}, // 11
    {{0x20C0000, 0x20E0000, 0x2100000, 0x20A0000}, 0, 49}, // 12
    {{0x2260000, 0x2280000, 0x22A0000, 0x22C0000}, 0, 49}, // 13
};

} // namespace

const TRepFamily* RepFamily(int Disp) {
    if (Disp < sdFrqBandULE || Disp > sdIHrmIL) return nullptr;
    return &CFamilies[Disp - sdFrqBandULE];
}

int EffectiveRepDisp(int Disp, uint8_t LeiterSys) {
    if (HasNeutral(LeiterSys)) return Disp;
    if (Disp == sdFrqBandULE || Disp == sdHrmULE || Disp == sdIHrmULE) return Disp + 1;
    return Disp;
}

bool MaxAnd95(std::vector<float>& Values, float& Max, float& P95) {
    // A damaged record may hold a NaN, which would break the ordering.
    Values.erase(std::remove_if(Values.begin(), Values.end(), [](float v) { return std::isnan(v); }),
                 Values.end());
    if (Values.empty()) return false;
    // Integer arithmetic: 20 entries give entry 19 exactly, not 18.999...
    const size_t idx = std::min(Values.size() - 1, Values.size() * 95 / 100);
    // The same entries as a full sort gives, without sorting everything.
    std::nth_element(Values.begin(), Values.begin() + std::ptrdiff_t(idx), Values.end());
    P95 = Values[idx];
    Max = *std::max_element(Values.begin() + std::ptrdiff_t(idx), Values.end());
    return true;
}

void ColumnValues(const TRecData& Rec, const TTblStrc& Column, std::vector<float>& Out) {
    Out.clear();
    const uint64_t n = Rec.Records();
    const uint32_t need = Column.PaintStruc == psExtrem ? 12 : Column.PaintStruc == psFloat ? Column.Size : 4;
    // The reader has checked the columns; a column outside the record still gives nothing.
    if (n == 0 || Column.PaintStruc == psStamp || uint64_t(Column.Offset) + need > Rec.RecMemSize ||
        (Column.PaintStruc == psFloat && need != 4 && need != 8))
        return;
    Out.resize(n);
    const uint8_t* p = Rec.Stream.data() + Column.Offset;
    const size_t step = Rec.RecMemSize;
    switch (Column.PaintStruc) {
    case psExtrem:
        p += 8;
        [[fallthrough]];
    case psSingle:
        for (uint64_t r = 0; r < n; ++r, p += step)
            Out[r] = MemStream::peekF32(p);
        return;
    case psFloat:
        for (uint64_t r = 0; r < n; ++r, p += step) {
            if (Column.Size == 8) {
                double d;
                std::memcpy(&d, p, 8);
                Out[r] = float(d);
            } else {
                Out[r] = MemStream::peekF32(p);
            }
        }
        return;
    default:
        for (uint64_t r = 0; r < n; ++r, p += step) {
            int32_t v;
            std::memcpy(&v, p, 4);
            Out[r] = float(v);
        }
    }
}

void ComputeENStatistic(const TRecData& Rec, int Disp, TENStatistic& Out, const TReaderLog& Log) {
    Out = TENStatistic();
    Out.Plant = Rec.Head.Anlage;
    Out.Field = Rec.Head.Feld;
    Out.Device = Rec.Head.Geraet;
    Out.TimeZone = Rec.TimeZone;
    Out.First = Rec.First;
    Out.Last = Rec.Last;
    Out.VoltageFactor = Rec.Context.VoltageFactor();
    Out.Disp = EffectiveRepDisp(Disp, Rec.Head.LeiterSys);
    Out.Normalization = Out.Disp == sdHrmULE || Out.Disp == sdHrmULL;
    // A head without limits (all zero) gets the default table, else nothing would stand above 0.
    const bool anyLimit =
        std::any_of(Rec.Head.Limits.begin(), Rec.Head.Limits.end(), [](float v) { return v > 0; });
    for (int i = 2; i <= 50; ++i)
        Out.Limits[size_t(i)] = anyLimit ? Rec.Head.Limits[size_t(i - 2)] : CDefHrms[size_t(i)];
    const TRepFamily* f = RepFamily(Out.Disp);
    if (!f) return;
    // Id -> channel and order.
    std::unordered_map<uint32_t, std::pair<int, int>> wanted;
    for (int ch = 0; ch < 4; ++ch)
        for (int o = f->FirstOrder; o <= f->LastOrder; ++o)
            wanted[f->Base[size_t(ch)] | (uint32_t(o) << 8)] = {ch, o};
    std::vector<const TTblStrc*> kept;
    for (const TTblStrc& c : Rec.RecDataLst)
        if (wanted.count(c.ObjId)) kept.push_back(&c);
    Out.ValidSymbols = int(kept.size());
    if (Log) Log(Fmt("Valid_Symbols=%d", Out.ValidSymbols));
    // Singles, the columns of every family, are gathered a block of columns at a time in one
    // sequential pass over the records: a column by column walk would jump a record's length per
    // value and miss the cache every time.
    constexpr size_t CBlock = 32;
    const uint64_t n = Rec.Records();
    std::vector<const TTblStrc*> singles, others;
    for (const TTblStrc* c : kept)
        (c->PaintStruc == psSingle && uint64_t(c->Offset) + 4 <= Rec.RecMemSize ? singles : others)
            .push_back(c);
    std::vector<std::vector<float>> block(std::min(CBlock, singles.size()));
    auto store = [&](const TTblStrc* c, std::vector<float>& values) {
        const auto [ch, order] = wanted[c->ObjId];
        float mx = 0, p95 = 0;
        if (!MaxAnd95(values, mx, p95)) return;
        Out.Max[size_t(ch)][size_t(order)] = mx;
        Out.P95[size_t(ch)][size_t(order)] = p95;
    };
    for (size_t from = 0; from < singles.size(); from += CBlock) {
        const size_t m = std::min(CBlock, singles.size() - from);
        for (size_t k = 0; k < m; ++k)
            block[k].resize(n);
        const uint8_t* rec = Rec.Stream.data();
        for (uint64_t r = 0; r < n; ++r, rec += Rec.RecMemSize)
            for (size_t k = 0; k < m; ++k)
                block[k][r] = MemStream::peekF32(rec + singles[from + k]->Offset);
        for (size_t k = 0; k < m; ++k)
            store(singles[from + k], block[k]);
    }
    std::vector<float> values;
    for (const TTblStrc* c : others) {
        ColumnValues(Rec, *c, values);
        store(c, values);
    }
}

bool GeneENCompleteRep(const std::string& FileName, int Disp, TENStatistic& Out, const TReaderLog& Log) {
    TRecData rec;
    if (!AnalyseRecData(FileName, dcUnknown, rec, Log) || rec.RecMemSize == 0) {
        Out = TENStatistic();
        Out.Disp = Disp;
        if (Log) Log("ENHarmonics=" + FileName);
        return false;
    }
    ComputeENStatistic(rec, Disp, Out, Log);
    if (Log) Log("ENHarmonics=" + FileName);
    return true;
}

} // namespace ferro
