#pragma once
// Stream requests built byte by byte, for the stream and physics tests.

#include "SimHarness.h"

namespace simtest {

// The 24-byte id frame of Cmd 4: the object id (START) or the handle (GET_NXT, STOP) at 20.
inline Bytes idFrame(uint16_t ext, uint32_t word, uint32_t seq = 7) {
    Bytes b = head(4, 0, ext, 24, 4, 5, seq);
    put32(b, word);
    return b;
}

// Starts a stream; 0 when refused. The instrument sends the first block right behind the handle;
// it is returned in `first` when asked for.
inline uint32_t startStream(RawClient& c, uint32_t objId, Bytes* first = nullptr) {
    Frame f = c.request(idFrame(1, objId));
    if (f.nak() || f.cmd() != 4 || f.ext() != 1 || f.size() != 24) return 0;
    Frame block;
    if (c.frame(block, 10000) && block.cmd() == 4 && block.ext() == 3 && first) *first = block.payload();
    return get32(f.bytes, 20);
}

// One data block: the object from its id on (empty when refused or not a block).
inline Bytes nextBlock(RawClient& c, uint32_t handle) {
    Frame f = c.request(idFrame(2, handle), 10000);
    if (f.nak() || f.cmd() != 4 || f.ext() != 3) return Bytes();
    return f.payload();
}

// The stamp of a stream object in ns.
inline uint64_t linear(const Bytes& obj) {
    return uint64_t(get32(obj, 4)) * 1000000000ull + get32(obj, 8);
}

// Profile text of a supply without drift, distortion, unbalance or events: a pure sine.
inline std::string pureSineSupply(double volts, double amps) {
    return "{\"voltage\": " + std::to_string(volts) + ", \"current\": " + std::to_string(amps) +
           ", \"driftHz\": 0, \"unbalancePercent\": 0, \"neutralVolts\": 0, \"residualAmps\": 0,"
           " \"voltageHarmonics\": [], \"currentHarmonics\": [], \"interharmonics\": [],"
           " \"emission\": {\"percent\": 0}, \"events\": []}";
}

} // namespace simtest
