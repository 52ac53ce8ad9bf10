#pragma once
// The store of known host-key fingerprints: one "host:port=fingerprint" line per instrument.

#include <string>
#include <vector>

namespace ferro {

class THashManager {
public:
    // Remembers the file and loads it, if the name is set and the file exists.
    void SetHashStore(const std::string& FileName);
    const std::string& HashStore() const { return FHashStoreFile; }
    std::string GetFingerprint(const std::string& Host, int Port) const;
    // Replaces any entry of the key and saves.
    void StoreFingerprint(const std::string& Host, int Port, const std::string& Fingerprint);
    // Deletes the entry if its value matches without regard to case, saves, and returns true.
    bool RemoveFingerprint(const std::string& Host, int Port, const std::string& Fingerprint);
    // Writes the list; with an empty name nothing is written (answers are kept for the run only).
    bool SaveHashStore() const;
    static bool CompareFingerprints(const std::string& A, const std::string& B);

private:
    static std::string key(const std::string& Host, int Port);
    std::string FHashStoreFile;
    std::vector<std::pair<std::string, std::string>> FEntries;
};

// Compares two colon-separated hex fingerprints part by part as numbers. A part that is no number
// counts as 32767 on the left and -32768 on the right, so that two bad parts never match.
bool compareHash(const std::string& A, const std::string& B);

} // namespace ferro
