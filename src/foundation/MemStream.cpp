#include "foundation/MemStream.h"

#include "foundation/HugePages.h"

#include <algorithm>
#include <fstream>

namespace ferro {

MemStream::MemStream(const void* bytes, size_t len)
    : data_(static_cast<const uint8_t*>(bytes), static_cast<const uint8_t*>(bytes) + len) {}

void MemStream::write(const void* src, size_t len) {
    if (len == 0) return;
    if (pos_ + len > data_.size()) data_.resize(pos_ + len);
    std::memcpy(data_.data() + pos_, src, len);
    pos_ += len;
}

void MemStream::writeU16(uint16_t v) {
    uint8_t b[2];
    pokeU16(b, v);
    write(b, 2);
}

void MemStream::writeU32(uint32_t v) {
    uint8_t b[4];
    pokeU32(b, v);
    write(b, 4);
}

void MemStream::writeU64(uint64_t v) {
    writeU32(uint32_t(v));
    writeU32(uint32_t(v >> 32));
}

void MemStream::writeF32(float v) {
    uint8_t b[4];
    pokeF32(b, v);
    write(b, 4);
}

void MemStream::writeFixedText(const std::string& text, size_t width) {
    size_t n = text.size() < width ? text.size() : width;
    write(text.data(), n);
    writeZeros(width - n);
}

void MemStream::writeZeros(size_t len) {
    if (len == 0) return;
    if (pos_ + len > data_.size()) data_.resize(pos_ + len);
    std::memset(data_.data() + pos_, 0, len);
    pos_ += len;
}

bool MemStream::read(void* dst, size_t len) {
    size_t avail = remaining();
    size_t n = len < avail ? len : avail;
    if (n) std::memcpy(dst, data_.data() + pos_, n);
    if (n < len) std::memset(static_cast<uint8_t*>(dst) + n, 0, len - n);
    pos_ += n;
    return n == len;
}

uint8_t MemStream::readU8() {
    uint8_t v = 0;
    read(&v, 1);
    return v;
}

uint16_t MemStream::readU16() {
    uint8_t b[2];
    read(b, 2);
    return peekU16(b);
}

uint32_t MemStream::readU32() {
    uint8_t b[4];
    read(b, 4);
    return peekU32(b);
}

uint64_t MemStream::readU64() {
    uint64_t lo = readU32();
    uint64_t hi = readU32();
    return lo | (hi << 32);
}

float MemStream::readF32() {
    uint8_t b[4];
    read(b, 4);
    return peekF32(b);
}

std::string MemStream::readFixedText(size_t width) {
    std::string s = readText(width);
    size_t nul = s.find('\0');
    if (nul != std::string::npos) s.resize(nul);
    return s;
}

std::string MemStream::readText(size_t len) {
    size_t n = len < remaining() ? len : remaining();
    std::string s(reinterpret_cast<const char*>(data_.data() + pos_), n);
    pos_ += n;
    return s;
}

void MemStream::compactFromPosition() {
    if (pos_ > 0) data_.erase(data_.begin(), data_.begin() + std::ptrdiff_t(pos_));
    pos_ = 0;
}

bool MemStream::loadFromFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    if (!in) return false;
    in.seekg(0, std::ios::end);
    std::streamoff len = in.tellg();
    if (len < 0) return false;
    in.seekg(0);
    data_.resize(size_t(len));
    if (len > 0) in.read(reinterpret_cast<char*>(data_.data()), len);
    pos_ = 0;
    return bool(in);
}

bool MemStream::saveToFile(const std::string& path) const {
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    if (!out) return false;
    if (!data_.empty()) out.write(reinterpret_cast<const char*>(data_.data()), std::streamsize(data_.size()));
    return bool(out);
}

void MemStream::resize(size_t n) {
    if (n > data_.capacity()) {
        // Doubling at least, as the vector itself would: growing step by step stays linear.
        data_.reserve(std::max(n, 2 * data_.capacity()));
        AdviseHugePages(data_.data(), data_.capacity());
    }
    data_.resize(n);
    if (pos_ > n) pos_ = n;
}

} // namespace ferro
