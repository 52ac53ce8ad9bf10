#pragma once
// Drives the ferrosim program from tests: a temporary instrument root, the process, and a raw
// loopback client that builds every frame byte by byte (not with the client's frame code).

#include "support/SimProcess.h"

#include <QTemporaryDir>

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace simtest {

using Bytes = std::vector<uint8_t>;

// Little-endian helpers on plain byte vectors.
void put16(Bytes& b, uint16_t v);
void put32(Bytes& b, uint32_t v);
uint16_t get16(const Bytes& b, size_t at);
uint32_t get32(const Bytes& b, size_t at);
std::string text(const Bytes& b, size_t at, size_t width); // cut at the first NUL
std::string str(const Bytes& b, size_t from = 20);         // bytes from `from` to the end

// A request head; `size` is the whole frame length.
Bytes head(uint8_t cmd, uint8_t priv, uint16_t ext, uint32_t size, uint16_t flags = 4, uint16_t ver = 5,
           uint32_t seq = 7);
Bytes plain(uint8_t cmd, uint8_t priv, uint16_t ext, uint16_t flags = 4, uint16_t ver = 5);
Bytes named(uint8_t cmd, uint16_t ext, const std::string& name, uint32_t pos = 0, uint16_t flags = 4);
Bytes start(const std::string& user, const std::string& password, uint16_t ver = 5);
Bytes lua(const std::string& line);
Bytes scratchWrite(const std::string& name, const Bytes& file);
Bytes setupWrite(const Bytes& file, uint16_t flags);

Bytes gunzip(const Bytes& packed);
// Entry names and contents of a tar.gz.
std::map<std::string, Bytes> untar(const Bytes& packed);
Bytes fileBytes(const std::string& path);
void writeBytes(const std::string& path, const Bytes& bytes);

struct Frame {
    Bytes bytes;
    bool answered = false; // a real frame came (a request that timed out leaves this false)
    uint8_t cmd() const { return bytes[0]; }
    uint16_t ext() const { return get16(bytes, 2); }
    uint16_t ver() const { return get16(bytes, 4); }
    uint16_t flags() const { return get16(bytes, 6); }
    uint32_t sn() const { return get32(bytes, 8); }
    uint32_t size() const { return get32(bytes, 12); }
    uint32_t seq() const { return get32(bytes, 16); }
    bool nak() const { return (flags() & 2) && flags() < 16; }
    // An answer that is no refusal.
    bool ack() const { return answered && !nak(); }
    uint32_t code() const { return get32(bytes, 20); }
    Bytes payload() const { return Bytes(bytes.begin() + 20, bytes.end()); }
};

class RawClient {
public:
    explicit RawClient(uint16_t port);
    ~RawClient();
    bool connected() const { return fd_ >= 0; }
    void send(const Bytes& bytes);
    // False when the bytes did not come within the time or the line closed.
    bool recvExact(Bytes& out, size_t n, int timeoutMs = 5000);
    // One frame cut by its Size (at most 256 MiB); false on time-out or close.
    bool frame(Frame& out, int timeoutMs = 5000);
    Frame request(const Bytes& bytes, int timeoutMs = 5000);
    // True when the peer closes (or resets) within the time; data that still arrives is dropped.
    bool closedWithin(int timeoutMs);
    // Opens a session with the plain request and returns the reply.
    Frame openPlain();

private:
    int fd_ = -1;
};

class Sim {
public:
    // `prepare` may change the fixture copy (profile, files) before the program starts; `extraArgs`
    // go to the command line (e.g. "--ftp-port", "0").
    explicit Sim(const std::string& faults = std::string(),
                 const std::function<void(const std::string& root)>& prepare = nullptr,
                 const std::vector<std::string>& extraArgs = {});
    bool running() const { return proc_->ok(); }
    uint16_t port() const { return uint16_t(proc_->port()); }
    uint16_t ftpPort() const { return uint16_t(proc_->ftpPort()); }
    const std::string& root() const { return proc_->root(); }
    std::string data() const { return root() + "/flashdrive0/data"; }
    // What the program has written on stderr so far.
    std::string log() const { return proc_->log(); }
    // SIGTERM, then the exit code (-1 when it had to be killed).
    int stop() { return proc_->stop(); }
    // Sets a key of profile.json to a JSON value text before start (for `prepare`).
    static void setProfile(const std::string& root, const std::string& key, const std::string& jsonValue);

private:
    std::unique_ptr<QTemporaryDir> dir_; // the prepared instrument root, when there is one
    std::unique_ptr<ferro::test::SimProcess> proc_;
};

} // namespace simtest
