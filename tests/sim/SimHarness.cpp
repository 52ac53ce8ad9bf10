#include "SimHarness.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <archive.h>
#include <archive_entry.h>
#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>
#include <zlib.h>

#include <chrono>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <stdexcept>

namespace fs = std::filesystem;

namespace simtest {

void put16(Bytes& b, uint16_t v) {
    b.push_back(uint8_t(v));
    b.push_back(uint8_t(v >> 8));
}
void put32(Bytes& b, uint32_t v) {
    for (int i = 0; i < 4; ++i)
        b.push_back(uint8_t(v >> (8 * i)));
}
uint16_t get16(const Bytes& b, size_t at) {
    return at + 2 <= b.size() ? uint16_t(b[at] | b[at + 1] << 8) : 0;
}
uint32_t get32(const Bytes& b, size_t at) {
    if (at + 4 > b.size()) return 0;
    return uint32_t(b[at]) | uint32_t(b[at + 1]) << 8 | uint32_t(b[at + 2]) << 16 | uint32_t(b[at + 3]) << 24;
}
std::string text(const Bytes& b, size_t at, size_t width) {
    std::string s;
    for (size_t i = at; i < at + width && i < b.size() && b[i]; ++i)
        s += char(b[i]);
    return s;
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
    b.insert(b.end(), line.begin(), line.end());
    b.push_back('\r');
    b.push_back('\n');
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
    z_stream zs{};
    if (inflateInit2(&zs, 16 + 15) != Z_OK) return out;
    zs.next_in = const_cast<Bytef*>(packed.data());
    zs.avail_in = uInt(packed.size());
    uint8_t buf[16384];
    int rc;
    do {
        zs.next_out = buf;
        zs.avail_out = sizeof(buf);
        rc = inflate(&zs, Z_NO_FLUSH);
        out.insert(out.end(), buf, buf + (sizeof(buf) - zs.avail_out));
    } while (rc == Z_OK);
    inflateEnd(&zs);
    if (rc != Z_STREAM_END) out.clear();
    return out;
}

Bytes gzipBytes(const Bytes& plain) {
    z_stream zs{};
    deflateInit2(&zs, 6, Z_DEFLATED, 16 + 15, 8, Z_DEFAULT_STRATEGY);
    Bytes out(deflateBound(&zs, uLong(plain.size())) + 64);
    zs.next_in = const_cast<Bytef*>(plain.data());
    zs.avail_in = uInt(plain.size());
    zs.next_out = out.data();
    zs.avail_out = uInt(out.size());
    deflate(&zs, Z_FINISH);
    out.resize(zs.total_out);
    deflateEnd(&zs);
    return out;
}

std::vector<std::pair<std::string, Bytes>> untar(const Bytes& packed) {
    std::vector<std::pair<std::string, Bytes>> out;
    archive* a = archive_read_new();
    archive_read_support_filter_gzip(a);
    archive_read_support_format_tar(a);
    if (archive_read_open_memory(a, packed.data(), packed.size()) == ARCHIVE_OK) {
        archive_entry* e;
        while (archive_read_next_header(a, &e) == ARCHIVE_OK) {
            Bytes data(size_t(archive_entry_size(e)));
            if (!data.empty()) archive_read_data(a, data.data(), data.size());
            out.emplace_back(archive_entry_pathname(e), std::move(data));
        }
    }
    archive_read_free(a);
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
    auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeoutMs);
    while (got < n) {
        int left = int(
            std::chrono::duration_cast<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now())
                .count());
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
    return true;
}

Frame RawClient::request(const Bytes& bytes, int timeoutMs) {
    send(bytes);
    Frame f;
    if (!frame(f, timeoutMs)) f.bytes = Bytes(20, 0xEE);
    return f;
}

bool RawClient::closedWithin(int timeoutMs) {
    auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeoutMs);
    uint8_t buf[65536];
    while (fd_ >= 0) {
        int left = int(
            std::chrono::duration_cast<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now())
                .count());
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
    : dir_(std::make_unique<QTemporaryDir>()), process_(std::make_unique<QProcess>()) {
    root_ = dir_->path().toStdString() + "/instrument";
    if (prepare) {
        fs::copy(FERRO_SOURCE_DIR "/fixtures/instrument", root_, fs::copy_options::recursive);
        prepare(root_);
    }
    QStringList args{"--root", QString::fromStdString(root_), "--port", "0"};
    if (!faults.empty()) args << "--faults" << QString::fromStdString(faults);
    for (const std::string& a : extraArgs)
        args << QString::fromStdString(a);
    process_->setProgram(FERROSIM_BINARY);
    process_->setArguments(args);
    process_->start();
    if (!process_->waitForStarted(5000)) return;
    // The first line tells the port; nothing else is on stdout before it.
    QByteArray line;
    auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    while (!line.contains('\n') && std::chrono::steady_clock::now() < deadline) {
        if (process_->bytesAvailable() == 0 && !process_->waitForReadyRead(200)) {
            if (process_->state() != QProcess::Running) break;
            continue;
        }
        line += process_->read(1);
    }
    const QByteArray prefix = "listening on 127.0.0.1:";
    if (line.startsWith(prefix)) port_ = uint16_t(line.mid(prefix.size()).trimmed().toUInt());
}

Sim::~Sim() {
    if (process_->state() != QProcess::NotRunning) {
        process_->terminate();
        if (!process_->waitForFinished(5000)) {
            process_->kill();
            process_->waitForFinished(2000);
        }
    }
}

std::string Sim::stdoutLine(int timeoutMs) {
    QByteArray line;
    auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeoutMs);
    while (!line.endsWith('\n') && std::chrono::steady_clock::now() < deadline) {
        if (process_->bytesAvailable() == 0 && !process_->waitForReadyRead(100)) {
            if (process_->state() != QProcess::Running) break;
            continue;
        }
        line += process_->read(1);
    }
    return line.endsWith('\n') ? line.trimmed().toStdString() : std::string();
}

std::string Sim::stderrText() {
    return process_->readAllStandardError().toStdString();
}

void Sim::setProfile(const std::string& root, const std::string& key, const std::string& jsonValue) {
    std::string path = root + "/profile.json";
    Bytes raw = fileBytes(path);
    QJsonObject o =
        QJsonDocument::fromJson(QByteArray(reinterpret_cast<const char*>(raw.data()), int(raw.size())))
            .object();
    QJsonDocument value = QJsonDocument::fromJson(QByteArray::fromStdString("[" + jsonValue + "]"));
    o.insert(QString::fromStdString(key), value.array().at(0));
    QByteArray out = QJsonDocument(o).toJson();
    writeBytes(path, Bytes(out.begin(), out.end()));
}

} // namespace simtest
