#include "data/RecordingList.h"

#include "foundation/Format.h"

#include <cstdlib>
#include <sstream>

namespace ferro {

namespace {

uint64_t toU64(const std::string& s) {
    std::string t = Trim(s);
    if (t.empty()) return 0;
    char* end = nullptr;
    unsigned long long v = std::strtoull(t.c_str(), &end, 10);
    if (*end || t[0] == '-') return 0;
    return v;
}

std::vector<std::string> split(const std::string& s, char c) {
    std::vector<std::string> out;
    std::string piece;
    std::istringstream in(s);
    while (std::getline(in, piece, c))
        out.push_back(piece);
    return out;
}

std::string stripExt(const std::string& s) {
    size_t dot = s.rfind('.');
    return dot == std::string::npos ? s : s.substr(0, dot);
}

} // namespace

std::string TRecordingList::LocalName(const std::string& listedName) {
    return LocalFileName(listedName);
}

TListingEntry TRecordingList::ParseLine(const std::string& rawLine, bool events) {
    TListingEntry e;
    std::string line = Trim(rawLine);
    std::vector<std::string> fields = split(line, ';');
    if (fields.empty()) return e;
    e.Name = Trim(fields[0]);
    if (fields.size() > 1) e.End = toU64(fields[1]);
    if (fields.size() > 2) e.Size = toU64(fields[2]);
    std::string base = e.Name;
    size_t slash = e.Name.find('/');
    if (!events && slash != std::string::npos) {
        e.Folder = e.Name.substr(0, slash);
        base = e.Name.substr(slash + 1);
    }
    std::vector<std::string> parts = split(stripExt(base), '-');
    if (!parts.empty()) e.Class = parts[0];
    if (events) {
        // NAME-SEC-NSEC.EXT
        if (parts.size() >= 3) {
            e.Start = toU64(parts[parts.size() - 2]);
            e.StartNs = uint32_t(toU64(parts.back()) % 1000000000ull);
        }
    } else if (e.Folder == "sync" || e.Folder == "async") {
        // CLASS-X-START...
        if (parts.size() >= 3) e.Start = toU64(parts[2]);
        e.IsAsync = e.Folder == "async";
    } else if (e.Folder == "rec") {
        // CLASS-A-B-START...: the fourth dash element is the time
        if (parts.size() >= 4) e.Start = toU64(parts[3]);
    }
    return e;
}

std::vector<TListingEntry> TRecordingList::Parse(const std::string& text, bool events) {
    std::vector<TListingEntry> out;
    std::istringstream in(text);
    std::string line;
    while (std::getline(in, line)) {
        if (Trim(line).empty()) continue;
        TListingEntry e = ParseLine(line, events);
        if (e.Name.empty()) continue;
        if (!events && e.Folder != "sync" && e.Folder != "async" && e.Folder != "rec") continue;
        out.push_back(std::move(e));
    }
    return out;
}

} // namespace ferro
