// The time chart with 10 million samples of one curve on a 1920-pixel-wide image, for a slowly
// varying signal (1-second values) and a dense one (50 Hz sampled at 20 480 Hz). A full repaint
// (new data) is set next to a baseline measured in the same run: the per-column min/max envelope of
// the same samples drawn as one aliased polyline. Then the repaint while only the zoom frame moves,
// and the memory of 10 million records of 4 curves.
// Ends with the RESULT lines timechart_10M_vs_envelope (worse signal), timechart_10M_ms (worse
// signal), timechart_zoomframe_ms, timechart_bytes_per_record.
#include "charts/PQPaintBoxCrvTime.h"
#include "charts/PainterCanvas.h"

#include <QGuiApplication>
#include <QImage>
#include <QPainter>
#include <QPainterPath>

#include "BenchResult.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

using namespace ferro;

namespace {

constexpr int CW = 1920, CH = 500;
constexpr int CSamples = 10000000;
constexpr int CRuns = 5;
constexpr uint64_t CT0 = 1700000000ull * 1000000000ull;

double NowMs() {
    using namespace std::chrono;
    return duration<double, std::milli>(steady_clock::now().time_since_epoch()).count();
}

long RssKb() {
    std::ifstream f("/proc/self/status");
    std::string line;
    while (std::getline(f, line))
        if (line.rfind("VmRSS:", 0) == 0) return std::stol(line.substr(6));
    return 0;
}

struct TSignal {
    const char* Name;
    double StepNs;
    double (*Value)(int);
};

double Slow(int i) {
    return 230 + 5 * std::sin(i / 86400.0 * 2 * M_PI) + 0.3 * std::sin(i / 600.0);
}
double Dense(int i) {
    return 325 * std::sin(2 * M_PI * 50 * i / 20480.0);
}

// Per pixel column min and max of the same samples, drawn as one aliased polyline.
double Envelope(const std::vector<uint64_t>& ts, const std::vector<float>& v, QImage& img) {
    const double t0 = NowMs();
    const double left = 60, width = CW - 70, top = 20, height = CH - 40;
    std::vector<float> lo(size_t(width) + 1, 1e30f), hi(size_t(width) + 1, -1e30f);
    const double k = width / double(ts.back() - ts.front());
    float mn = 1e30f, mx = -1e30f;
    for (size_t i = 0; i < ts.size(); ++i) {
        const size_t col = size_t(double(ts[i] - ts.front()) * k);
        lo[col] = std::min(lo[col], v[i]);
        hi[col] = std::max(hi[col], v[i]);
        mn = std::min(mn, v[i]);
        mx = std::max(mx, v[i]);
    }
    QPainterPath path;
    const double ky = height / double(mx - mn);
    for (size_t c = 0; c < lo.size(); ++c) {
        if (lo[c] > hi[c]) continue;
        const QPointF a(left + c + 0.5, top + height - (lo[c] - mn) * ky),
            b(left + c + 0.5, top + height - (hi[c] - mn) * ky);
        if (path.isEmpty())
            path.moveTo(a);
        else
            path.lineTo(a);
        path.lineTo(b);
    }
    QPainter p(&img);
    p.fillRect(img.rect(), Qt::white);
    p.setPen(QPen(Qt::blue, 1));
    p.drawPath(path);
    p.end();
    return NowMs() - t0;
}

} // namespace

int main(int argc, char** argv) {
    if (!qEnvironmentVariableIsSet("QT_QPA_PLATFORM")) qputenv("QT_QPA_PLATFORM", "offscreen");
    QGuiApplication app(argc, argv);
    QImage img(CW, CH, QImage::Format_ARGB32_Premultiplied);
    double worstRatio = 0, worstMs = 0, zoomMs = 0;
    const TSignal inputs[] = {{"slow, 1 s values", 1e9, Slow},
                              {"dense, 50 Hz at 20480 Hz", 1e9 / 20480, Dense}};
    for (const auto& s : inputs) {
        auto chart = std::make_unique<TPQPaintBoxCrvTime>();
        chart->SetCrvCnt(1);
        chart->SetBaseRec(0, BaseRect("u1", "ULE", "V", buAuto));
        chart->SetMaxRecs(CSamples);
        chart->SetSize(CW, CH);
        chart->SetMouseNotify([](TPQPaintBox*, const TPointF&, const TPointF&, TMouseButton, TShiftState) {});
        std::vector<uint64_t> ts(CSamples);
        std::vector<float> v(CSamples);
        TSingleArray one(1);
        for (int i = 0; i < CSamples; ++i) {
            ts[size_t(i)] = CT0 + uint64_t(std::llround(i * s.StepNs));
            v[size_t(i)] = one[0] = float(s.Value(i));
            chart->NewValues(one, ts[size_t(i)]);
        }
        chart->ResetZoom();
        chart->AutoScaleAll();
        TPainterCanvas canvas(img);
        canvas.Font.Size = 13;
        std::vector<double> full, base, frame;
        for (int r = 0; r < CRuns; ++r) {
            chart->ForceRepaint();
            const double t0 = NowMs();
            chart->Paint(canvas);
            full.push_back(NowMs() - t0);
            base.push_back(Envelope(ts, v, img));
        }
        chart->MouseDown(mbLeft, ssLeft, 400, 100);
        chart->Paint(canvas);
        for (int r = 0; r < 20; ++r) {
            chart->MouseMove(ssLeft, 500 + 10 * r, 300);
            const double t0 = NowMs();
            chart->Paint(canvas);
            frame.push_back(NowMs() - t0);
        }
        const double f = bench::Median(full), b = bench::Median(base);
        std::printf("%s: full repaint %.1f ms, envelope %.1f ms, zoom frame %.2f ms\n", s.Name, f, b,
                    bench::Median(frame));
        worstRatio = std::max(worstRatio, f / b);
        worstMs = std::max(worstMs, f);
        zoomMs = std::max(zoomMs, bench::Median(frame));
    }

    // Memory: 10 million records of 4 curves, measured as the growth of the resident set.
    const long before = RssKb();
    double perRecord = 0;
    long total = 0;
    {
        TPQPaintBoxCrvTime chart;
        chart.SetCrvCnt(4);
        chart.SetMaxRecs(CSamples);
        TSingleArray four(4);
        for (int i = 0; i < CSamples; ++i) {
            for (int c = 0; c < 4; ++c)
                four[size_t(c)] = float(i + c);
            chart.NewValues(four, CT0 + uint64_t(i) * 1000000000ull);
        }
        total = RssKb();
        perRecord = double(total - before) * 1024 / CSamples;
    }
    std::printf("10M records of 4 curves: %ld MB resident in all\n", total / 1024);

    bench::Result("timechart_10M_vs_envelope", worstRatio, "x", "<=", 1.5);
    bench::Result("timechart_10M_ms", worstMs, "ms", "<", 30);
    bench::Result("timechart_zoomframe_ms", zoomMs, "ms", "<", 2);
    bench::Result("timechart_bytes_per_record", perRecord, "B", "<=", 32);
    return 0;
}
