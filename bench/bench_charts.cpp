// Per-point cost of the axis normalisers over ten million points, next to a plain multiply-add
// over the same data in the same run. Prints the median of each and the ratios. Goal: a normaliser
// is a scale and an offset, so it costs at most twice the plain multiply-add.
// Ends with one "RESULT <name> <value> <unit> goal <op> <limit> met|missed" line per figure:
// tmnorm_vs_multiply_add, ynorm_vs_multiply_add.
#include "charts/TimeNorm.h"
#include "charts/YLinNorm.h"

#include <benchmark/benchmark.h>

#include "BenchResult.h"

#include <cstdint>
#include <cstdio>
#include <vector>

using namespace ferro;

namespace {

constexpr size_t CPoints = 10000000;
constexpr uint64_t CStart = 1709164800ull * 1000000000ull; // 2024-02-29 00:00 as linear time
constexpr uint64_t CStep = 10000;                          // 10 us between samples

const std::vector<uint64_t>& Times() {
    static const std::vector<uint64_t> t = [] {
        std::vector<uint64_t> v(CPoints);
        for (size_t i = 0; i < CPoints; ++i)
            v[i] = CStart + i * CStep;
        return v;
    }();
    return t;
}

const std::vector<float>& Values() {
    static const std::vector<float> v = [] {
        std::vector<float> r(CPoints);
        for (size_t i = 0; i < CPoints; ++i)
            r[i] = 230.0f + float(i % 1000) * 0.01f;
        return r;
    }();
    return v;
}

void BM_MultiplyAdd(benchmark::State& state) {
    const auto& t = Times();
    const double scale = 1600.0 / double(t.back() - t.front());
    std::vector<float> out(CPoints);
    for (auto _ : state) {
        for (size_t i = 0; i < CPoints; ++i)
            out[i] = float(double(t[i] - CStart) * scale + 40.0);
        benchmark::DoNotOptimize(out.data());
        benchmark::ClobberMemory();
    }
    state.counters["ns_per_point"] = benchmark::Counter(
        double(CPoints), benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}

void BM_TmNorm(benchmark::State& state) {
    const auto& t = Times();
    TTimeNorm norm;
    norm.SetSclMinMax(t.front(), t.back(), 40, 1600, 0);
    std::vector<float> out(CPoints);
    for (auto _ : state) {
        for (size_t i = 0; i < CPoints; ++i)
            out[i] = norm.TmNorm(t[i]);
        benchmark::DoNotOptimize(out.data());
        benchmark::ClobberMemory();
    }
    state.counters["ns_per_point"] = benchmark::Counter(
        double(CPoints), benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}

void BM_YNorm(benchmark::State& state) {
    const auto& v = Values();
    TYLinNorm norm;
    norm.FSclMin = 225;
    norm.FSclMax = 245;
    norm.SetSclMinMax(600, 560);
    std::vector<float> out(CPoints);
    for (auto _ : state) {
        for (size_t i = 0; i < CPoints; ++i)
            out[i] = float(norm.YNorm(v[i]));
        benchmark::DoNotOptimize(out.data());
        benchmark::ClobberMemory();
    }
    state.counters["ns_per_point"] = benchmark::Counter(
        double(CPoints), benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}

BENCHMARK(BM_MultiplyAdd)->Unit(benchmark::kMillisecond)->Repetitions(5)->ReportAggregatesOnly(true);
BENCHMARK(BM_TmNorm)->Unit(benchmark::kMillisecond)->Repetitions(5)->ReportAggregatesOnly(true);
BENCHMARK(BM_YNorm)->Unit(benchmark::kMillisecond)->Repetitions(5)->ReportAggregatesOnly(true);

} // namespace

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
    Times();
    Values();
    bench::MedianReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    benchmark::Shutdown();

    auto perPoint = [&](const char* n) { return reporter.Counter(n, "ns_per_point") * 1e9; };
    const double base = perPoint("BM_MultiplyAdd"), tm = perPoint("BM_TmNorm"), yn = perPoint("BM_YNorm");
    std::printf("\nmedian ns per point over %zu points: multiply-add %.3f, TmNorm %.3f, YNorm %.3f\n",
                CPoints, base, tm, yn);
    // A figure left out by a filter has no line.
    if (base > 0 && tm > 0) bench::Result("tmnorm_vs_multiply_add", tm / base, "ratio", "<=", 2.0);
    if (base > 0 && yn > 0) bench::Result("ynorm_vs_multiply_add", yn / base, "ratio", "<=", 2.0);
    return 0;
}
