#pragma once
// Curves over time: the oscilloscope of the live view and the recorded graphs. Adds the time axis,
// zoom by dragging a frame, two markers, a trigger line and decimation while drawing. The picture
// is kept in a bitmap, so a repaint while only the zoom frame moves is a copy of it.

#include "charts/PQPaintBoxCrvFFT.h"
#include "charts/TimeNorm.h"

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace ferro {

using TMarkerNotify = std::function<void(TPQPaintBox* Sender, int Mark, uint64_t TS,
                                         const std::vector<std::string>& SL, const TSingleArray& Vals)>;

class TPQPaintBoxCrvTime : public TPQPaintBoxCrvFFT {
public:
    TPQPaintBoxCrvTime();

    void Paint(TCanvas& Canvas) override;
    // "Time" and the curve names, then per record its date, time and values.
    bool CopyToClip(TClipLst& List) override;
    // Length of the zoom window.
    std::string GetCaption() const override;
    void NewValues(const TSingleArray& Values, uint64_t Ts) override;
    void AutoScale(int Crv) override;
    // The range AutoScale gives a curve whose finite values span Min..Max (found elsewhere).
    void ScaleToRange(int Crv, float Min, float Max);
    // The place for a rule that rescales curves whose values left their range; none applies yet.
    void CheckAutoScale() {}
    // Mouse: left drag zooms (rightward) or resets the zoom (leftward); Shift sets marker 1, Ctrl
    // marker 2 at the pointer. The wheel does nothing here.
    void MouseDown(TMouseButton Button, TShiftState Shift, double X, double Y) override;
    void MouseMove(TShiftState Shift, double X, double Y) override;
    void MouseUp(TMouseButton Button, TShiftState Shift, double X, double Y) override;
    void MouseWheel(TShiftState, int, bool&) override {}
    // The mouse-up logic at the last position, for a drag that ended outside the chart.
    void MakeMouseUp(TMouseButton Button, TShiftState Shift);

    // Zoom window: all records. Needs one record.
    void ResetZoom();
    int ZoomIdx1() const { return FZoomIdx1; }
    int ZoomIdx2() const { return FZoomIdx2; }
    uint64_t ZoomTS1() const { return FZoomTS1; }
    uint64_t ZoomTS2() const { return FZoomTS2; }
    const TRectF& ZoomRect() const { return FZoomRect; }
    bool ZoomRectVisible() const { return FZoomVisible; }

    void SetTrigger(const tmStamp_t& Stamp);
    void SetMarkerNotify(TMarkerNotify N) { FOnMarkerNotify = std::move(N); }
    int MarkIdx1() const { return FMarkIdx1; }
    int MarkIdx2() const { return FMarkIdx2; }
    uint64_t MarkTS1() const { return FMarkTS1; }
    uint64_t MarkTS2() const { return FMarkTS2; }

    // Limits for the curves of the region under the last mouse-down; only with stacking on.
    void SetSclRegion(double Min, double Max);
    bool GetSclRegion(TRectF& Rect);
    bool GetSclRegionZero(TRectF& Rect) const;
    int RgnIdx() const { return FRgnIdx; }
    void ForceRepaint() { FForceRepaint = true; }
    const TTimeNorm& TmNorm() const { return FTmNorm; }
    // The cached picture, after the first paint.
    TCanvasBitmap* Bitmap() const { return FBMPMain.get(); }
    // Records whose position a full repaint computed, summed over all repaints.
    uint64_t RecordsLaidOut() const { return FRecordsLaidOut; }
    // Draws every point that the decimation rule keeps instead of one span per pixel column; the
    // picture is the same, only slower. For comparison.
    void SetPlainDecimation(bool On) { FPlainDecimation = On; }
    // The pixel column a record of the window was drawn in at the last full repaint; NaN outside.
    float RecordX(int Idx) const;

private:
    void PaintFull(TCanvas& Canvas);
    void PaintTimeAxis(TCanvas& Canvas);
    void PaintRegion(TCanvas& Canvas, int i);
    void DrawCurve(TCanvas& Canvas, int Crv, double SclMin, double SclMax, const TRectF& RR);
    void PaintTimeLine(TCanvas& Canvas, uint64_t TS, const std::string& Text, TAlphaColor Colour);
    // First record of the window right of x, and last one not right of it; -1 if none.
    int FindForward(double X) const;
    int FindBackward(double X) const;
    void SetMarker(int Mark, int Idx);
    bool WindowValid() const;

    TMarkerNotify FOnMarkerNotify;
    TTimeNorm FTmNorm;
    int FRgnIdx = -1;
    uint64_t FTrigger = 0;
    TPointF FMouseCurrent, FMouseStart, FMouseDown;
    std::vector<std::string> FMarkLst;
    int FMarkIdx1 = -1;
    int FMarkIdx2 = -1;
    uint64_t FMarkTS1 = 0;
    uint64_t FMarkTS2 = 0;
    TRectF FZoomRect;
    bool FZoomVisible = false;
    int FZoomIdx1 = 0;
    int FZoomIdx2 = 0;
    uint64_t FZoomTS1 = 0;
    uint64_t FZoomTS2 = 0;
    bool FRightMouse = false;
    bool FLeftMouse = false;
    bool FPlainDecimation = false;
    uint64_t FRecordsLaidOut = 0;
    // The window's pixel columns as ranges of records, from the last full repaint.
    struct TColumn {
        int First, Last;
        float X;
    };
    std::vector<TColumn> FColumns; // rising X: records map to columns without a per-record x
};

} // namespace ferro
