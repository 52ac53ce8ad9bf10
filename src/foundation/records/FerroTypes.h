#pragma once
// Names of data classes, displays, sub-records and field classes, and the fixed-size value arrays.

#include <array>
#include <cstdint>
#include <string>

namespace ferro {

// A data class; the ordinal indexes CDataObj.
enum TDataObj : uint8_t { do10T, do150T, do10min, do2h, do1s, do10s, doNs, doMmin, doOsc, doBin };
constexpr int CDataObjCount = 10;

// What a view shows.
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

// Sub-records of a data class; the part after "ss" is the record type's name.
enum TFerroStruct : uint8_t {
    ssc_10t_t_V1_0,
    ssc_10t_t_V2_2,
    ssu_std_t,
    ssu_ext_t,
    ssu_stat_t,
    ssu_10t_t,
    ssu_150t_t,
    ssu_2h_t,
    ssu_s_t,
    ssu_fb_t,
    ssi_std_t_V1_0,
    ssi_std_t_V2_2,
    ssi_ext_t,
    ssi_s_t_V1_0,
    ssi_s_t_V2_2,
    ssi_fb_t,
    ssp_std_t,
    ssp_ext_t,
    ssw_t,
    sstmp_t_V2_2,
    ssosc_dta_t_V1_0,
    ssosc_dta_t_V2_2,
    ssosc_t,
    sshp_dta_t,
    sshp_t,
    ssc_10s_f,
    ssc_osc_dta_t
};
constexpr int CFerroStructCount = 27;

// Class of a field inside a sub-record; the part after "st" is compared by the value table.
enum TFerroStrucTyp : uint8_t {
    stMesswerte,
    stEnergiemessgroessen,
    stExtremwerte,
    stPolarkoordinaten,
    stStatistikgroessen,
    stPhasendifferenz,
    stHarmonische,
    stZwischenharmonische,
    stEffektivwerte,
    stMaxHarmonische
};
constexpr int CFerroStrucTypCount = 10;

// How a view reads the values of a sub-record; the views always ask for singles.
enum TFerroVariType : uint8_t { fvtNone, fvtSingle, fvtDouble, fvtInteger };

struct TStrucInfo {
    TFerroStruct FerroStruct = ssu_s_t;
    TFerroVariType FerroVarTyp = fvtSingle;
    TDataObj FerroDataObj = do1s;
    TFerroDisp FerroDisp = sdPanel;
};
static_assert(sizeof(TStrucInfo) == 4, "TStrucInfo is four bytes");

// A leaf of the value tree. Packed into a tag word: byte 0 data class, byte 1 sub-record, byte 2 class.
struct TFerroTag {
    TDataObj FerroDataObj = do10T;
    TFerroStruct FerroStruc = ssc_10t_t_V1_0;
    TFerroStrucTyp FerroStrucTyp = stMesswerte;

    uint32_t ToTag() const {
        return uint32_t(FerroDataObj) | (uint32_t(FerroStruc) << 8) | (uint32_t(FerroStrucTyp) << 16);
    }
    static TFerroTag FromTag(uint32_t tag) {
        return {TDataObj(tag & 0xFF), TFerroStruct((tag >> 8) & 0xFF), TFerroStrucTyp((tag >> 16) & 0xFF)};
    }
};
static_assert(sizeof(TFerroTag) == 3, "TFerroTag is three bytes");

using THrm = std::array<float, 51>;     // harmonic orders 0 to 50
using TIHrm = std::array<float, 50>;    // interharmonics 0.5 to 49.5
using TFrqBand = std::array<float, 35>; // bands of the 2 to 9 kHz range

// Short label ("10T", "150T", ..., "" for the oscilloscope, "Bin") and tree caption of a data class.
const char* DataObjLabel(TDataObj d);
const char* DataObjCaption(TDataObj d);
// Text record that captions a display, e.g. "_SsdPanel".
const char* FerroDispTextName(TFerroDisp d);
// Enumeration member names, e.g. "ssu_s_t" and "stMesswerte"; empty for an ordinal out of range.
const char* FerroStructName(TFerroStruct s);
const char* FerroStrucTypName(TFerroStrucTyp t);
// Reverse lookups by member name; false when no member has that name.
bool FerroStructByName(const std::string& name, TFerroStruct& out);
bool FerroStrucTypByName(const std::string& name, TFerroStrucTyp& out);

} // namespace ferro
