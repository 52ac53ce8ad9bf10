#pragma once
// Puts the SSH service in front of the frame server: logins against the profile's users, Lua lines
// of the shell run on the main thread in one Lua state per user.

#include "SshServer.h"

#include <QObject>

#include <atomic>
#include <map>
#include <memory>
#include <string>

namespace ferro::sim {

class Instrument;
class LuaEngine;

class SshService : public QObject {
    Q_OBJECT
public:
    SshService(Instrument& instrument, int framePort, QObject* parent = nullptr);
    ~SshService() override;

    bool start(int port, std::string& error);
    void stop();
    int port() const { return server_ ? server_->Port() : 0; }

private:
    std::string runOnMain(const std::string& user, const std::string& line);

    Instrument& instrument_;
    int framePort_;
    std::unique_ptr<ferrosim::SshServer> server_;
    std::map<std::string, std::unique_ptr<LuaEngine>> engines_;
    std::atomic<bool> stopping_{false};
};

} // namespace ferro::sim
