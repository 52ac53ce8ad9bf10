#pragma once
// gzip and tar.gz in memory, the packings in which setup and scratchpad files travel.

#include <cstdint>
#include <string>
#include <vector>

namespace ferro::sim {

using Bytes = std::vector<uint8_t>;

struct ArchiveEntry {
    std::string name;
    Bytes data;
};

class Compression {
public:
    static Bytes gzip(const Bytes& plain);
    // False on damaged input or when the result would exceed `maxOut` (a bomb is not unpacked).
    static bool gunzip(const Bytes& packed, Bytes& out, size_t maxOut);
    static Bytes tarGz(const std::vector<ArchiveEntry>& entries);
    static bool untarGz(const Bytes& packed, std::vector<ArchiveEntry>& out, size_t maxTotal);
    static bool looksGzip(const Bytes& b) { return b.size() >= 2 && b[0] == 0x1f && b[1] == 0x8b; }
};

} // namespace ferro::sim
