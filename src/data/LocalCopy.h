#pragma once
// Whether a listed file already lies complete on the local disk, and where. The local file is the
// whole state of a download: a shorter one is resumed at its length, nothing else is recorded.

#include <cstdint>
#include <string>

namespace ferro {

struct TLocalCopy {
    bool Complete = false;
    std::string Path;
    uint64_t LocalSize = 0; // also the offset to resume at
    std::string LogLine;    // "File %s Exists %u/%u" (with " - Resuming") or "... does not exist ..."
};

// Recordings drop their listed folder and go into `recDir`, so "sync/x" and "rec/x" share one
// local file; events keep their whole name in `evtDir`. A listed size not above the local size
// counts as complete.
TLocalCopy CheckLocalCopy(const std::string& listedName, uint64_t listedSize, bool isRec,
                          const std::string& recDir, const std::string& evtDir);

} // namespace ferro
