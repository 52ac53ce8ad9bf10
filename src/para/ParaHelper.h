#pragma once
// The node functions of the setup document: values by relative XPath, attributes, one node as a
// grid row, the change list, and the mandatory-node rule that runs before every sending.

#include "para/GridRow.h"

#include <pugixml.hpp>

#include <cstdint>
#include <stdexcept>
#include <string>
#include <unordered_map>

namespace ferro {

class TXMLLangu;

// What the instrument has for a node that the user changed: the list's key is ID + ParentID.
struct TChangeListRec {
    std::string ID, ParentID, OriVal;
};
using TChangeList = std::unordered_map<std::string, TChangeListRec>;

inline std::string ChangeKey(const std::string& ID, const std::string& ParentID) {
    return ID + ParentID;
}

// A control's signed tag holding an id above 2^31.
union TEasyTag {
    int32_t Int;
    uint32_t UInt;
};

// A node whose id is not a number, or a document nested too deep: reading the tree stops with this
// German message.
class TParaError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// Far deeper than any instrument's setup. The walks that keep state per level refuse a document
// nested further, rather than exhaust the stack on a broken or hostile file.
constexpr int CMaxSetupDepth = 64;
// Throws TParaError once `Depth` levels below the document passes CMaxSetupDepth.
void CheckSetupDepth(int Depth);
// The levels between the document and `Node` (its root element is 1 deep).
int NodeDepth(const pugi::xml_node& Node);

// The text of the first child of the node that `XPath` selects below `Node`; empty when there is
// no such node or it has no child.
std::string GetNodeValue(const pugi::xml_node& Node, const char* XPath);
// The text of the first child of `Node`.
std::string GetNodeValue(const pugi::xml_node& Node);
// Sets the text of the selected node's first child; false (and nothing made) when the node is
// missing or has no child.
bool SetNodeValue(const pugi::xml_node& Node, const char* XPath, const std::string& Text);
bool GetSubNode(const pugi::xml_node& Node, const char* XPath, pugi::xml_node& Sub);
bool GetAndCheckAttribute(const pugi::xml_node& Node, pugi::xml_attribute& Attr, const char* Name,
                          std::string& Text);

// The leaf elements of one parameter, datapoint or property, each the first of its name in document
// order (what ".//name" selects, the leaves themselves not looked into), found in one walk.
struct TParamLeaves {
    pugi::xml_node Type, Value, Default, Low, High, Visibility, Editability, Range, Rec;
    TParamLeaves() = default;
    explicit TParamLeaves(const pugi::xml_node& Node);
    // The visibility level (0 when missing or unreadable).
    int VisibilityLevel() const;
    // Asks the processor to fetch the leaves and their texts' nodes ahead of their use.
    void Prefetch() const;
};

// The row of one node at user level `Level` below the parent with id `ParentID`. False for a node
// that is invisible at that level, has no type or is of no row kind. Throws TParaError for an id
// that is not a 32-bit number.
bool GetGridRow(int Level, const std::string& ParentID, const pugi::xml_node& Node, TGridRow& Row,
                const TXMLLangu* Lang, const TChangeList& Changes);
// The same into a row just made, which needs no reset: the grid builds thousands at once. `Leaves`,
// when given, are the node's own, read before.
bool FillGridRow(int Level, const std::string& ParentID, const pugi::xml_node& Node, TGridRow& Row,
                 const TXMLLangu* Lang, const TChangeList& Changes, const TParamLeaves* Leaves = nullptr);

// An element name against a literal, inline: the walks over a setup compare hundreds of thousands.
template <size_t N> inline bool NameIs(const char* Name, const char (&Literal)[N]) {
    for (size_t i = 0; i < N; ++i)
        if (Name[i] != Literal[i]) return false; // stops at the shorter one's end
    return true;
}

// Switches the mandatory members of every group on when anything else in the group records, off
// when nothing does.
void CheckAllMandatoryNodes(pugi::xml_document& Doc);

// The recording points switched on below a group of the counting group: every "rec" of a data
// point that reads true, in the groups that are not named by the group's own "mandatory" entries.
// Throws TParaError for groups nested deeper than CMaxSetupDepth.
int CountRecordingPoints(const pugi::xml_node& Group);

// The visibility level of a node (".//visibility", 0 when missing or unreadable).
int NodeVisibility(const pugi::xml_node& Node);

} // namespace ferro
