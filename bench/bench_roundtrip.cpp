// Round trip of a plain command (request to handled reply) over the TCP and the SSH link, next to a
// raw socket ping-pong of the same 20/32 bytes measured in the same run. Loopback only. Goal: the
// median round trip over either link is at most twice the raw one plus 0.1 ms.
// Ends with one "RESULT <name> <value> <unit> goal <op> <limit> met|missed" line per figure:
// roundtrip_tcp_median, roundtrip_ssh_median.
#include "BenchResult.h"
#include "SshServer.h"
#include "link/TCPComUnit.h"
#include "support/FakeInstrument.h"

#include <QCoreApplication>

#include <QTemporaryDir>
#include <netinet/tcp.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <vector>

using namespace ferro;
using namespace ferro::test;
using Clock = std::chrono::steady_clock;

namespace {

struct Stats {
    double median = 0, p99 = 0;
};

Stats stats(std::vector<double> us) {
    std::sort(us.begin(), us.end());
    Stats s;
    if (us.empty()) return s;
    s.median = us[us.size() / 2];
    s.p99 = us[std::min(us.size() - 1, size_t(double(us.size()) * 0.99))];
    return s;
}

// A plain client against the same instrument: write the request, read the whole reply.
std::vector<double> rawPingPong(int port, int rounds) {
    int fd = ::socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in a{};
    a.sin_family = AF_INET;
    a.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    a.sin_port = htons(uint16_t(port));
    ::connect(fd, reinterpret_cast<sockaddr*>(&a), sizeof a);
    int one = 1;
    ::setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &one, sizeof one);
    std::vector<uint8_t> req = Frame(2, 0, 0, {});
    std::vector<double> out;
    uint8_t buf[64];
    for (int i = 0; i < rounds; ++i) {
        auto t0 = Clock::now();
        ::send(fd, req.data(), req.size(), 0);
        size_t got = 0;
        while (got < 32) {
            ssize_t n = ::recv(fd, buf, sizeof buf, 0);
            if (n <= 0) break;
            got += size_t(n);
        }
        out.push_back(std::chrono::duration<double, std::micro>(Clock::now() - t0).count());
    }
    ::close(fd);
    return out;
}

std::vector<double> linkRoundTrips(TTCPComUnit& link, int rounds) {
    std::vector<double> out;
    for (int i = 0; i < rounds; ++i) {
        auto t0 = Clock::now();
        link.SendNamed("CCC_IDENTIFY_BASIC");
        auto limit = t0 + std::chrono::seconds(5);
        while (link.FWaitForAnswer && Clock::now() < limit)
            QCoreApplication::processEvents(QEventLoop::AllEvents);
        out.push_back(std::chrono::duration<double, std::micro>(Clock::now() - t0).count());
    }
    return out;
}

bool openLink(TTCPComUnit& link, int port) {
    bool done = false;
    link.FOnConnDone = [&](TSender, bool ok) { done = ok; };
    link.SetIPAndPort("127.0.0.1", port, 0);
    link.DoConnect();
    return WaitFor([&] { return done; }, 10000);
}

void report(const char* name, const Stats& s, const Stats& base) {
    std::printf("%-28s median %8.1f us  p99 %8.1f us   ratio to raw: median %.2fx  p99 %.2fx\n", name,
                s.median, s.p99, s.median / base.median, s.p99 / base.p99);
}

} // namespace

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    const int rounds = argc > 1 ? std::atoi(argv[1]) : 2000;

    FakeInstrument tcpDev;
    Stats raw = stats(rawPingPong(tcpDev.port(), rounds));

    TTCPComUnit tcp(false);
    if (!openLink(tcp, tcpDev.port())) {
        std::fprintf(stderr, "TCP link did not open\n");
        return 1;
    }
    Stats tcpStats = stats(linkRoundTrips(tcp, rounds));

    FakeInstrument sshDev;
    QTemporaryDir dir;
    ferrosim::SshServer::Config cfg;
    cfg.hostKeyFile = dir.path().toStdString() + "/key";
    cfg.framePort = sshDev.port();
    ferrosim::SshServer server(
        cfg, [](const std::string&, const std::string&) { return true; }, nullptr);
    std::string error;
    if (!server.Start(error)) {
        std::fprintf(stderr, "SSH server: %s\n", error.c_str());
        return 1;
    }
    TTCPComUnit ssh(true);
    ssh.SetSSHUserPass("admin", "admin");
    // The benchmark trusts its own loopback server's key.
    ssh.FDisplayConnMessage = [](const std::string&, TMsgDlgType, TThreadedMessageCallBack cb, TMsgDlgButtons,
                                 TMsgDlgBtn) {
        if (cb) cb(nullptr, mrYes);
    };
    if (!openLink(ssh, server.Port())) {
        std::fprintf(stderr, "SSH link did not open\n");
        return 1;
    }
    Stats sshStats = stats(linkRoundTrips(ssh, rounds));

    std::printf("plain command round trip, %d rounds each, loopback\n", rounds);
    std::printf("%-28s median %8.1f us  p99 %8.1f us\n", "raw socket ping-pong", raw.median, raw.p99);
    report("TCP link (CCC_IDENTIFY_BASIC)", tcpStats, raw);
    report("SSH link (CCC_IDENTIFY_BASIC)", sshStats, raw);
    const double limit = 2 * raw.median + 100;
    bench::Result("roundtrip_tcp_median", tcpStats.median, "us", "<=", limit);
    bench::Result("roundtrip_ssh_median", sshStats.median, "us", "<=", limit);
    return 0;
}
