#pragma once
// An off-screen bitmap backed by a QImage, drawn into through a QPainter canvas.

#include "charts/CanvasBitmap.h"
#include "charts/PainterCanvas.h"

#include <QImage>

namespace ferro {

class TImageBitmap : public TCanvasBitmap {
public:
    TImageBitmap();
    void SetSize(int Width, int Height, bool Opaque = false) override;
    int Width() const override { return FImage.width(); }
    int Height() const override { return FImage.height(); }
    TCanvas& Canvas() override { return FCanvas; }
    const QImage& Image() const { return FImage; }
    // Drawn opaque all over by its owner: copied instead of blended.
    bool Opaque() const { return FOpaque; }

private:
    QImage FImage;
    bool FOpaque = false;
    TPainterCanvas FCanvas;
};

} // namespace ferro
