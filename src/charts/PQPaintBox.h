#pragma once
// Common base of all charts: graph and caption rectangles, text helpers with their overlap test,
// the deferred label list and the colours. Draws only through TCanvas; a host widget forwards
// paint, mouse and wheel events and turns Repaint into a paint request.

#include "charts/Canvas.h"
#include "charts/ChartTexts.h"
#include "charts/ClipLst.h"
#include "charts/Geometry.h"
#include "foundation/Sammler.h"
#include "foundation/TimeRecords.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace ferro {

class TPQPaintBox;

enum TMouseButton : uint8_t { mbLeft, mbRight, mbMiddle };
// Keyboard and button state as bits.
enum TShiftFlag : uint16_t { ssShift = 1, ssAlt = 2, ssCtrl = 4, ssLeft = 8, ssRight = 16, ssMiddle = 32 };
using TShiftState = uint16_t;

using TPaintNotify = std::function<void(TPQPaintBox* Sender, uint32_t Num)>;
using TMouseNotify = std::function<void(TPQPaintBox* Sender, const TPointF& P1, const TPointF& P2,
                                        TMouseButton Btn, TShiftState Shift)>;

// One label waiting for the end of the pass.
struct TLabDisp {
    TRectF RR;
    std::string SS;
    TAlphaColor Col = 0xFF000000;
};

class TPQPaintBox {
public:
    TPQPaintBox();
    virtual ~TPQPaintBox();
    TPQPaintBox(const TPQPaintBox&) = delete;
    TPQPaintBox& operator=(const TPQPaintBox&) = delete;

    // ---- Host side ----
    void SetSize(double Width, double Height);
    double Width() const { return FWidth; }
    double Height() const { return FHeight; }
    // One drawing pass onto the canvas.
    virtual void Paint(TCanvas& Canvas) = 0;
    // Asks the host for a new paint.
    void Repaint();
    void SetRepaintRequest(std::function<void()> Request) { FRepaintRequest = std::move(Request); }
    virtual void MouseDown(TMouseButton Button, TShiftState Shift, double X, double Y);
    virtual void MouseMove(TShiftState Shift, double X, double Y);
    virtual void MouseUp(TMouseButton Button, TShiftState Shift, double X, double Y);
    virtual void MouseWheel(TShiftState Shift, int WheelDelta, bool& Handled);

    // ---- Chart interface ----
    virtual std::string GetCaption() const;
    virtual void ClearData() {}
    // Fills the list with the chart's data; reports whether it holds any line.
    virtual bool CopyToClip(TClipLst& List) = 0;
    virtual void SetFerroDisp(chartdefs::TFerroDisp Disp) { FFerroDisp = Disp; }
    chartdefs::TFerroDisp FerroDisp() const { return FFerroDisp; }

    void SetPaintNotify(TPaintNotify N) { FPaintNotify = std::move(N); }
    void SetMouseNotify(TMouseNotify N) { FMouseNotify = std::move(N); }
    void SetTSStart(const tmStamp_t& TS) { FTSStart = TS; }
    const tmStamp_t& TSStart() const { return FTSStart; }
    void SetFontCol(TAlphaColor C) { FFontCol = C; }
    TAlphaColor FontCol() const { return FFontCol; }
    TBrush& Brush() { return FBrush; }
    void SetPaintCnt(int N) { FPaintCnt = N; }
    bool InPaint() const { return FInPaint; }

