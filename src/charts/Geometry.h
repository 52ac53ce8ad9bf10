#pragma once
// Points, rectangles and 2D matrices in device pixels, as the charts compute them.

#include <cmath>

namespace ferro {

struct TPointF {
    double X = 0;
    double Y = 0;
    TPointF() = default;
    TPointF(double x, double y) : X(x), Y(y) {}
    bool operator==(const TPointF& o) const { return X == o.X && Y == o.Y; }
    bool operator!=(const TPointF& o) const { return !(*this == o); }
};

struct TRectF {
    double Left = 0;
    double Top = 0;
    double Right = 0;
    double Bottom = 0;
    TRectF() = default;
    TRectF(double l, double t, double r, double b) : Left(l), Top(t), Right(r), Bottom(b) {}
    double Width() const { return Right - Left; }
    double Height() const { return Bottom - Top; }
    TPointF CenterPoint() const { return {(Left + Right) / 2, (Top + Bottom) / 2}; }
    bool Contains(const TPointF& p) const {
        return p.X >= Left && p.X <= Right && p.Y >= Top && p.Y <= Bottom;
    }
    // Closed test: rectangles that merely touch count as intersecting, so labels that would sit
    // edge to edge are kept apart.
    bool IntersectsWith(const TRectF& o) const {
        return Left <= o.Right && o.Left <= Right && Top <= o.Bottom && o.Top <= Bottom;
    }
    void Inflate(double dx, double dy) {
        Left -= dx;
        Right += dx;
        Top -= dy;
        Bottom += dy;
    }
    bool operator==(const TRectF& o) const {
        return Left == o.Left && Top == o.Top && Right == o.Right && Bottom == o.Bottom;
    }
};

// Affine transform, row vector convention: (x, y, 1) * M.
struct TMatrix {
    double m11 = 1, m12 = 0;
    double m21 = 0, m22 = 1;
    double m31 = 0, m32 = 0;

    static TMatrix Identity() { return {}; }
    // Angle in radians, turning counter-clockwise on a screen whose y grows downward when negative.
    static TMatrix CreateRotation(double Angle) {
        TMatrix m;
        const double c = std::cos(Angle), s = std::sin(Angle);
        m.m11 = c;
        m.m12 = s;
        m.m21 = -s;
        m.m22 = c;
        return m;
    }
    static TMatrix CreateTranslation(double dx, double dy) {
        TMatrix m;
        m.m31 = dx;
        m.m32 = dy;
        return m;
    }
    TMatrix operator*(const TMatrix& b) const {
        TMatrix r;
        r.m11 = m11 * b.m11 + m12 * b.m21;
        r.m12 = m11 * b.m12 + m12 * b.m22;
        r.m21 = m21 * b.m11 + m22 * b.m21;
        r.m22 = m21 * b.m12 + m22 * b.m22;
        r.m31 = m31 * b.m11 + m32 * b.m21 + b.m31;
        r.m32 = m31 * b.m12 + m32 * b.m22 + b.m32;
        return r;
    }
    TPointF Map(const TPointF& p) const { return {p.X * m11 + p.Y * m21 + m31, p.X * m12 + p.Y * m22 + m32}; }
};

} // namespace ferro
