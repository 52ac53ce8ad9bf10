#include "para/XMLLangu.h"

#include <pugixml.hpp>

#include <cerrno>
#include <cstdio>
#include <cstdlib>

namespace ferro {

namespace {
bool ParseId(const char* Text, uint32_t& Id) {
    // Digits only: strtoull would also take blanks and a sign.
    if (!Text || *Text < '0' || *Text > '9') return false;
    char* end = nullptr;
    errno = 0;
    const unsigned long long v = std::strtoull(Text, &end, 10);
    if (errno != 0 || *end != '\0' || v > 0xFFFFFFFFull) return false;
    Id = uint32_t(v);
    return true;
}
} // namespace

bool TXMLLangu::Parse(const pugi::xml_node& Root) {
    if (std::string(Root.name()) != "language") return false;
    std::unordered_map<uint32_t, TText> texts;
    for (const pugi::xml_node& t : Root.children("text")) {
        uint32_t id = 0;
        if (!ParseId(t.attribute("id").value(), id)) continue; // a broken entry costs only itself
        texts[id] = {t.attribute("long").value(), t.attribute("short").value()};
    }
    FTexts = std::move(texts);
    FLanguage = Root.attribute("lang").value();
    return true;
}

std::string TXMLLangu::IdToText(uint32_t Id) const {
    auto it = FTexts.find(Id);
    return it == FTexts.end() ? std::string() : it->second.Long;
}

const std::string& TXMLLangu::IdToTextRef(uint32_t Id) const {
    static const std::string none;
    auto it = FTexts.find(Id);
    return it == FTexts.end() ? none : it->second.Long;
}

std::string TXMLLangu::IdToText(const std::string& DecimalId) const {
    uint32_t id = 0;
    return ParseId(DecimalId.c_str(), id) ? IdToText(id) : std::string();
}

std::string TXMLLangu::IdToShort(uint32_t Id) const {
    auto it = FTexts.find(Id);
    return it == FTexts.end() ? std::string() : it->second.Short;
}

std::string TXMLLangu::StrToHexToStr(const std::string& DecimalId) {
    uint32_t id = 0;
    if (!ParseId(DecimalId.c_str(), id)) return std::string();
    char buf[16];
    std::snprintf(buf, sizeof buf, "%X", unsigned(id));
    return buf;
}

} // namespace ferro
