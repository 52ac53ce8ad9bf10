// A week of 1-second values (604 800 records, 8 curves checked) in the stored-data view: from the
// click on the downloaded file to the painted chart, next to the bare AnalyseRecData of the same
// file in the same run; and the longest time the event loop did not turn meanwhile, measured by a
// timer that wakes every millisecond.
// Ends with one "RESULT <name> <value> <unit> goal <op> <limit> met|missed" line per figure:
// week1s_click_to_chart_vs_analyse, week1s_longest_stall_ms.
#include "BenchResult.h"

#include "data/DataFileHead.h"
#include "data/DataFileReader.h"
#include "forms/FormLayout.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QTemporaryDir>
#include <QTimer>
#include <QTreeWidget>

#include <chrono>
#include <fstream>

int main(int argc, char** argv) {
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    using namespace ferro;
    constexpr uint32_t kRecords = 604800, kCurves = 8;
    const uint32_t start = 1735689600;
    QTemporaryDir dir;
    const std::string path = dir.path().toStdString() + "/1s-0-1735689600.log";
    {
        TDataFileHead h;
        h.Context.Valid = 1;
        h.Context.DataClass = dc1s;
        h.Context.SampleRate = 1;
        h.Context.Start = {start, 0};
        h.EntrySize = 8 + 4 * kCurves;
        std::vector<TTblStrc> cols = {{CTimeColumnId, "", 0, psStamp, 0, 8, 0}};
        for (uint32_t c = 0; c < kCurves; ++c)
            cols.push_back(
                {0x1000u + c, c < 4 ? "V" : "A", uint8_t(c < 4 ? 1 : 2), psSingle, 8 + 4 * c, 4, 1});
        const std::vector<uint8_t> head = EncodeDataFileHead(h, cols, {{0, 0xFFFF}, {1, 0x01000000}}, {});
        std::ofstream out(path, std::ios::binary);
        out.write(reinterpret_cast<const char*>(head.data()), std::streamsize(head.size()));
        std::vector<uint8_t> rec(h.EntrySize);
        for (uint32_t r = 0; r < kRecords; ++r) {
            MemStream::pokeU32(rec.data(), start + r);
            for (uint32_t c = 0; c < kCurves; ++c)
                MemStream::pokeF32(rec.data() + 8 + 4 * c,
                                   (c < 4 ? 230.0f : 100.0f) + float((r * 7 + c) % 113) * 0.01f);
            out.write(reinterpret_cast<const char*>(rec.data()), std::streamsize(rec.size()));
        }
    }

    TFormLayout view;
    view.resize(1600, 900);
    view.show();
    std::vector<double> analyse, click, stalls;
    bool valid = true;
    for (int run = 0; run < 9; ++run) {
        auto t0 = std::chrono::steady_clock::now();
        double a = 0;
        {
            TRecData d;
            valid = AnalyseRecData(path, dc1s, d, nullptr) && d.Records() == kRecords && valid;
            a = std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count();
        }

        // The event loop's longest pause while the view reads, assembles and paints.
        qint64 longest = 0;
        QElapsedTimer beat;
        beat.start();
        QTimer ticker;
        QObject::connect(&ticker, &QTimer::timeout, [&] { longest = std::max(longest, beat.restart()); });
        ticker.start(1);
        QElapsedTimer wall;
        wall.start();
        view.RecToTable(path); // one group: drawn at once
        // The event loop as the window runs it: it sleeps until something comes (the ticker wakes
        // it each millisecond), and the chart is painted by the update the view asks for.
        // The view makes a new chart for each file: the first one seen is asked to tell its paints.
        bool painted = false;
        TPQPaintBoxCrvTime* hooked = nullptr;
        while (!painted && wall.elapsed() < 60000) {
            app.processEvents(QEventLoop::WaitForMoreEvents);
            if (view.Chart() && view.Chart() != hooked) {
                hooked = view.Chart();
                hooked->SetPaintNotify(
                    [&](TPQPaintBox*, uint32_t) { painted = hooked->GetMessCnt() == int(kRecords); });
            }
        }
        const double c = wall.nsecsElapsed() / 1e9;
        longest = std::max(longest, beat.elapsed());
        ticker.stop();
        valid = valid && painted && view.Chart()->GetCrvCnt() == int(kCurves);
        if (run > 0) {
            analyse.push_back(a);
            click.push_back(c);
            stalls.push_back(double(longest));
        }
    }
    std::printf("AnalyseRecData %.1f ms, click to painted chart %.1f ms, longest stall %.0f ms\n",
                bench::Median(analyse) * 1e3, bench::Median(click) * 1e3, bench::Median(stalls));
    bool met = bench::Result("week1s_click_to_chart_vs_analyse",
                             bench::Median(click) / bench::Median(analyse), "x", "<=", 2, valid);
    met &= bench::Result("week1s_longest_stall_ms", *std::max_element(stalls.begin(), stalls.end()), "ms",
                         "<=", 100, valid);
    return met ? 0 : 1;
}
