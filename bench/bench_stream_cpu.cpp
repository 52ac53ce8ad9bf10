// CPU cost of a live stream at the instrument's pace (one block a second) in the client, next to an
// idle event loop measured for the same time in the same run.
#include "foundation/records/CsRecord.h"
#include "link/DeviceSession.h"
#include "support/SimProcess.h"

#include <QCoreApplication>
#include <QEventLoop>
#include <QTimer>

#include <sys/resource.h>

#include <chrono>
#include <cstdio>

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
} // namespace

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    const double secs = argc > 1 ? std::atof(argv[1]) : 20.0;

    double c0 = cpuSeconds();
    spin(secs);
    double idle = cpuSeconds() - c0;

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
        if (TCsRecord::Decode(l.FBytes.FBytes.data(), l.FBytes.FBytes.size(), l.Identity().Rev.Gen)) ++decoded;
    };
    l.SendCommand("CCC_STREAM_START", CmdStream, 0, 1, CDataObj[4]);
    l.ManualTimer(nullptr);
    auto t0 = Clock::now();
    c0 = cpuSeconds();
    spin(secs);
    double streaming = cpuSeconds() - c0;
    double wall = std::chrono::duration<double>(Clock::now() - t0).count();

    std::printf("live stream of 1-second values for %.0f s: %d blocks, %d decoded\n", wall, blocks, decoded);
    std::printf("idle event loop   %6.3f %% of one core\n", 100.0 * idle / secs);
    std::printf("streaming client  %6.3f %% of one core   (%.3f %% above idle)\n", 100.0 * streaming / wall,
                100.0 * (streaming / wall - idle / secs));
    return blocks > 0 ? 0 : 1;
}
