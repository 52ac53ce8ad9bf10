#include "para/GridRow.h"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <strings.h>

namespace ferro {

namespace {
constexpr const char* CTypNames[] = {"text",     "float",     "integer", "boolean",
                                     "property", "datapoint", "uint32"};

// Cuts a UTF-8 text to `Max` characters, never inside a character.
std::string CutChars(const std::string& S, uint64_t Max, bool& Cut) {
    uint64_t chars = 0;
    for (size_t i = 0; i < S.size(); ++i) {
        if ((uint8_t(S[i]) & 0xC0) == 0x80) continue;
        if (chars == Max) {
            Cut = true;
            return S.substr(0, i);
        }
        ++chars;
    }
    return S;
}
} // namespace

TGridRowTyp GetXTRecTyp(const std::string& TypeWord) {
    return GetXTRecTyp(TypeWord.c_str());
}

TGridRowTyp GetXTRecTyp(const char* TypeWord) {
    // Only the name starting with the same letter can match: one comparison per row, not seven.
    const char first = char(std::tolower(uint8_t(TypeWord[0])));
    for (int i = 0; i < int(std::size(CTypNames)); ++i)
        if (CTypNames[i][0] == first && strcasecmp(TypeWord, CTypNames[i]) == 0) return TGridRowTyp(i);
    return grtText;
}

const char* GridRowTypName(TGridRowTyp Typ) {
    return CTypNames[int(Typ)];
}

std::string CheckAsciiChar(const std::string& Text) {
    std::string out;
    out.reserve(Text.size());
    for (char c : Text)
        if ((c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || c == '_' ||
            c == '-' || c == '.')
            out += c;
    return out;
}

void TGridRow::CheckValue(const std::string& NewVal, const TCheckErrorCallBack& CallBack, bool& Corrected,
                          std::string& OutText, char DecimalSep) {
    Equal = true;
    Corrected = false;
    switch (RowTyp) {
    case grtText: {
        std::string s = IsList ? NewVal : CheckAsciiChar(NewVal);
        s = CutChars(s, RowMax.AsUInt64(), Corrected);
        const std::string par = RowPar.AsString();
        Equal = s.size() == par.size() && strcasecmp(s.c_str(), par.c_str()) == 0;
        RowVal = s;
        OutText = s;
        break;
    }
    case grtInteger:
    case grtBoolean:
    case grtDatapoint: {
        const auto parsed = ParseInt32(NewVal);
        const int64_t v = parsed ? *parsed : RowVal.AsInt();
        const int64_t w =
            IsList ? v : std::clamp(v, RowMin.AsInt(), std::max(RowMin.AsInt(), RowMax.AsInt()));
        Equal = w == RowPar.AsInt();
        RowVal = w;
        Corrected = w != v;
        OutText = std::to_string(w);
        break;
    }
    case grtUint32: {
        const auto parsed = ParseUInt64(NewVal);
        const uint64_t v = parsed ? *parsed : RowVal.AsUInt64();
        const uint64_t lo = RowMin.AsUInt64(), hi = std::max(lo, RowMax.AsUInt64());
        const uint64_t w = IsList ? v : std::clamp(v, lo, hi);
        Equal = w == RowPar.AsUInt64();
        RowVal = w;
        Corrected = w != v;
        OutText = std::to_string(w);
        break;
    }
    case grtFloat: {
        const auto parsed = ParseFloat(NewVal);
        const double v = parsed ? *parsed : RowVal.AsFloat();
        const double lo = RowMin.AsFloat(), hi = std::max(lo, RowMax.AsFloat());
        const double w = IsList ? v : std::clamp(v, lo, hi);
        // Within 1E-5 a float is what the instrument has: the document keeps five decimals.
        Equal = std::fabs(w - RowPar.AsFloat()) <= 1E-5;
        RowVal = w;
        Corrected = w != v;
        OutText = FormatFloat(w, '.');
        break;
    }
    case grtProperty:
        return;
    }
    // The limits as the user reads them, made only when they are told.
    if (Corrected && !IsList && CallBack) {
        const bool text = RowTyp == grtText;
        CallBack(IDStr, RowMin.AsString(DecimalSep), RowMax.AsString(DecimalSep),
                 text ? "-" : RowDef.AsString(DecimalSep), OutText, NewVal);
    }
}

std::string TGridRow::ListText(const std::string& Value) const {
    for (const auto& [v, t] : List)
        if (v == Value) return t;
    return Value;
}

std::string TGridRow::Text(const TVarValue& V, char DecimalSep) const {
    return V.AsString(DecimalSep);
}

std::string RangeMessage(const std::string& Name, const std::string& Min, const std::string& Max,
                         const std::string& Def, const std::string& Value) {
    std::string head = Name.empty() ? "Der eingegebene Wert liegt im ungültigen Bereich."
                                    : "Der eingegebene Wert für " + Name + " liegt im ungültigen Bereich.";
    return head + "\nBitte die Bereichsgrenzen beachten:\nMinimaler Wert: " + Min +
           "\nMaximaler Wert: " + Max + "\nStandard Wert: " + Def + "\n\nDer Parameter wird auf den Wert " +
           Value + " gesetzt!";
}

} // namespace ferro
