#pragma once
// The instrument's disk on the host: one root folder, filled from the fixture tree when empty. Every
// name that arrives from outside goes through resolve(), which never yields a path outside the root.

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace ferro::sim {

class InstrumentTree {
public:
    explicit InstrumentTree(std::string root);

    // Where the fixture tree may lie: next to the binary, then the source tree it was built from.
    static std::vector<std::string> fixtureCandidates(const std::string& binaryDir);

    // Creates the root if missing and copies the first existing fixture folder into an empty one.
    bool prepare(const std::vector<std::string>& fixtureDirs, std::string& error);

    // The scratchpad keeps structure, object-property and language files gzip-compressed (".gz");
    // the tree holds them as readable XML, so missing or older packed copies are made here.
    void packScratchpadXml() const;

    const std::string& root() const { return root_; }
    std::string profilePath() const;
    std::string setupDir() const;
    std::string setupFile() const;
    std::string scratchpadDir() const;
    std::string recDir() const;
    std::string evtDir() const;
    std::string logFile() const;
    // "/ramdrive0/ccci": where FTP uploads land and where content made for one FTP fetch is put.
    std::string ftpStageDir() const;
    // A host path inside the root as the FTP server (rooted at the instrument root) names it:
    // "flashdrive0/data/rec/sync/x.rec".
    std::string ftpPathOf(const std::string& hostPath) const;

    // A relative name below `baseDir` (sub folders allowed). Refuses empty names, absolute names,
    // back slashes, drive letters and any ".." part; the result is also checked after symlinks.
    std::optional<std::string> resolve(const std::string& baseDir, const std::string& name) const;
    // An instrument path as Lua sees it: "/mnt/flashdrive0/x", "//mnt/...", "/ramdrive0/...", "~/x"
    // (the scratchpad) or relative to `cwd`. ".." may climb, but never above the root.
    std::optional<std::string> resolveInstrumentPath(const std::string& path, const std::string& cwd) const;
    // The instrument path of a host path inside the root ("/mnt/flashdrive0/data" for ROOT/flashdrive0/data).
    std::string instrumentPathOf(const std::string& hostPath) const;

    // One line "name;END;size" per file below `dir`, names relative to it with "/" separators.
    std::string listing(const std::string& dir) const;
    // END of a listed file in Unix seconds, rounded up: for a recording the stamp of its last
    // record, for an event (".evt") its start plus its duration. None when the name tells no start.
    static std::optional<uint64_t> listedEnd(const std::string& path, const std::string& relName);

    static bool readFile(const std::string& path, std::vector<uint8_t>& out, uint64_t maxBytes);
    static bool writeFile(const std::string& path, const std::vector<uint8_t>& bytes);

private:
    // Inside the root and none of the simulator's own files there.
    bool insideRoot(const std::string& path) const;
    std::string root_;
    mutable std::string realRoot_; // root_ with links resolved, found on first use
};

} // namespace ferro::sim
