#include "charts/ThinPathRaster.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace ferro {

namespace {

// Cuts the segment to [XLo, XHi] x [YLo, YHi]; false when nothing is left. Each cut end lies on the
// edge exactly and takes the other coordinate from the line, so a level line stays level however
// far off its ends are.
bool Cut(double& X1, double& Y1, double& X2, double& Y2, double XLo, double YLo, double XHi, double YHi) {
    auto finite = [&] {
        return std::isfinite(X1) && std::isfinite(Y1) && std::isfinite(X2) && std::isfinite(Y2);
    };
    if (!finite()) return false;
    // Moves the end (A, B) along the line to A = Edge.
    auto move = [](double& A, double& B, double A2, double B2, double Edge) {
        const double t = (Edge - A) / (A2 - A);
        if (B2 != B) B += t * (B2 - B);
        A = Edge;
    };
    if ((X1 < XLo && X2 < XLo) || (X1 > XHi && X2 > XHi)) return false;
    if (X1 < XLo) move(X1, Y1, X2, Y2, XLo);
    if (X2 < XLo) move(X2, Y2, X1, Y1, XLo);
    if (X1 > XHi) move(X1, Y1, X2, Y2, XHi);
    if (X2 > XHi) move(X2, Y2, X1, Y1, XHi);
    if ((Y1 < YLo && Y2 < YLo) || (Y1 > YHi && Y2 > YHi)) return false;
    if (Y1 < YLo) move(Y1, X1, Y2, X2, YLo);
    if (Y2 < YLo) move(Y2, X2, Y1, X1, YLo);
    if (Y1 > YHi) move(Y1, X1, Y2, X2, YHi);
    if (Y2 > YHi) move(Y2, X2, Y1, X1, YHi);
    // A cut in y can move x off the range again only by rounding: such a sliver is not drawn.
    return finite() && X1 >= XLo - 1 && X1 <= XHi + 1 && X2 >= XLo - 1 && X2 <= XHi + 1;
}

class TRaster {
public:
    TRaster(const TPixelTarget& T, uint32_t Pixel) : FT(T), FPixel(Pixel) {}

    void Segment(double X1, double Y1, double X2, double Y2) {
        // A pixel beyond each edge, so that the cut never moves an end pixel that is on the target.
        if (!Cut(X1, Y1, X2, Y2, -1, -1, FT.Width + 1, FT.Height + 1)) return;
        // Cut to the image only, so that every share computes the same pixels; then a segment
        // wholly outside this share's columns is passed over.
        if (std::floor(std::max(X1, X2)) < FT.XFrom || std::floor(std::min(X1, X2)) >= FT.XTo) return;
        if (std::fabs(X2 - X1) >= std::fabs(Y2 - Y1)) {
            if (X1 > X2) {
                std::swap(X1, X2);
                std::swap(Y1, Y2);
            }
            const int a = int(std::floor(X1)), b = int(std::floor(X2));
            const double k = X2 > X1 ? (Y2 - Y1) / (X2 - X1) : 0;
            for (int ix = a; ix <= b; ++ix) {
                const double xc = std::clamp(ix + 0.5, X1, X2);
                Put(ix, int(std::floor(Y1 + (xc - X1) * k)));
            }
            return;
        }
        if (Y1 > Y2) {
            std::swap(X1, X2);
            std::swap(Y1, Y2);
        }
        const int a = int(std::floor(Y1)), b = int(std::floor(Y2));
        if (std::floor(X1) == std::floor(X2)) {
            Pend(int(std::floor(X1)), a, b);
            return;
        }
        const double k = (X2 - X1) / (Y2 - Y1);
        for (int iy = a; iy <= b; ++iy) {
            const double yc = std::clamp(iy + 0.5, Y1, Y2);
            Put(int(std::floor(X1 + (yc - Y1) * k)), iy);
        }
    }

    // Writes the run still held back.
    void Flush() {
        if (FPending) Run(FRunX, FRunA, FRunB);
        FPending = false;
    }

private:
    // A dense curve goes up and down its column several times (first, one end, the other, last):
    // the runs of one column that touch are joined and each pixel is written once. The pixels are
    // all of one colour, so holding a run back changes nothing about the picture.
    void Pend(int X, int A, int B) {
        if (FPending && X == FRunX && A <= FRunB + 1 && B >= FRunA - 1) {
            FRunA = std::min(FRunA, A);
            FRunB = std::max(FRunB, B);
            return;
        }
        Flush();
        FPending = true;
        FRunX = X;
        FRunA = A;
        FRunB = B;
    }
    void Put(int X, int Y) {
        if (X >= FT.XFrom && X < FT.XTo && unsigned(X) < unsigned(FT.Width) &&
            unsigned(Y) < unsigned(FT.Height))
            FT.Bits[size_t(Y) * size_t(FT.StrideWords) + size_t(X)] = FPixel;
    }
    // The rows A to B of one column: the dense curve's common case, one store per pixel.
    void Run(int X, int A, int B) {
        if (X < FT.XFrom || X >= FT.XTo || unsigned(X) >= unsigned(FT.Width)) return;
        A = std::max(A, 0);
        B = std::min(B, FT.Height - 1);
        uint32_t* p = FT.Bits + size_t(A) * size_t(FT.StrideWords) + size_t(X);
        for (int y = A; y <= B; ++y, p += FT.StrideWords)
            *p = FPixel;
    }

    const TPixelTarget& FT;
    const uint32_t FPixel;
    bool FPending = false;
    int FRunX = 0, FRunA = 0, FRunB = 0;
};

} // namespace

void RasterThinPath(const TPixelTarget& Target, const TPathData& Path, double Dx, double Dy, uint32_t Pixel) {
    if (!Target.Bits || Target.Width <= 0 || Target.Height <= 0) return;
    TRaster r(Target, Pixel);
    const auto& steps = Path.Steps();
    // A move alone draws nothing, as with the painter.
    for (size_t i = 1; i < steps.size(); ++i) {
        if (steps[i].Move) continue;
        const TPointF &p = steps[i - 1].Point, &q = steps[i].Point;
        r.Segment(p.X + Dx, p.Y + Dy, q.X + Dx, q.Y + Dy);
    }
    r.Flush();
}

} // namespace ferro
