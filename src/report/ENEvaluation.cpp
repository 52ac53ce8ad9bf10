#include "report/ENEvaluation.h"

#include "data/RecCursor.h"
#include "foundation/Format.h"
#include "foundation/records/Units.h"

#include <algorithm>
#include <cmath>
#include <functional>
#include <limits>
#include <unordered_map>

namespace ferro {

namespace {

constexpr uint64_t kNs = 1000000000ull;
constexpr uint64_t kDay = 86400 * kNs;
constexpr uint64_t kWeek = 7 * kDay;
constexpr uint64_t kMaxWeeks = 60;

// The values of a column split by observation week.
using TWeekValues = std::vector<std::vector<float>>;

struct TColumns {
    const TRecData& Rec;
    const std::vector<int>& WeekOf; // week index of every record
    size_t Weeks;
    std::unordered_map<uint32_t, const TTblStrc*> ById;

    TColumns(const TRecData& R, const std::vector<int>& W, size_t N) : Rec(R), WeekOf(W), Weeks(N) {
        for (const TTblStrc& c : Rec.RecDataLst)
            ById.emplace(c.ObjId, &c);
    }
    bool Has(uint32_t Id) const { return ById.count(Id) != 0; }
    // False when the recording has no such column.
    bool Values(uint32_t Id, TWeekValues& Out) const {
        auto it = ById.find(Id);
        if (it == ById.end()) return false;
        std::vector<float> all;
        ColumnValues(Rec, *it->second, all);
        Out.assign(Weeks, {});
        for (size_t r = 0; r < all.size() && r < WeekOf.size(); ++r)
            if (!std::isnan(all[r])) Out[size_t(WeekOf[r])].push_back(all[r]);
        return true;
    }
};

// The week values of those of the ids the recording holds.
std::vector<TWeekValues> PhaseValues(const TColumns& Cols, const std::vector<uint32_t>& Ids) {
    std::vector<TWeekValues> phases;
    for (uint32_t id : Ids) {
        TWeekValues v;
        if (Cols.Values(id, v)) phases.push_back(std::move(v));
    }
    return phases;
}

// A quantity judged by the 95 % value of each phase against an upper limit.
bool UpperRow(const TColumns& Cols, const std::vector<uint32_t>& Ids, const std::string& Name, double Limit,
              const std::string& Unit, int Decimals, TENRow& Row) {
    std::vector<TWeekValues> phases = PhaseValues(Cols, Ids);
    if (phases.empty()) return false;
    Row.Name = Name;
    Row.Limit = "95 %: ≤ " + DeNumber(Limit, Decimals) + Unit;
    Row.Weeks.assign(Cols.Weeks, {});
    for (size_t w = 0; w < Cols.Weeks; ++w) {
        float worst95 = -std::numeric_limits<float>::infinity(), worstMax = worst95;
        bool any = false;
        for (TWeekValues& p : phases) {
            float mx, p95;
            if (!MaxAnd95(p[w], mx, p95)) continue;
            any = true;
            worst95 = std::max(worst95, p95);
            worstMax = std::max(worstMax, mx);
        }
        TENCell& c = Row.Weeks[w];
        c.Present = any;
        if (!any) continue;
        c.Observed95 = DeNumber(worst95, Decimals + 1) + Unit;
        c.Observed100 = DeNumber(worstMax, Decimals + 1) + Unit;
        c.Pass = worst95 <= Limit;
    }
    return true;
}

// A quantity that must stay inside a band around its nominal value for a share of the time and
// inside a wider one always.
bool BandRow(const TColumns& Cols, const std::vector<uint32_t>& Ids, const std::string& Name, double Nominal,
             double Band, double Share, double Low, double High, const std::string& Unit, int Decimals,
             const std::string& Limit, TENRow& Row) {
    std::vector<TWeekValues> phases = PhaseValues(Cols, Ids);
    if (phases.empty()) return false;
    Row.Name = Name;
    Row.Limit = Limit;
    Row.Weeks.assign(Cols.Weeks, {});
    for (size_t w = 0; w < Cols.Weeks; ++w) {
        size_t n = 0, inside = 0;
        float lo = std::numeric_limits<float>::infinity(), hi = -lo;
        for (const TWeekValues& p : phases)
            for (float v : p[w]) {
                ++n;
                if (std::fabs(v - Nominal) <= Band * Nominal) ++inside;
                lo = std::min(lo, v);
                hi = std::max(hi, v);
            }
        TENCell& c = Row.Weeks[w];
        c.Present = n > 0;
        if (!n) continue;
        const double share = double(inside) / double(n);
        c.Observed95 = DeNumber(share * 100.0, 1) + " % in ±" + DeNumber(Band * 100.0, 0) + " %";
        c.Observed100 = DeNumber(lo, Decimals) + " – " + DeNumber(hi, Decimals) + Unit;
        c.Pass = share >= Share && lo >= Low * Nominal && hi <= High * Nominal;
    }
    return true;
}

} // namespace

std::string DeNumber(double V, int Decimals) {
    std::string s = Fmt("%.*f", Decimals, V);
    // No "-0,00" for a value that rounds to zero.
    if (s[0] == '-' && s.find_first_not_of("-0.") == std::string::npos) s.erase(0, 1);
    std::replace(s.begin(), s.end(), '.', ',');
    return s;
}

const char* TENEventTable::DipRowText(int r) {
    static const char* const t[DipRows] = {"90 > u ≥ 80", "80 > u ≥ 70", "70 > u ≥ 40", "40 > u ≥ 5",
                                           "5 > u"};
    return t[r];
}
const char* TENEventTable::DipColText(int c) {
    static const char* const t[DipCols] = {"10–200 ms", "200–500 ms", "0,5–1 s", "1–5 s", "5–60 s"};
    return t[c];
}
const char* TENEventTable::SwellRowText(int r) {
    static const char* const t[SwellRows] = {"u ≥ 120", "120 > u > 110"};
    return t[r];
}
const char* TENEventTable::SwellColText(int c) {
    static const char* const t[SwellCols] = {"10–500 ms", "0,5–5 s", "5–60 s"};
    return t[c];
}

void TENEventTable::DipCell(double Percent, double Seconds, int& Row, int& Col) {
    Row = Percent >= 80 ? 0 : Percent >= 70 ? 1 : Percent >= 40 ? 2 : Percent >= 5 ? 3 : 4;
    const double ms = Seconds * 1000.0;
    // Shorter and longer ones than the table knows go into its first and last column.
    Col = ms <= 200 ? 0 : ms <= 500 ? 1 : ms <= 1000 ? 2 : ms <= 5000 ? 3 : 4;
}

void TENEventTable::SwellCell(double Percent, double Seconds, int& Row, int& Col) {
    Row = Percent >= 120 ? 0 : 1;
    const double ms = Seconds * 1000.0;
    Col = ms <= 500 ? 0 : ms <= 5000 ? 1 : 2;
}

std::vector<TENWeek> SplitWeeks(uint64_t FromNs, uint64_t ToNs) {
    std::vector<TENWeek> out;
    const uint64_t span = ToNs > FromNs ? ToNs - FromNs : 0;
    uint64_t n = std::max<uint64_t>(1, span / kWeek + (span % kWeek ? 1 : 0));
    if (n > 1 && span - (n - 1) * kWeek < kDay) --n;
    // Damaged stamps must not ask for thousands of pages: the last week takes what lies beyond.
    n = std::min(n, kMaxWeeks);
    for (uint64_t k = 0; k < n; ++k)
        out.push_back({FromNs + k * kWeek,
                       k + 1 == n ? std::max(ToNs + 1, FromNs + (k + 1) * kWeek) : FromNs + (k + 1) * kWeek,
                       0});
    return out;
}

void EvaluateEN50160(const std::string& FileName, const TRecData& Rec,
                     const std::vector<std::string>& EventFiles, TENReport& Out) {
    Out = TENReport();
    Out.FileName = FileName;
    Out.Plant = Rec.Head.Anlage;
    Out.Field = Rec.Head.Feld;
    Out.Device = Rec.Head.Geraet;
    Out.Serial = Rec.Head.SN;
    Out.LeiterSys = Rec.Head.LeiterSys;
    Out.TimeZone = Rec.TimeZone;
    const bool neutral = HasNeutral(Rec.Head.LeiterSys);
    const double factor = Rec.Context.VoltageFactor() > 0 ? Rec.Context.VoltageFactor() : 230.0;
    Out.NominalVoltage = neutral ? factor : factor * std::sqrt(3.0);
    Out.NominalFrequency = Rec.Context.Nennfrequenz > 0 ? Rec.Context.Nennfrequenz : 50.0;

    // Times of the records; the period starts one interval before the first stamp.
    std::vector<uint64_t> times;
    times.reserve(size_t(Rec.Records()));
    for (TRecCursor c(Rec); c.Next();)
        times.push_back(c.TimeNs());
    const uint64_t interval =
        times.size() >= 2 && times[1] > times[0] ? times[1] - times[0] : uint64_t(600) * kNs;
    const auto [lo, hi] = std::minmax_element(times.begin(), times.end());
    Out.ToNs = times.empty() ? TStoLinear(Rec.Context.Start) : *hi;
    Out.FromNs = times.empty() ? Out.ToNs : *lo - std::min(*lo, interval);
    UTCtoLocal(LinearToTS(Out.FromNs), Out.TimeZone, Out.FromLocal);
    UTCtoLocal(LinearToTS(Out.ToNs), Out.TimeZone, Out.ToLocal);
    Out.Weeks = SplitWeeks(Out.FromNs, Out.ToNs);
    std::vector<int> weekOf(times.size());
    for (size_t r = 0; r < times.size(); ++r) {
        const uint64_t t = std::max(times[r], Out.FromNs) - Out.FromNs;
        weekOf[r] = int(std::min<uint64_t>(Out.Weeks.size() - 1, t / kWeek));
        ++Out.Weeks[size_t(weekOf[r])].Records;
    }

    const TColumns cols(Rec, weekOf, Out.Weeks.size());
    auto ids = [](uint32_t base, std::initializer_list<uint32_t> offs) {
        std::vector<uint32_t> v;
        for (uint32_t o : offs)
            v.push_back(base + o);
        return v;
    };
    TENRow row;
    const double fn = Out.NominalFrequency;
    if (BandRow(cols, {enids::Frequency}, "Netzfrequenz", fn, 0.01, 0.995, 0.94, 1.04, " Hz", 2,
                "±1 % (99,5 %), −6/+4 %", row))
        Out.Rows.push_back(row);
    if (BandRow(cols, neutral ? ids(enids::RmsBase, {0, 1, 2}) : ids(enids::RmsBase, {4, 5, 6}),
                "Langsame Spannungsänderungen", Out.NominalVoltage, 0.10, 0.95, 0.85, 1.10, " V", 1,
                "±10 % (95 %), −15/+10 %", row))
        Out.Rows.push_back(row);
    if (UpperRow(cols, ids(enids::PltBase, {0, 1, 2}), "Flicker (Plt)", 1.0, "", 0, row))
        Out.Rows.push_back(row);
    if (UpperRow(cols, {enids::Unbalance}, "Spannungsunsymmetrie", 2.0, " %", 0, row))
        Out.Rows.push_back(row);
    if (UpperRow(cols, ids(enids::ThdBase, {0, 1, 2}), "THD der Spannung", 8.0, " %", 0, row))
        Out.Rows.push_back(row);
    // Individual harmonics against the head's limits (line to line without neutral).
    const bool anyLimit =
        std::any_of(Rec.Head.Limits.begin(), Rec.Head.Limits.end(), [](float v) { return v > 0; });
    const TRepFamily* harm = RepFamily(EffectiveRepDisp(sdHrmULE, Rec.Head.LeiterSys));
    for (int h = 2; h <= 25; ++h) {
        const double lim = anyLimit ? Rec.Head.Limits[size_t(h - 2)] : CDefHrms[size_t(h)];
        std::vector<uint32_t> hid;
        for (int ch = 0; ch < 3; ++ch)
            hid.push_back(harm->Base[size_t(ch)] | (uint32_t(h) << 8));
        if (UpperRow(cols, hid, Fmt("Harmonische %d", h), lim, " %", 1, row)) Out.Rows.push_back(row);
    }

    // Dips, swells and interruptions of the period.
    for (const std::string& f : EventFiles) {
        TEvtData ev;
        std::string why;
        if (!AnalyseEventData(f, ev, [&](const std::string& s) { why = ReaderReason(s, f); })) {
            Out.EventFilesRefused.push_back(f + ": " + why);
            continue;
        }
        for (const TEvtStrc& e : ev.EvtLst) {
            if (e.EvtType != etDip && e.EvtType != etSwell && e.EvtType != etInterruption) continue;
            const uint64_t at = TStoLinear(e.Stamp);
            if (at < Out.FromNs || at > Out.ToNs) continue;
            const bool percent = e.ObjId == CVoltPercentId || e.UnitTxt == "%";
            const double u = percent ? e.MaxVal : e.MaxVal / factor * 100.0;
            int r = 0, c = 0;
            if (e.EvtType == etSwell) {
                TENEventTable::SwellCell(u, e.Duration, r, c);
                ++Out.Events.Swells[size_t(r)][size_t(c)];
                ++Out.Events.SwellCount;
            } else {
                TENEventTable::DipCell(e.EvtType == etInterruption ? std::min(u, 4.9) : u, e.Duration, r, c);
                ++Out.Events.Dips[size_t(r)][size_t(c)];
                ++(e.EvtType == etDip ? Out.Events.DipCount : Out.Events.InterruptionCount);
            }
            TENEventLine line;
            UTCtoLocal(e.Stamp, ev.TimeZone, line.Local);
            line.Type = e.EvtType;
            line.Phase = e.Phase;
            line.Percent = u;
            line.Seconds = e.Duration;
            Out.EventLines.push_back(line);
        }
    }
    std::sort(Out.EventLines.begin(), Out.EventLines.end(), [](const TENEventLine& a, const TENEventLine& b) {
        return TStoLinear(a.Local) < TStoLinear(b.Local);
    });

    for (int disp : {sdHrmULE, sdHrmIL, sdIHrmULE, sdIHrmIL, sdFrqBandULE, sdFrqBandIL}) {
        TENStatistic s;
        ComputeENStatistic(Rec, disp, s, nullptr);
        if (s.ValidSymbols > 0) Out.Statistics.push_back(std::move(s));
    }
}

bool BuildENReport(const std::string& FileName, const std::vector<std::string>& EventFiles, TENReport& Out,
                   std::string& Error) {
    TRecData rec;
    std::string why;
    if (!AnalyseRecData(FileName, dcUnknown, rec,
                        [&](const std::string& s) { why = ReaderReason(s, FileName); })) {
        Error = "Die Aufzeichnung " + FileName + " lässt sich nicht lesen: " + why;
        return false;
    }
    if (rec.Records() == 0) {
        Error = "Die Aufzeichnung " + FileName + " enthält keine Datensätze.";
        return false;
    }
    EvaluateEN50160(FileName, rec, EventFiles, Out);
    return true;
}

} // namespace ferro
