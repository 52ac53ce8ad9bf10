#pragma once
// Display kinds, unit texts and the German captions the charts write. Kept in their own namespace
// so that they can sit beside the shared vocabulary without clashing once it carries the same names.

#include "foundation/records/FerroTypes.h"
#include "foundation/records/Units.h"

#include <cstdint>
#include <string>

namespace ferro::chartdefs {

// The display kinds and units of the shared vocabulary, as the charts name them.
using ::ferro::sdFrqBandIL;
using ::ferro::sdFrqBandULE;
using ::ferro::sdFrqBandULL;
using ::ferro::sdHrmIL;
using ::ferro::sdHrmULE;
using ::ferro::sdHrmULL;
using ::ferro::sdIHrmIL;
using ::ferro::sdIHrmULE;
using ::ferro::sdIHrmULL;
using ::ferro::sdLoadFlow;
using ::ferro::sdOsziFFT;
using ::ferro::sdOsziTime;
using ::ferro::sdPanel;
using ::ferro::sdVecDiag;
using ::ferro::TFerroDisp;
constexpr int CFerroDispCount = 14;

inline const std::string CVolt = ::ferro::CVolt;
inline const std::string CAmpere = ::ferro::CAmpere;
inline const std::string CHertz = ::ferro::CHertz;
inline const std::string CPercent = ::ferro::CPercent;
inline const std::string CWatt = ::ferro::CWatt;
inline const std::string CVoltAmpere = ::ferro::CVoltAmpere;
inline const std::string CVoltAmpRea = ::ferro::CVoltAmpRea;
inline const std::string CGrad = ::ferro::CGrad;
inline const std::string CTab(1, ::ferro::CTab);

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
