#pragma once
// Test helper: a zeroed object image with little-endian writers at absolute offsets.

#include <cstdint>
#include <cstring>
#include <vector>

namespace ferro::test {

class Bytes {
public:
    explicit Bytes(size_t n) : b_(n, 0) {}
    void u32(size_t off, uint32_t v) {
        for (int i = 0; i < 4; ++i)
            b_.at(off + i) = uint8_t(v >> (8 * i));
    }
    void f32(size_t off, float f) {
        uint32_t u;
        std::memcpy(&u, &f, 4);
        u32(off, u);
    }
    void u8(size_t off, uint8_t v) { b_.at(off) = v; }
    // A value that tells where it was written: no two offsets give the same single.
    static float mark(size_t off) { return float(off) + 0.25f; }
    void markF32(size_t off) { f32(off, mark(off)); }
    const uint8_t* data() const { return b_.data(); }
    size_t size() const { return b_.size(); }
    std::vector<uint8_t>& vec() { return b_; }

private:
    std::vector<uint8_t> b_;
};

} // namespace ferro::test
