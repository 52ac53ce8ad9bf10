#pragma once
// Vector diagram: the fundamental phasors of the three-phase system on a circle, turned so that the
// first voltage stands straight up, with all magnitudes and angles listed beside the circle.

#include "charts/PQPaintBox.h"

#include <array>
#include <cstdint>
#include <string>

namespace ferro {

enum TVecPointer : uint8_t { vpU1E, vpU2E, vpU3E, vpUNE, vpU12, vpU23, vpU31, vpI1, vpI2, vpI3 };
constexpr int CVecPointerCount = 10;

// Magnitude in V or A, angle in degrees.
struct TMagniAngle {
    float Magn = 0;
    float Angle = 0;
};

// Colours of the phases L1, L2, L3, and of the neutral.
constexpr std::array<TAlphaColor, 3> CVecPhaseColors = {0xFFFFA500, 0xFF008000, 0xFF800080};
constexpr TAlphaColor CVecNeutralColor = 0xFF0000FF;

class TPQPaintBoxVecDiag : public TPQPaintBox {
public:
    TPQPaintBoxVecDiag();

    void Paint(TCanvas& Canvas) override;
    // Nothing to copy: the list is emptied and false reported.
    bool CopyToClip(TClipLst& List) override;

    void SetMagAngle(TVecPointer Pointer, const TMagniAngle& Value);
    const TMagniAngle& MagAngle(TVecPointer Pointer) const { return FVectDiag[Pointer]; }
    static const char* VecName(TVecPointer Pointer);

    // The values at the outer circle: voltage (line to line) and current. A host may start them from
    // the nominal values; every paint adjusts them to the phasors with hysteresis.
    void SetRefScale(float Vol, float Cur);
    float RefVol() const { return FRefVol; }
    float RefCur() const { return FRefCur; }
    // A scale changes only when the tidy maximum leaves a quarter around it: current, then voltage.
    void RescaleVec();
    // Turn that puts U1E straight up: add it to a phasor's angle to get its angle on screen.
    double Rotation() const;

    // Screen point at angle A (degrees, counter-clockwise, 0 to the right) and K times radius R from C.
    // K is held to 0 .. 2: a vector longer than twice the scale ends at twice the radius.
    static TPointF PolarToScreen(const TPointF& C, double A, double R, double K);

    // Layout of the last paint.
    const TPointF& Center() const { return FCenter; }
    double Radius() const { return FRadius; }
    const TRectF& TableRect() const { return FTableRect; }

private:
    // One vector from P to its tip, in the colour and thickness given; returns the tip.
    TPointF DrawVector(TCanvas& Canvas, const TPointF& P, double Angle, double K, TAlphaColor Colour,
                       double Thickness);
    void PaintCircle(TCanvas& Canvas);
    // Caption areas, the places of circle and table, the circle and its scale.
    void PaintFrame(TCanvas& Canvas);
    void PaintVectors(TCanvas& Canvas);
    void PaintTable(TCanvas& Canvas, double Left, double Width);

    std::array<TMagniAngle, CVecPointerCount> FVectDiag{};
    TPointF FCenter;
    double FRadius = 0;
    TRectF FTableRect;
    double FTableLeft = 0; // where PaintFrame put the table
    double FTableW = 0;
};

} // namespace ferro
