#include "SimHarness.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include "ferrosim/Compression.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <fstream>

namespace fs = std::filesystem;

namespace simtest {

namespace {
using Clock = std::chrono::steady_clock;
int msLeft(Clock::time_point deadline) {
    return int(std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now()).count());
}
} // namespace

void put16(Bytes& b, uint16_t v) {
    b.insert(b.end(), {uint8_t(v), uint8_t(v >> 8)});
}
void put32(Bytes& b, uint32_t v) {
    b.insert(b.end(), {uint8_t(v), uint8_t(v >> 8), uint8_t(v >> 16), uint8_t(v >> 24)});
}
uint16_t get16(const Bytes& b, size_t at) {
    return at + 2 <= b.size() ? uint16_t(b[at] | b[at + 1] << 8) : 0;
}
uint32_t get32(const Bytes& b, size_t at) {
    return at + 4 <= b.size() ? uint32_t(get16(b, at) | get16(b, at + 2) << 16) : 0;
}
std::string text(const Bytes& b, size_t at, size_t width) {
    const std::string s = str(b, at).substr(0, width);
    return s.substr(0, s.find('\0'));
}
std::string str(const Bytes& b, size_t from) {
    return from < b.size() ? std::string(b.begin() + long(from), b.end()) : std::string();
}

Bytes head(uint8_t cmd, uint8_t priv, uint16_t ext, uint32_t size, uint16_t flags, uint16_t ver,
           uint32_t seq) {
    Bytes b{cmd, priv};
    put16(b, ext);
    put16(b, ver);
    put16(b, flags);
    put32(b, 0);
    put32(b, size);
    put32(b, seq);
    return b;
}

Bytes plain(uint8_t cmd, uint8_t priv, uint16_t ext, uint16_t flags, uint16_t ver) {
    return head(cmd, priv, ext, 20, flags, ver);
}

namespace {
void putText(Bytes& b, const std::string& s, size_t width) {
    for (size_t i = 0; i < width; ++i)
        b.push_back(i < s.size() ? uint8_t(s[i]) : 0);
}
} // namespace

Bytes named(uint8_t cmd, uint16_t ext, const std::string& name, uint32_t pos, uint16_t flags) {
    Bytes b = head(cmd, 0, ext, 88, flags);
    putText(b, name, 64);
    put32(b, pos);
    return b;
}

Bytes start(const std::string& user, const std::string& password, uint16_t ver) {
    Bytes b = head(1, 0, 0, 160, 4, ver);
    put32(b, 0);
    putText(b, user, 64);
    putText(b, password, 72);
    return b;
}

Bytes lua(const std::string& line) {
    Bytes b = head(6, 1, 0, uint32_t(20 + line.size() + 2));
    const std::string withEnd = line + "\r\n";
    b.insert(b.end(), withEnd.begin(), withEnd.end());
    return b;
}

Bytes scratchWrite(const std::string& name, const Bytes& file) {
    Bytes b = head(7, 0, 2, uint32_t(148 + file.size()));
    putText(b, name, 128);
    b.insert(b.end(), file.begin(), file.end());
    return b;
}

Bytes setupWrite(const Bytes& file, uint16_t flags) {
    Bytes b = head(3, 1, 3, uint32_t(20 + file.size()), flags);
    b.insert(b.end(), file.begin(), file.end());
    return b;
}

Bytes gunzip(const Bytes& packed) {
    Bytes out;
    return ferro::sim::Compression::gunzip(packed, out, 64u << 20) ? out : Bytes();
}

std::map<std::string, Bytes> untar(const Bytes& packed) {
    std::vector<ferro::sim::ArchiveEntry> entries;
    std::map<std::string, Bytes> out;
    if (ferro::sim::Compression::untarGz(packed, entries, 64u << 20))
        for (auto& e : entries)
            out[e.name] = std::move(e.data);
    return out;
}

Bytes fileBytes(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return Bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
}

void writeBytes(const std::string& path, const Bytes& bytes) {
    fs::create_directories(fs::path(path).parent_path());
    std::ofstream out(path, std::ios::binary);
    out.write(reinterpret_cast<const char*>(bytes.data()), std::streamsize(bytes.size()));
}

