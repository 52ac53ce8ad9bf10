#pragma once
// The simulator and the command line as processes, for end-to-end tests on loopback.

#include "foundation/ChildProcess.h"

#include <QFile>
#include <QTemporaryDir>

#ifndef FERRO_NO_GTEST
#include <gtest/gtest.h>
#endif

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <string>
#include <thread>
#include <vector>

namespace ferro::test {

#ifdef FERROSIM_BIN
// ferrosim on a fresh instrument root with free ports; stopped with SIGTERM at the end. Its output
// goes to files, so that a full pipe never stalls it.
class SimProcess {
public:
    explicit SimProcess(const std::vector<std::string>& extraArgs = {}, const std::string& root = {}) {
        root_ = root.empty() ? dir_.path().toStdString() + "/instrument" : root;
        const QString out = dir_.filePath("ferrosim.out");
        // A test process that dies (a crash, a sanitizer's abort) takes its simulator along.
        std::vector<std::string> args = {"--root", root_, "--port", "0", "--exit-with-parent"};
        args.insert(args.end(), extraArgs.begin(), extraArgs.end());
        // No recording history unless a test asks for one: it would only cost time here.
        if (std::find(args.begin(), args.end(), "--history-days") == args.end())
            args.insert(args.end(), {"--history-days", "0"});
        proc_.start(FERROSIM_BIN, args, "/dev/null", out.toStdString(),
                    dir_.filePath("ferrosim.err").toStdString());
        auto until = std::chrono::steady_clock::now() + std::chrono::seconds(15);
        while (std::chrono::steady_clock::now() < until && proc_.running()) {
            if (QFile f(out); f.open(QIODevice::ReadOnly)) out_ = f.readAll().toStdString();
            port_ = number("listening on 127.0.0.1:");
            sshPort_ = number("ssh on 127.0.0.1:");
            ftpPort_ = number("ftp on 127.0.0.1:");
            serial_ = text("serial on ");
            if (complete(extraArgs)) break;
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
        }
    }
    ~SimProcess() {
        stop();
#ifndef FERRO_NO_GTEST
        // What the simulator said (a sanitizer's report among it) outlives a failed test.
        if (::testing::Test::HasFailure()) keepLog();
#endif
    }
    void keepLog() {
        dir_.setAutoRemove(false);
        std::fprintf(stderr, "ferrosim's log kept: %s\n",
                     dir_.filePath("ferrosim.err").toLocal8Bit().constData());
    }
    // SIGTERM, then the exit code (-1 when it had to be killed).
    int stop() {
        return proc_.stop(8000);
    }
    bool ok() const {
        return port_ > 0;
    }
    long long pid() const {
        return proc_.pid();
    }
    int port() const {
        return port_;
    }
    int sshPort() const {
        return sshPort_;
    }
    int ftpPort() const {
        return ftpPort_;
    }
    const std::string& serial() const {
        return serial_;
    }
    const std::string& root() const {
        return root_;
    }
    const std::string& output() const {
        return out_;
    }
    std::string tempDir() const {
        return dir_.path().toStdString();
    }
    // What the instrument has logged so far (connections, sessions, refusals).
    std::string log() const {
        QFile f(dir_.filePath("ferrosim.err"));
        return f.open(QIODevice::ReadOnly) ? f.readAll().toStdString() : std::string();
    }

private:
    bool complete(const std::vector<std::string>& extra) const {
        if (port_ == 0) return false;
        for (const auto& a : extra) {
            if (a == "--ssh-port" && sshPort_ == 0) return false;
            if (a == "--serial" && serial_.empty()) return false;
            if (a == "--ftp-port" && ftpPort_ == 0) return false;
        }
        return true;
    }
    std::string text(const std::string& prefix) const {
        size_t at = out_.find(prefix);
        if (at == std::string::npos) return std::string();
        size_t end = out_.find('\n', at);
        if (end == std::string::npos) return std::string(); // the line is not complete yet
        return out_.substr(at + prefix.size(), end - at - prefix.size());
    }
    int number(const std::string& prefix) const {
        std::string t = text(prefix);
        return t.empty() ? 0 : std::atoi(t.c_str());
    }

    QTemporaryDir dir_;
    ChildProcess proc_;
    std::string out_, root_, serial_;
    int port_ = 0, sshPort_ = 0, ftpPort_ = 0;
};
#endif

struct CtlResult {
    int code = -1;
    std::string out, err;
};

#ifdef FERROCTL_BIN
// Runs ferroctl with `args`; standard input is empty (no terminal).
inline CtlResult RunCtl(const std::vector<std::string>& args, int timeoutMs = 60000) {
    QTemporaryDir dir;
    const std::string out = dir.filePath("out").toStdString(), err = dir.filePath("err").toStdString();
    ChildProcess p;
    CtlResult r;
    if (!p.start(FERROCTL_BIN, args, "/dev/null", out, err)) {
        r.err = "not started";
        return r;
    }
    if (!p.finish(timeoutMs)) {
        p.stop(2000);
        r.err = "timeout";
        return r;
    }
    r.code = p.exitCode();
    auto read = [](const std::string& path) {
        QFile f(QString::fromStdString(path));
        return f.open(QIODevice::ReadOnly) ? f.readAll().toStdString() : std::string();
    };
    r.out = read(out);
    r.err = read(err);
    return r;
}
#endif

} // namespace ferro::test
