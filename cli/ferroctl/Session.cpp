// Opening a session from the command line, with questions answered on the terminal.
#include "Commands.h"

#include "foundation/Format.h"
#include "link/Messages.h"

#include <cstdio>
#include <iostream>
#include <unistd.h>

namespace ferroctl {

namespace {
bool askTerminal(const std::string& question) {
    std::fprintf(stderr, "%s [j/N] ", question.c_str());
    std::fflush(stderr);
    std::string answer;
    if (!std::getline(std::cin, answer)) return false;
    return !answer.empty() && (answer[0] == 'j' || answer[0] == 'J' || answer[0] == 'y' || answer[0] == 'Y');
}
} // namespace

ferro::TDisplayConnMessage TerminalPresenter(bool yes) {
    // A window-less program has no dialogs: errors are printed once, by whoever ends on them, and
    // questions are asked on the terminal.
    return [yes](const std::string& text, ferro::TMsgDlgType type, ferro::TThreadedMessageCallBack cb,
                 ferro::TMsgDlgButtons, ferro::TMsgDlgBtn) {
        int answer = ferro::mrOk;
        if (type == ferro::mtConfirmation) {
            const bool changedKey = text.find(ferro::CHostKeyGeaendertMark) != std::string::npos;
            const bool newKey = text.rfind(ferro::CHostKeyNeuStart, 0) == 0;
            // --yes accepts a new key, never a changed one.
            if (yes && !changedKey) {
                answer = ferro::mrYes;
            } else if (isatty(STDIN_FILENO)) {
                answer = askTerminal(text) ? ferro::mrYes : ferro::mrNo;
            } else {
                std::fprintf(stderr, "%s\n", text.c_str());
                if (newKey || changedKey)
                    std::fprintf(stderr,
                                 "Abgelehnt: ohne Terminal und ohne --yes wird dem Gerät nicht vertraut.\n");
                answer = ferro::mrNo;
            }
        } else if (type == ferro::mtInformation || type == ferro::mtWarning) {
            std::fprintf(stderr, "%s\n", text.c_str());
        }
        if (cb) cb(nullptr, answer);
    };
}

bool AskTerminal(const std::string& question) {
    return askTerminal(question);
}

std::unique_ptr<ferro::TDeviceSession> OpenSession(const CliOptions& opt, bool makeFolders) {
    ferro::TConnectionRec rec = opt.link;
    if (!makeFolders) rec.Folders.Data.clear();
    auto session = std::make_unique<ferro::TDeviceSession>(rec);
    const bool verbose = opt.verbose;
    session->Link().FOnLogCallBack = [verbose](ferro::TSender, const std::string& s, bool) {
        if (verbose) std::fprintf(stderr, "Ferro: %s\n", s.c_str());
    };
    session->FPresent = TerminalPresenter(opt.yes);
    if (!session->OpenAndWait(rec.ConnectTimeoutMs + 20000)) {
        const std::string& text = session->LastError().Text;
        std::fprintf(stderr, "%s\n", text.c_str());
        // A message of the instrument's refusal that names no code gets the code and its text.
        const ferro::TRefusal& r = session->LastRefusal();
        if (r.Code != 0 && text.find(ferro::Fmt("(Code %u)", r.Code)) == std::string::npos)
            std::fprintf(stderr, "%s\n", r.Describe().c_str());
        return nullptr;
    }
    return session;
}

std::string LastReason(const ferro::TDeviceSession& session) {
    const std::string& t = session.LastError().Text;
    return t.empty() ? std::string() : " " + t;
}

} // namespace ferroctl
