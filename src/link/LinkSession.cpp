#include "link/LinkSession.h"

#include "foundation/Format.h"
#include "foundation/MainThread.h"
#include "link/Messages.h"
#include "link/RSComUnit.h"
#include "link/TCPComUnit.h"

#include <QCoreApplication>
#include <QEventLoop>

#include <cstdio>

namespace ferro {

TLinkSession::TLinkSession(TLinkOptions options) : options_(std::move(options)) {
    if (!options_.SerialDevice.empty()) {
        auto rs = std::make_unique<TRSComUnit>();
        rs->SetComPort(options_.SerialDevice);
        link_ = std::move(rs);
    } else {
        auto tcp = std::make_unique<TTCPComUnit>(options_.Ssh);
        tcp->FIPVersion = options_.IpVer;
        tcp->ConnectTimeoutMs = options_.ConnectTimeoutMs;
        link_ = std::move(tcp);
    }
    TComUnit& l = *link_;
    l.FOnLogCallBack = [this](TSender, const std::string& s, bool) {
        if (options_.Verbose)
            std::fprintf(stderr, "Ferro: %s\n", s.c_str());
        else if (log_.size() < 100000)
            log_.push_back(s);
    };
    l.FDisplayConnMessage = [this](const std::string& text, TMsgDlgType type, TThreadedMessageCallBack cb,
                                   TMsgDlgButtons, TMsgDlgBtn) {
        messages_.push_back(text);
        int answer = mrOk;
        if (type == mtConfirmation) answer = Ask ? Ask(text) : QuestionAnswer;
        if (cb) cb(nullptr, answer);
    };
    l.FOnConnDone = [this](TSender, bool ok) { connDone_ = connDone_ || ok; };
    l.SetSSHUserPass(options_.User, options_.Password);
    l.FIniFolder = options_.IniDir;
    l.FTmpDir = options_.TmpDir;
    l.FDatadir = options_.DataDir;
    l.FSetFolders = !options_.DataDir.empty();
    l.FCheckXMLFileVersions = options_.CheckXML;
    l.FFtpPort = options_.FtpPort;
    l.FFTP = options_.Ftp;
}

TLinkSession::~TLinkSession() {
    if (link_) {
        link_->FOnLogCallBack = nullptr;
        link_->FDisplayConnMessage = nullptr;
    }
}

bool TLinkSession::WaitFor(const std::function<bool()>& done, int timeoutMs) {
    if (RunEventsUntil([&] { return done() || !link_->IsConnected(); }, timeoutMs) && done()) return true;
    if (link_->IsConnected()) return false;
    // The line fell: let queued jobs of the fall run, then give up.
    QCoreApplication::processEvents(QEventLoop::AllEvents, 20);
    return done();
}

bool TLinkSession::Open(std::string& error, int timeoutMs) {
    if (!options_.SerialDevice.empty()) return openSerial(error, timeoutMs);
    link_->SetIPAndPort(options_.Host, options_.Port, 0);
    link_->DoConnect();
    if (!link_->IsConnected()) {
        auto* tcp = dynamic_cast<TTCPComUnit*>(link_.get());
        if (tcp && tcp->FAuthError) {
            error = _SAuthFehlgeschlagen;
            return false;
        }
        error = Fmt("Keine Verbindung zu %s:%d möglich.", options_.Host.c_str(), options_.Port);
        for (const auto& l : log_)
            if (l.rfind("DoConnectExcept: ", 0) == 0) error += " (" + l.substr(17) + ")";
        return false;
    }
    if (!WaitFor([this] { return connDone_; }, timeoutMs)) {
        if (!messages_.empty())
            error = messages_.back();
        else if (!link_->IsConnected())
            error = _SVerbindungsabbruch;
        else
            error = Fmt("Das Gerät %s:%d antwortet nicht.", options_.Host.c_str(), options_.Port);
        return false;
    }
    return true;
}

bool TLinkSession::openSerial(std::string& error, int timeoutMs) {
    link_->DoConnect();
    // The line counts as standing once the thread has checked it.
    if (!RunEventsUntil([this] { return link_->IsConnected(); }, 2000)) {
        error = Fmt("Die serielle Schnittstelle %s ist nicht verfügbar.", options_.SerialDevice.c_str());
        return false;
    }
    if (options_.SerialUseStart)
        link_->SendStartCommand(0, options_.User, options_.Password);
    else
        link_->StartPlainSession();
    if (!WaitFor([this] { return connDone_; }, timeoutMs)) {
        error = !messages_.empty() ? messages_.back()
                                   : Fmt("Das Gerät an %s antwortet nicht.", options_.SerialDevice.c_str());
        return false;
    }
    return true;
}

void TLinkSession::Close(int timeoutMs) {
    if (!link_ || !link_->IsConnected()) return;
    auto closed = std::make_shared<bool>(false);
    link_->ShutDown(nullptr, [closed](TSender) { *closed = true; });
    RunEventsUntil([&] { return *closed || !link_->IsConnected(); }, timeoutMs);
}

} // namespace ferro
