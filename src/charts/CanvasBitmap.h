#pragma once
// An off-screen surface with its own canvas; charts draw into it and copy it to the screen.

namespace ferro {

class TCanvas;

class TCanvasBitmap {
public:
    virtual ~TCanvasBitmap() = default;
    // Not while a scene on its canvas is open.
    virtual void SetSize(int Width, int Height) = 0;
    virtual int Width() const = 0;
    virtual int Height() const = 0;
    virtual TCanvas& Canvas() = 0;
};

} // namespace ferro
