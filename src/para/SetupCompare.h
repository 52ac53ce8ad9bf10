#pragma once
// The comparing import: a template (or any setup file) against the live document. Every value the
// file would change becomes a record and an item of a review tree (modules, groups, values); the
// ticked records are then written into the live document with the change list. Values the file
// has out of range are offered as their default and listed.

#include "para/SetupDocument.h"

#include <pugixml.hpp>

#include <map>
#include <set>
#include <string>
#include <vector>

namespace ferro {

class TXMLLangu;

// One value the import would change.
struct TCompareRec {
    pugi::xml_node ValNode; // value (or rec) element in the live document
    std::string NodeName;   // "value" or "rec"
    std::string OriVal;     // in the live document now
    std::string ImportVal;  // what the import writes
    std::string FileVal;    // what the file has (out of range: not what is written)
    std::string ID, Name;
    int Visibility = 0;
    bool IsFloatVal = false;
};

// An item of the review tree: a module, a group or (with Key set) a value.
struct TCompareItem {
    std::string Text;
    uint32_t ID = 0;
    bool Module = false;
    int Visibility = 0;
    std::string Key; // the record's key; empty for modules and groups
    std::vector<TCompareItem> Children;
};

class TSetupCompare {
public:
    // Compares `File` with `Live`; false with a German message in Error() when the file is no setup
    // of this instrument's type and firmware (nothing is compared then). The review texts and the
    // list of refused values show floats with `DecimalSep`, the separator the user reads.
    bool Run(const pugi::xml_document& File, const TSetupDocument& Live, const TXMLLangu* Lang,
             char DecimalSep = '.');
    const std::string& Error() const { return FError; }

    // Writes the records whose keys are in `Ticked` into `Live`; one log line per record.
    void Apply(const std::set<std::string>& Ticked, TSetupDocument& Live,
               std::vector<std::string>& Log) const;
    // All keys of the records (everything ticked).
    std::set<std::string> AllKeys() const;

    // Sorted by key: the order in which the import writes.
    std::map<std::string, TCompareRec> FCompareDictOri;
    std::vector<TCompareItem> FSWModulTVList;
    std::vector<std::string> FInvalidImportList;
    int FRunCount = 0;

private:
    void Walk(const pugi::xml_node& Node, const std::string& Chain, TCompareItem* Item, const TXMLLangu* Lang,
              int Depth);
    void Compare(const pugi::xml_node& Node, const std::string& Key, const pugi::xml_node& Holder,
                 TCompareItem* Item, const TXMLLangu* Lang);
    std::map<std::string, std::string> FCompareDictImp;
    const TChangeList* FChanges = nullptr;
    std::string FError;
    char FSep = '.';
};

// Whether two texts of a value are the same: numerically for a float ("1.50" equals "1.5"),
// character for character otherwise.
bool SameSetupValue(const std::string& A, const std::string& B, bool IsFloat);

// A German message when `File` cannot be a setup for `Live`'s instrument (no "sys" node, another
// device type, another firmware line); empty when it fits. A file without the device module (a
// delta) fits.
std::string TemplateMismatch(const pugi::xml_document& File, const TSetupDocument& Live);

// The delta document: `Live` with only the values in its change list, inside their modules and
// groups; "anyDevice" as the device name. False (nothing built) when the list is empty. Throws
// TParaError for a document nested deeper than CMaxSetupDepth.
bool DeltaDocument(const TSetupDocument& Live, pugi::xml_document& Out);

// The listing for a spreadsheet: name;value lines, modules and groups as headings; floats with
// `DecimalSep`. `Moduls` names the modules to list (by their text); empty lists all. Throws
// TParaError for a document nested deeper than CMaxSetupDepth.
std::string SetupCsv(const TSetupDocument& Doc, const TXMLLangu* Lang, const std::set<std::string>& Moduls,
                     char DecimalSep);

} // namespace ferro
