#pragma once
// The instrument's 320x240 screen as a PNG, drawn from the instrument state.

#include <cstdint>
#include <vector>

namespace ferro::sim {

class Instrument;

class DisplayRenderer {
public:
    explicit DisplayRenderer(const Instrument& instrument) : instrument_(instrument) {}
    static constexpr int Width = 320;
    static constexpr int Height = 240;
    std::vector<uint8_t> png() const;

private:
    const Instrument& instrument_;
};

} // namespace ferro::sim
