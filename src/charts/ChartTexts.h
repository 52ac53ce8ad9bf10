#pragma once
// Display kinds, unit texts and the German captions the charts write. Kept in their own namespace
// so that they can sit beside the shared vocabulary without clashing once it carries the same names.

#include <cstdint>
#include <string>

namespace ferro::chartdefs {

// What a view shows; the ordinals are those the instrument and the views exchange.
enum TFerroDisp : uint8_t {
    sdPanel,
    sdOsziTime,
    sdOsziFFT,
    sdVecDiag,
    sdLoadFlow,
    sdFrqBandULE,
    sdFrqBandULL,
    sdFrqBandIL,
    sdHrmULE,
    sdHrmULL,
    sdHrmIL,
    sdIHrmULE,
    sdIHrmULL,
    sdIHrmIL
};
constexpr int CFerroDispCount = 14;

inline const std::string CVolt = "V";
inline const std::string CAmpere = "A";
inline const std::string CHertz = "Hz";
inline const std::string CPercent = "%";
inline const std::string CWatt = "W";
inline const std::string CVoltAmpere = "VA";
inline const std::string CVoltAmpRea = "var";
inline const std::string CGrad = "°";
inline const std::string CTab = "\t";

// Caption of a display; a language table may replace the defaults.
const std::string& DispCaption(TFerroDisp Disp);
void SetDispCaption(TFerroDisp Disp, const std::string& Text);

// Column captions of the value panel.
inline const std::string _SpdcMains = "Netz";
inline const std::string _SpdcVolt = "Spannungen";
inline const std::string _SpdcCurrent = "Ströme";
inline const std::string _SpdcFact = "Leistungsfaktoren";
inline const std::string _SpdcHrmU = "Harmonische U";
inline const std::string _SpdcHrmI = "Harmonische I";
inline const std::string _SpdcFrqBandU = "Frequenzbänder U";

} // namespace ferro::chartdefs