    // ---- Layout and text helpers ----
    // Caption line at the top, graph area below it, one text line kept free at the foot. Without
    // DrawText only the areas are laid out, and PaintCaptionText draws the caption later.
    void PaintCaption(TCanvas& Canvas, bool DrawText = true);
    void PaintCaptionText(TCanvas& Canvas);
    // Centred below P.
    void TextOutC(TCanvas& Canvas, const std::string& Text, const TPointF& P, double Offset,
                  TAlphaColor Colour, bool Deferred);
    // Starting one letter right of P, lifted by Offset.
    void TextOutL(TCanvas& Canvas, const std::string& Text, const TPointF& P, double Offset,
                  TAlphaColor Colour, bool Deferred);
    // Ending one letter left of P, lowered by Offset.
    void TextOutR(TCanvas& Canvas, const std::string& Text, const TPointF& P, double Offset,
                  TAlphaColor Colour, bool Deferred);
    // At P1, on the side away from P2, one line higher when P2 is lower on the screen.
    void TextOutLR(TCanvas& Canvas, const std::string& Text, const TPointF& P1, const TPointF& P2,
                   TAlphaColor Colour, bool Deferred);
    // White text on a box of Colour; never deferred.
    void TextOutInvers(TCanvas& Canvas, const std::string& Text, const TPointF& P, double Offset,
                       TAlphaColor Colour);
    // Draws the queued labels.
    void TextFromLst(TCanvas& Canvas, size_t From = 0);
    // True when the rectangle meets none of the queued labels.
    bool ChkInterSect(const TRectF& R) const;

    const TRectF& GraphRect() const { return FGraphRect; }
    const TRectF& CapRect() const { return FCapRect; }
    const std::vector<TLabDisp>& LabDispLst() const { return FLabDispLst; }
    double TxtW() const { return FTxtW; }
    double TxtH() const { return FTxtH; }

protected:
    // Draws now or queues, as the helpers do.
    void PlaceText(TCanvas& Canvas, const TRectF& R, const std::string& Text, TTextAlign HAlign,
                   TAlphaColor Colour, bool Deferred);
    // The off-screen bitmap, created on first use to match the canvas.
    TCanvasBitmap& MainBitmap(const TCanvas& Like);
    void NotifyPaint();
    // The start of a paint the charts share: false while a paint is under way or the canvas cannot
    // paint now; otherwise the page cleared in `Background`, a thin solid black pen, and the font
    // kept for EndPaint (the charts change it by differences).
    // With LayerFollows the page is left to PaintLayer where it caches: its bitmap covers it all.
    bool BeginPaint(TCanvas& Canvas, TAlphaColor Background, bool LayerFollows = false);
    // Puts the font back, ends the scene and tells the listeners.
    void EndPaint(TCanvas& Canvas);
    // The parts of a chart that change only with its size, scale and texts: drawn straight onto a
    // canvas that records or prints; onto a screen or an image copied from a bitmap that is drawn
    // again only when the fingerprint of Static's calls changes. Static may run twice, so it starts
    // from scratch each time; the canvas leaves it with the pen, fill and font Static left.
    void PaintLayer(TCanvas& Canvas, const std::function<void(TCanvas&)>& Static);
    // Whether PaintLayer copies a bitmap onto this canvas.
    static bool CachesLayerOn(const TCanvas& Canvas);

    TPaintNotify FPaintNotify;
    TMouseNotify FMouseNotify;
    std::unique_ptr<TCanvasBitmap> FBMPMain;
    std::unique_ptr<TCanvasBitmap> FLayer; // PaintLayer's bitmap
    uint64_t FLayerPrint = 0;
    TRectF FLayerPart;                    // what the layer's drawing touched, in whole pixels
    bool FLayerPartial = false;           // whether the page outside FLayerPart is filled, not copied
    TAlphaColor FBackground = 0xFFFFFFFF; // of the paint under way
    bool FLayerValid = false;
    TAlphaColor FFontCol = 0xFF000000;
    TBrush FBrush{0xFFF5F5DC};
    chartdefs::TFerroDisp FFerroDisp = chartdefs::sdPanel;
    TRectF FGraphRect;
    TRectF FCapRect;
    std::vector<TLabDisp> FLabDispLst;
    bool FInPaint = false;
    TFontState FPaintFont;
    tmStamp_t FTSStart{};
    double FTxtW = 0;
    double FTxtH = 0;
    float FRefVol = 0;
    float FRefCur = 0;
    int FPaintCnt = 0;

private:
    double FWidth = 0;
    double FHeight = 0;
    std::function<void()> FRepaintRequest;
};

} // namespace ferro
