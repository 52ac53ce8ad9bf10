#pragma once
// A polyline of one solid pixel width, without antialiasing, written straight into 32-bit pixels.
// A dense curve is mostly vertical runs inside pixel columns; through the painter each of their
// pixels costs a span of its own, here it is one store.

#include "charts/PathData.h"

#include <climits>
#include <cstdint>

namespace ferro {

struct TPixelTarget {
    uint32_t* Bits = nullptr;
    int StrideWords = 0; // 32-bit words from one row to the next
    int Width = 0, Height = 0;
    // Only the pixel columns [XFrom, XTo) are written: two threads can share a path by halves and
    // still draw exactly the pixels that one would.
    int XFrom = 0, XTo = INT_MAX;
};

// Draws every segment of Path, shifted by (Dx, Dy), in Pixel. A segment covers the pixel of each
// end and, along its longer axis, the pixel under the line at every pixel centre between them, so
// it looks the same drawn either way and segments that meet share their pixel. Coordinates far
// off the target (or not finite) cost nothing: segments are cut to the target first.
void RasterThinPath(const TPixelTarget& Target, const TPathData& Path, double Dx, double Dy, uint32_t Pixel);

} // namespace ferro
