#pragma once
// Firmware images as the instrument takes them, and the update archives a maker ships around them.
//
// An image is a tar.gz with a MANIFEST entry:
//   version=2.3.1            major.minor.patch
//   revision=12              build number
//   sha256=<64 hex> <name>   one line per further entry of the image
// The firmware word of the identity packs major, minor, patch and build one byte each.

#include "ferrosim/Compression.h"

#include <cstdint>
#include <string>

namespace ferro::sim {

struct ImageCheck {
    int code = 0;       // 0: the image may be installed; else an err2ascii code
    uint32_t word = 0;  // the firmware word the image brings
    std::string reason; // English, for the device log and the error output
};

// Checks an uploaded image; `currentWord` is the running firmware (an old-style image without
// manifest but with a VERSION "revision=" line, or none at all, is still taken).
ImageCheck CheckFirmwareImage(const Bytes& image, uint32_t currentWord);

// Writes a complete update archive (zip): the image "ferro-fw-VERSION-REVISION.tgz", the change log
// "changelog.txt" and the image's checksum file. `corrupt` damages the image after its manifest
// was written, so that its check fails on the instrument.
bool MakeUpdateArchive(const std::string& version, const std::string& revision, const std::string& zipPath,
                       bool corrupt, std::string& error);

} // namespace ferro::sim
