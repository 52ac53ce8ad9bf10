#pragma once
// An off-screen surface with its own canvas; charts draw into it and copy it to the screen.

namespace ferro {

class TCanvas;

class TCanvasBitmap {
public:
    virtual ~TCanvasBitmap() = default;
    // Not while a scene on its canvas is open.
    // An opaque bitmap is drawn opaque all over by its owner and copied, not blended.
    virtual void SetSize(int Width, int Height, bool Opaque = false) = 0;
    virtual int Width() const = 0;
    virtual int Height() const = 0;
    virtual TCanvas& Canvas() = 0;
};

} // namespace ferro
