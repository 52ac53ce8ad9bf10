// Record decoding speed: a 3-second object into the harmonic arrays and a 2048-sample oscilloscope
// object into curves, each next to a plain memcpy of the same bytes in the same run. Prints the
// median ns per object and the ratio decode / memcpy at the end. Goal: a decoder reads each byte
// once and writes it once in another shape, so it costs at most four copies of the object.
// Ends with one "RESULT <name> <value> <unit> goal <op> <limit> met|missed" line per figure:
// decode_150t_vs_memcpy, decode_osc2048_vs_memcpy.
#include "foundation/records/FieldTable.h"
#include "foundation/records/HarmRecord.h"
#include "foundation/records/OscRecord.h"
#include "foundation/records/RecordCodec.h"

#include <benchmark/benchmark.h>

#include "BenchResult.h"

#include <cmath>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

using namespace ferro;

namespace {

constexpr uint8_t kGen = 2;
constexpr uint32_t kOscSamples = 2048;

// A 3-second object with falling harmonic spectra, built by the simulator's encoder.
std::vector<uint8_t> make150t() {
    TRecordValues v(*TFieldTable::Instance().RecordFor(do150T, kGen));
    for (const char* ch : {"U1E", "U2E", "U3E", "UNE", "U12", "U23", "U31"})
        for (size_t h = 0; h < 51; ++h)
            v.Set("u_std_t", std::string("H ") + ch, 5.0 / double(h + 1), h);
    for (const char* ch : {"I1", "I2", "I3", "IN"})
        for (size_t h = 0; h < 51; ++h)
            v.Set("i_std_t_V2_2", std::string("H ") + ch, 20.0 / double(h + 1), h);
    return TRecordCodec::Encode(v);
}

// 2048 samples of a 50 Hz three-phase supply at 10240 samples per second.
std::vector<uint8_t> makeOsc() {
    TRecordValues v(*TFieldTable::Instance().RecordFor(doOsc, kGen));
    v.Set("osc_t_V2_0", "smplrte", 10240);
    v.SetTailCount(kOscSamples);
    const char* names[] = {"u1", "u2", "u3", "uN", "u12", "u23", "u31", "i1", "i2", "i3", "iN", "iR"};
    for (uint32_t k = 0; k < kOscSamples; ++k)
        for (int c = 0; c < 12; ++c)
            v.TailSet(k, names[c], 325.0 * std::sin(2 * M_PI * 50.0 * k / 10240.0 - c * 2.0944));
    return TRecordCodec::Encode(v);
}

const std::vector<uint8_t>& obj150t() {
    static const std::vector<uint8_t> b = make150t();
    return b;
}
const std::vector<uint8_t>& objOsc() {
    static const std::vector<uint8_t> b = makeOsc();
    return b;
}

void memcpyObject(benchmark::State& state, const std::vector<uint8_t>& src) {
    std::vector<uint8_t> dst(src.size());
    for (auto _ : state) {
        std::memcpy(dst.data(), src.data(), src.size());
        benchmark::DoNotOptimize(dst.data());
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(int64_t(state.iterations() * src.size()));
}

void BM_Memcpy_150t(benchmark::State& state) {
    memcpyObject(state, obj150t());
}

void BM_Decode_150t(benchmark::State& state) {
    const auto& b = obj150t();
    THarmValues v;
    for (auto _ : state) {
        bool ok = THarmRecord::DecodeInto(b.data(), b.size(), kGen, v);
        benchmark::DoNotOptimize(ok);
        benchmark::DoNotOptimize(v.HrmIL[3][50]);
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(int64_t(state.iterations() * b.size()));
}

void BM_Memcpy_Osc2048(benchmark::State& state) {
    memcpyObject(state, objOsc());
}

void BM_Decode_Osc2048(benchmark::State& state) {
    const auto& b = objOsc();
    TOscCurves c;
    for (auto _ : state) {
        bool ok = TOscRecord::DecodeInto(b.data(), b.size(), kGen, 1700000000ull * 1000000000ull, c);
        benchmark::DoNotOptimize(ok);
        benchmark::DoNotOptimize(c.Ch[11][kOscSamples - 1]);
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(int64_t(state.iterations() * b.size()));
}

} // namespace

BENCHMARK(BM_Memcpy_150t)->Repetitions(5)->ReportAggregatesOnly(true);
BENCHMARK(BM_Decode_150t)->Repetitions(5)->ReportAggregatesOnly(true);
BENCHMARK(BM_Memcpy_Osc2048)->Repetitions(5)->ReportAggregatesOnly(true);
BENCHMARK(BM_Decode_Osc2048)->Repetitions(5)->ReportAggregatesOnly(true);

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
    bench::MedianReporter rep;
    benchmark::RunSpecifiedBenchmarks(&rep);
    benchmark::Shutdown();
    auto line = [&](const char* name, const char* what, const char* dec, const char* cpy, size_t bytes) {
        const double d = rep.Time(dec), c = rep.Time(cpy);
        if (d <= 0 || c <= 0) return; // left out by a filter
        std::printf("%-28s %7zu bytes  decode %9.1f ns/object  memcpy %8.1f ns/object (median of 5)\n", what,
                    bytes, d, c);
        bench::Result(name, c > 0 ? d / c : 0.0, "x_memcpy", "<=", 4.0);
    };
    std::printf("\n");
    line("decode_150t_vs_memcpy", "c_150t_t -> harmonic arrays", "BM_Decode_150t", "BM_Memcpy_150t",
         obj150t().size());
    line("decode_osc2048_vs_memcpy", "osc 2048 samples -> curves", "BM_Decode_Osc2048", "BM_Memcpy_Osc2048",
         objOsc().size());
    return 0;
}
