#pragma once
// Fast little-endian reads for the typed decoders.

#include "foundation/MemStream.h"

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace ferro {

// Copies `n` singles from wire bytes. On a little-endian host the wire image is the memory image.
inline void ReadSingles(float* dst, const uint8_t* src, size_t n) {
#if defined(__BYTE_ORDER__) && __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__
    std::memcpy(dst, src, n * sizeof(float));
#else
    for (size_t i = 0; i < n; ++i)
        dst[i] = MemStream::peekF32(src + 4 * i);
#endif
}

} // namespace ferro
