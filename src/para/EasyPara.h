#pragma once
// The logic behind the basic settings page: the rows of the ids its controls stand for, the way a
// value goes between the page's unit and the document's (ms against samples or half periods,
// percent against amperes, mA against A), the one validator on the way in, the transformer
// arithmetic with its plausibility check, and the time zone's ids. No widgets: the page and the
// tests drive it alike.

#include "para/GridRow.h"
#include "para/TimeZones.h"
#include "para/Wandler.h"

#include <cstdint>
#include <functional>
#include <map>
#include <string>

namespace ferro {

class TSetupDocument;
class TXMLLangu;

namespace easyid {
constexpr uint32_t Frequency = 0x0D000000, NormLLSp = 0x0D030000;
constexpr uint32_t HarmFirst = 0x0D140000, HarmLast = 0x0D143000; // orders 2 to 50, step 256
constexpr uint32_t RefVoltEvents = 0x0E000000, SecRange = 0x0E010000, RefHarm = 0x0E030000;
constexpr uint32_t Netzform = 0x0E040000, WLFU = 0x0E090000, WLFI = 0x0E0A0000;
constexpr uint32_t WLKFU1 = 0x0E0B0000, WLKFI1 = 0x0E0B0400; // four each, step 256
constexpr uint32_t SekNennSpannung = 0x0E0C0000, SekNennStrom = 0x0E0D0000;
constexpr uint32_t CurrentFirst = 0x0F170000, CurrentLast = 0x0F1B0000; // step 65536
constexpr uint32_t OsciMin = 0x10000000, OsciMax = 0x10010000, OsciPre = 0x10020000, OsciRate = 0x10040000;
constexpr uint32_t TrmsMin = 0x11000000, TrmsMax = 0x11010000, TrmsPre = 0x11020000;
constexpr uint32_t RcmRatio = 0x14010000, RcmRated = 0x14030000;
constexpr uint32_t TimeMethod = 0xFE000302;
} // namespace easyid

// The id of harmonic order `Order` (clipped to 2..50).
uint32_t HarmonicLimitId(int Order);

class TEasyPara {
public:
    // Shows a German message (the page opens a box; tests collect them).
    std::function<void(const std::string&)> FMessage;
    // Writes a line to the form's log.
    std::function<void(const std::string&)> FLog;

    // Forgets all rows and works on `Doc` at user level `Level` from now on. `Gen` is the layout
    // generation of the instrument's firmware (it moves some trigger ids).
    void Reset(TSetupDocument* Doc, const TXMLLangu* Lang, int Level, uint8_t Gen, char DecimalSep);
    // GetSettings without a control: the row of `Id` (made on first use); null when the document has
    // no such node or it is not shown at this level.
    TGridRow* Bind(uint32_t Id);
    TGridRow* Row(uint32_t Id);
    const TGridRow* Row(uint32_t Id) const;
    // The row's value as a number; 0 for an unbound id.
    double GetVal(uint32_t Id) const;
    // The id after the firmware generation's mapping of the trigger ids.
    uint32_t ReplaceTag(uint32_t Id) const;

    // The text a control shows for the stored value.
    std::string GetSpecialVal(uint32_t Id) const;
    // A display text into the document: converted to the stored unit, checked, written. A value out
    // of limits gives the range message in the display unit and is written corrected; `Display` is
    // then the corrected display text. False when the id is unbound.
    bool SetSpecialVal(const std::string& Text, uint32_t Id, std::string& Display, bool& Corrected);
    // A stored-unit text (check box, combo box, radio button, spin box) through CheckValue into the
    // document; the message as the grid shows it when corrected.
    bool SetStoredVal(const std::string& Text, uint32_t Id, bool& Corrected);
    // Whether pre-history <= minimum <= maximum in the recorder of `AnyLengthId`; the warning is shown
    // otherwise (values kept).
    bool CheckLengths(uint32_t AnyLengthId);

    // Current thresholds shown in amperes (true) or percent of the nominal current.
    bool FAmpDisplay = false;
    // Primary nominal current, A.
    float FNennStrom = 0;

    TWandlerRec FWandlerRec;
    // Reads the transformer state from the document.
    void FillWandler();
    // The nominal current after a change of the factors or the secondary current.
    void UpdateNennStrom() { FNennStrom = float(GetVal(easyid::SekNennStrom)) * FWandlerRec.WLFI; }
    // The transformer state into the document, after the page's nominal voltage texts. A NormLLSp out
    // of its limits is clipped and the secondary nominal voltage worked back; any other value out of
    // limits gives the one plausibility warning, and then nothing is written and the result is false.
    bool WriteWandler(const char* LEText, const char* LLText);

    // The RCM's primary rated residual current in mA; and back: the secondary value (in mA) for it.
    std::string RcmPrimary() const;
    std::string RcmSecondaryFor(const std::string& PrimaryMilliAmp) const;

    // The instrument's zone as its ids say, and a chosen zone written into them.
    TTZI DeviceZone() const;
    void WriteZone(const TTZI& Zone);

    TSetupDocument* Document() const { return FDoc; }
    const TXMLLangu* Language() const { return FLang; }
    int Level() const { return FLevel; }
    char DecimalSep() const { return FDecimalSep; }

private:
    // Stored value to display unit and back; false when the id has no unit of its own.
    bool ToDisplay(uint32_t Id, double Stored, double& Display) const;
    bool FromDisplay(uint32_t Id, double Display, double& Stored) const;
    void Write(TGridRow& Row, const std::string& Text);
    void Message(const std::string& Text) const;
    double NominalFrequency() const;

    TSetupDocument* FDoc = nullptr;
    const TXMLLangu* FLang = nullptr;
    int FLevel = 0;
    uint8_t FGen = 0;
    char FDecimalSep = '.';
    std::map<uint32_t, TGridRow> FRows;
    bool FAlreadyWarned = false;
};

} // namespace ferro