RawClient::RawClient(uint16_t port) {
    fd_ = ::socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in addr{};
    addr.sin_family = AF_INET;
    addr.sin_port = htons(port);
    addr.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    if (::connect(fd_, reinterpret_cast<sockaddr*>(&addr), sizeof(addr)) != 0) {
        ::close(fd_);
        fd_ = -1;
    }
}

RawClient::~RawClient() {
    if (fd_ >= 0) ::close(fd_);
}

void RawClient::send(const Bytes& bytes) {
    size_t done = 0;
    while (fd_ >= 0 && done < bytes.size()) {
        ssize_t n = ::send(fd_, bytes.data() + done, bytes.size() - done, MSG_NOSIGNAL);
        if (n <= 0) return;
        done += size_t(n);
    }
}

bool RawClient::recvExact(Bytes& out, size_t n, int timeoutMs) {
    out.resize(n);
    size_t got = 0;
    const auto deadline = Clock::now() + std::chrono::milliseconds(timeoutMs);
    while (got < n) {
        const int left = msLeft(deadline);
        if (left <= 0 || fd_ < 0) return false;
        pollfd p{fd_, POLLIN, 0};
        if (::poll(&p, 1, left) <= 0) return false;
        ssize_t r = ::recv(fd_, out.data() + got, n - got, 0);
        if (r <= 0) return false;
        got += size_t(r);
    }
    return true;
}

bool RawClient::frame(Frame& out, int timeoutMs) {
    Bytes h;
    if (!recvExact(h, 20, timeoutMs)) return false;
    uint32_t size = get32(h, 12);
    if (size < 20 || size > (256u << 20)) return false;
    Bytes rest;
    if (!recvExact(rest, size - 20, timeoutMs)) return false;
    out.bytes = h;
    out.bytes.insert(out.bytes.end(), rest.begin(), rest.end());
    out.answered = true;
    return true;
}

Frame RawClient::request(const Bytes& bytes, int timeoutMs) {
    send(bytes);
    Frame f;
    if (!frame(f, timeoutMs)) f.bytes = Bytes(20, 0xEE);
    return f;
}

bool RawClient::closedWithin(int timeoutMs) {
    const auto deadline = Clock::now() + std::chrono::milliseconds(timeoutMs);
    uint8_t buf[65536];
    while (fd_ >= 0) {
        const int left = msLeft(deadline);
        if (left <= 0) return false;
        pollfd p{fd_, POLLIN, 0};
        if (::poll(&p, 1, left) <= 0) return false;
        if (::recv(fd_, buf, sizeof(buf), 0) <= 0) return true;
    }
    return true;
}

Frame RawClient::openPlain() {
    return request(plain(1, 1, 2, 4, 4));
}

Sim::Sim(const std::string& faults, const std::function<void(const std::string&)>& prepare,
         const std::vector<std::string>& extraArgs)
    : dir_(std::make_unique<QTemporaryDir>()) {
    std::string root;
    if (prepare) {
        root = dir_->path().toStdString() + "/instrument";
        fs::copy(FERRO_SOURCE_DIR "/fixtures/instrument", root, fs::copy_options::recursive);
        prepare(root);
    }
    std::vector<std::string> args = extraArgs;
    if (!faults.empty()) args.insert(args.end(), {"--faults", faults});
    proc_ = std::make_unique<ferro::test::SimProcess>(args, root);
}

void Sim::setProfile(const std::string& root, const std::string& key, const std::string& jsonValue) {
    std::string path = root + "/profile.json";
    QJsonObject o = QJsonDocument::fromJson(QByteArray::fromStdString(str(fileBytes(path), 0))).object();
    QJsonDocument value = QJsonDocument::fromJson(QByteArray::fromStdString("[" + jsonValue + "]"));
    o.insert(QString::fromStdString(key), value.array().at(0));
    QByteArray out = QJsonDocument(o).toJson();
    writeBytes(path, Bytes(out.begin(), out.end()));
}

} // namespace simtest
