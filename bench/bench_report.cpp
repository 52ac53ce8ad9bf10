// Statistics of a year of 10-minute data (52 560 records, 600 columns spread over all six
// families) next to a baseline in the same run that reads the same file once and takes the
// maximum and the 95 % value of every column with std::nth_element; and the EN 50160 PDF report
// of a ferrosim week (recorder written in-process).
// Ends with one "RESULT <name> <value> <unit> goal <op> <limit> met|missed" line per figure:
// stats_year_vs_nth_element, stats_year_s, report_week_s.
#include "BenchResult.h"

#include "data/DataFileHead.h"
#include "data/RecordedRoot.h"
#include "foundation/MemStream.h"
#include "report/ENEvaluation.h"
#include "report/ENReportPdf.h"
#include "report/ENStatistic.h"

#include <QGuiApplication>
#include <QTemporaryDir>

#include <algorithm>
#include <cstdio>
#include <ctime>
#include <fstream>

namespace {

using namespace ferro;

// CPU time of this thread: the machine is shared with builds, whose load would otherwise be
// counted as ours. The work measured is single-threaded; the file comes from the page cache.
double cpuNow() {
    timespec t{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &t);
    return double(t.tv_sec) + double(t.tv_nsec) * 1e-9;
}

constexpr int CFamilies[6] = {sdHrmULE, sdHrmIL, sdIHrmULE, sdIHrmIL, sdFrqBandULE, sdFrqBandIL};

std::string WriteYear(const QTemporaryDir& dir) {
    constexpr uint32_t kRecords = 52560;
    const std::string path = dir.path().toStdString() + "/10min-0-1735689600.log";
    TDataFileHead h;
    h.Context.Valid = 1;
    h.Context.DataClass = dc10min;
    h.Context.Start = {1735689600, 0};
    std::vector<TTblStrc> cols = {{CTimeColumnId, "", 0, psStamp, 0, 8, 0}};
    // 25 orders of each of the four channels of each family: 600 columns.
    for (int disp : CFamilies) {
        const TRepFamily* f = RepFamily(disp);
        for (int ch = 0; ch < 4; ++ch)
            for (int o = 0; o < 25; ++o)
                cols.push_back({f->Base[size_t(ch)] | uint32_t(f->FirstOrder + o) << 8, "%", 5, psSingle,
                                cols.back().Offset + cols.back().Size, 4, 1});
    }
    h.EntrySize = cols.back().Offset + 4;
    const std::vector<uint8_t> head = EncodeDataFileHead(h, cols, {{0, 0xFFFF}, {1, 0x0203FFFF}}, {});
    std::ofstream out(path, std::ios::binary);
    out.write(reinterpret_cast<const char*>(head.data()), std::streamsize(head.size()));
    std::vector<uint8_t> rec(h.EntrySize);
    uint32_t x = 12345;
    for (uint32_t r = 0; r < kRecords; ++r) {
        MemStream::pokeU32(rec.data(), 1735689600 + 600 * (r + 1));
        for (size_t c = 1; c < cols.size(); ++c) {
            x = x * 1664525u + 1013904223u; // values in no order, as a sort would meet them
            MemStream::pokeF32(rec.data() + cols[c].Offset, float(x >> 8) / float(1u << 24) * 10.0f);
        }
        out.write(reinterpret_cast<const char*>(rec.data()), std::streamsize(rec.size()));
    }
    return path;
}

} // namespace

int main(int argc, char** argv) {
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QGuiApplication app(argc, argv);
    QTemporaryDir dir;
    const std::string year = WriteYear(dir);

    std::vector<double> base, ours;
    bool valid = true;
    float sink = 0;
    for (int run = 0; run < 4; ++run) {
        double t0 = cpuNow();
        {
            TRecData d;
            valid = AnalyseRecData(year, dc10min, d, nullptr) && valid;
            std::vector<float> v;
            for (size_t c = 1; c < d.RecDataLst.size(); ++c) {
                const TTblStrc& col = d.RecDataLst[c];
                v.resize(size_t(d.Records()));
                for (uint64_t r = 0; r < d.Records(); ++r)
                    v[r] = MemStream::peekF32(d.Stream.data() + r * d.RecMemSize + col.Offset);
                const size_t idx = v.size() * 95 / 100;
                std::nth_element(v.begin(), v.begin() + std::ptrdiff_t(idx), v.end());
                sink += v[idx] + *std::max_element(v.begin() + std::ptrdiff_t(idx), v.end());
            }
        }
        const double b = cpuNow() - t0;
        t0 = cpuNow();
        {
            TRecData d;
            valid = AnalyseRecData(year, dc10min, d, nullptr) && valid;
            int columns = 0;
            for (int disp : CFamilies) {
                TENStatistic s;
                ComputeENStatistic(d, disp, s, nullptr);
                columns += s.ValidSymbols;
                sink += s.P95[0][1];
            }
            valid = valid && columns == 600;
        }
        const double o = cpuNow() - t0;
        // The first run fills the page cache; it is not counted.
        if (run > 0) {
            base.push_back(b);
            ours.push_back(o);
        }
    }
    std::printf("CPU time: baseline (read + nth_element per column) %.0f ms, statistics of six families %.0f "
                "ms (%g)\n",
                bench::Median(base) * 1e3, bench::Median(ours) * 1e3, double(sink > 0));
    bool met = bench::Result("stats_year_vs_nth_element", bench::Median(ours) / bench::Median(base), "x",
                             "<=", 1.5, valid);
    met &= bench::Result("stats_year_s", bench::Median(ours), "s", "<", 1.0, valid);

    // A ferrosim week with its events, made into the PDF report.
    test::RecordedRoot root(7 * 86400 * test::kNs);
    const std::vector<std::string> recs = root.files(root.rec() + "/sync", "10min-");
    const std::vector<std::string> evts = root.files(root.evt(), "");
    std::vector<double> report;
    int pages = 0;
    for (int run = 0; run < 3 && !recs.empty(); ++run) {
        const double t0 = cpuNow();
        TENReport r;
        std::string error;
        valid =
            BuildENReport(recs.back(), evts, r, error) &&
            WriteENReportPdf(r, dir.path().toStdString() + "/week.pdf", error, [&](int p) { pages = p; }) &&
            valid;
        if (!error.empty()) std::fprintf(stderr, "%s\n", error.c_str());
        report.push_back(cpuNow() - t0);
    }
    std::printf("PDF report of a week: %d pages, %.0f ms\n", pages, bench::Median(report) * 1e3);
    met &= bench::Result("report_week_s", bench::Median(report), "s", "<", 2.0, valid && !recs.empty());
    return met ? 0 : 1;
}
