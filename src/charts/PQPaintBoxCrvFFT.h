#pragma once
// Curve chart with a spectrum: a bounded ring of sample records with one value per curve, stacked
// into sub-regions by group or by curve. DoFFT overwrites the records' values in place with the
// rms magnitude of each spectral line. The time chart derives from it and shares storage, scaling
// and regions.

#include "charts/CrvRecords.h"
#include "charts/FFTClass.h"
#include "charts/MessLst.h"
#include "charts/PQPaintBox.h"
#include "charts/XLinNorm.h"
#include "charts/YLinNorm.h"

#include <complex>
#include <functional>
#include <string>
#include <vector>

namespace ferro {

namespace chartdefs {
inline const std::string _SFrequency = "Frequenz";
} // namespace chartdefs

class TPQPaintBoxCrvFFT : public TPQPaintBox {
public:
    TPQPaintBoxCrvFFT();

    void Paint(TCanvas& Canvas) override;
    // "FFT" and the curve names, then per line its frequency and the values.
    bool CopyToClip(TClipLst& List) override;
    void ClearData() override { FMessLst.Clear(); }
    void MouseWheel(TShiftState Shift, int WheelDelta, bool& Handled) override;

    // Curve setup. SetCrvCnt drops all records and gives every curve the default colour and range.
    virtual void SetCrvCnt(int n);
    int GetCrvCnt() const { return int(FYRecLst.size()); }
    virtual void SetBaseRec(int i, const TYBaseRec& Rec);
    TYBaseRec GetBaseRec(int i) const;
    void SetLnColor(int i, TAlphaColor C);
    TAlphaColor GetLnColor(int i) const;
    const TYRec& YRec(int i) const { return FYRecLst[size_t(i)]; }
    void SetScl(int i, double Min, double Max);
    void SetStack(TStackTyp t);
    TStackTyp Stack() const { return FStack; }
    void SetRoundAftScl(bool On) { FRoundAftScl = On; }
    // The ring's size; a list that is longer keeps its newest records at the next NewValues.
    void SetMaxRecs(int n) { FMaxRecs = n; }
    int MaxRecs() const { return FMaxRecs; }

    // Ring step: drops the oldest records while the list is full, then appends a copy of the values
    // (one per curve; missing ones count 0).
    virtual void NewValues(const TSingleArray& Values, uint64_t Ts);
    int GetMessCnt() const { return FMessLst.Count(); }
    // Exchanges the records for a list built elsewhere with as many curves (false otherwise, and
    // nothing changes); the ring then holds at least all of them.
    bool TakeRecords(TMessLst& Records);
    const TMessLst& MessLst() const { return FMessLst; }

    // Regions by the stacking.
    int SubRegionNumber() const;
    std::string SubRegionSym(int i) const;
    std::string SubRegionUnt(int i) const;
    TByteSet SubRegionSet(int i) const;
    const std::vector<TPropertyRect>& PropLst() const { return FPropLst; }

    virtual void AutoScale(int Crv);
    void AutoScaleAll();

    // Spectrum of every curve into the records, as rms magnitudes (peak / sqrt 2).
    void DoFFT();
    // Vertical zoom step, 1 to 20 (10 neutral); one step up halves the range. False if unchanged.
    bool ZoomFFT(int Step);
    int ScaleVal() const { return FScaleVal; }
    void SetUpdateTrackBar(std::function<void(int)> F) { FUpdateTrackBar = std::move(F); }
    void GetFFTData(int Index, std::complex<float>& Out) const;
    TFFTClass& FFTCls() { return FFFTCls; }
    const TXLinNorm& XNorm() const { return FXNorm; }
    const TRectF& CrvRect() const { return FCrvRect; }

protected:
    // Clear, font and pen, caption, curve rectangle with its frame.
    void BeginPass(TCanvas& Canvas);
    // Adds the region's property record with the range of its curves; returns its index.
    int AddRegion(int i, const TRectF& RR);
    // Separator, the rotated caption and, unless Percent, the value labels of FYNorm.
    void PaintRegionAxis(TCanvas& Canvas, int i, bool Percent);

    int FMaxRecs = 1000;
    bool FRoundAftScl = true;
    TStackTyp FStack = stkGroup;
    TRectF FCrvRect;
    int FCrvFFTIdx = 0;
    TFFTClass FFFTCls;
    std::vector<std::string> FGrpLst; // "group=unit"
    TXLinNorm FXNorm;
    TYLinNorm FYNorm;
    std::vector<TYRec> FYRecLst;
    TMessLst FMessLst;
    std::vector<TPropertyRect> FPropLst;
    int FScaleVal = 10;
    bool FForceRepaint = false;
    std::function<void(int)> FUpdateTrackBar;
    TPathData FPath;

private:
    void PaintSpectrumRegion(TCanvas& Canvas, int i, int Lines);
};

} // namespace ferro
