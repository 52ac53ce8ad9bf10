// A year of 10-minute data (52 560 records, 600 singles and the stamp each) read by AnalyseRecData
// next to a plain read of the same file into memory, in the same run; and the memory the reader
// takes beyond the records stream, counted by the allocator.
// Ends with one "RESULT <name> <value> <unit> goal <op> <limit> met|missed" line per figure:
// analyse_year_vs_read, analyse_year_extra_memory_percent.
#include "BenchResult.h"

#include "data/DataFileHead.h"
#include "data/DataFileReader.h"
#include "foundation/MemStream.h"

#include <QTemporaryDir>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <fstream>
#include <malloc.h>
#include <new>

namespace {

// Heap bytes in use and their peak, for the memory figure.
std::atomic<long long> gInUse{0}, gPeak{0};

void counted(void* p) {
    if (!p) return;
    const long long now = gInUse += (long long)malloc_usable_size(p);
    long long peak = gPeak.load();
    while (now > peak && !gPeak.compare_exchange_weak(peak, now)) {
    }
}

double seconds(std::chrono::steady_clock::time_point t0) {
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count();
}

} // namespace

// ThreadSanitizer's runtime brings its own allocation operators: under it the bench counts nothing.
#if defined(__has_feature)
#if __has_feature(thread_sanitizer)
#define FERRO_OWN_NEW 0
#endif
#endif
#ifndef FERRO_OWN_NEW
#define FERRO_OWN_NEW 1
#endif

#if FERRO_OWN_NEW
void* operator new(size_t n) {
    void* p = std::malloc(n ? n : 1);
    if (!p) throw std::bad_alloc();
    counted(p);
    return p;
}
void operator delete(void* p) noexcept {
    if (p) gInUse -= (long long)malloc_usable_size(p);
    std::free(p);
}
void operator delete(void* p, size_t) noexcept {
    operator delete(p);
}
#endif

int main() {
    using namespace ferro;
    constexpr uint32_t kRecords = 52560, kColumns = 600;
    QTemporaryDir dir;
    const std::string path = dir.path().toStdString() + "/10min-0-1735689600.log";
    {
        TDataFileHead h;
        h.Context.Valid = 1;
        h.Context.DataClass = dc10min;
        h.Context.Start = {1735689600, 0};
        h.EntrySize = 8 + 4 * kColumns;
        std::vector<TTblStrc> cols = {{CTimeColumnId, "", 0, psStamp, 0, 8, 0}};
        for (uint32_t c = 0; c < kColumns; ++c)
            cols.push_back({0x2030000u + c, "%", 5, psSingle, 8 + 4 * c, 4, 1});
        const std::vector<uint8_t> head = EncodeDataFileHead(h, cols, {{0, 0xFFFF}, {1, 0x0203FFFF}}, {});
        std::ofstream out(path, std::ios::binary);
        out.write(reinterpret_cast<const char*>(head.data()), std::streamsize(head.size()));
        std::vector<uint8_t> rec(h.EntrySize);
        for (uint32_t r = 0; r < kRecords; ++r) {
            MemStream::pokeU32(rec.data(), 1735689600 + 600 * (r + 1));
            for (uint32_t c = 0; c < kColumns; ++c)
                MemStream::pokeF32(rec.data() + 8 + 4 * c, float(r % 97) + 0.001f * c);
            out.write(reinterpret_cast<const char*>(rec.data()), std::streamsize(rec.size()));
        }
    }
    std::vector<double> plain, analyse;
    double extra = 0, streamBytes = 0;
    bool valid = true;
    for (int run = 0; run < 6; ++run) {
        auto t0 = std::chrono::steady_clock::now();
        {
            std::ifstream in(path, std::ios::binary | std::ios::ate);
            std::vector<char> bytes(size_t(in.tellg()));
            in.seekg(0);
            in.read(bytes.data(), std::streamsize(bytes.size()));
            valid = valid && bool(in);
        }
        const double p = seconds(t0);
        const long long before = gInUse.load();
        gPeak = before;
        t0 = std::chrono::steady_clock::now();
        {
            TRecData d;
            valid = AnalyseRecData(path, dc10min, d, nullptr) && d.Records() == kRecords && valid;
            const double a = seconds(t0);
            streamBytes = double(d.Stream.size());
            extra = double(gPeak.load() - before) - streamBytes;
            // The first run of each fills the page cache; it is not counted.
            if (run > 0) {
                plain.push_back(p);
                analyse.push_back(a);
            }
        }
    }
    const double ratio = bench::Median(analyse) / bench::Median(plain);
    std::printf("plain read %.1f ms, AnalyseRecData %.1f ms, stream %.0f MB, extra %.0f bytes\n",
                bench::Median(plain) * 1e3, bench::Median(analyse) * 1e3, streamBytes / 1e6, extra);
    bool met = bench::Result("analyse_year_vs_read", ratio, "x", "<=", 1.5, valid);
    met &=
        bench::Result("analyse_year_extra_memory_percent", 100.0 * extra / streamBytes, "%", "<=", 10, valid);
    return met ? 0 : 1;
}
