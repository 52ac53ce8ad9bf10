// Per-point cost of the axis normalisers over ten million points, next to a plain multiply-add
// over the same data in the same run. Prints the median of each and the ratios.
#include "charts/TimeNorm.h"
#include "charts/YLinNorm.h"

#include <benchmark/benchmark.h>

#include <cstdint>
#include <cstdio>
#include <map>
#include <string>
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

// Keeps the median per-point figure of each benchmark while the console output goes on as usual.
class MedianReporter : public benchmark::ConsoleReporter {
public:
    std::map<std::string, double> Medians;
    void ReportRuns(const std::vector<Run>& runs) override {
        for (const auto& r : runs) {
            if (r.aggregate_name != "median") continue;
            auto it = r.counters.find("ns_per_point");
            if (it != r.counters.end()) Medians[r.run_name.function_name] = it->second.value * 1e9;
        }
        ConsoleReporter::ReportRuns(runs);
    }
};

} // namespace

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
    Times();
    Values();
    MedianReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    benchmark::Shutdown();

    const auto& m = reporter.Medians;
    auto get = [&](const char* n) {
        auto it = m.find(n);
        return it == m.end() ? 0.0 : it->second;
    };
    const double base = get("BM_MultiplyAdd"), tm = get("BM_TmNorm"), yn = get("BM_YNorm");
    std::printf("\nmedian ns per point over %zu points: multiply-add %.3f, TmNorm %.3f, YNorm %.3f\n",
                CPoints, base, tm, yn);
    if (base > 0) std::printf("ratio to multiply-add: TmNorm %.2fx, YNorm %.2fx\n", tm / base, yn / base);
    return 0;
}
