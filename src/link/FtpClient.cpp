#include "link/FtpClient.h"

#include "foundation/Format.h"

#include <curl/curl.h>

#include <cstdio>
#include <filesystem>
#include <memory>
#include <mutex>

namespace ferro {

namespace {

void globalInit() {
    static std::once_flag once;
    std::call_once(once, [] { curl_global_init(CURL_GLOBAL_DEFAULT); });
}

struct Transfer {
    const TFtpClient::WorkFn* work = nullptr;
    TWorkMode mode = wmRead;
    uint64_t base = 0;
};

int progressCb(void* p, curl_off_t, curl_off_t dlnow, curl_off_t, curl_off_t ulnow) {
    auto* t = static_cast<Transfer*>(p);
    if (t->work && *t->work)
        (*t->work)(WorkWorking, t->mode, t->base + uint64_t(t->mode == wmRead ? dlnow : ulnow));
    return 0;
}

size_t toMem(char* data, size_t size, size_t n, void* user) {
    auto* m = static_cast<MemStream*>(user);
    m->write(data, size * n);
    return size * n;
}

size_t toFile(char* data, size_t size, size_t n, void* user) {
    return std::fwrite(data, size, n, static_cast<FILE*>(user)) * size;
}

size_t fromFile(char* data, size_t size, size_t n, void* user) {
    return std::fread(data, size, n, static_cast<FILE*>(user));
}

size_t discard(char*, size_t size, size_t n, void*) {
    return size * n;
}

// Runs a prepared transfer with its progress reported as work events.
CURLcode performWithProgress(CURL* h, Transfer& t) {
    curl_easy_setopt(h, CURLOPT_XFERINFOFUNCTION, progressCb);
    curl_easy_setopt(h, CURLOPT_XFERINFODATA, &t);
    curl_easy_setopt(h, CURLOPT_NOPROGRESS, 0L);
    return curl_easy_perform(h);
}

std::string encodePath(const std::string& path) {
    std::string out;
    for (unsigned char c : path) {
        if (std::isalnum(c) || c == '/' || c == '-' || c == '_' || c == '.' || c == '~')
            out += char(c);
        else
            out += Fmt("%%%02X", c);
    }
    return out;
}

} // namespace

std::string ExtractUnixFilePath(const std::string& path) {
    size_t cut = path.find_last_of("/:");
    return cut == std::string::npos ? std::string() : path.substr(0, cut + 1);
}

std::string ExtractUnixFileName(const std::string& path) {
    size_t cut = path.find_last_of("/:");
    return cut == std::string::npos ? path : path.substr(cut + 1);
}

TFtpClient::TFtpClient() : handle_(nullptr, curl_easy_cleanup) {
    globalInit();
}
TFtpClient::~TFtpClient() = default;

std::string TFtpClient::url(const std::string& remotePath) const {
    std::string p = remotePath;
    while (!p.empty() && p[0] == '/')
        p.erase(0, 1);
    // Absolute on the server: "//" after the host keeps the leading slash of the path.
    return Fmt("ftp://%s:%d//%s", Host.c_str(), Port, encodePath(p).c_str());
}

CURL* TFtpClient::handle(const std::string& url) {
    if (!handle_) handle_.reset(curl_easy_init());
    CURL* h = handle_.get();
    // Options go back to the defaults; the connection cache (the logged-in connection) stays.
    curl_easy_reset(h);
    curl_easy_setopt(h, CURLOPT_URL, url.c_str());
    curl_easy_setopt(h, CURLOPT_USERNAME, User.c_str());
    curl_easy_setopt(h, CURLOPT_PASSWORD, Password.c_str());
    curl_easy_setopt(h, CURLOPT_FTP_USE_EPSV, 1L);
    curl_easy_setopt(h, CURLOPT_TRANSFERTEXT, 0L);
    curl_easy_setopt(h, CURLOPT_CONNECTTIMEOUT_MS, long(TimeoutMs));
    curl_easy_setopt(h, CURLOPT_FTP_RESPONSE_TIMEOUT, long(TimeoutMs / 1000 + 1));
    curl_easy_setopt(h, CURLOPT_NOSIGNAL, 1L);
    // Large blocks per read: a recording arrives with few calls into our file writes.
    curl_easy_setopt(h, CURLOPT_BUFFERSIZE, 512L * 1024L);
    // A stalled data connection ends the transfer instead of hanging it.
    curl_easy_setopt(h, CURLOPT_LOW_SPEED_LIMIT, 1L);
    curl_easy_setopt(h, CURLOPT_LOW_SPEED_TIME, long(TimeoutMs / 1000 + 1));
    return h;
}

void TFtpClient::Disconnect() {
    handle_.reset(); // curl quits the connection when its handle goes
}

bool TFtpClient::Probe() {
    // Logs in and looks at the top folder: the connection then serves the next calls.
    CURL* h = handle(Fmt("ftp://%s:%d/", Host.c_str(), Port));
    curl_easy_setopt(h, CURLOPT_NOBODY, 1L);
    CURLcode rc = curl_easy_perform(h);
    if (rc != CURLE_OK) lastError_ = curl_easy_strerror(rc);
    return rc == CURLE_OK;
}

int64_t TFtpClient::Size(const std::string& remote) {
    CURL* h = handle(url(remote));
    curl_easy_setopt(h, CURLOPT_NOBODY, 1L);
    curl_easy_setopt(h, CURLOPT_WRITEFUNCTION, discard);
    CURLcode rc = curl_easy_perform(h);
    if (rc != CURLE_OK) {
        lastError_ = curl_easy_strerror(rc);
        return -1;
    }
    curl_off_t len = -1;
    curl_easy_getinfo(h, CURLINFO_CONTENT_LENGTH_DOWNLOAD_T, &len);
    return int64_t(len);
}

bool TFtpClient::Get(const std::string& remote, MemStream& into) {
    into.clear();
    int64_t size = Size(remote);
    work(WorkBegin, wmRead, size < 0 ? 0 : uint64_t(size));
    bool ok = false;
    if (size >= 0) {
        CURL* h = handle(url(remote));
        Transfer t{&OnWork, wmRead, 0};
        curl_easy_setopt(h, CURLOPT_WRITEFUNCTION, toMem);
        curl_easy_setopt(h, CURLOPT_WRITEDATA, &into);
        CURLcode rc = performWithProgress(h, t);
        if (rc != CURLE_OK) {
            lastError_ = curl_easy_strerror(rc);
            log("FTP: " + lastError_);
        }
        ok = int64_t(into.size()) == size;
    } else {
        log("FTP: " + remote + " " + lastError_);
    }
    into.setPosition(0);
    work(WorkEnd, wmRead, into.size());
    return ok;
}

bool TFtpClient::Get(const std::string& remote, const std::string& local, bool overwrite, bool resume) {
    int64_t size = Size(remote);
    work(WorkBegin, wmRead, size < 0 ? 0 : uint64_t(size));
    if (size < 0) {
        log("FTP: " + remote + " " + lastError_);
        work(WorkEnd, wmRead, 0);
        return false;
    }
    std::error_code ec;
    uint64_t have = std::filesystem::exists(local, ec) ? std::filesystem::file_size(local, ec) : 0;
    if (!resume && !overwrite && have > 0) {
        lastError_ = "file exists";
        work(WorkEnd, wmRead, 0);
        return false;
    }
    if (!resume) have = 0;
    bool ok = false;
    if (have < uint64_t(size)) {
        FILE* f = std::fopen(local.c_str(), resume ? "ab" : "wb");
        if (!f) {
            lastError_ = "cannot write " + local;
            work(WorkEnd, wmRead, 0);
            return false;
        }
        CURL* h = handle(url(remote));
        Transfer t{&OnWork, wmRead, have};
        curl_easy_setopt(h, CURLOPT_WRITEFUNCTION, toFile);
        curl_easy_setopt(h, CURLOPT_WRITEDATA, f);
        curl_easy_setopt(h, CURLOPT_RESUME_FROM_LARGE, curl_off_t(have));
        CURLcode rc = performWithProgress(h, t);
        std::fclose(f);
        if (rc != CURLE_OK) {
            lastError_ = curl_easy_strerror(rc);
            log("FTP: " + lastError_);
        }
    } else if (!std::filesystem::exists(local, ec)) {
        FILE* f = std::fopen(local.c_str(), "wb");
        if (f) std::fclose(f);
    }
    uint64_t now = std::filesystem::file_size(local, ec);
    ok = !ec && now == uint64_t(size);
    work(WorkEnd, wmRead, now);
    return ok;
}

bool TFtpClient::Put(const std::string& file, const std::string& remoteDir) {
    return Put(std::vector<std::string>{file}, remoteDir);
}

bool TFtpClient::Put(const std::vector<std::string>& files, const std::string& remoteDir) {
    std::error_code ec;
    uint64_t total = 0;
    for (const auto& f : files)
        total += std::filesystem::file_size(f, ec);
    work(WorkBegin, wmWrite, total);
    bool all = true;
    uint64_t done = 0;
    std::string dir = remoteDir;
    if (!dir.empty() && dir.back() != '/') dir += '/';
    for (const auto& file : files) {
        std::string name = std::filesystem::path(file).filename().string();
        if (files.size() > 1) log(Fmt("FTP - Send File: %s", name.c_str()), true);
        FILE* f = std::fopen(file.c_str(), "rb");
        if (!f) {
            log(Fmt("FTP - Error: %s", ("cannot read " + file).c_str()));
            all = false;
            continue;
        }
        uint64_t size = std::filesystem::file_size(file, ec);
        CURL* h = handle(url(dir + name));
        Transfer t{&OnWork, wmWrite, done};
        curl_easy_setopt(h, CURLOPT_UPLOAD, 1L);
        curl_easy_setopt(h, CURLOPT_READFUNCTION, fromFile);
        curl_easy_setopt(h, CURLOPT_READDATA, f);
        curl_easy_setopt(h, CURLOPT_INFILESIZE_LARGE, curl_off_t(size));
        CURLcode rc = performWithProgress(h, t);
        std::fclose(f);
        if (rc != CURLE_OK) {
            lastError_ = curl_easy_strerror(rc);
            log(Fmt("FTP - Error: %s", lastError_.c_str()));
            all = false;
            continue;
        }
        done += size;
        if (Size(dir + name) != int64_t(size)) all = false;
    }
    work(WorkEnd, wmWrite, done);
    return all;
}

} // namespace ferro
