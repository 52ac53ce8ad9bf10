#pragma once
// The drive page's pictures, drawn through the chart canvas: a ring of used, free and bad space,
// and a bar of the same shares. A drive whose total is 0 draws nothing: its shares are no numbers.

#include "charts/Canvas.h"

#include <cstdint>

namespace ferro {

struct TDriveValues;

class TDrivePaint {
public:
    static constexpr TAlphaColor CUsedColor = 0xFFADD8E6;
    static constexpr TAlphaColor CFreeColor = 0xFFF08080;
    static constexpr TAlphaColor CBadColor = 0xFF808080;
    // Rings drawn per arc, and how much each grows, so that the arcs form a solid band.
    static constexpr int CRingSteps = 20;
    static constexpr double CRingStep = 2.0;

    // The ring in a Width x Height surface: centred, inner radius half the width minus 40.
    // False when nothing was drawn (total 0 or a canvas that refused the scene).
    static bool PaintPerc(TCanvas& Canvas, double Width, double Height, const TDriveValues& Drive);
    // The shares as one horizontal bar over the whole surface.
    static bool PaintBar(TCanvas& Canvas, double Width, double Height, const TDriveValues& Drive);
};

} // namespace ferro
