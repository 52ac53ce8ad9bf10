#pragma once
// A program started through posix_spawn, its standard streams on files. Not QProcess: nothing of
// ours runs between the clone and the exec, so a child can be started from any thread, and
// ThreadSanitizer follows it (QProcess's clone makes it stop in its own fork handling).

#include <string>
#include <sys/types.h>
#include <vector>

namespace ferro {

class ChildProcess {
public:
    ChildProcess() = default;
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;
    // Kills a child that still runs.
    ~ChildProcess();

    // Standard input from In, output and errors into Out and Err (created or emptied); an empty
    // Err leaves the errors where ours go. False, with the reason, when it could not start.
    bool start(const std::string& Program, const std::vector<std::string>& Args, const std::string& In,
               const std::string& Out, const std::string& Err, std::string* Why = nullptr);
    // True while it runs; reaps it once it has ended.
    bool running();
    // Waits up to Ms for the end; true when it has ended.
    bool finish(int Ms);
    void signal(int Sig);
    // SIGTERM, up to GraceMs for the end, then SIGKILL: the exit code, -1 when it had to be killed
    // or ended by a signal.
    int stop(int GraceMs);
    // The exit code, or -1 after a signal or before the end.
    int exitCode() const;
    long long pid() const { return pid_; }

private:
    pid_t pid_ = -1;
    bool running_ = false;
    int status_ = 0;
};

} // namespace ferro
