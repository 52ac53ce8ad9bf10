#include "forms/SetupNodePath.h"

#include "foundation/Format.h"

#include <pugixml.hpp>

namespace ferro {

bool UserManagementPath(const std::string& FileName, std::string& Path) {
    pugi::xml_document doc;
    if (!doc.load_file(FileName.c_str())) return false;
    pugi::xpath_node found = doc.select_node("//*[@name='pqAppl']");
    if (!found) return false;
    Path = "usrMan";
    // Bounded by the document's depth; a listing without a "system" node ends at its last leaf.
    for (pugi::xml_node n = found.node().first_child(); n && std::string(n.name()) != "system";
         n = n.first_child()) {
        if (n.type() != pugi::node_element) break;
        Path = Fmt("%s/%s", Path.c_str(), n.attribute("name").value());
    }
    return true;
}

} // namespace ferro
