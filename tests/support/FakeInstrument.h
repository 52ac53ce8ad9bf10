#pragma once
// A minimal instrument on a loopback socket for link tests: it answers the plain session and the
// full identity, records every frame it receives and can drop the line on request.

#include "support/Replies.h"
#include "support/Wait.h"

#include <QCoreApplication>
#include <QEventLoop>

#include <chrono>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <mutex>
#include <thread>
#include <vector>

namespace ferro::test {

class FakeInstrument {
public:
    // Modes for bad servers: answer frames, close at once, or talk garbage.
    enum class Mode { Instrument, CloseAtOnce, Garbage };

    explicit FakeInstrument(bool ipv6 = false, Mode mode = Mode::Instrument) : mode_(mode) {
        int one = 1;
        if (ipv6) {
            listenFd_ = ::socket(AF_INET6, SOCK_STREAM | SOCK_CLOEXEC, 0);
            ::setsockopt(listenFd_, SOL_SOCKET, SO_REUSEADDR, &one, sizeof one);
            sockaddr_in6 a{};
            a.sin6_family = AF_INET6;
            a.sin6_addr = in6addr_loopback;
            ::bind(listenFd_, reinterpret_cast<sockaddr*>(&a), sizeof a);
            socklen_t len = sizeof a;
            ::listen(listenFd_, 4);
            ::getsockname(listenFd_, reinterpret_cast<sockaddr*>(&a), &len);
            port_ = ntohs(a.sin6_port);
        } else {
            listenFd_ = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
            ::setsockopt(listenFd_, SOL_SOCKET, SO_REUSEADDR, &one, sizeof one);
            sockaddr_in a{};
            a.sin_family = AF_INET;
            a.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
            a.sin_port = 0;
            ::bind(listenFd_, reinterpret_cast<sockaddr*>(&a), sizeof a);
            ::listen(listenFd_, 4);
            socklen_t len = sizeof a;
            ::getsockname(listenFd_, reinterpret_cast<sockaddr*>(&a), &len);
            port_ = ntohs(a.sin_port);
        }
        thread_ = std::thread([this] { serve(); });
    }
    ~FakeInstrument() {
        stop_ = true;
        thread_.join();
        if (listenFd_ >= 0) ::close(listenFd_);
    }
    int port() const { return port_; }
    // Closes the client's connection at the next turn.
    void dropLine() { drop_ = true; }
    size_t framesReceived() const {
        std::lock_guard<std::mutex> lk(mutex_);
        return received_.size();
    }
    std::vector<std::vector<uint8_t>> received() const {
        std::lock_guard<std::mutex> lk(mutex_);
        return received_;
    }
    uint32_t revision = 20000;
    // An NTP request of the instrument, sent in the same segment right behind the identity.
    std::vector<uint8_t> ntpBehindIdentity;

private:
    void serve() {
        int client = -1;
        std::vector<uint8_t> buf;
        while (!stop_) {
            if (client < 0) {
                pollfd p{listenFd_, POLLIN, 0};
                if (::poll(&p, 1, 20) > 0) client = ::accept(listenFd_, nullptr, nullptr);
                if (client >= 0 && mode_ == Mode::CloseAtOnce) {
                    ::close(client);
                    client = -1;
                } else if (client >= 0 && mode_ == Mode::Garbage) {
                    const char junk[] = "garbage that is no protocol\r\n\x01\x02\x03";
                    ::send(client, junk, sizeof junk, MSG_NOSIGNAL);
                }
                continue;
            }
            if (drop_) {
                ::close(client);
                client = -1;
                drop_ = false;
                continue;
            }
            pollfd p{client, POLLIN, 0};
            if (::poll(&p, 1, 20) <= 0) continue;
            uint8_t chunk[4096];
            ssize_t n = ::recv(client, chunk, sizeof chunk, 0);
            if (n <= 0) {
                ::close(client);
                client = -1;
                continue;
            }
            buf.insert(buf.end(), chunk, chunk + n);
            while (buf.size() >= 20) {
                uint32_t size = uint32_t(buf[12]) | (uint32_t(buf[13]) << 8) | (uint32_t(buf[14]) << 16) |
                                (uint32_t(buf[15]) << 24);
                if (size < 20 || buf.size() < size) break;
                std::vector<uint8_t> frame(buf.begin(), buf.begin() + size);
                buf.erase(buf.begin(), buf.begin() + size);
                {
                    std::lock_guard<std::mutex> lk(mutex_);
                    received_.push_back(frame);
                }
                if (mode_ == Mode::Instrument) answer(client, frame);
            }
        }
        if (client >= 0) ::close(client);
    }
    void answer(int client, const std::vector<uint8_t>& req) {
        std::vector<uint8_t> reply;
        if (req[0] == 1 && req[2] != 0xFF) reply = SessionReply(5);
        if (req[0] == 2 && req[2] == 1)
            reply = IdentityAll(777, 2400512, revision, "Umspannwerk", "Feld 3", "PQ1");
        if (req[0] == 2 && req[2] == 1)
            reply.insert(reply.end(), ntpBehindIdentity.begin(), ntpBehindIdentity.end());
        if (req[0] == 2 && req[2] == 0) reply = Frame(2, 0, 0, std::vector<uint8_t>(12));
        if (!reply.empty()) ::send(client, reply.data(), reply.size(), MSG_NOSIGNAL);
    }

    Mode mode_ = Mode::Instrument;
    int listenFd_ = -1;
    int port_ = 0;
    std::thread thread_;
    std::atomic<bool> stop_{false};
    std::atomic<bool> drop_{false};
    mutable std::mutex mutex_;
    std::vector<std::vector<uint8_t>> received_;
};

} // namespace ferro::test
