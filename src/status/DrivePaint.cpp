#include "status/DrivePaint.h"

#include "status/StatusReport.h"

#include <cmath>

namespace ferro {

namespace {

constexpr double CPi = 3.14159265358979323846;

// An arc as a polyline, angles in degrees clockwise from the right (screen coordinates).
void AddArc(TPathData& Path, const TPointF& Centre, double Radius, double FromDeg, double SweepDeg) {
    const int steps = std::max(2, int(std::ceil(std::fabs(SweepDeg) / 2.0)));
    for (int i = 0; i <= steps; ++i) {
        const double a = (FromDeg + SweepDeg * i / steps) * CPi / 180.0;
        const TPointF p(Centre.X + Radius * std::cos(a), Centre.Y + Radius * std::sin(a));
        if (i == 0)
            Path.MoveTo(p);
        else
            Path.LineTo(p);
    }
}

} // namespace

bool TDrivePaint::PaintPerc(TCanvas& Canvas, double Width, double Height, const TDriveValues& Drive) {
    if (!Canvas.BeginScene()) return false;
    Canvas.Clear(0x00000000);
    if (Drive.Total == 0) {
        Canvas.EndScene();
        return false;
    }
    // As thick as the step between the rings, so that they close into a solid band on any screen.
    Canvas.Stroke.Thickness = CRingStep + 0.5;
    Canvas.Stroke.Join = TStrokeJoin::Round;
    const TPointF centre(Width / 2, Height / 2);
    const double inner = Width / 2 - 40;
    const uint64_t values[3] = {Drive.Used, Drive.Free, Drive.Bad};
    const TAlphaColor colors[3] = {CUsedColor, CFreeColor, CBadColor};
    double start = -90;
    TPathData path;
    for (int k = 0; k < 3; ++k) {
        const double sweep = double(values[k]) / double(Drive.Total) * 360.0;
        if (sweep > 0) {
            Canvas.Stroke.Color = colors[k];
            for (int r = 0; r < CRingSteps; ++r) {
                path.Clear();
                AddArc(path, centre, inner + r * CRingStep, start, sweep);
                Canvas.DrawPath(path, 1.0);
            }
        }
        start += sweep;
    }
    Canvas.EndScene();
    return true;
}

bool TDrivePaint::PaintBar(TCanvas& Canvas, double Width, double Height, const TDriveValues& Drive) {
    if (!Canvas.BeginScene()) return false;
    Canvas.Clear(0x00000000);
    if (Drive.Total == 0) {
        Canvas.EndScene();
        return false;
    }
    const uint64_t values[3] = {Drive.Used, Drive.Free, Drive.Bad};
    const TAlphaColor colors[3] = {CUsedColor, CFreeColor, CBadColor};
    double x = 0;
    for (int k = 0; k < 3; ++k) {
        const double w = std::min(Width - x, double(values[k]) / double(Drive.Total) * Width);
        if (w > 0) Canvas.FillRect(TRectF(x, 0, x + w, Height), 1.0, TBrush{colors[k]});
        x += std::max(0.0, w);
    }
    Canvas.Stroke.Color = 0xFF808080;
    Canvas.DrawRect(TRectF(0.5, 0.5, Width - 0.5, Height - 0.5), 1.0);
    Canvas.EndScene();
    return true;
}

} // namespace ferro
