#pragma once
// Opens a link to one instrument and waits, bounded, for the session to stand. Shared by the command
// line and the end-to-end tests; a window-less program has no dialogs, so messages are collected.

#include "link/ComUnit.h"

#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace ferro {

struct TLinkOptions {
    std::string Host = "127.0.0.1";
    int Port = 5040;
    TIpVer IpVer = ipverV4;
    bool Ssh = false;
    std::string User, Password;
    std::string DataDir; // with a trailing separator; empty: no folders are made
    std::string TmpDir;
    std::string IniDir;
    bool CheckXML = false;
    int ConnectTimeoutMs = 10000;
    bool Verbose = false;
    int FtpPort = 21;
    bool Ftp = false;
    std::string SerialDevice;    // set: the instrument hangs on this serial line
    bool SerialUseStart = false; // open the serial session with the long start frame
};

class TLinkSession {
public:
    explicit TLinkSession(TLinkOptions options);
    ~TLinkSession();
    TLinkSession(const TLinkSession&) = delete;
    TLinkSession& operator=(const TLinkSession&) = delete;

    // Connects and waits for the full identity. On failure `error` holds a German message.
    bool Open(std::string& error, int timeoutMs = 15000);
    // Runs the event loop until `done` holds, the line falls or `timeoutMs` passes.
    bool WaitFor(const std::function<bool()>& done, int timeoutMs);
    // Stops the session the orderly way and waits for the line to close.
    void Close(int timeoutMs = 6000);

    TComUnit& Link() { return *link_; }
    // Messages the link wanted to show, in order.
    const std::vector<std::string>& Messages() const { return messages_; }
    // Log lines (only kept with Verbose off; with Verbose they go to stderr).
    const std::vector<std::string>& Log() const { return log_; }
    // Answers questions (new XML files, host keys ...) with mrYes or mrNo; unassigned: QuestionAnswer.
    std::function<int(const std::string& question)> Ask;
    int QuestionAnswer = mrNo;

private:
    bool openSerial(std::string& error, int timeoutMs);

    TLinkOptions options_;
    std::unique_ptr<TComUnit> link_;
    std::vector<std::string> messages_;
    std::vector<std::string> log_;
    bool connDone_ = false;
};

} // namespace ferro
