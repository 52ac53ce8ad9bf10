#include "data/LocalCopy.h"

#include "foundation/Format.h"

#include <filesystem>

namespace ferro {

TLocalCopy CheckLocalCopy(const std::string& listedName, uint64_t listedSize, bool isRec,
                          const std::string& recDir, const std::string& evtDir) {
    TLocalCopy c;
    std::string name = listedName;
    if (isRec) {
        const size_t slash = name.find('/');
        if (slash != std::string::npos) name = name.substr(slash + 1);
    }
    // Whatever the instrument listed, the local file stays inside its folder.
    name = LocalFileName(name);
    c.Path = (isRec ? recDir : evtDir) + name;
    std::error_code ec;
    if (!name.empty() && std::filesystem::is_regular_file(c.Path, ec)) {
        c.LocalSize = std::filesystem::file_size(c.Path, ec);
        if (ec) c.LocalSize = 0;
        c.Complete = listedSize <= c.LocalSize;
        c.LogLine =
            Fmt("File %s Exists %llu/%llu%s", c.Path.c_str(), static_cast<unsigned long long>(c.LocalSize),
                static_cast<unsigned long long>(listedSize), c.Complete ? "" : " - Resuming");
        return c;
    }
    c.LogLine = Fmt("File %s does not exist - Downloading", c.Path.c_str());
    return c;
}

} // namespace ferro
