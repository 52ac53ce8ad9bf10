#include "foundation/ChildProcess.h"

#include "foundation/ErrnoText.h"

#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <thread>

extern char** environ;

namespace ferro {

ChildProcess::~ChildProcess() {
    if (running()) {
        ::kill(pid_, SIGKILL);
        finish(3000);
    }
}

bool ChildProcess::start(const std::string& Program, const std::vector<std::string>& Args,
                         const std::string& In, const std::string& Out, const std::string& Err,
                         std::string* Why) {
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
    if (!Err.empty())
        posix_spawn_file_actions_addopen(&files, 2, Err.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    const int rc = posix_spawn(&pid_, Program.c_str(), &files, nullptr, argv.data(), environ);
    posix_spawn_file_actions_destroy(&files);
    if (rc != 0) {
        pid_ = -1;
        if (Why) *Why = ErrnoText(rc);
    }
    running_ = rc == 0;
    return running_;
}

bool ChildProcess::running() {
    if (!running_) return false;
    int st = 0;
    const pid_t r = ::waitpid(pid_, &st, WNOHANG);
    if (r == pid_ || (r < 0 && errno == ECHILD)) {
        status_ = r == pid_ ? st : 0;
        running_ = false;
    }
    return running_;
}

bool ChildProcess::finish(int Ms) {
    const auto until = std::chrono::steady_clock::now() + std::chrono::milliseconds(Ms);
    while (running() && std::chrono::steady_clock::now() < until)
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    return !running_;
}

void ChildProcess::signal(int Sig) {
    if (running()) ::kill(pid_, Sig);
}

int ChildProcess::stop(int GraceMs) {
    if (!running()) return exitCode();
    signal(SIGTERM);
    if (finish(GraceMs)) return exitCode();
    signal(SIGKILL);
    finish(GraceMs);
    return -1;
}

int ChildProcess::exitCode() const {
    return !running_ && WIFEXITED(status_) ? WEXITSTATUS(status_) : -1;
}

} // namespace ferro
