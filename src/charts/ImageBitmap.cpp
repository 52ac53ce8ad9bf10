#include "charts/ImageBitmap.h"

namespace ferro {

TImageBitmap::TImageBitmap() : FImage(1, 1, QImage::Format_ARGB32_Premultiplied), FCanvas(FImage) {
    FImage.fill(Qt::transparent);
}

void TImageBitmap::SetSize(int Width, int Height, bool Opaque) {
    if (Width < 1) Width = 1;
    if (Height < 1) Height = 1;
    FOpaque = Opaque;
    if (Width == FImage.width() && Height == FImage.height()) return;
    // Assigned in place: the canvas keeps pointing at this same QImage object.
    FImage = QImage(Width, Height, QImage::Format_ARGB32_Premultiplied);
    FImage.fill(Qt::transparent);
}

} // namespace ferro
