// The statistic of a family handed to the harmonic chart; apart from the statistics themselves,
// which need no chart (the fuzz harness builds them without Qt).
#include "charts/PQPaintBoxHarm.h"
#include "report/ENStatistic.h"

#include <algorithm>

namespace ferro {

namespace {
bool IsBands(int Disp) {
    return Disp >= sdFrqBandULE && Disp <= sdFrqBandIL;
}
bool IsIHarm(int Disp) {
    return Disp >= sdIHrmULE && Disp <= sdIHrmIL;
}
} // namespace

void FeedHarmChart(const TENStatistic& S, TPQPaintBoxHarm& Chart) {
    Chart.SetFerroDisp(TFerroDisp(S.Disp));
    Chart.SetStatistic(true);
    Chart.ClearData();
    if (S.ValidSymbols == 0) {
        Chart.Repaint();
        return;
    }
    Chart.SetNormalization(S.Normalization);
    for (int ch = 0; ch < 4; ++ch) {
        const THrm& mx = S.Max[size_t(ch)];
        const THrm& p = S.P95[size_t(ch)];
        if (IsBands(S.Disp)) {
            TFrqBand a{}, b{};
            std::copy(mx.begin() + 1, mx.begin() + 36, a.begin());
            std::copy(p.begin() + 1, p.begin() + 36, b.begin());
            Chart.SetFrqBVal(ch, a);
            Chart.SetFrqBVal95p(ch, b);
        } else if (IsIHarm(S.Disp)) {
            TIHrm a{}, b{};
            std::copy(mx.begin(), mx.begin() + 50, a.begin());
            std::copy(p.begin(), p.begin() + 50, b.begin());
            Chart.SetIHrmVal(ch, a);
            Chart.SetIHrmVal95p(ch, b);
        } else {
            if (ch == 0)
                for (int i = 2; i <= 50; ++i)
                    Chart.SetHarmLim(i, S.Limits[size_t(i)]);
            Chart.SetHrmVal(ch, mx);
            Chart.SetHrmVal95p(ch, p);
        }
    }
    tmStamp_t a, b;
    UTCtoLocal(S.First, S.TimeZone, a);
    UTCtoLocal(S.Last, S.TimeZone, b);
    Chart.SetTSStart(a);
    Chart.SetTSStop(b);
    Chart.HrmRescale();
    Chart.Repaint();
}

} // namespace ferro
