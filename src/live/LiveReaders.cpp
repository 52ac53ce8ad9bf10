#include "live/LiveReaders.h"

#include "charts/AxisRecords.h"
#include "charts/ChartTexts.h"
#include "charts/PQPaintBoxCrvTime.h"
#include "charts/PQPaintBoxHarm.h"
#include "charts/PQPaintBoxLoadFlow.h"
#include "charts/PQPaintBoxVecDiag.h"
#include "foundation/Format.h"
#include "foundation/TimeRecords.h"
#include "foundation/records/CsRecord.h"
#include "foundation/records/HarmRecord.h"
#include "foundation/records/OscRecord.h"

#include <cmath>

namespace ferro {

const std::array<uint32_t, COsciChannels> CColArr = {0xFFFF0000, 0xFF00FF00, 0xFF0000FF, 0xFFFF00FF,
                                                     0xFFFF8C00, 0xFF0084FF, 0xFF2B8B41, 0xFF503580,
                                                     0xFF000000, 0xFFC80003, 0xFF55AAFF, 0xFF005050};

TStrucInfo StrucInfoFor(TFerroDisp Disp, uint8_t Gen) {
    TStrucInfo s;
    s.FerroDisp = Disp;
    s.FerroVarTyp = fvtSingle;
    switch (Disp) {
    case sdPanel:
    case sdFrqBandULE:
    case sdFrqBandULL:
    case sdFrqBandIL:
        s.FerroStruct = ssu_s_t;
        s.FerroDataObj = do1s;
        break;
    case sdOsziTime:
    case sdOsziFFT:
        s.FerroStruct = Gen >= 2 ? ssosc_dta_t_V2_2 : ssosc_dta_t_V1_0;
        s.FerroDataObj = doOsc;
        break;
    default: // vector, load flow, harmonics and interharmonics
        s.FerroStruct = ssu_150t_t;
        s.FerroDataObj = do150T;
        break;
    }
    return s;
}

std::string PanelValueText(double Value, const std::string& Unit) {
    static const char* const prefix[] = {"", "k", "M", "G"};
    double v = Value;
    int n = 0;
    for (;;) {
        const double t = v / 1000;
        if (std::fabs(t) > 1) {
            v = t;
            ++n;
        }
        if (std::fabs(t) < 1000 || n == 3) break;
    }
    return Fmt("%.2f %s%s", v, prefix[n], Unit.c_str());
}

TYBaseRec OsciChannelRec(int Channel) {
    static const char* const names[] = {"u1",  "u2", "u3", "uN", "u12", "u23",
                                        "u31", "i1", "i2", "i3", "iN",  "iR"};
    const int c = Channel < 0 || Channel >= COsciChannels ? 0 : Channel;
    const char* group = c < 4 ? "ULE" : c < 7 ? "ULL" : "IL";
    return BaseRect(names[c], group, c < 7 ? CVolt : CAmpere, buAuto);
}

bool TLiveReaders::UpdateGrid(const TByteTransport& Obj) {
    switch (FStrucInf.FerroDisp) {
    case sdPanel:
        return ReadPanel(Obj);
    case sdOsziTime:
        return ReadOsci(Obj);
    case sdOsziFFT:
        return ReadSpectrum(Obj);
    case sdVecDiag:
        return ReadVector(Obj);
    case sdLoadFlow:
        return ReadLoadFlow(Obj);
    case sdFrqBandULE:
    case sdFrqBandULL:
    case sdFrqBandIL:
        return ReadBands(Obj);
    default:
        return ReadHarmonics(Obj);
    }
}

bool TLiveReaders::PanelLengthOk(const TByteTransport& Obj) {
    const size_t want = TCsRecord::Length(Gen);
    if (Obj.FBytes.size() == want) return true;
    if (Log) Log(Fmt("PANEL: %d<>%d", int(Obj.FBytes.size()), int(want)));
    return false;
}

bool TLiveReaders::ReadPanel(const TByteTransport& Obj) {
    if (!PanelLengthOk(Obj)) return false;
    const auto cs = TCsRecord::Decode(Obj.FBytes.data(), Obj.FBytes.size(), Gen);
    if (!cs) return false;
    TPanelTexts t;
    auto put = [&t](const char* name, float v, const char* unit) { t[name] = PanelValueText(v, unit); };
    static const char* const l3[] = {"1", "2", "3"};
    for (int p = 0; p < 3; ++p) {
        const std::string n = l3[p];
        put(("edtPF" + n).c_str(), cs->PF[size_t(p)], "");
        put(("edtcosPHL" + n).c_str(), cs->CosPhi[size_t(p)], "");
        put(("edtTHDI" + n).c_str(), cs->THDI[size_t(p)], "%");
        put(("edtUL" + n).c_str(), cs->U[size_t(p)], "V");
        put(("edtP" + n).c_str(), cs->P[size_t(p)], "W");
        put(("edtI" + n).c_str(), cs->I[size_t(p)], "A");
        put(("edtS" + n).c_str(), cs->S[size_t(p)], "VA");
        put(("edtPHL" + n).c_str(), cs->PHL[size_t(p)], "\u00B0");
        put(("edtQ" + n).c_str(), cs->Q[size_t(p)], "VAR");
        put(("edtQV" + n).c_str(), cs->QV[size_t(p)], "VAR");
        put(("edtD" + n).c_str(), cs->D[size_t(p)], "VAR");
    }
    put("edtPFtotal", cs->PF[3], "");
    put("edtcosPH", cs->CosPhi[3], "");
    put("edtTHDIN", cs->THDI[3], "%");
    static const char* const thdu[] = {"edtTHDU1E", "edtTHDU2E", "edtTHDU3E", "edtTHDUNE",
                                       "edtTHDU12", "edtTHDU23", "edtTHDU31"};
    static const char* const volts[] = {"edtUL1", "edtUL2", "edtUL3", "edtUNE", "edtU12", "edtU23", "edtU31"};
    for (size_t k = 0; k < 7; ++k) {
        put(thdu[k], cs->THDU[k], "%");
        put(volts[k], cs->U[k], "V");
    }
    put("edtUU", cs->UU, "%");
    put("edtF", cs->F, "Hz");
    put("edtPtotal", cs->P[3], "W");
    put("edtIN", cs->I[3], "A");
    put("edtStotal", cs->S[3], "VA");
    put("edtQtotal", cs->Q[3], "VAR");
    put("edtQVtotal", cs->QV[3], "VAR");
    put("edtDtotal", cs->D[3], "VAR");
    if (PanelChanged) PanelChanged(t);
    return true;
}

bool TLiveReaders::ReadHarmonics(const TByteTransport& Obj) {
    THarmValues h;
    // A wrong length is dropped without a word.
    if (!Hrm || !THarmRecord::DecodeInto(Obj.FBytes.data(), Obj.FBytes.size(), Gen, h)) return false;
    Hrm->SetTSStart(Obj.TS_Mess);
    switch (FStrucInf.FerroDisp) {
    case sdHrmULE:
        for (int c = 0; c < 4; ++c)
            Hrm->SetHrmVal(c, h.HrmULE[size_t(c)]);
        break;
    case sdHrmULL:
        for (int c = 0; c < 3; ++c)
            Hrm->SetHrmVal(c, h.HrmULL[size_t(c)]);
        break;
    case sdHrmIL:
        for (int c = 0; c < 4; ++c)
            Hrm->SetHrmVal(c, h.HrmIL[size_t(c)]);
        break;
    case sdIHrmULE:
        for (int c = 0; c < 4; ++c)
            Hrm->SetIHrmVal(c, h.IHrmULE[size_t(c)]);
        break;
    case sdIHrmULL:
        for (int c = 0; c < 3; ++c)
            Hrm->SetIHrmVal(c, h.IHrmULL[size_t(c)]);
        break;
    case sdIHrmIL:
        for (int c = 0; c < 4; ++c)
            Hrm->SetIHrmVal(c, h.IHrmIL[size_t(c)]);
        break;
    default:
        return false;
    }
    Hrm->HrmRescale();
    Hrm->Repaint();
    return true;
}

bool TLiveReaders::ReadBands(const TByteTransport& Obj) {
    if (!PanelLengthOk(Obj) || !Hrm) return false;
    const auto cs = TCsRecord::Decode(Obj.FBytes.data(), Obj.FBytes.size(), Gen);
    if (!cs) return false;
    Hrm->SetTSStart(Obj.TS_Mess);
    switch (FStrucInf.FerroDisp) {
    case sdFrqBandULE:
        for (int c = 0; c < 4; ++c)
            Hrm->SetFrqBVal(c, cs->FbU[size_t(c)]);
        break;
    case sdFrqBandULL:
        for (int c = 0; c < 3; ++c)
            Hrm->SetFrqBVal(c, cs->FbU[size_t(4 + c)]);
        Hrm->SetFrqBVal(3, cs->FbU[3]);
        break;
    default:
        for (int c = 0; c < 4; ++c)
            Hrm->SetFrqBVal(c, cs->FbI[size_t(c)]);
        break;
    }
    Hrm->HrmRescale();
    Hrm->Repaint();
    return true;
}

bool TLiveReaders::ReadVector(const TByteTransport& Obj) {
    THarmValues h;
    if (!Vect || !THarmRecord::DecodeInto(Obj.FBytes.data(), Obj.FBytes.size(), Gen, h)) return false;
    Vect->SetTSStart(Obj.TS_Mess);
    for (int k = 0; k < 7; ++k)
        Vect->SetMagAngle(TVecPointer(vpU1E + k), {h.VecU[size_t(k)].Mag, h.VecU[size_t(k)].Ang});
    for (int k = 0; k < 3; ++k)
        Vect->SetMagAngle(TVecPointer(vpI1 + k), {h.VecI[size_t(k)].Mag, h.VecI[size_t(k)].Ang});
    Vect->Repaint();
    return true;
}

bool TLiveReaders::ReadLoadFlow(const TByteTransport& Obj) {
    // The view asks for the 3-second object, whose length is the harmonic one; a test against the
    // 1-second lengths would drop every object, so this one takes what it asked for.
    THarmValues h;
    if (!Load || !THarmRecord::DecodeInto(Obj.FBytes.data(), Obj.FBytes.size(), Gen, h)) return false;
    Load->SetTSStart(Obj.TS_Mess);
    for (int p = 0; p < 3; ++p) {
        const size_t s = size_t(p);
        // Voltage harmonics come in % of the fundamental, which order 1 carries in volts.
        THrm u = h.HrmULE[s];
        for (size_t i = 0; i < u.size(); ++i)
            if (i != 1) u[i] = h.HrmULE[s][i] * h.HrmULE[s][1] / 100;
        Load->SetHarmUMag(p, u);
        Load->SetHarmIMag(p, h.HrmIL[s]);
        // The bars: the voltage harmonics of the phase, as the harmonic view shows them.
        Load->SetHrmVal(p, h.HrmULE[s]);
    }
    Load->SetBasicAngle(h.VecU[0].Ang - h.VecI[0].Ang, h.VecU[1].Ang - h.VecI[1].Ang,
                        h.VecU[2].Ang - h.VecI[2].Ang);
    Load->HrmRescale();
    Load->Repaint();
    return true;
}

bool TLiveReaders::FillCurves(TPQPaintBoxCrvFFT& Chart, const TByteTransport& Obj) {
    if (FOsziArrNumbers.empty()) return false;
    Chart.ClearData();
    TOscCurves& c = FCurves;
    c.SmplCnt = c.smplrte = 0;
    TOscRecord::ReadCounts(Obj.FBytes.data(), Obj.FBytes.size(), Gen, c.SmplCnt, c.smplrte);
    Chart.SetMaxRecs(int(c.SmplCnt));
    const uint64_t base = TStoLinear(Obj.TS_Mess);
    if (!TOscRecord::DecodeInto(Obj.FBytes.data(), Obj.FBytes.size(), Gen, base, c)) return false;
    Chart.SetTSStart(Obj.TS_Mess);
    FOsziArr.assign(FOsziArrNumbers.size(), 0.f);
    for (uint32_t k = 0; k < c.SmplCnt; ++k) {
        for (size_t j = 0; j < FOsziArrNumbers.size(); ++j) {
            const size_t ch = size_t(FOsziArrNumbers[j]);
            FOsziArr[j] = ch < c.Ch.size() ? c.Ch[ch][k] : 0.f;
        }
        Chart.NewValues(FOsziArr, c.Time[k]);
    }
    return c.SmplCnt > 0;
}

bool TLiveReaders::ReadOsci(const TByteTransport& Obj) {
    if (!Oszi || !FillCurves(*Oszi, Obj)) return false;
    if (FAutoScl) {
        Oszi->AutoScaleAll();
        FAutoScl = false;
    }
    Oszi->ResetZoom();
    Oszi->Repaint();
    return true;
}

bool TLiveReaders::ReadSpectrum(const TByteTransport& Obj) {
    if (!FFT || !FillCurves(*FFT, Obj)) return false;
    FFT->FFTCls().SetSampleNum(int(FCurves.SmplCnt), 1);
    FFT->FFTCls().SetSampleRate(FCurves.smplrte);
    FFT->DoFFT();
    if (FAutoScl) {
        FFT->AutoScaleAll();
        FAutoScl = false;
    }
    FFT->Repaint();
    return true;
}

} // namespace ferro
