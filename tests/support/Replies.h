#pragma once
// Instrument replies built by hand for client tests: each helper writes the documented offsets.

#include "link/CccHead.h"

#include <cstring>
#include <string>
#include <vector>

namespace ferro::test {

inline std::vector<uint8_t> Frame(uint8_t cmd, uint8_t priv, uint16_t ext,
                                  const std::vector<uint8_t>& payload, uint16_t flags = 4, uint16_t ver = 5,
                                  uint32_t seq = 0) {
    std::vector<uint8_t> f(20 + payload.size());
    f[0] = cmd;
    f[1] = priv;
    f[2] = uint8_t(ext);
    f[3] = uint8_t(ext >> 8);
    f[4] = uint8_t(ver);
    f[5] = uint8_t(ver >> 8);
    f[6] = uint8_t(flags);
    f[7] = uint8_t(flags >> 8);
    uint32_t size = uint32_t(f.size());
    std::memcpy(&f[12], &size, 4);
    std::memcpy(&f[16], &seq, 4);
    if (!payload.empty()) std::memcpy(&f[20], payload.data(), payload.size());
    return f;
}

inline void PutU32(std::vector<uint8_t>& b, size_t off, uint32_t v) {
    for (int i = 0; i < 4; ++i)
        b[off + size_t(i)] = uint8_t(v >> (8 * i));
}

inline void PutText(std::vector<uint8_t>& b, size_t off, const std::string& s) {
    std::memcpy(&b[off], s.data(), s.size());
}

inline std::vector<uint8_t> Refusal(uint8_t cmd, uint8_t priv, uint16_t ext, uint32_t code,
                                    const std::string& text, uint16_t flags = 6) {
    std::vector<uint8_t> payload(4 + text.size());
    PutU32(payload, 0, code);
    std::memcpy(payload.data() + 4, text.data(), text.size());
    return Frame(cmd, priv, ext, payload, flags);
}

// Full identity: serial, article, production date, clock, time settings, revision and the names.
inline std::vector<uint8_t> IdentityAll(uint32_t serial, uint32_t article, uint32_t revision,
                                        const std::string& plant = "Anlage", const std::string& bay = "Feld",
                                        const std::string& device = "Geraet", uint32_t clock = 1700000000) {
    std::vector<uint8_t> f = Frame(2, 0, 1, std::vector<uint8_t>(1592 - 20));
    PutU32(f, 20, serial);
    PutU32(f, 24, article);
    PutU32(f, 28, 1600000000);
    PutU32(f, 32, clock);
    PutU32(f, 216, revision);
    PutText(f, 476, plant);
    PutText(f, 1044, bay);
    PutText(f, 1380, device);
    return f;
}

inline std::vector<uint8_t> SessionReply(uint16_t ver = 5) {
    return Frame(1, 1, 2, ver < 5 ? std::vector<uint8_t>(128) : std::vector<uint8_t>(), 4, ver);
}

} // namespace ferro::test
