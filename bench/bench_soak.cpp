// Soak: many cycles of connect, identify, a small download and close against one ferrosim, spread
// over TCP, SSH and the serial line. Neither process may keep a file descriptor or a connection slot
// per cycle, and resident memory after the warm-up stays within 5 %.
//
//   bench_soak [CYCLES] [SERIAL_EVERY]
//
// CYCLES (default 1000) alternate between TCP and SSH; every SERIAL_EVERY-th (default 10) goes over
// the serial line, whose opening and closing take about 4 s by themselves.
// Ends with one "RESULT <name> <value> <unit> goal <op> <limit> met|missed" line per figure.
#include "BenchResult.h"
#include "link/DeviceSession.h"
#include "support/SimProcess.h"

#include <QCoreApplication>
#include <QTemporaryDir>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <unistd.h>

using namespace ferro;
using namespace ferro::test;
namespace fs = std::filesystem;

namespace {

const char* kEvent = "Dip-1763772600-250000000.evt";

long openFds(qint64 pid) {
    std::error_code ec;
    long n = 0;
    for (auto it = fs::directory_iterator("/proc/" + std::to_string(pid) + "/fd", ec);
         !ec && it != fs::directory_iterator(); it.increment(ec))
        ++n;
    return n;
}

double rssKiB(qint64 pid) {
    std::ifstream in("/proc/" + std::to_string(pid) + "/statm");
    long pages = 0, resident = 0;
    in >> pages >> resident;
    return double(resident) * double(::sysconf(_SC_PAGESIZE)) / 1024.0;
}

size_t count(const std::string& text, const std::string& part) {
    size_t n = 0;
    for (size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1))
        ++n;
    return n;
}

// One cycle; false with the reason on stderr.
bool cycle(const SimProcess& sim, TTransport line, const std::string& dir) {
    TConnectionRec rec;
    rec.Transport = line;
    rec.Port = line == TTransport::Ssh ? sim.sshPort() : sim.port();
    rec.SerialDevice = sim.serial();
    rec.SshUser = "admin";
    rec.SshPassword = "admin";
    rec.Folders.Ini = dir + "/ini/";
    rec.Folders.Tmp = dir + "/tmp/";
    rec.Folders.Data = dir + "/data/";
    TDeviceSession session(rec);
    session.DefaultAnswer = mrYes; // the simulator's host key
    if (!session.OpenAndWait(30000) || session.Link().Identity().SN == 0) {
        std::fprintf(stderr, "open failed: %s\n", session.LastError().Text.c_str());
        return false;
    }
    bool done = false;
    TReply reply;
    session.Link().ReadFile(true, kEvent, 0, [&](const TReply& r) {
        reply = r;
        done = true;
    });
    session.Link().ManualTimer(nullptr);
    const bool got = session.WaitFor([&] { return done; }, 20000) && reply.Ok;
    if (got) fs::remove(reply.File);
    session.CloseAndWait();
    if (!got) std::fprintf(stderr, "download failed: %s\n", reply.Text.c_str());
    return got;
}

} // namespace

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    const int cycles = argc > 1 ? std::max(10, std::atoi(argv[1])) : 1000;
    const int serialEvery = argc > 2 ? std::max(1, std::atoi(argv[2])) : 10;
    const int warmUp = std::max(5, cycles / 10);
    QTemporaryDir work;
    const std::string dir = work.path().toStdString();
    for (const char* sub : {"/ini", "/tmp", "/data"})
        fs::create_directories(dir + sub);
    SimProcess sim({"--ssh-port", "0", "--serial"});
    if (!sim.ok() || sim.sshPort() == 0 || sim.serial().empty()) {
        std::fprintf(stderr, "ferrosim did not start\n");
        return 1;
    }
    const qint64 self = QCoreApplication::applicationPid();
    long fdsSelf = 0, fdsSim = 0;
    double rssSelf = 0, rssSim = 0;
    int failed = 0, tcp = 0, ssh = 0, serial = 0;
    const auto t0 = std::chrono::steady_clock::now();
    for (int i = 0; i < cycles; ++i) {
        const TTransport line = (i + 1) % serialEvery == 0 ? TTransport::Serial
                                : i % 2 == 0               ? TTransport::Tcp
                                                           : TTransport::Ssh;
        (line == TTransport::Serial ? serial : line == TTransport::Ssh ? ssh : tcp)++;
        if (!cycle(sim, line, dir) && ++failed == 1) {
            std::fprintf(stderr, "first failure in cycle %d\n", i + 1);
            sim.keepLog();
        }
        if (i + 1 == warmUp) {
            fdsSelf = openFds(self);
            fdsSim = openFds(sim.pid());
            rssSelf = rssKiB(self);
            rssSim = rssKiB(sim.pid());
        }
        if ((i + 1) % 50 == 0) std::fprintf(stderr, "%d/%d\n", i + 1, cycles);
    }
    const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count();
    // The simulator has seen every close by now; its log tells the connections it still holds.
    const std::string log = sim.log();
    const long held = long(count(log, "connected from")) - long(count(log, "] disconnected"));
    const long fdSelf = openFds(self) - fdsSelf, fdSim = openFds(sim.pid()) - fdsSim;
    const long fdGrowth = std::max(fdSelf, fdSim);
    std::printf("descriptors after the warm-up: client %+ld, simulator %+ld\n", fdSelf, fdSim);
    const double rssSelfEnd = rssKiB(self), rssSimEnd = rssKiB(sim.pid());
    const double rssGrowth =
        std::max((rssSelfEnd - rssSelf) / rssSelf, (rssSimEnd - rssSim) / rssSim) * 100.0;
    std::printf("resident at the end: client %.0f KiB, simulator %.0f KiB\n", rssSelfEnd, rssSimEnd);
    std::printf("%d cycles (%d TCP, %d SSH, %d serial) in %.1f s, %d failed, %ld connections held; "
                "after the warm-up of %d cycles: client %.0f KiB, simulator %.0f KiB resident\n",
                cycles, tcp, ssh, serial, seconds, failed, held, warmUp, rssSelf, rssSim);
    const bool clean = failed == 0 && held == 0;
    bool ok = bench::Result("soak_fd_growth", double(fdGrowth), "fds", "<=", 0, clean);
    ok = bench::Result("soak_rss_growth_percent", rssGrowth, "%", "<=", 5, clean) && ok;
    ok = bench::Result("soak_cycles_per_s", cycles / seconds, "1/s", ">=", 1, clean) && ok;
    return ok ? 0 : 1;
}
