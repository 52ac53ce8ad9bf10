#include "stored/GraphAssembly.h"

#include "data/RecCursor.h"
#include "foundation/Format.h"
#include "stored/StoredTexts.h"

#include <cmath>
#include <limits>

namespace ferro {

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

bool TGraphAssembly::Paint(const TRecData& Data, const std::vector<int>& Tags, TPQPaintBoxCrvTime& Chart,
                           const std::vector<TAlphaColor>& Colours, const TShortName& Names,
                           const TLog& Log) {
    std::vector<const TTblStrc*> cols;
    for (int tag : Tags) {
        if (tag < 0 || size_t(tag) >= Data.RecDataLst.size()) return false;
        const TTblStrc& c = Data.RecDataLst[size_t(tag)];
        switch (c.PaintStruc) {
        case psStamp:
        case psSingle:
        case psFloat:
        case psTick:
        case psExtrem:
            break;
        default:
            if (Log) Log(Fmt("Unknown PaintStruc: %u", unsigned(c.PaintStruc)));
            return false;
        }
        cols.push_back(&c);
    }
    if (Data.RecDataLst.empty()) return false;
    const uint64_t records = Data.Records();
    Chart.SetCrvCnt(int(cols.size()));
    Chart.SetMaxRecs(int(std::min<uint64_t>(std::max<uint64_t>(records, 1), uint64_t(INT32_MAX))));
    for (size_t i = 0; i < cols.size(); ++i) {
        const TTblStrc& c = *cols[i];
        const char* grp = c.ValGrp < CPQValGrpTxt.size() ? CPQValGrpTxt[c.ValGrp] : "";
        std::string name = Names ? Names(c.ObjId) : std::string();
        if (name.empty()) name = Fmt("0x%X", c.ObjId);
        Chart.SetBaseRec(int(i), BaseRect(name, grp, c.UnitTxt, buAuto));
        Chart.SetLnColor(int(i), ColourOf(Tags[i], Colours));
    }
    const TTblStrc& axis = Data.RecDataLst.front();
    const tmStamp_t start = records && axis.PaintStruc == psStamp ? [&] {
        TRecCursor first(Data);
        first.Next();
        return first.Stamp(axis);
    }()
                                                                  : Data.Context.Start;
    tmStamp_t startLocal;
    UTCtoLocal(start, Data.TimeZone, startLocal);
    Chart.SetTSStart(startLocal);
    const int64_t offsetNs =
        int64_t(LocalLinear(Data.Context.Start, Data.TimeZone)) - int64_t(TStoLinear(Data.Context.Start));
    TSingleArray values(cols.size());
    TRecCursor cur(Data);
    while (cur.Next()) {
        for (size_t i = 0; i < cols.size(); ++i) {
            const TTblStrc& c = *cols[i];
            values[i] =
                c.PaintStruc == psStamp ? std::numeric_limits<float>::quiet_NaN() : float(cur.Value(c));
        }
        const uint64_t t = axis.PaintStruc == psStamp ? LocalLinear(cur.Stamp(axis), Data.TimeZone)
                                                      : uint64_t(int64_t(cur.TimeNs()) + offsetNs);
        Chart.NewValues(values, t);
    }
    // A file without a trigger gets none, also when the chart showed one before.
    tmStamp_t trig{};
    if (Data.Context.Trigger.sec != 0) UTCtoLocal(Data.Context.Trigger, Data.TimeZone, trig);
    Chart.SetTrigger(trig);
    Chart.AutoScaleAll();
    if (Chart.GetMessCnt() > 0) Chart.ResetZoom();
    return true;
}

} // namespace ferro
