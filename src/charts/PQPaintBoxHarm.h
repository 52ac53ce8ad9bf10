#pragma once
// Harmonic bar chart: harmonics, interharmonics or frequency bands as groups of bars, one bar per
// channel, with limit markers behind them and a detail box for the selected order. Live values
// come as they are; statistics come as maxima with their 95 % values.

#include "charts/PQPaintBox.h"
#include "foundation/records/FerroTypes.h"

#include <array>
#include <cstdint>
#include <string>
#include <vector>

namespace ferro {

// Channels of a harmonic view: three phases and the neutral.
enum T4Leiter : uint8_t { lt1, lt2, lt3, lt0 };

constexpr int CHrmSlots = 51;
using TAllHrmStr = std::array<std::string, CHrmSlots>;
using TAllHrmRectF = std::array<TRectF, CHrmSlots>;
using THrm4 = std::array<THrm, 4>;

namespace chartdefs {
// Text beside the normalisation line.
inline const std::string _SThreshold = "Grenzwert";
} // namespace chartdefs

class TPQPaintBoxHarm : public TPQPaintBox {
public:
    TPQPaintBoxHarm();

    void Paint(TCanvas& Canvas) override;
    // Tab separated: the order texts, the limits (harmonics of voltage), then the values per channel.
    bool CopyToClip(TClipLst& List) override;
    std::string GetCaption() const override;
    // Zeroes values and 95 % values of all channels.
    void ClearData() override;
    // Prepares slots, texts, limits, unit and channel names for the display.
    void SetFerroDisp(chartdefs::TFerroDisp Disp) override;
    // Takes the axis top from the values; the host calls it after a set of values arrived.
    virtual void HrmRescale();
    // Selects the order under the point and repaints; a click beside all orders changes nothing.
    void MouseUp(TMouseButton Button, TShiftState Shift, double X, double Y) override;

    // Order 1 is the reference and keeps its limit: the call is ignored for it.
    void SetHarmLim(int i, float Value);
    void SetHarmTxt(int i, const std::string& Text);
    // Takes effect only on the voltage harmonic displays (8 and 9).
    void SetNormalization(bool On);
    void SetStatistic(bool On) { FStatistic = On; }
    void SetTSStop(const tmStamp_t& TS) { FTSStop = TS; }
    void SetHrmActIdx(int i) { FHrmActIdx = i; }

    // Values of one channel (0..3): 51 harmonics, 50 interharmonics from slot 0, 35 bands from slot 1.
    void SetHrmVal(int Channel, const THrm& V);
    void SetIHrmVal(int Channel, const TIHrm& V);
    void SetFrqBVal(int Channel, const TFrqBand& V);
    void SetHrmVal95p(int Channel, const THrm& V);
    void SetIHrmVal95p(int Channel, const TIHrm& V);
    void SetFrqBVal95p(int Channel, const TFrqBand& V);

    // Bar width from the marker's half width: bars of four channels are narrower than of three.
    float CalcBarWidth(float Width) const;

    int HrmActIdx() const { return FHrmActIdx; }
    int HrmStartIdx() const { return FHrmStartIdx; }
    int HrmMaxIdx() const { return FHrmMaxIdx; }
    float HrmMaxScl() const { return FHrmMaxScl; }
    T4Leiter HrmMeasNum() const { return FHrmMeasNum; }
    const std::string& YUnit() const { return FYUnit; }
    const std::string& HrmTxt(int i) const { return FHrmTxt[size_t(i)]; }
    float HrmLim(int i) const { return FHrmLim[size_t(i)]; }
    const std::string& HrmMeas(int Channel) const { return FHrmMeas[size_t(Channel)]; }
    bool Normalization() const { return FNormalization; }
    bool Statistic() const { return FStatistic; }
    // Hit area of an order, as laid out by the last paint.
    const TRectF& HrmRectF(int i) const { return FHrmRectF[size_t(i)]; }
    // The plot inside the graph rectangle, as laid out by the last paint.
    const TRectF& PlotRect() const { return FPlotRect; }

protected:
    // The steps a descendant shares. The plot leaves eight letters of room for the axis texts.
    TRectF CalcPlotRect() const;
    // Plot, base unit and bar width of this paint; false when nothing fits.
    bool LayoutPlot();
    // Horizontal grid lines with their value labels; `Intervals` parts of the height.
    void PaintGrid(TCanvas& Canvas, int Intervals, bool Labels);
    // Centre of an order's group of bars.
    double SlotX(int i) const;
    // Tick and order text (odd orders), limit marker and hit area of every slot.
    void PaintSlots(TCanvas& Canvas, bool FilledMarker, bool FixedLimit);
    // One bar per channel of FHrmVal on the axis top.
    void PaintPlainBars(TCanvas& Canvas, int i);
    // Box with black text at the upper left of the plot (upper right when bars stand below the left).
    void PaintDetailBox(TCanvas& Canvas, const std::string& Text);
    // Unit of an order's values in the detail box: the fundamental of voltage comes in volts.
    const std::string& DetailUnit(int i) const;
    // Fills a rectangle clipped to the plot; nothing when it is empty.
    void FillBar(TCanvas& Canvas, TRectF R, TAlphaColor Colour);
    // Grid, ticks, order texts and limits: what changes with the layout and the scale only.
    virtual void PaintStatic(TCanvas& Canvas);
    // Draws the values below the caption, over what PaintStatic drew; the frame around it is Paint's.
    virtual void PaintInner(TCanvas& Canvas);
    bool FPlotValid = false; // the last layout left room for a plot

    std::string FYUnit = "%";
    tmStamp_t FTSStop{};
    T4Leiter FHrmMeasNum = lt0;
    int FHrmActIdx = 1;
    int FHrmStartIdx = 0;
    int FHrmMaxIdx = 50;
    float FHrmMaxScl = 10;
    TAllHrmStr FHrmTxt;
    TAllHrmRectF FHrmRectF;
    bool FNormalization = false;
    bool FStatistic = false;
    THrm FHrmLim{};
    std::array<std::string, 4> FHrmMeas;
    THrm4 FHrmVal{};
    THrm4 FHrm95p{};

    // Layout of the current paint.
    TRectF FPlotRect;
    double FBase = 0;              // base unit: a hundredth of the plot width, whole pixels
    double FHalf = 0;              // half width of a marker
    double FBarWidth = 0;          // width of one bar
    std::vector<TRectF> FBarRects; // the bars drawn so far, for placing the detail box
};

// Fill colours of the channels' bars, L1, L2, L3, neutral.
constexpr std::array<TAlphaColor, 4> CHrmBarColors = {0xFFFFA500, 0xFF008000, 0xFF800080, 0xFF0000FF};

} // namespace ferro
