#pragma once
// The simulator and the command line as processes, for end-to-end tests on loopback.

#include <QFile>
#include <QProcess>
#include <QTemporaryDir>

#ifndef FERRO_NO_GTEST
#include <gtest/gtest.h>
#endif

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
        proc_.setStandardOutputFile(out);
        proc_.setStandardErrorFile(dir_.filePath("ferrosim.err"));
        // A test process that dies (a crash, a sanitizer's abort) takes its simulator along.
        QStringList args = {"--root", QString::fromStdString(root_), "--port", "0", "--exit-with-parent"};
        for (const auto& a : extraArgs)
            args << QString::fromStdString(a);
        // No recording history unless a test asks for one: it would only cost time here.
        if (!args.contains("--history-days"))
            args << "--history-days"
                 << "0";
        proc_.start(FERROSIM_BIN, args);
        proc_.waitForStarted(5000);
        auto until = std::chrono::steady_clock::now() + std::chrono::seconds(15);
        while (std::chrono::steady_clock::now() < until && proc_.state() == QProcess::Running) {
            if (QFile f(out); f.open(QIODevice::ReadOnly)) out_ = f.readAll().toStdString();
            port_ = number("listening on 127.0.0.1:");
            sshPort_ = number("ssh on 127.0.0.1:");
            ftpPort_ = number("ftp on 127.0.0.1:");
            serial_ = text("serial on ");
            if (complete(extraArgs)) break;
            proc_.waitForFinished(20);
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
        if (proc_.state() == QProcess::NotRunning) return proc_.exitCode();
        proc_.terminate();
        if (!proc_.waitForFinished(8000)) {
            proc_.kill();
            proc_.waitForFinished(3000);
            return -1;
        }
        return proc_.exitStatus() == QProcess::NormalExit ? proc_.exitCode() : -1;
    }
    bool ok() const {
        return port_ > 0;
    }
    qint64 pid() const {
        return proc_.processId();
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
    QProcess proc_;
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
    QProcess p;
    QStringList a;
    for (const auto& s : args)
        a << QString::fromStdString(s);
    p.setStandardInputFile(QProcess::nullDevice());
    p.start(FERROCTL_BIN, a);
    CtlResult r;
    if (!p.waitForFinished(timeoutMs)) {
        p.kill();
        p.waitForFinished(2000);
        r.err = "timeout";
        return r;
    }
    r.code = p.exitStatus() == QProcess::NormalExit ? p.exitCode() : -1;
    r.out = p.readAllStandardOutput().toStdString();
    r.err = p.readAllStandardError().toStdString();
    return r;
}
#endif

} // namespace ferro::test
