#pragma once
// The one live copy of the instrument's setup document: a save writes back every byte that was not
// edited (declaration, comments, attribute order, empty-element forms, encoding),
// the tree of modules and groups at a user level, the rows of one tree item, the edit path with its
// change list, and the copy that is sent.

#include "para/GridRow.h"
#include "para/ParaHelper.h"

#include <pugixml.hpp>

#include <cstdint>
#include <memory>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

namespace ferro {

class TXMLLangu;

// One module or group of the tree.
struct TParaTreeItem {
    pugi::xml_node Node;
    uint32_t ID = 0;
    std::string Text;
    int Tag = 0;       // visible members of the last visible sub-walk; 4 below the counting group
    bool Leaf = false; // shows its rows in the grid (true) or only opens (false)
    std::vector<TParaTreeItem> Children;
};

// name=flag of every module: 1 offered in the send dialog, 0 left out of what is sent, 2 sent
// without being offered.
using TModulList = std::vector<std::pair<std::string, std::string>>;

class TSetupDocument {
public:
    static constexpr uint32_t CCountGroupId = 4278190084u;    // FF000004
    static constexpr uint32_t CProtectedModul = 4261413829u;  // FE0003C5
    static constexpr uint32_t CProtectedModul2 = 4261413839u; // FE0003CF

    TSetupDocument();
    ~TSetupDocument();

    // Loads `FileName`; false with "XML read error: ..." in LastError(), keeping the document
    // loaded before.
    bool LoadFromFile(const std::string& FileName);
    bool Loaded() const { return FLoaded; }
    const std::string& FileName() const { return FFileName; }
    const std::string& LastError() const { return FError; }
    // Writes the document; false (nothing written) when none is loaded, it is nested deeper than
    // CMaxSetupDepth (the reason in LastError()) or the file cannot be made.
    bool SaveToFile(const std::string& FileName) const;

    // Whoever may change the document's shape drops the leaves the tree walk kept.
    pugi::xml_document& Doc() {
        FLeaves.clear();
        return *FDoc;
    }
    const pugi::xml_document& Doc() const { return *FDoc; }
    // The element that everything hangs under ("//*[@name='sys']"); empty when there is none.
    pugi::xml_node Sys() const;
    // The first node with `Id` in document order and its parent's id.
    bool GetNode(uint32_t Id, pugi::xml_node& Node, std::string& ParentID) const;

    // The tree below the sys node at `Level`, and the module list that goes with it. Throws
    // TParaError for an id that is not a number or groups nested deeper than CMaxSetupDepth.
    std::vector<TParaTreeItem> BuildTree(int Level, const TXMLLangu* Lang, TModulList& Moduls) const;
    // The rows of the children of `Item` at `Level`, with the leaves the last tree walk read.
    // Throws TParaError like GetGridRow. Whoever changes the shape of the document (adds or
    // removes nodes) does it through Doc(), which drops those leaves; values may change anywhere.
    std::vector<TGridRow> Rows(const pugi::xml_node& Item, int Level, const TXMLLangu* Lang) const;

    // The edit path: writes `Value` into the node's value (the rec of a datapoint), and keeps what
    // the instrument has in the change list until the value equals it again.
    void ChangeCell(const pugi::xml_node& Node, const std::string& Value, bool Equal, TGridRowTyp RowTyp);
    // A value set from outside the grid (import, ICD file, reset): `Holder` is the value element
    // (value or rec) of its parameter. The change list keeps what the instrument has, and drops the
    // entry when the new text is that again.
    void TrackValue(const pugi::xml_node& Holder, const std::string& Text);
    // Every parameter and datapoint of every module but the two protected ones back to its default;
    // the count of values that moved.
    int ResetToDefaults();
    TChangeList& ChangeList() { return FChangeList; }
    const TChangeList& ChangeList() const { return FChangeList; }

    // The file to send: the mandatory rule applied to the live document, then a copy without the
    // modules flagged "0" written to `Target`. The live document stays whole.
    bool SaveForSend(const std::string& Target, const TModulList& Moduls, const TXMLLangu* Lang);

private:
    bool Write(const std::string& FileName, const std::vector<pugi::xml_node>& Skip) const;

    std::unique_ptr<pugi::xml_document> FDoc;
    std::string FFileName;
    mutable std::string FError;
    const std::string* Source() const;
    // The file as read (in UTF-8): what a save writes back wherever the program changed nothing.
    // Empty until the first save; size and modification time tell that the file is still the one
    // parsed.
    mutable std::string FSource;
    size_t FSourceSize = 0;
    uint64_t FSourceTime = 0;
    bool FLatin1 = false;
    bool FLoaded = false;
    TChangeList FChangeList;
    // The leaves of the rows below each module and group, as the last tree walk read them, in
    // document order: the rows of a tree item reuse them instead of reading the nodes again.
    // Keyed by the item's node; dropped on every load and every access that may change the shape.
    struct TKnownLeaves {
        pugi::xml_node Node;
        TParamLeaves Leaves;
    };
    mutable std::unordered_map<const void*, std::vector<TKnownLeaves>> FLeaves;
};

} // namespace ferro
