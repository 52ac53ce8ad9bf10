#include "para/BaseXML.h"

#include <pugixml.hpp>

#include <sys/stat.h>

namespace ferro {

namespace {
// A description file is a few hundred kilobytes; anything far larger is not one.
constexpr long long CMaxFileSize = 64ll << 20;
} // namespace

bool TBaseXML::LoadFromFile(const std::string& FileName) {
    struct stat st {};
    if (::stat(FileName.c_str(), &st) != 0 || !S_ISREG(st.st_mode)) {
        FError = "Die Datei " + FileName + " ist nicht vorhanden.";
        return false;
    }
    if (st.st_size > CMaxFileSize) {
        FError = "Die Datei " + FileName + " ist zu groß.";
        return false;
    }
    pugi::xml_document doc;
    const pugi::xml_parse_result r = doc.load_file(FileName.c_str());
    if (!r) {
        FError = "Die Datei " + FileName + " ist kein gültiges XML: " + r.description();
        return false;
    }
    if (!Parse(doc.document_element())) {
        FError = "Die Datei " + FileName + " hat nicht den erwarteten Inhalt.";
        return false;
    }
    FFileName = FileName;
    FVersion = doc.document_element().attribute("version").as_int();
    FError.clear();
    return true;
}

} // namespace ferro
