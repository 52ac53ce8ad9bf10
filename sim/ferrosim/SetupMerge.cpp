#include "ferrosim/SetupMerge.h"

#include <algorithm>

namespace ferro::sim {

namespace {

struct TModule {
    std::string Id;
    size_t Begin = 0, End = 0; // whole lines, indentation and line end included
};

// The modules of a setup in order. Modules do not nest, so each ends at the next closing tag.
std::vector<TModule> Modules(const std::string& Text) {
    std::vector<TModule> out;
    const std::string open = "<swmodule", close = "</swmodule>";
    for (size_t at = Text.find(open); at != std::string::npos; at = Text.find(open, at + 1)) {
        const size_t tagEnd = Text.find('>', at);
        const size_t idAt = Text.find("id=\"", at);
        const size_t end = Text.find(close, at);
        if (tagEnd == std::string::npos || end == std::string::npos) break;
        TModule m;
        if (idAt != std::string::npos && idAt < tagEnd)
            m.Id = Text.substr(idAt + 4, Text.find('"', idAt + 4) - idAt - 4);
        const size_t lineStart = Text.rfind('\n', at);
        m.Begin = lineStart == std::string::npos ? at : lineStart + 1;
        m.End = end + close.size();
        const size_t nl = Text.find('\n', m.End);
        if (nl != std::string::npos && Text.find_first_not_of(" \t\r", m.End) == nl) m.End = nl + 1;
        out.push_back(m);
        at = end;
    }
    return out;
}

} // namespace

std::vector<uint8_t> KeepMissingModules(const std::vector<uint8_t>& Stored,
                                        const std::vector<uint8_t>& Received,
                                        std::vector<std::string>& Kept) {
    Kept.clear();
    const std::string old(Stored.begin(), Stored.end());
    std::string text(Received.begin(), Received.end());
    const std::vector<TModule> before = Modules(old);
    for (size_t i = 0; i < before.size(); ++i) {
        const std::vector<TModule> now = Modules(text);
        auto has = [&](const std::string& id) {
            return std::any_of(now.begin(), now.end(), [&](const TModule& m) { return m.Id == id; });
        };
        if (before[i].Id.empty() || has(before[i].Id)) continue;
        // In front of the next module both have, else behind the last module, else before the system's end.
        size_t at = std::string::npos;
        for (size_t k = i + 1; k < before.size() && at == std::string::npos; ++k)
            for (const TModule& m : now)
                if (m.Id == before[k].Id) at = m.Begin;
        if (at == std::string::npos && !now.empty()) at = now.back().End;
        if (at == std::string::npos) {
            const size_t sysEnd = text.find("</system>");
            if (sysEnd == std::string::npos) continue;
            const size_t line = text.rfind('\n', sysEnd);
            at = line == std::string::npos ? sysEnd : line + 1;
        }
        text.insert(at, old, before[i].Begin, before[i].End - before[i].Begin);
        Kept.push_back(before[i].Id);
    }
    return std::vector<uint8_t>(text.begin(), text.end());
}

} // namespace ferro::sim
