// libFuzzer harness of the listing lines: any text parses, and every local name that comes out of a
// listed name is a plain file name (no folder part, never "." or "..", no NUL), or empty.
#include "data/RecordingList.h"

#include <cstdlib>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    using namespace ferro;
    const std::string text(reinterpret_cast<const char*>(data), size);
    for (bool events : {false, true})
        for (const TListingEntry& e : TRecordingList::Parse(text, events)) {
            const std::string local = TRecordingList::LocalName(e.Name);
            if (local == "." || local == ".." ||
                local.find_first_of(std::string("/\\:\0", 4)) != std::string::npos)
                std::abort();
        }
    return 0;
}
