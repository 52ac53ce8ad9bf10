// ferrosim: the simulated instrument. Serves the binary protocol on 127.0.0.1 until SIGTERM/SIGINT.
#include "ferrosim/FaultPlan.h"
#include "ferrosim/FirmwareImage.h"
#include "ferrosim/FtpServer.h"
#include "ferrosim/Instrument.h"
#include "ferrosim/InstrumentTree.h"
#include "ferrosim/Profile.h"
#include "ferrosim/Recorder.h"
#include "ferrosim/SerialBridge.h"
#include "ferrosim/SimOptions.h"
#include "ferrosim/SimServer.h"
#include "ferrosim/SshService.h"
#include "foundation/Format.h"

#include <QGuiApplication>
#include <QSocketNotifier>

#include <csignal>
#include <cstdio>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <unistd.h>

using namespace ferro::sim;

namespace {

int gSignalFd[2] = {-1, -1};

// Only a write to the socket pair here; the event loop does the real work.
void onSignal(int) {
    char c = 1;
    ssize_t r = ::write(gSignalFd[0], &c, 1);
    (void)r;
}

int fail(const std::string& text) {
    std::fprintf(stderr, "ferrosim: %s\n", text.c_str());
    return 2;
}

} // namespace

int main(int argc, char** argv) {
    const pid_t parent = ::getppid();
    // The display image is drawn without a screen.
    if (!qEnvironmentVariableIsSet("QT_QPA_PLATFORM")) qputenv("QT_QPA_PLATFORM", "offscreen");
    QGuiApplication app(argc, argv);

    SimOptions options;
    std::string error;
    if (!options.parse(argc, argv, error)) return fail(error);
    if (options.help) {
        std::printf("%s\n", SimOptions::usage());
        return 0;
    }
    if (!options.makeUpdate.empty()) {
        const auto& m = options.makeUpdate;
        if (!MakeUpdateArchive(m[0], m[1], m[2], options.corrupt, error)) return fail(error);
        std::printf("update archive %s written\n", m[2].c_str());
        return 0;
    }

    InstrumentTree tree(options.root);
    if (!tree.prepare(InstrumentTree::fixtureCandidates(QCoreApplication::applicationDirPath().toStdString()),
                      error))
        return fail(error);
    tree.packScratchpadXml();
    Profile profile;
    std::string profilePath = options.profile.empty() ? tree.profilePath() : options.profile;
    if (!profile.load(profilePath, error)) return fail(error);
    // The identity reports a firmware of the generation asked for; the stream objects follow it.
    if (options.generation >= 0)
        profile.firmware = FirmwareOfGeneration(options.generation, profile.firmware);
    if (!profile.supply.applyOverrides(options.supply, error)) return fail(error);
    FaultPlan faults;
    if (!faults.parse(options.faults, error)) return fail(error);

    Instrument instrument(std::move(profile), std::move(tree), std::move(faults));
    instrument.setTimeScale(options.timeScale);
    SimServer server(instrument);
    server.setRebootPause(options.rebootMs, instrument.faults().rebootHangs());
    if (!server.listen(options.port, error)) return fail("cannot listen: " + error);

    if (::socketpair(AF_UNIX, SOCK_STREAM, 0, gSignalFd) != 0) return fail("socketpair failed");
    QSocketNotifier notifier(gSignalFd[1], QSocketNotifier::Read);
    QObject::connect(&notifier, &QSocketNotifier::activated, [&] {
        char c;
        ssize_t r = ::read(gSignalFd[1], &c, 1);
        (void)r;
        instrument.log("signal received, stopping");
        app.quit();
    });
    struct sigaction sa = {};
    sa.sa_handler = onSignal;
    sigemptyset(&sa.sa_mask);
    sa.sa_flags = SA_RESTART;
    sigaction(SIGTERM, &sa, nullptr);
    sigaction(SIGINT, &sa, nullptr);
    std::signal(SIGPIPE, SIG_IGN);
    if (options.exitWithParent) {
        // A test that dies (a crash, a sanitizer's abort) takes its simulator along: the kernel sends
        // SIGTERM, which ends us in order. A parent gone before the request is seen here.
        if (::prctl(PR_SET_PDEATHSIG, SIGTERM) != 0 || ::getppid() != parent) return fail("parent gone");
    }

    std::printf("listening on 127.0.0.1:%u\n", unsigned(server.port()));
    std::unique_ptr<SshService> ssh;
    if (options.sshPort >= 0) {
        ssh = std::make_unique<SshService>(instrument, server.port());
        if (!ssh->start(options.sshPort, error)) return fail("cannot start SSH: " + error);
        std::printf("ssh on 127.0.0.1:%d\n", ssh->port());
    }
    std::unique_ptr<SerialBridge> serial;
    if (options.serial) {
        serial = std::make_unique<SerialBridge>(server.port());
        if (!serial->open(error)) return fail("cannot open the serial line: " + error);
        std::printf("serial on %s\n", serial->devicePath().c_str());
    }
    std::unique_ptr<FtpServer> ftp;
    if (options.ftpPort >= 0) {
        ftp = std::make_unique<FtpServer>(instrument.tree().root());
        if (!ftp->start(options.ftpPort, error)) return fail("cannot start FTP: " + error);
        std::printf("ftp on 127.0.0.1:%d\n", ftp->port());
    }
    std::fflush(stdout);
    instrument.log("serving " + instrument.tree().root());
    instrument.log(ferro::Fmt("firmware 0x%08X, layout generation %u", instrument.profile().firmware,
                              unsigned(instrument.generation())));
    // The history is written after the ports are announced, so that a client may connect meanwhile.
    Recorder recorder(instrument, uint64_t(options.historyDays) * 86400ull * 1000000000ull);
    instrument.setRecordTrigger([&recorder](uint64_t nowNs) { return recorder.triggerHp(nowNs); });
    recorder.start();
    int rc = app.exec();
    instrument.setRecordTrigger(nullptr);
    if (ftp) ftp->stop();
    if (ssh) ssh->stop(); // before the instrument goes: SSH threads may wait for the main thread
    ::close(gSignalFd[0]);
    ::close(gSignalFd[1]);
    return rc;
}
