#pragma once
// What the live view does with each stream object, without a widget: the view actions' table, the
// readers that check an object's length and hand its values to the open chart or to the value panel,
// and the panel's value text. The live view and its tests share it.

#include "foundation/Sammler.h"
#include "foundation/records/FerroTypes.h"
#include "foundation/records/OscRecord.h"

#include <array>
#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <vector>

namespace ferro {

class TPQPaintBoxCrvTime;
class TPQPaintBoxCrvFFT;
class TPQPaintBoxHarm;
class TPQPaintBoxLoadFlow;
class TPQPaintBoxVecDiag;
struct TYBaseRec;

// The stream object a view asks for: display, sub-record and data class, read as singles.
TStrucInfo StrucInfoFor(TFerroDisp Disp, uint8_t Gen);

// "%.2f <prefix><unit>": divided by 1000 while the quotient stays above 1, at most to giga; the stop
// looks at the last quotient, so one million volts read "1000.00 kV".
std::string PanelValueText(double Value, const std::string& Unit);

// The twelve oscilloscope channels: u1, u2, u3, uN (ULE), u12, u23, u31 (ULL), i1, i2, i3, iN, iR (IL).
TYBaseRec OsciChannelRec(int Channel);
constexpr int COsciChannels = 12;
// Curve colours of the channels 0 to 11.
extern const std::array<uint32_t, COsciChannels> CColArr;

// The edit fields of the value panel and their texts, by object name (edtUL1, edtF, ...).
using TPanelTexts = std::map<std::string, std::string>;

class TLiveReaders {
public:
    // What the open view shows; set by the view action.
    TStrucInfo FStrucInf;
    uint8_t Gen = 2;
    // Channels of the oscilloscope in curve order; empty: oscilloscope objects are ignored.
    std::vector<int> FOsziArrNumbers;
    // Scale the next oscilloscope or spectrum block.
    bool FAutoScl = false;

    // The charts of the open view (not owned; only the one of FStrucInf's display is used).
    TPQPaintBoxCrvTime* Oszi = nullptr;
    TPQPaintBoxCrvFFT* FFT = nullptr;
    TPQPaintBoxVecDiag* Vect = nullptr;
    TPQPaintBoxHarm* Hrm = nullptr;
    TPQPaintBoxLoadFlow* Load = nullptr;

    std::function<void(const std::string&)> Log;
    // The panel's texts after each panel object.
    std::function<void(const TPanelTexts&)> PanelChanged;

    // Routes one stream object by the display; true when something new is to be shown.
    bool UpdateGrid(const TByteTransport& Obj);

    bool ReadPanel(const TByteTransport& Obj);
    bool ReadHarmonics(const TByteTransport& Obj);
    bool ReadBands(const TByteTransport& Obj);
    bool ReadVector(const TByteTransport& Obj);
    bool ReadLoadFlow(const TByteTransport& Obj);
    bool ReadOsci(const TByteTransport& Obj);
    bool ReadSpectrum(const TByteTransport& Obj);

private:
    // Fills a curve chart with the chosen channels of one oscilloscope block; false when nothing fits.
    bool FillCurves(TPQPaintBoxCrvFFT& Chart, const TByteTransport& Obj);
    bool PanelLengthOk(const TByteTransport& Obj);
    TSingleArray FOsziArr; // one sample in curve order
    TOscCurves FCurves;    // the last block, kept so that its storage is reused
};

} // namespace ferro
