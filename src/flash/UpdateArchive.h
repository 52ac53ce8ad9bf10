#pragma once
// The maker's update archive: a zip with the firmware image (.tgz), a change log (.txt) and maybe
// further files. It is unpacked into a temporary folder; entries that would land outside it are
// refused, and the parts of an update are told apart by their extension.

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace ferro {

struct TUpdateArchive {
    std::vector<std::string> FSL; // files for the scratchpad, full local paths, in archive order
    std::string FUpdFN;           // name of the image: the last .tgz of the archive
    std::string FReadmeFN;        // the extracted change log: the last .txt; never sent
    std::vector<std::string> Refused;
    // The firmware word that the image's manifest names (major, minor, patch, build one byte
    // each); 0 when the image does not tell.
    uint32_t ImageRev = 0;
};

// Unpacks `zip` into `folder` (created). False with a German `error` when the file is not a
// readable zip; a zip without image is not an error here (FUpdFN stays empty).
bool UnpackUpdateArchive(const std::string& zip, const std::string& folder, TUpdateArchive& out,
                         std::string& error, const std::function<void(const std::string&)>& log = nullptr);

// The firmware word named by the MANIFEST of a firmware image (.tgz); 0 without one.
uint32_t ImageManifestRev(const std::string& tgz);

} // namespace ferro
