#pragma once
// One node of the setup document as a grid row, and CheckValue: the one gate that every new value
// passes, whether it comes from the grid, a settings control, an import or the command line.

#include "para/VarValue.h"

#include <pugixml.hpp>

#include <cstdint>
#include <functional>
#include <string>
#include <utility>
#include <vector>

namespace ferro {

enum TGridRowTyp { grtText, grtFloat, grtInteger, grtBoolean, grtProperty, grtDatapoint, grtUint32 };

// Told of a corrected value: id text, limits and default as the user reads them, the value stored
// instead and what was typed.
using TCheckErrorCallBack =
    std::function<void(const std::string& ValID, const std::string& Min, const std::string& Max,
                       const std::string& Def, const std::string& OutVal, const std::string& InVal)>;

// The row type of a type word of the document ("float" gives grtFloat); unknown words give grtText.
TGridRowTyp GetXTRecTyp(const std::string& TypeWord);
TGridRowTyp GetXTRecTyp(const char* TypeWord);
// The type word of a row type, as the document and the command line write it.
const char* GridRowTypName(TGridRowTyp Typ);
// Keeps 0-9, A-Z, a-z, "_", "-" and "." and drops every other character.
std::string CheckAsciiChar(const std::string& Text);

struct TGridRow {
    TGridRowTyp RowTyp = grtText;
    std::string RowCap;
    TVarValue RowPar; // what the instrument has: the baseline of Equal
    TVarValue RowVal; // the present value
    TVarValue RowDef, RowMin, RowMax;
    bool Equal = true;
    pugi::xml_node Node;
    bool Editable = false;
    std::string IDStr;
    uint32_t ID = 0;
    bool IsList = false;
    // value=text of a selection list, in the document's order.
    std::vector<std::pair<std::string, std::string>> List;

    // Validates `NewVal` for this row and takes it as RowVal. `Corrected` tells that the value was
    // clipped or cut; `OutText` is what goes into the document ("." as decimal point). Limits in the
    // callback's texts use `DecimalSep`, the one the user reads.
    void CheckValue(const std::string& NewVal, const TCheckErrorCallBack& CallBack, bool& Corrected,
                    std::string& OutText, char DecimalSep = '.');

    // The text of `Value` in the selection list; the value itself when the list does not have it.
    std::string ListText(const std::string& Value) const;
    // The present value, default and limits as text, floats as "0.#####" with `DecimalSep`.
    std::string ValText(char DecimalSep = '.') const { return Text(RowVal, DecimalSep); }
    std::string DefText(char DecimalSep = '.') const { return Text(RowDef, DecimalSep); }
    std::string MinText(char DecimalSep = '.') const { return Text(RowMin, DecimalSep); }
    std::string MaxText(char DecimalSep = '.') const { return Text(RowMax, DecimalSep); }

private:
    std::string Text(const TVarValue& V, char DecimalSep) const;
};

// The German message of a corrected value: with the parameter's name (`Name` not empty) or without.
std::string RangeMessage(const std::string& Name, const std::string& Min, const std::string& Max,
                         const std::string& Def, const std::string& Value);

} // namespace ferro
