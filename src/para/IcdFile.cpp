#include "para/IcdFile.h"

#include "para/SetupDocument.h"

#include <pugixml.hpp>

#include <filesystem>
#include <strings.h>

namespace ferro {

namespace {
// An ICD file of a recorder is some kilobytes; anything near this is no such file.
constexpr uintmax_t CMaxIcdSize = 32u << 20;
// Comments and layout stay as they are when the name is written back.
constexpr unsigned CIcdParse = pugi::parse_full;

bool LoadIcd(const std::string& Path, pugi::xml_document& Doc, std::string& Error) {
    std::error_code ec;
    const uintmax_t size = std::filesystem::file_size(Path, ec);
    if (ec) {
        Error = "Die Datei " + Path + " lässt sich nicht lesen.";
        return false;
    }
    if (size > CMaxIcdSize) {
        Error = "Die Datei " + Path + " ist zu groß für eine ICD-Datei.";
        return false;
    }
    const pugi::xml_parse_result r = Doc.load_file(Path.c_str(), CIcdParse);
    if (!r) {
        Error = std::string("Die Datei ist kein gültiges XML: ") + r.description();
        return false;
    }
    return true;
}
} // namespace

bool ReadICDFile(const std::string& Path, TICDInfo& Info, std::string& Error) {
    pugi::xml_document doc;
    if (!LoadIcd(Path, doc, Error)) return false;
    const pugi::xml_node scl = doc.child("SCL");
    if (!scl) {
        Error = "Die Datei ist keine SCL-Datei (es fehlt das Element SCL).";
        return false;
    }
    const pugi::xml_node header = scl.child("Header"), ied = scl.child("IED");
    if (!header || !ied) {
        Error = std::string("Der SCL-Datei fehlt der Abschnitt ") + (header ? "IED." : "Header.");
        return false;
    }
    Info.Values = {ied.attribute("name").value(),
                   std::filesystem::path(Path).filename().string(),
                   header.attribute("version").value(),
                   header.attribute("revision").value(),
                   ied.attribute("originalSclVersion").value(),
                   ied.attribute("originalSclRevision").value(),
                   header.attribute("id").value()};
    return true;
}

int ApplyICDInfo(TSetupDocument& Doc, const TICDInfo& Info) {
    int moved = 0;
    for (size_t i = 0; i < Info.Values.size(); ++i) {
        pugi::xml_node node;
        std::string parent;
        if (!Doc.GetNode(TICDInfo::CICDIds[i], node, parent)) continue;
        const pugi::xml_node value = node.child("value");
        if (!value || !value.first_child()) continue;
        if (strcasecmp(value.first_child().value(), Info.Values[i].c_str()) == 0) continue;
        Doc.TrackValue(value, Info.Values[i]);
        ++moved;
    }
    return moved;
}

bool RenameICDIed(const std::string& Path, const std::string& Name) {
    pugi::xml_document doc;
    std::string error;
    if (Path.empty() || !LoadIcd(Path, doc, error)) return false;
    const pugi::xml_node scl = doc.child("SCL");
    if (!scl) return false;
    if (pugi::xml_attribute a =
            scl.child("Communication").child("SubNetwork").child("ConnectedAP").attribute("iedName"))
        a.set_value(Name.c_str());
    if (pugi::xml_attribute a = scl.child("IED").attribute("name")) a.set_value(Name.c_str());
    return doc.save_file(Path.c_str(), "", pugi::format_raw);
}

} // namespace ferro
