#pragma once
// A test link on a manual clock with its log captured.

#include "foundation/Clock.h"
#include "support/TestComUnit.h"
#include "support/Lines.h"
#include "support/Replies.h"

#include <QCoreApplication>

#include <algorithm>
#include <string>
#include <vector>

namespace ferro::test {

class LinkFixture {
public:
    LinkFixture() {
        setClock(&clock);
        link.FOnLogCallBack = [this](TSender, const std::string& s, bool memo) {
            log.push_back(s);
            if (memo) memoLines.push_back(s);
        };
    }
    ~LinkFixture() { setClock(nullptr); }

    void feed(const std::vector<uint8_t>& f) { link.Feed(f.data(), f.size()); }
    // Opens the session as a plain TCP link does and answers it, leaving the identity request sent.
    void openSession(uint16_t ver = 5) {
        link.StartPlainSession();
        feed(SessionReply(ver));
    }
    ccc_head_t sentHead(size_t i) const { return link.Sent.at(i).head(); }
    std::vector<std::string> sentNames() const {
        std::vector<std::string> names;
        for (const auto& f : link.Sent) {
            ccc_head_t h = f.head();
            const TCommandDef* d = FindCommand(h.Cmd, h.ExtCmd);
            names.push_back(d ? d->Name : "?");
        }
        return names;
    }
    bool logged(const std::string& line) const {
        return std::find(log.begin(), log.end(), line) != log.end();
    }
    bool loggedContaining(const std::string& part) const { return AnyContains(log, part); }
    void tick(int64_t advanceMs = 100) {
        clock.advance(advanceMs);
        link.OnTimer();
    }
    void processEvents() { QCoreApplication::processEvents(); }

    ManualClock clock;
    TTestComUnit link;
    std::vector<std::string> log;
    std::vector<std::string> memoLines;
};

} // namespace ferro::test
