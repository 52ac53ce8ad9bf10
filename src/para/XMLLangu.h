#pragma once
// The instrument's language file: display texts and their short forms by parameter or object id.

#include "para/BaseXML.h"

#include <cstdint>
#include <string>
#include <unordered_map>

namespace ferro {

class TXMLLangu : public TBaseXML {
public:
    // Selects (loads) the language file; false keeps the texts loaded before.
    bool SetLangFile(const std::string& FileName) { return LoadFromFile(FileName); }
    // The display text of `Id`; empty when the file does not name it.
    std::string IdToText(uint32_t Id) const;
    // The same without a copy, for the thousands of rows of a grid (an empty text when unnamed).
    const std::string& IdToTextRef(uint32_t Id) const;
    // The same for the id as decimal text; a text that is no id gives an empty text.
    std::string IdToText(const std::string& DecimalId) const;
    // The short form (units and the like); may be empty.
    std::string IdToShort(uint32_t Id) const;
    // The decimal id text as hexadecimal text ("168820736" gives "A100000"); empty if not a number.
    static std::string StrToHexToStr(const std::string& DecimalId);
    const std::string& Language() const { return FLanguage; }
    size_t Count() const { return FTexts.size(); }

protected:
    bool Parse(const pugi::xml_node& Root) override;

private:
    struct TText {
        std::string Long, Short;
    };
    std::unordered_map<uint32_t, TText> FTexts;
    std::string FLanguage;
};

} // namespace ferro
