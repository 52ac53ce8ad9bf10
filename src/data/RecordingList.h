#pragma once
// The instrument's listing of recordings and events, line by line: "name;END;size". The name
// scheme tells the folder, the data class and the start time.

#include <cstdint>
#include <string>
#include <vector>

namespace ferro {

struct TListingEntry {
    std::string Name;   // as the instrument listed it, with its leading folder
    std::string Folder; // "sync", "async", "rec", or "" for an event list entry
    std::string Class;  // the class word of the name ("4", "Hp", "Osc" ...)
    uint64_t Start = 0; // Unix seconds, UTC; 0 if the name does not tell
    uint32_t StartNs = 0;
    uint64_t End = 0;  // Unix seconds, UTC; 0 when missing or not a number
    uint64_t Size = 0; // bytes; 0 when missing or not a number
    bool IsAsync = false;
};

class TRecordingList {
public:
    // Parses a listing. Recording lists keep only the three known folders; event lists take every
    // line. Missing fields and bad numbers read as 0.
    static std::vector<TListingEntry> Parse(const std::string& text, bool events);
    static TListingEntry ParseLine(const std::string& line, bool events);
    // The local name of a listed file: recordings drop their folder, events keep the whole name's
    // last part. Never a path: what the instrument sends cannot climb out of the data folder.
    static std::string LocalName(const std::string& listedName);
};

} // namespace ferro
