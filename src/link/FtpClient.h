#pragma once
// The FTP road for files: anonymous, binary, passive, over libcurl. One control connection serves the
// calls between the first and Disconnect (login once, then size and transfer on it).

#include "foundation/MemStream.h"
#include "foundation/Sammler.h"

#include <functional>
#include <memory>
#include <string>
#include <vector>

typedef void CURL;

namespace ferro {

class TFtpClient {
public:
    using LogFn = std::function<void(const std::string& text, bool toMemo)>;
    // Work events: begin with the total, progress with the count so far, end.
    using WorkFn = std::function<void(TWorkStatus status, TWorkMode mode, uint64_t count)>;

    TFtpClient();
    ~TFtpClient();
    TFtpClient(const TFtpClient&) = delete;
    TFtpClient& operator=(const TFtpClient&) = delete;

    std::string Host = "127.0.0.1";
    int Port = 21;
    std::string User = "anonymous";
    std::string Password = "marlinlite@ferro.invalid";
    int TimeoutMs = 10000;
    LogFn Log;
    WorkFn OnWork;

    // Connects and logs in; true if the server answers. The connection stays for the next calls.
    bool Probe();
    // Quits and closes the connection.
    void Disconnect();
    // Size of a remote file, or -1 if it does not exist.
    int64_t Size(const std::string& remote);
    // Fetches a remote file; true only if the whole file (the server's size) arrived.
    bool Get(const std::string& remote, MemStream& into);
    bool Get(const std::string& remote, const std::string& local, bool overwrite, bool resume);
    // Stores a local file under its own name in `remoteDir`; true if the server then has its size.
    bool Put(const std::string& file, const std::string& remoteDir);
    bool Put(const std::vector<std::string>& files, const std::string& remoteDir);
    const std::string& LastError() const { return lastError_; }

private:
    std::string url(const std::string& remotePath) const;
    // The one handle, reset to the common options for `url`; its connection is kept between calls.
    CURL* handle(const std::string& url);
    void log(const std::string& s, bool memo = false) const {
        if (Log) Log(s, memo);
    }
    void work(TWorkStatus s, TWorkMode m, uint64_t c) const {
        if (OnWork) OnWork(s, m, c);
    }
    std::string lastError_;
    std::unique_ptr<CURL, void (*)(CURL*)> handle_;
};

// The directory and file parts of an instrument path, split at the last '/' or ':'.
std::string ExtractUnixFilePath(const std::string& path);
std::string ExtractUnixFileName(const std::string& path);

} // namespace ferro
