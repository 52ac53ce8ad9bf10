#pragma once
// A growable byte buffer with a position and little-endian helpers, shared by frames, records and files.

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

namespace ferro {

class MemStream {
public:
    MemStream() = default;
    explicit MemStream(std::vector<uint8_t> bytes) : data_(std::move(bytes)) {}
    MemStream(const void* bytes, size_t len);

    size_t size() const { return data_.size(); }
    size_t position() const { return pos_; }
    void setPosition(size_t p) { pos_ = p > data_.size() ? data_.size() : p; }
    size_t remaining() const { return data_.size() - pos_; }
    bool atEnd() const { return pos_ >= data_.size(); }

    const uint8_t* data() const { return data_.data(); }
    uint8_t* data() { return data_.data(); }
    std::vector<uint8_t>& bytes() { return data_; }
    const std::vector<uint8_t>& bytes() const { return data_; }

    void clear() {
        data_.clear();
        pos_ = 0;
    }
    // Growing to many megabytes asks for huge pages first (a year of records).
    void resize(size_t n);
    void reserve(size_t n) { data_.reserve(n); }

    // Writes at the position, growing the buffer as needed.
    void write(const void* src, size_t len);
    void writeU8(uint8_t v) { write(&v, 1); }
    void writeU16(uint16_t v);
    void writeU32(uint32_t v);
    void writeU64(uint64_t v);
    void writeF32(float v);
    // Writes `text` NUL-padded (or cut) to exactly `width` bytes.
    void writeFixedText(const std::string& text, size_t width);
    void writeZeros(size_t len);

    // Reads at the position; a read past the end fills with zeros and returns false.
    bool read(void* dst, size_t len);
    uint8_t readU8();
    uint16_t readU16();
    uint32_t readU32();
    uint64_t readU64();
    float readF32();
    // Reads `width` bytes and cuts at the first NUL.
    std::string readFixedText(size_t width);
    // Reads `len` bytes as 8-bit text (no NUL handling).
    std::string readText(size_t len);

    // Little-endian access at absolute offsets without touching the position.
    static uint16_t peekU16(const uint8_t* p) { return uint16_t(p[0] | (p[1] << 8)); }
    static uint32_t peekU32(const uint8_t* p) {
        return uint32_t(p[0]) | (uint32_t(p[1]) << 8) | (uint32_t(p[2]) << 16) | (uint32_t(p[3]) << 24);
    }
    static float peekF32(const uint8_t* p) {
        uint32_t u = peekU32(p);
        float f;
        std::memcpy(&f, &u, 4);
        return f;
    }
    static void pokeU16(uint8_t* p, uint16_t v) {
        p[0] = uint8_t(v);
        p[1] = uint8_t(v >> 8);
    }
    static void pokeU32(uint8_t* p, uint32_t v) {
        for (int i = 0; i < 4; ++i)
            p[i] = uint8_t(v >> (8 * i));
    }
    static void pokeF32(uint8_t* p, float f) {
        uint32_t u;
        std::memcpy(&u, &f, 4);
        pokeU32(p, u);
    }

    // Moves the bytes from the position to the end to the start, drops the rest, position 0.
    void compactFromPosition();

    bool loadFromFile(const std::string& path);
    bool saveToFile(const std::string& path) const;

private:
    std::vector<uint8_t> data_;
    size_t pos_ = 0;
};

} // namespace ferro
