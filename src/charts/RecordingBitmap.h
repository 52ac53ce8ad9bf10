#pragma once
// Off-screen bitmap for the recording canvas: keeps its size and records what is drawn into it.

#include "charts/CanvasBitmap.h"
#include "charts/RecordingCanvas.h"

namespace ferro {

class TRecordingBitmap : public TCanvasBitmap {
public:
    void SetSize(int Width, int Height, bool /*Opaque*/ = false) override {
        FWidth = Width;
        FHeight = Height;
    }
    int Width() const override { return FWidth; }
    int Height() const override { return FHeight; }
    TCanvas& Canvas() override { return FCanvas; }
    TRecordingCanvas& Recorder() { return FCanvas; }

private:
    int FWidth = 0;
    int FHeight = 0;
    TRecordingCanvas FCanvas;
};

} // namespace ferro
