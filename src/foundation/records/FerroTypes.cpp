#include "foundation/records/FerroTypes.h"

#include "foundation/Format.h"

namespace ferro {

namespace {
const char* const kLabels[CDataObjCount] = {"10T", "150T", "10min", "2h", "1s",
                                            "10s", "Ns",   "Mmin",  "",   "Bin"};
const char* const kCaptions[CDataObjCount] = {"200 MS",    "3 Sec", "10 Min",
                                              "2 Stunden", "1 Sec", "10-Sekunden-Frequenz",
                                              "n Sec",     "m Min", "Oszilloskopischen Online Streams",
                                              ""};
const char* const kDispTexts[] = {"_SsdPanel",    "_SsdOsziTime",   "_SsdOsziFFT",    "_SsdVecDiag",
                                  "_SsdLoadFlow", "_SsdFrqBandULE", "_SsdFrqBandULL", "_SsdFrqBandIL",
                                  "_SsdHrmULE",   "_SsdHrmULL",     "_SsdHrmIL",      "_SsdIHrmULE",
                                  "_SsdIHrmULL",  "_SsdIHrmIL"};
const char* const kStructNames[CFerroStructCount] = {
    "ssc_10t_t_V1_0",   "ssc_10t_t_V2_2",   "ssu_std_t", "ssu_ext_t",    "ssu_stat_t",
    "ssu_10t_t",        "ssu_150t_t",       "ssu_2h_t",  "ssu_s_t",      "ssu_fb_t",
    "ssi_std_t_V1_0",   "ssi_std_t_V2_2",   "ssi_ext_t", "ssi_s_t_V1_0", "ssi_s_t_V2_2",
    "ssi_fb_t",         "ssp_std_t",        "ssp_ext_t", "ssw_t",        "sstmp_t_V2_2",
    "ssosc_dta_t_V1_0", "ssosc_dta_t_V2_2", "ssosc_t",   "sshp_dta_t",   "sshp_t",
    "ssc_10s_f",        "ssc_osc_dta_t"};
const char* const kStrucTypNames[CFerroStrucTypCount] = {
    "stMesswerte",         "stEnergiemessgroessen", "stExtremwerte", "stPolarkoordinaten",
    "stStatistikgroessen", "stPhasendifferenz",     "stHarmonische", "stZwischenharmonische",
    "stEffektivwerte",     "stMaxHarmonische"};
} // namespace

const char* DataObjLabel(TDataObj d) {
    return d < CDataObjCount ? kLabels[d] : "";
}
const char* DataObjCaption(TDataObj d) {
    return d < CDataObjCount ? kCaptions[d] : "";
}
const char* FerroDispTextName(TFerroDisp d) {
    return d <= sdIHrmIL ? kDispTexts[d] : "";
}
const char* FerroStructName(TFerroStruct s) {
    return s < CFerroStructCount ? kStructNames[s] : "";
}
const char* FerroStrucTypName(TFerroStrucTyp t) {
    return t < CFerroStrucTypCount ? kStrucTypNames[t] : "";
}

bool FerroStructByName(const std::string& name, TFerroStruct& out) {
    for (int i = 0; i < CFerroStructCount; ++i)
        if (name == kStructNames[i]) {
            out = TFerroStruct(i);
            return true;
        }
    return false;
}

// The value table compares class names without regard to case.
bool FerroStrucTypByName(const std::string& name, TFerroStrucTyp& out) {
    for (int i = 0; i < CFerroStrucTypCount; ++i)
        if (EqualsNoCase(name, kStrucTypNames[i])) {
            out = TFerroStrucTyp(i);
            return true;
        }
    return false;
}

} // namespace ferro
