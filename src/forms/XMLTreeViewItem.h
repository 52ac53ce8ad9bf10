#pragma once
// A tree item of the parameter form: the module or group node it shows, its id, the count of its
// visible members and whether a click shows rows or only opens it.

#include <pugixml.hpp>

#include <QTreeWidgetItem>

#include <cstdint>

namespace ferro {

class TXMLTreeViewItem : public QTreeWidgetItem {
public:
    using QTreeWidgetItem::QTreeWidgetItem;
    pugi::xml_node Node;
    uint64_t ID = 0;
    int Tag = 0;
    bool Leaf = false;
};

} // namespace ferro
