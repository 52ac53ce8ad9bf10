// CPU cost of a live stream at the instrument's pace (one block a second) in the client, next to an
// idle event loop measured for the same time in the same run. Both are measured in five windows
// and the medians compared. Goal: the streaming client, decoding every block, takes less than 1 %
// of one core.
// Ends with one "RESULT <name> <value> <unit> goal <op> <limit> met|missed" line per figure:
// stream_client_cpu.
#include "BenchResult.h"
#include "CpuWindows.h"
#include "foundation/records/CsRecord.h"
#include "link/DeviceSession.h"
#include "support/SimProcess.h"

#include <QCoreApplication>

#include <cstdio>
#include <vector>

using namespace ferro;
using namespace ferro::test;
namespace {
constexpr int kWindows = 5;
} // namespace

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    const double secs = argc > 1 ? std::atof(argv[1]) : 20.0;
    const double window = secs / kWindows;

    const double idle = bench::Median(bench::CpuPercentInWindows(kWindows, window));

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
    const double streaming = bench::Median(bench::CpuPercentInWindows(kWindows, window));

    std::printf("live stream of 1-second values for %.0f s: %d blocks, %d decoded\n", secs, blocks, decoded);
    std::printf("idle event loop   %6.3f %% of one core (median of %d windows of %.0f s)\n", idle, kWindows,
                window);
    std::printf("streaming client  %6.3f %% of one core (median of %d windows, %.3f %% above idle)\n",
                streaming, kWindows, streaming - idle);
    // Without blocks, or with blocks that do not decode, the loop did not stream: no figure.
    bench::Result("stream_client_cpu", streaming, "%core", "<", 1.0, blocks > 0 && decoded == blocks);
    return blocks > 0 ? 0 : 1;
}
