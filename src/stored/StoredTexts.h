#pragma once
// Words of the stored-data views: the classes of the recording tree, their captions and the texts
// of tables and progress.

#include <array>
#include <string>

namespace ferro {

// Class word of a file name and the caption of its folder, in the order of the tree.
constexpr std::array<const char*, 10> CDataObjName = {"10T", "150T", "10min", "2h", "1s",
                                                      "10s", "Ns",   "Mmin",  "",   "Bin"};
constexpr std::array<const char*, 10> CStringArray = {"200ms TRMS",
                                                      "3s TRMS",
                                                      "10min TRMS",
                                                      "2h TRMS",
                                                      "1s TRMS",
                                                      "10s TRMS",
                                                      "Variables Sekundenintervall TRMS",
                                                      "Variables Minutenintervall TRMS",
                                                      "",
                                                      "Bin"};
constexpr std::array<const char*, 11> CDataStrArray = {"10T", "150T", "10min", "2h", "1s",   "10s",
                                                       "Ns",  "Mmin", "Osc",   "Hp", "BinIn"};
// Value groups of a recording's columns, by ValGrp.
constexpr std::array<const char*, 7> CPQValGrpTxt = {"Zeit",     "Spannung", "Strom",   "Frequenz",
                                                     "Leistung", "Spektrum", "Sonstige"};

inline const std::string _SRekorderDaten = "Rekorder Daten";
inline const std::string _SPQEreignisse = "PQ-Ereignisse";
inline const std::string _SAsync = "Async";
inline const std::string _SStoerschrieb = "Störschrieb Rekorder";
inline const std::string _SOszilloskop = "Oszilloskop Rekorder";
inline const std::string _S10msTRMS = "10ms TRMS Rekorder";
inline const std::string _SAnfordern = "Anfordern";
inline const std::string _SHerunterladen = "Herunterladen";
inline const std::string _SLoeschen = "Löschen";
inline const std::string _SEvent = "Ereignis";
inline const std::string _SZeit = "Zeit";
inline const std::string _SMaxwert = "Maxwert";
inline const std::string _SEinheit = "Einheit";
inline const std::string _SHarmonische = "Harmonische";
inline const std::string _SDauer = "Dauer [s]";
inline const std::string _SNoValue = "--";

} // namespace ferro
