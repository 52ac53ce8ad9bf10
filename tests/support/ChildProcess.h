#pragma once
// A program started for a test through posix_spawn, its standard streams on files. Not QProcess:
// ThreadSanitizer cannot follow the way QProcess clones (it stops in its own fork handling), while
// posix_spawn never runs our code between the clone and the exec.

#include <spawn.h>
#include <sys/wait.h>

#include <cerrno>
#include <chrono>
#include <csignal>
#include <fcntl.h>
#include <string>
#include <thread>
#include <vector>

extern char** environ;

namespace ferro::test {

class ChildProcess {
public:
    ChildProcess() = default;
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;
    ~ChildProcess() {
        if (running()) {
            ::kill(pid_, SIGKILL);
            finish(3000);
        }
    }

    // Standard input from In, output and errors into Out and Err (created or emptied).
    bool start(const std::string& Program, const std::vector<std::string>& Args, const std::string& In,
               const std::string& Out, const std::string& Err) {
        std::vector<std::string> all{Program};
        all.insert(all.end(), Args.begin(), Args.end());
        std::vector<char*> argv;
        for (std::string& a : all)
            argv.push_back(a.data());
        argv.push_back(nullptr);
        posix_spawn_file_actions_t files;
        posix_spawn_file_actions_init(&files);
        posix_spawn_file_actions_addopen(&files, 0, In.c_str(), O_RDONLY, 0);
        posix_spawn_file_actions_addopen(&files, 1, Out.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
        posix_spawn_file_actions_addopen(&files, 2, Err.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
        const int rc = posix_spawn(&pid_, Program.c_str(), &files, nullptr, argv.data(), environ);
        posix_spawn_file_actions_destroy(&files);
        if (rc != 0) pid_ = -1;
        running_ = rc == 0;
        return running_;
    }
    bool running() {
        if (running_) reap(WNOHANG);
        return running_;
    }
    // Waits up to Ms for the end; true when it has ended.
    bool finish(int Ms) {
        const auto until = std::chrono::steady_clock::now() + std::chrono::milliseconds(Ms);
        while (running() && std::chrono::steady_clock::now() < until)
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        return !running_;
    }
    void signal(int Sig) {
        if (running()) ::kill(pid_, Sig);
    }
    // The exit code, or -1 after a signal or before the end.
    int exitCode() const { return !running_ && WIFEXITED(status_) ? WEXITSTATUS(status_) : -1; }
    long long pid() const { return pid_; }

private:
    void reap(int Flags) {
        int st = 0;
        const pid_t r = ::waitpid(pid_, &st, Flags);
        if (r == pid_ || (r < 0 && errno == ECHILD)) {
            status_ = r == pid_ ? st : 0;
            running_ = false;
        }
    }

    pid_t pid_ = -1;
    bool running_ = false;
    int status_ = 0;
};

} // namespace ferro::test
