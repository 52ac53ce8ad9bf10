#include "ferrosim/SshService.h"

#include "ferrosim/Instrument.h"
#include "ferrosim/LuaEngine.h"

#include <QMetaObject>

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <filesystem>
#include <mutex>

namespace ferro::sim {

SshService::SshService(Instrument& instrument, int framePort, QObject* parent)
    : QObject(parent), instrument_(instrument), framePort_(framePort) {}

SshService::~SshService() {
    stop();
}

bool SshService::start(int port, std::string& error) {
    std::string dir = instrument_.tree().root() + "/ssh";
    std::error_code ec;
    std::filesystem::create_directories(dir, ec);
    ferrosim::SshServer::Config cfg;
    cfg.hostKeyFile = dir + "/ssh_host_ecdsa_key";
    cfg.authorizedKeys = dir + "/authorized_keys";
    cfg.port = port;
    cfg.framePort = framePort_;
    // The users are copied: logins are checked on the SSH threads.
    auto users = instrument_.profile().users;
    cfg.knownUser = [users](const std::string& user) {
        return std::any_of(users.begin(), users.end(), [&](const auto& u) { return u.name == user; });
    };
    server_ = std::make_unique<ferrosim::SshServer>(
        cfg,
        [users](const std::string& user, const std::string& password) {
            for (const auto& u : users)
                if (u.name == user) return u.password == password;
            return false;
        },
        [this](const std::string& user, const std::string& line) { return runOnMain(user, line); });
    return server_->Start(error);
}

void SshService::stop() {
    stopping_ = true;
    if (server_) server_->Stop();
    server_.reset();
}

std::string SshService::runOnMain(const std::string& user, const std::string& line) {
    if (stopping_) return std::string();
    struct Job {
        std::mutex m;
        std::condition_variable cv;
        bool done = false;
        std::string out;
    };
    auto job = std::make_shared<Job>();
    QMetaObject::invokeMethod(this, [this, job, user, line] {
        auto& engine = engines_[user];
        if (!engine) engine = std::make_unique<LuaEngine>(instrument_, user);
        LuaEngine::Result r = engine->run(line);
        std::lock_guard<std::mutex> lk(job->m);
        job->out = r.error.empty() ? r.output : r.output + r.error + "\n";
        job->done = true;
        job->cv.notify_all();
    });
    std::unique_lock<std::mutex> lk(job->m);
    // Bounded: a stopping instrument or a runaway line never holds the SSH thread for ever.
    for (int i = 0; i < 600 && !job->done && !stopping_; ++i)
        job->cv.wait_for(lk, std::chrono::milliseconds(100));
    return job->done ? job->out : std::string("timeout\n");
}

} // namespace ferro::sim
