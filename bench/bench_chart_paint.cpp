// A full repaint of the harmonic chart (4 channels x 51 orders) and of the vector diagram on a
// 1200x500 image through the QPainter canvas, next to a plain QPainter fill of the same rectangles
// (the background and every rectangle the chart fills, as the recording canvas lists them) in the
// same run. Goal: a chart's repaint costs at most three times the bare fill of its rectangles.
// Ends with one "RESULT <name> <value> <unit> goal <op> <limit> met|missed" line per figure:
// harm_repaint_vs_fill, vector_repaint_vs_fill.
#include "charts/PQPaintBoxHarm.h"
#include "charts/PQPaintBoxVecDiag.h"
#include "charts/PainterCanvas.h"
#include "charts/RecordingCanvas.h"

#include <QGuiApplication>
#include <QImage>
#include <QPainter>

#include <benchmark/benchmark.h>

#include "BenchResult.h"

#include <cmath>
#include <cstdio>
#include <vector>

using namespace ferro;

namespace {

constexpr int CW = 1200, CH = 500;
constexpr double CFont = 13;

struct TFilled {
    QRectF Rect;
    QColor Colour;
};

// Every rectangle a chart fills in one pass, background first.
std::vector<TFilled> FilledBy(TPQPaintBox& Box) {
    TRecordingCanvas rec;
    rec.Font.Size = CFont;
    Box.Paint(rec);
    std::vector<TFilled> out;
    for (const auto& c : rec.Calls) {
        if (c.Op == TCanvasOp::Clear) out.push_back({QRectF(0, 0, CW, CH), QColor::fromRgba(c.Color)});
        if (c.Op == TCanvasOp::FillRect)
            out.push_back({QRectF(QPointF(c.Rect.Left, c.Rect.Top), QPointF(c.Rect.Right, c.Rect.Bottom)),
                           QColor::fromRgba(c.Color)});
    }
    return out;
}

TPQPaintBoxHarm& Harm() {
    static TPQPaintBoxHarm b;
    static bool ready = false;
    if (!ready) {
        b.SetFerroDisp(chartdefs::sdHrmIL);
        for (int ch = 0; ch < 4; ++ch) {
            THrm v;
            for (size_t i = 0; i < v.size(); ++i)
                v[i] = float(100.0 / double(i + 1) + ch);
            b.SetHrmVal(ch, v);
        }
        b.HrmRescale();
        b.SetHrmActIdx(5);
        b.SetSize(CW, CH);
        ready = true;
    }
    return b;
}

TPQPaintBoxVecDiag& Vec() {
    static TPQPaintBoxVecDiag b;
    static bool ready = false;
    if (!ready) {
        for (int p = 0; p < 3; ++p) {
            b.SetMagAngle(TVecPointer(vpU1E + p), {230.1f, 30 - 120.0f * p});
            b.SetMagAngle(TVecPointer(vpU12 + p), {398.6f, 60 - 120.0f * p});
            b.SetMagAngle(TVecPointer(vpI1 + p), {100.2f, 4 - 120.0f * p});
        }
        b.SetMagAngle(vpUNE, {0.4f, 200});
        b.SetSize(CW, CH);
        ready = true;
    }
    return b;
}

void Repaint(benchmark::State& state, TPQPaintBox& box) {
    QImage img(CW, CH, QImage::Format_ARGB32_Premultiplied);
    TPainterCanvas canvas(img);
    canvas.Font.Size = CFont;
    for (auto _ : state) {
        box.Paint(canvas);
        benchmark::DoNotOptimize(img.constBits());
    }
}

void Fill(benchmark::State& state, TPQPaintBox& box) {
    QImage img(CW, CH, QImage::Format_ARGB32_Premultiplied);
    const auto rects = FilledBy(box);
    state.counters["rects"] = double(rects.size());
    for (auto _ : state) {
        QPainter p(&img);
        for (const auto& r : rects)
            p.fillRect(r.Rect, r.Colour);
        p.end();
        benchmark::DoNotOptimize(img.constBits());
    }
}

void BM_HarmRepaint(benchmark::State& state) {
    Repaint(state, Harm());
}
void BM_HarmFill(benchmark::State& state) {
    Fill(state, Harm());
}
void BM_VecRepaint(benchmark::State& state) {
    Repaint(state, Vec());
}
void BM_VecFill(benchmark::State& state) {
    Fill(state, Vec());
}

BENCHMARK(BM_HarmFill)->Unit(benchmark::kMicrosecond)->Repetitions(5)->ReportAggregatesOnly(true);
BENCHMARK(BM_HarmRepaint)->Unit(benchmark::kMicrosecond)->Repetitions(5)->ReportAggregatesOnly(true);
BENCHMARK(BM_VecFill)->Unit(benchmark::kMicrosecond)->Repetitions(5)->ReportAggregatesOnly(true);
BENCHMARK(BM_VecRepaint)->Unit(benchmark::kMicrosecond)->Repetitions(5)->ReportAggregatesOnly(true);

} // namespace

int main(int argc, char** argv) {
    if (!qEnvironmentVariableIsSet("QT_QPA_PLATFORM")) qputenv("QT_QPA_PLATFORM", "offscreen");
    QGuiApplication app(argc, argv); // fonts for the chart texts
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
    bench::MedianReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    benchmark::Shutdown();

    const double hf = reporter.Time("BM_HarmFill"), hr = reporter.Time("BM_HarmRepaint");
    const double vf = reporter.Time("BM_VecFill"), vr = reporter.Time("BM_VecRepaint");
    std::printf(
        "\nmedian us per pass at %dx%d: harmonic chart %.1f (fill %.1f), vector diagram %.1f (fill %.1f)\n",
        CW, CH, hr / 1000, hf / 1000, vr / 1000, vf / 1000);
    // A figure left out by a filter has no line.
    if (hf > 0 && hr > 0) bench::Result("harm_repaint_vs_fill", hr / hf, "ratio", "<=", 3.0);
    if (vf > 0 && vr > 0) bench::Result("vector_repaint_vs_fill", vr / vf, "ratio", "<=", 3.0);
    return 0;
}
