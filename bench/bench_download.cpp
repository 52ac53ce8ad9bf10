// Downloading one large recording from ferrosim: over frames and over FTP, each next to its
// baseline measured in the same run. Frames are held against raw loopback TCP written into a file
// (a plain sender and a receiver that stores: the ceiling of any download that keeps its data),
// our FTP client against curl fetching the same file from the same server. Runs of a road and its
// baseline take turns, and the figure is the median of the pairs' ratios, so a drift of the machine
// meets both sides of a pair. Goals: 0.9 of the baseline each.
// Ends with one "RESULT <name> <value> <unit> goal <op> <limit> met|missed" line per figure:
// download_frames_vs_raw_file, download_ftp_vs_curl.
#include "BenchResult.h"
#include "link/DeviceSession.h"
#include "link/FtpClient.h"
#include "support/FtpServer.h"
#include "support/SimProcess.h"

#include <QCoreApplication>
#include <QProcess>
#include <QStandardPaths>

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <sys/sendfile.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <thread>
#include <vector>

using namespace ferro;
using namespace ferro::test;
namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;

namespace {

double seconds(Clock::time_point t0) {
    return std::chrono::duration<double>(Clock::now() - t0).count();
}

// A plain sender thread and a plain receiver: the ceiling of loopback TCP on this machine. With
// `toFile` the receiver also writes what it gets to a file (recv and write). With `fromFile` as
// well, the bytes never pass through user space: sendfile from that file, splice into `toFile`, the
// best any download that stores its data can do here.
double rawTcpSeconds(size_t bytes, const std::string& toFile = std::string(),
                     const std::string& fromFile = std::string()) {
    int ls = ::socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in a{};
    a.sin_family = AF_INET;
    a.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    ::bind(ls, reinterpret_cast<sockaddr*>(&a), sizeof a);
    ::listen(ls, 1);
    socklen_t len = sizeof a;
    ::getsockname(ls, reinterpret_cast<sockaddr*>(&a), &len);
    const bool kernel = !fromFile.empty();
    std::thread sender([&] {
        int s = ::socket(AF_INET, SOCK_STREAM, 0);
        ::connect(s, reinterpret_cast<sockaddr*>(&a), sizeof a);
        if (kernel) {
            int f = ::open(fromFile.c_str(), O_RDONLY);
            off_t at = 0;
            while (size_t(at) < bytes && ::sendfile(s, f, &at, bytes - size_t(at)) > 0) {
            }
            ::close(f);
        } else {
            std::vector<char> block(1 << 20, 'x');
            for (size_t sent = 0; sent < bytes;) {
                ssize_t n = ::send(s, block.data(), std::min(block.size(), bytes - sent), 0);
                if (n <= 0) break;
                sent += size_t(n);
            }
        }
        ::close(s);
    });
    int r = ::accept(ls, nullptr, nullptr);
    std::vector<char> buf(1 << 20);
    // A new file each time: truncating one makes ext4 flush it at close, which no download pays.
    if (!toFile.empty()) ::unlink(toFile.c_str());
    int out = toFile.empty() ? -1 : ::open(toFile.c_str(), O_WRONLY | O_CREAT | O_EXCL, 0644);
    int pipe[2] = {-1, -1};
    if (kernel && ::pipe(pipe) == 0) ::fcntl(pipe[1], F_SETPIPE_SZ, 1 << 20);
    auto t0 = Clock::now();
    size_t got = 0;
    while (got < bytes) {
        ssize_t n = kernel ? ::splice(r, nullptr, pipe[1], nullptr, bytes - got, SPLICE_F_MOVE)
                           : ::recv(r, buf.data(), buf.size(), 0);
        if (n <= 0) break;
        got += size_t(n);
        if (kernel) {
            for (ssize_t left = n; left > 0;) {
                ssize_t m = ::splice(pipe[0], nullptr, out, nullptr, size_t(left), SPLICE_F_MOVE);
                if (m <= 0) break;
                left -= m;
            }
        } else if (out >= 0 && ::write(out, buf.data(), size_t(n)) != n) {
            break;
        }
    }
    if (out >= 0) ::close(out);
    double s = seconds(t0);
    sender.join();
    for (int fd : {r, ls, pipe[0], pipe[1]})
        if (fd >= 0) ::close(fd);
    // Gone before its dirty pages are written back in the middle of a later run.
    if (!toFile.empty()) ::unlink(toFile.c_str());
    return s;
}

// The same recording from ferrosim to a plain receiver that opens a session, asks for the file and
// splices the payload into a file: what the simulator itself delivers, so that the link's own share
// of the frame road shows.
double simToPlainReceiverSeconds(int port, const std::string& name, size_t bytes, const std::string& toFile) {
    int s = ::socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in a{};
    a.sin_family = AF_INET;
    a.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    a.sin_port = htons(uint16_t(port));
    if (::connect(s, reinterpret_cast<sockaddr*>(&a), sizeof a) != 0) return 1e9;
    auto readExact = [&](uint8_t* p, size_t n) {
        for (ssize_t r; n > 0; p += r, n -= size_t(r))
            if ((r = ::recv(s, p, n, 0)) <= 0) return false;
        return true;
    };
    auto send = [&](const MemStream& f) { return ::send(s, f.data(), f.size(), 0) == ssize_t(f.size()); };
    ccc_head_t h;
    h.Cmd = CmdSession;
    h.Priv = 1;
    h.ExtCmd = 2;
    h.Ver = 4;
    h.FTPNAK = CFlagGZ;
    uint8_t head[CHeadSize];
    send(frames::Plain(h));
    if (!readExact(head, CHeadSize)) return 1e9;
    std::vector<uint8_t> reply(ccc_head_t::decode(head).Size - CHeadSize);
    readExact(reply.data(), reply.size());

    h.Cmd = CmdReadout;
    h.Priv = 0;
    h.ExtCmd = 1;
    ::unlink(toFile.c_str());
    int out = ::open(toFile.c_str(), O_WRONLY | O_CREAT | O_EXCL, 0644);
    int pipe[2] = {-1, -1};
    if (::pipe(pipe) == 0) ::fcntl(pipe[1], F_SETPIPE_SZ, 1 << 20);
    auto t0 = Clock::now();
    send(frames::WithName(h, name, 0));
    size_t got = 0;
    if (readExact(head, CHeadSize)) {
        while (got < bytes) {
            ssize_t n = ::splice(s, nullptr, pipe[1], nullptr, bytes - got, SPLICE_F_MOVE);
            if (n <= 0) break;
            got += size_t(n);
            for (ssize_t left = n, m; left > 0; left -= m)
                if ((m = ::splice(pipe[0], nullptr, out, nullptr, size_t(left), SPLICE_F_MOVE)) <= 0) break;
        }
    }
    double secs = seconds(t0);
    for (int fd : {out, pipe[0], pipe[1], s})
        if (fd >= 0) ::close(fd);
    if (got != bytes) std::fprintf(stderr, "plain receiver got %zu bytes\n", got);
    ::unlink(toFile.c_str());
    return secs;
}

// curl fetching the same file from the same server: its own measure of the transfer (connect,
// login, transfer), so that starting the program does not count against it. Negative on failure.
double curlSeconds(const QString& curl, int port, const std::string& remote, const std::string& local) {
    QProcess p;
    p.start(curl, {"-s", "-S", "--fail", "-o", QString::fromStdString(local), "-w", "%{time_total}",
                   QString("ftp://127.0.0.1:%1/%2").arg(port).arg(QString::fromStdString(remote))});
    if (!p.waitForFinished(600000) || p.exitStatus() != QProcess::NormalExit || p.exitCode() != 0) {
        std::fprintf(stderr, "curl: %s\n", p.readAllStandardError().trimmed().constData());
        return -1;
    }
    bool ok = false;
    const double secs = QString::fromUtf8(p.readAllStandardOutput()).trimmed().toDouble(&ok);
    return ok ? secs : -1;
}

} // namespace

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    const size_t mib = argc > 1 ? size_t(std::atoi(argv[1])) : 256;
    const size_t bytes = mib << 20;
    const int runs = argc > 2 ? std::max(1, std::atoi(argv[2])) : 9;
    // A third argument picks one road ("raw", "plain", "frames", "ftp") for profiling.
    const std::string only = argc > 3 ? argv[3] : "";
    auto wanted = [&](const char* road) { return only.empty() || only == road; };

    QTemporaryDir work;
    std::string root = work.path().toStdString() + "/instrument";
    {
        SimProcess seed({}, root); // fills the root from the fixture
    }
    const std::string name = "sync/10T-0-1700000000.rec";
    const std::string onInstrument = root + "/flashdrive0/data/rec/" + name;
    {
        std::ofstream out(onInstrument, std::ios::binary | std::ios::trunc);
        std::vector<char> block(1 << 20);
        for (size_t i = 0; i < block.size(); ++i)
            block[i] = char(i * 131);
        for (size_t i = 0; i < mib; ++i)
            out.write(block.data(), std::streamsize(block.size()));
    }
    {
        // On disk before any road runs: otherwise the kernel writes it back half a minute later, in
        // the middle of whichever road runs then.
        int fd = ::open(onInstrument.c_str(), O_RDONLY);
        ::fsync(fd);
        ::close(fd);
    }

    std::vector<double> raw, rawFile, kernelFile, frames, ftp, curl;
    const std::string rawOut = work.path().toStdString() + "/raw.bin";
    for (int i = 0; i < runs && wanted("raw"); ++i)
        raw.push_back(rawTcpSeconds(bytes));
    for (int i = 0; i < runs && wanted("raw"); ++i)
        kernelFile.push_back(rawTcpSeconds(bytes, rawOut, onInstrument));

    SimProcess sim({}, root);
    if (!sim.ok()) {
        std::fprintf(stderr, "ferrosim did not start\n");
        return 1;
    }
    std::string data = work.path().toStdString() + "/data/";
    std::vector<double> plain;
    for (int i = 0; i < runs && wanted("plain"); ++i)
        plain.push_back(
            simToPlainReceiverSeconds(sim.port(), name, bytes, work.path().toStdString() + "/plain.bin"));
    bool framesWhole = true;
    for (int i = 0; i < runs && (wanted("frames") || wanted("raw")); ++i) {
        if (wanted("raw")) rawFile.push_back(rawTcpSeconds(bytes, rawOut));
        if (!wanted("frames")) continue;
        TConnectionRec o;
        o.Port = sim.port();
        o.Folders.Data = data;
        TDeviceSession session(o);
        if (!session.OpenAndWait(30000)) {
            std::fprintf(stderr, "%s\n", session.LastError().Text.c_str());
            return 1;
        }
        TComUnit& l = session.Link();
        fs::remove(l.FRecDir + "10T-0-1700000000.rec");
        bool done = false;
        l.FRecToTable = [&](TSender, const std::string&) { done = true; };
        auto t0 = Clock::now();
        l.SendCommand("CCC_READOUT_REC_RD", CmdReadout, 0, 1, name, 0u, false);
        l.ManualTimer(nullptr);
        session.WaitFor([&] { return done; }, 600000);
        frames.push_back(seconds(t0));
        std::error_code ec;
        if (fs::file_size(l.FRecDir + "10T-0-1700000000.rec", ec) != bytes) {
            std::fprintf(stderr, "short frame download\n");
            framesWhole = false;
        }
        fs::remove(l.FRecDir + "10T-0-1700000000.rec");
        session.CloseAndWait();
    }

    FtpServer server(root);
    const QString curlBin = QStandardPaths::findExecutable("curl");
    const std::string remote = "flashdrive0/data/rec/" + name;
    bool ftpWhole = true, curlWhole = true;
    if (!server.ready() && wanted("ftp")) std::fprintf(stderr, "the FTP server did not start\n");
    if (curlBin.isEmpty() && wanted("ftp")) std::fprintf(stderr, "curl is not installed: no FTP baseline\n");
    if (server.ready() && wanted("ftp")) {
        for (int i = 0; i < runs; ++i) {
            std::string local = work.path().toStdString() + "/ftp.rec";
            fs::remove(local);
            TFtpClient c;
            c.Port = server.port();
            auto t0 = Clock::now();
            bool ok = c.Get("/" + remote, local, true, false);
            ftp.push_back(seconds(t0));
            if (!ok) {
                std::fprintf(stderr, "FTP download failed: %s\n", c.LastError().c_str());
                ftpWhole = false;
            }
            fs::remove(local);
            if (curlBin.isEmpty()) continue;
            const double secs = curlSeconds(curlBin, server.port(), remote, local);
            std::error_code ec;
            if (secs > 0 && fs::file_size(local, ec) == bytes)
                curl.push_back(secs);
            else
                curlWhole = false;
            fs::remove(local);
        }
    }

    auto mbs = [&](const std::vector<double>& s) {
        return s.empty() ? 0.0 : double(bytes) / (1 << 20) / bench::Median(s);
    };
    std::printf("download of a %zu MiB recording from ferrosim on loopback, median of %d runs\n", mib, runs);
    std::printf("(the RESULT lines take the median of the ratios of the runs that took turns)\n");
    auto line = [&](const char* road, const std::vector<double>& s) {
        if (s.empty()) return;
        if (std::getenv("BENCH_SPREAD")) {
            std::vector<double> v = s;
            std::sort(v.begin(), v.end());
            std::printf("  %s: best %.1f worst %.1f MB/s\n", road, double(bytes) / (1 << 20) / v.front(),
                        double(bytes) / (1 << 20) / v.back());
        }
        std::printf("%-26s %8.1f MB/s\n", road, mbs(s));
    };
    line("raw loopback TCP", raw);
    line("raw TCP into a file", rawFile);
    line("sendfile+splice to file", kernelFile);
    line("ferrosim to plain recv", plain);
    line("CCCI frames", frames);
    line("FTP, our client", ftp);
    line("FTP, curl", curl);
    // Speed of a road against the baseline run next to it: the baseline's time over the road's.
    auto pairedRatio = [](const std::vector<double>& road, const std::vector<double>& base) {
        std::vector<double> r;
        for (size_t i = 0; i < road.size() && i < base.size(); ++i)
            r.push_back(base[i] / road[i]);
        return bench::Median(r);
    };
    if (!frames.empty() && !rawFile.empty())
        bench::Result("download_frames_vs_raw_file", pairedRatio(frames, rawFile), "ratio", ">=", 0.9,
                      framesWhole);
    if (!ftp.empty())
        bench::Result("download_ftp_vs_curl", pairedRatio(ftp, curl), "ratio", ">=", 0.9,
                      ftpWhole && curlWhole && !curl.empty());
    return 0;
}
