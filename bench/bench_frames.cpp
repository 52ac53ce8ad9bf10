// Frame assembly speed: stream-block frames and 64 KiB file frames fed in 64 KiB reads, and the
// cost per frame when 1, 100 or 10 000 frames wait in the buffer at once. The baseline is a plain
// memcpy of the same bytes in the same run. Goals: at least 2 GB/s of frames, and a frame costs at
// most twice as much with 10 000 waiting as with one.
// Ends with one "RESULT <name> <value> <unit> goal <op> <limit> met|missed" line per figure:
// assemble_stream_blocks, assemble_file_frames, waiting_10000_vs_1_per_frame.
#include "link/FrameAssembler.h"

#include <benchmark/benchmark.h>

#include "BenchResult.h"

#include <cstring>
#include <vector>

using namespace ferro;

namespace {

std::vector<uint8_t> makeFrames(size_t payload, size_t count, uint8_t cmd, uint16_t ext) {
    std::vector<uint8_t> out;
    out.reserve((payload + 20) * count);
    ccc_head_t h;
    h.Cmd = cmd;
    h.ExtCmd = ext;
    h.Ver = 5;
    h.FTPNAK = 4;
    h.Size = uint32_t(payload + 20);
    std::vector<uint8_t> frame(payload + 20, 0x5A);
    h.encode(frame.data());
    for (size_t i = 0; i < count; ++i)
        out.insert(out.end(), frame.begin(), frame.end());
    return out;
}

void feedInReads(benchmark::State& state, size_t payload, uint8_t cmd, uint16_t ext) {
    const size_t frames = (64u << 20) / (payload + 20); // about 64 MiB per iteration
    std::vector<uint8_t> wire = makeFrames(payload, frames, cmd, ext);
    size_t delivered = 0;
    uint64_t sink = 0;
    for (auto _ : state) {
        TFrameAssembler a;
        a.FOnFrame = [&](const uint8_t* f, size_t n) {
            // The one copy a frame takes on its way to the dispatcher.
            std::vector<uint8_t> copy(f, f + n);
            sink += copy[n - 1];
            ++delivered;
        };
        for (size_t off = 0; off < wire.size(); off += 65536) {
            size_t n = std::min<size_t>(65536, wire.size() - off);
            a.Append(wire.data() + off, n);
            while (a.ReadData()) {
            }
        }
    }
    benchmark::DoNotOptimize(sink);
    state.SetBytesProcessed(int64_t(state.iterations() * wire.size()));
    state.counters["frames/s"] = benchmark::Counter(double(delivered), benchmark::Counter::kIsRate);
}

void BM_Baseline_Memcpy64MiB(benchmark::State& state) {
    std::vector<uint8_t> src(64u << 20, 0x5A), dst(64u << 20);
    for (auto _ : state) {
        for (size_t off = 0; off < src.size(); off += 65536)
            std::memcpy(dst.data() + off, src.data() + off, 65536);
        benchmark::DoNotOptimize(dst.data());
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(int64_t(state.iterations() * src.size()));
}

void BM_Assemble_StreamBlocks(benchmark::State& state) {
    feedInReads(state, 2328, 4, 3);
}
void BM_Assemble_FileFrames64KiB(benchmark::State& state) {
    feedInReads(state, 65536, 5, 1);
}

// All frames are in the buffer before the first pass: the cost per frame must not grow with the count.
void BM_Assemble_WaitingFrames(benchmark::State& state) {
    const size_t count = size_t(state.range(0));
    std::vector<uint8_t> wire = makeFrames(2328, count, 4, 3);
    size_t delivered = 0;
    for (auto _ : state) {
        TFrameAssembler a;
        a.FOnFrame = [&](const uint8_t*, size_t) { ++delivered; };
        a.Append(wire.data(), wire.size());
        while (a.ReadData()) {
        }
    }
    state.SetItemsProcessed(int64_t(state.iterations() * count));
    state.counters["ns/frame"] =
        benchmark::Counter(double(delivered), benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}

} // namespace

BENCHMARK(BM_Baseline_Memcpy64MiB)->Unit(benchmark::kMillisecond)->Repetitions(5)->ReportAggregatesOnly(true);
BENCHMARK(BM_Assemble_StreamBlocks)
    ->Unit(benchmark::kMillisecond)
    ->Repetitions(5)
    ->ReportAggregatesOnly(true);
BENCHMARK(BM_Assemble_FileFrames64KiB)
    ->Unit(benchmark::kMillisecond)
    ->Repetitions(5)
    ->ReportAggregatesOnly(true);
BENCHMARK(BM_Assemble_WaitingFrames)
    ->Arg(1)
    ->Arg(100)
    ->Arg(10000)
    ->Repetitions(5)
    ->ReportAggregatesOnly(true);

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
    bench::MedianReporter rep;
    benchmark::RunSpecifiedBenchmarks(&rep);
    benchmark::Shutdown();

    auto gbs = [&](const char* key) { return rep.Counter(key, "bytes_per_second") / 1e9; };
    std::printf("\nmedians of 5 runs\n");
    std::printf("baseline memcpy in 64 KiB blocks   %6.2f GB/s\n", gbs("BM_Baseline_Memcpy64MiB"));
    std::printf("stream blocks (2348-byte frames)   %6.2f GB/s\n", gbs("BM_Assemble_StreamBlocks"));
    std::printf("file frames (64 KiB payload)       %6.2f GB/s\n", gbs("BM_Assemble_FileFrames64KiB"));
    const double one = rep.Counter("BM_Assemble_WaitingFrames/1", "ns/frame") * 1e9;
    const double many = rep.Counter("BM_Assemble_WaitingFrames/10000", "ns/frame") * 1e9;
    std::printf("ns per frame with 1 / 100 / 10000 waiting: %.1f / %.1f / %.1f\n", one,
                rep.Counter("BM_Assemble_WaitingFrames/100", "ns/frame") * 1e9, many);
    // A figure left out by a filter has no line.
    if (gbs("BM_Assemble_StreamBlocks") > 0)
        bench::Result("assemble_stream_blocks", gbs("BM_Assemble_StreamBlocks"), "GB/s", ">=", 2.0);
    if (gbs("BM_Assemble_FileFrames64KiB") > 0)
        bench::Result("assemble_file_frames", gbs("BM_Assemble_FileFrames64KiB"), "GB/s", ">=", 2.0);
    if (one > 0 && many > 0) bench::Result("waiting_10000_vs_1_per_frame", many / one, "ratio", "<=", 2.0);
    return 0;
}
