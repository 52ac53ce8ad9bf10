// Opening a session from the command line, with questions answered on the terminal.
#include "Commands.h"

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

std::unique_ptr<ferro::TLinkSession> OpenSession(const CliOptions& opt, bool makeFolders) {
    ferro::TLinkOptions lo = opt.link;
    if (!makeFolders) lo.DataDir.clear();
    auto session = std::make_unique<ferro::TLinkSession>(lo);
    const bool yes = opt.yes;
    session->Ask = [yes](const std::string& question) {
        const bool changedKey = question.rfind(ferro::_SHostKeyGeaendert, 0) == 0;
        const bool newKey = question.rfind(ferro::_SHostKeyNeu, 0) == 0;
        // --yes accepts a new key, never a changed one.
        if (yes && !changedKey) return int(ferro::mrYes);
        if (isatty(STDIN_FILENO)) return askTerminal(question) ? int(ferro::mrYes) : int(ferro::mrNo);
        std::fprintf(stderr, "%s\n", question.c_str());
        if (newKey || changedKey)
            std::fprintf(stderr, "Abgelehnt: ohne Terminal und ohne --yes wird dem Gerät nicht vertraut.\n");
        return int(ferro::mrNo);
    };
    std::string error;
    if (!session->Open(error)) {
        std::fprintf(stderr, "%s\n", error.c_str());
        return nullptr;
    }
    return session;
}

} // namespace ferroctl
