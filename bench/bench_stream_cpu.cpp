// CPU cost of a live stream at the instrument's pace (one block a second) in the client, next to an
// idle event loop measured for the same time in the same run. Both are measured in five windows
// and the medians compared. Goal: the streaming client, decoding every block, takes less than 1 %
// of one core.
// Ends with one "RESULT <name> <value> <unit> goal <op> <limit> met|missed" line per figure:
// stream_client_cpu.
#include "BenchResult.h"
#include "foundation/records/CsRecord.h"
#include "link/DeviceSession.h"
#include "support/SimProcess.h"

#include <QCoreApplication>
#include <QEventLoop>
#include <QTimer>

#include <sys/resource.h>

#include <chrono>
#include <cstdio>
#include <vector>

using namespace ferro;
using namespace ferro::test;
using Clock = std::chrono::steady_clock;

namespace {
double cpuSeconds() {
    rusage u{};
    getrusage(RUSAGE_SELF, &u);
    return double(u.ru_utime.tv_sec + u.ru_stime.tv_sec) +
           double(u.ru_utime.tv_usec + u.ru_stime.tv_usec) / 1e6;
}

// Runs the event loop for `secs`, sleeping whenever there is nothing to do.
void spin(double secs) {
    QEventLoop loop;
    QTimer::singleShot(int(secs * 1000), &loop, &QEventLoop::quit);
    loop.exec();
}

// Percent of one core used while the event loop runs, one figure per window.
std::vector<double> cpuPercentInWindows(int windows, double secs) {
    std::vector<double> out;
    for (int i = 0; i < windows; ++i) {
        const double c0 = cpuSeconds();
        const auto t0 = Clock::now();
        spin(secs);
        const double wall = std::chrono::duration<double>(Clock::now() - t0).count();
        out.push_back(100.0 * (cpuSeconds() - c0) / wall);
    }
    return out;
}

constexpr int kWindows = 5;
} // namespace

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    const double secs = argc > 1 ? std::atof(argv[1]) : 20.0;
    const double window = secs / kWindows;

    const double idle = bench::Median(cpuPercentInWindows(kWindows, window));

    SimProcess sim;
    TConnectionRec o;
    o.Port = sim.port();
    TDeviceSession session(o);
    if (!session.OpenAndWait(30000)) {
        std::fprintf(stderr, "%s\n", session.LastError().Text.c_str());
        return 1;
    }
    TComUnit& l = session.Link();
    int blocks = 0, decoded = 0;
    l.FUpdateGrid = [&](TSender) {
        ++blocks;
        if (TCsRecord::Decode(l.FBytes.FBytes.data(), l.FBytes.FBytes.size(), l.Identity().Rev.Gen))
            ++decoded;
    };
    l.SendCommand("CCC_STREAM_START", CmdStream, 0, 1, CDataObj[4]);
    l.ManualTimer(nullptr);
    const double streaming = bench::Median(cpuPercentInWindows(kWindows, window));

    std::printf("live stream of 1-second values for %.0f s: %d blocks, %d decoded\n", secs, blocks, decoded);
    std::printf("idle event loop   %6.3f %% of one core (median of %d windows of %.0f s)\n", idle, kWindows,
                window);
    std::printf("streaming client  %6.3f %% of one core (median of %d windows, %.3f %% above idle)\n",
                streaming, kWindows, streaming - idle);
    // Without blocks, or with blocks that do not decode, the loop did not stream: no figure.
    bench::Result("stream_client_cpu", streaming, "%core", "<", 1.0, blocks > 0 && decoded == blocks);
    return blocks > 0 ? 0 : 1;
}
