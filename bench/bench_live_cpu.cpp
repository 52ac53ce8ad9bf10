// CPU cost of the live view in the client: one view with the oscilloscope (all twelve channels of
// each block) and one with the harmonic chart, both shown and repainting at the instrument's pace,
// next to an idle event loop measured for the same time in the same run (five windows each, medians
// compared). Goal: under 5 % of one core.
// Ends with one "RESULT <name> <value> <unit> goal <op> <limit> met|missed" line per figure:
// live_osc_harm_cpu_percent.
#include "BenchResult.h"
#include "CpuWindows.h"
#include "charts/PQPaintBoxCrvTime.h"
#include "forms/FormVisu.h"
#include "support/SimProcess.h"

#include <QApplication>
#include <QDir>
#include <QTemporaryDir>
#include <QToolButton>

#include <chrono>
#include <cstdio>
#include <vector>

using namespace ferro;
using namespace ferro::test;
using SteadyClock = std::chrono::steady_clock;

namespace {

bool Until(const std::function<bool()>& Done, int Ms) {
    const auto end = SteadyClock::now() + std::chrono::milliseconds(Ms);
    while (!Done() && SteadyClock::now() < end)
        bench::Spin(0.05);
    return Done();
}

constexpr int kWindows = 5;

} // namespace

int main(int argc, char** argv) {
    if (!qEnvironmentVariableIsSet("QT_QPA_PLATFORM")) qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    const double secs = argc > 1 ? std::atof(argv[1]) : 20.0;
    const double window = secs / kWindows;
    const double idle = bench::Median(bench::CpuPercentInWindows(kWindows, window));

    SimProcess sim;
    QTemporaryDir dir;
    TConnectionRec rec;
    rec.Port = sim.port();
    rec.Folders = {dir.filePath("data/").toStdString(), dir.filePath("ini/").toStdString(),
                   dir.filePath("tmp/").toStdString()};
    for (const std::string& f : {rec.Folders.Data, rec.Folders.Ini, rec.Folders.Tmp})
        QDir().mkpath(QString::fromStdString(f));
    TFormVisu scope, harm;
    for (TFormVisu* v : {&scope, &harm}) {
        v->resize(1280, 720);
        v->show();
        v->Open(rec);
    }
    if (!Until([&] { return scope.Established() && harm.Established(); }, 30000)) {
        std::fprintf(stderr, "ferrosim not reached\n");
        return 1;
    }
    for (int i = 0; i < COsciChannels; ++i)
        if (auto* b = scope.findChild<QToolButton*>(i == 11 ? QString("btnIR") : QString("btnCol%1").arg(i)))
            b->setChecked(true);
    scope.OpenDisplay(sdOsziTime);
    harm.OpenDisplay(sdHrmULE);
    int blocks = 0, paints = 0;
    QObject::connect(&scope, &TFormVisu::PageUpdated, [&] { ++blocks; });
    QObject::connect(&harm, &TFormVisu::PageUpdated, [&] { ++paints; });
    if (!Until([&] { return scope.FReaders.Oszi && scope.FReaders.Oszi->GetMessCnt() > 0; }, 10000)) {
        std::fprintf(stderr, "no oscilloscope block\n");
        return 1;
    }
    const int samples = scope.FReaders.Oszi->GetMessCnt(), curves = scope.FReaders.Oszi->GetCrvCnt();
    const double live = bench::Median(bench::CpuPercentInWindows(kWindows, window));

    std::printf(
        "oscilloscope %d curves x %d samples a block, %d blocks; harmonic chart %d updates in %.0f s\n",
        curves, samples, blocks, paints, secs);
    std::printf(
        "idle event loop %6.3f %% of one core, live view %6.3f %% (medians of %d windows of %.0f s)\n", idle,
        live, kWindows, window);
    bench::Result("live_osc_harm_cpu_percent", live, "%core", "<", 5.0, blocks > 0 && paints > 0);
    return 0;
}
