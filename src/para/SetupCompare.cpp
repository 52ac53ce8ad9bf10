#include "para/SetupCompare.h"

#include "foundation/Format.h"
#include "para/XMLLangu.h"

#include <cstring>
#include <strings.h>

namespace ferro {

namespace {

constexpr uint32_t CDeviceTypeId = 4261413889u; // FE000401, the device type property
constexpr uint32_t CFirmwareId = 4261413890u;   // FE000402, the firmware property
constexpr const char* CEmptyMark = "<leer>";

// "//*[@name='sys']" of any document.
pugi::xml_node SysOf(const pugi::xml_node& Doc) {
    return Doc.find_node([](const pugi::xml_node& n) {
        return n.type() == pugi::node_element && std::strcmp(n.attribute("name").value(), "sys") == 0;
    });
}

std::string NameOf(const pugi::xml_node& Node, const TXMLLangu* Lang) {
    const std::string id = Node.attribute("id").value();
    std::string t = Lang && !id.empty() ? Lang->IdToText(id) : std::string();
    return t.empty() ? id : t;
}

std::string CheckEmpty(const std::string& S) {
    return S.empty() ? CEmptyMark : S;
}

std::string PropertyOf(const pugi::xml_node& Sys, uint32_t Id) {
    const std::string id = std::to_string(Id);
    const pugi::xml_node n = Sys.find_node([&](const pugi::xml_node& c) {
        return c.type() == pugi::node_element && id == c.attribute("id").value();
    });
    return n ? GetNodeValue(n.child("value")) : std::string();
}

// The firmware line: the first two parts of "2.2.1.5".
std::string FirmwareLine(const std::string& Fw) {
    const size_t dot = Fw.find('.');
    return dot == std::string::npos ? Fw : Fw.substr(0, Fw.find('.', dot + 1));
}

size_t CharCount(const std::string& S) {
    size_t n = 0;
    for (char c : S)
        n += (uint8_t(c) & 0xC0) != 0x80;
    return n;
}

// Whether `Value` may stand in `Row`: the limits, the list or, for a text, the length.
bool InRange(const TGridRow& Row, const std::string& Value) {
    if (Value.empty()) return false;
    if (Row.RowTyp == grtDatapoint) return Value == "0" || Value == "1";
    if (Row.IsList) {
        for (const auto& [v, t] : Row.List)
            if (v == Value) return true;
        return false;
    }
    switch (Row.RowTyp) {
    case grtText:
        return CharCount(Value) >= Row.RowMin.AsUInt64() && CharCount(Value) <= Row.RowMax.AsUInt64();
    case grtFloat: {
        const auto v = ParseFloat(Value);
        return v && *v >= Row.RowMin.AsFloat() && *v <= Row.RowMax.AsFloat();
    }
    case grtUint32: {
        const auto v = ParseUInt64(Value);
        return v && *v >= Row.RowMin.AsUInt64() && *v <= Row.RowMax.AsUInt64();
    }
    default: {
        const auto v = ParseInt32(Value);
        return v && *v >= Row.RowMin.AsInt() && *v <= Row.RowMax.AsInt();
    }
    }
}

// A value as the review shows it: a choice by its text, a float with the user's separator.
std::string Shown(const TGridRow& Row, const std::string& Value, char Sep) {
    if (Row.IsList) return CheckEmpty(Row.ListText(Value));
    if (Row.RowTyp == grtFloat)
        if (const auto v = ParseFloat(Value)) return FormatFloat(*v, Sep);
    return CheckEmpty(Value);
}

} // namespace

bool SameSetupValue(const std::string& A, const std::string& B, bool IsFloat) {
    if (!IsFloat) return A == B;
    const auto a = ParseFloat(A), b = ParseFloat(B);
    if (!a || !b) return A == B;
    return *a == *b;
}

std::string TemplateMismatch(const pugi::xml_document& File, const TSetupDocument& Live) {
    const pugi::xml_node sys = SysOf(File);
    if (!sys)
        return "Die Datei ist keine Parameterdatei eines Ferro Recorders (es fehlt der Knoten \"sys\").";
    const std::string typ = PropertyOf(sys, CDeviceTypeId), fw = PropertyOf(sys, CFirmwareId);
    const std::string liveTyp = PropertyOf(Live.Sys(), CDeviceTypeId),
                      liveFw = PropertyOf(Live.Sys(), CFirmwareId);
    if (!typ.empty() && !liveTyp.empty() && typ != liveTyp)
        return "Die Vorlage gehört zum Gerätetyp " + typ + ", das Gerät ist ein " + liveTyp +
               ". Sie wird nicht übernommen.";
    if (!fw.empty() && !liveFw.empty() && FirmwareLine(fw) != FirmwareLine(liveFw))
        return "Die Vorlage stammt von der Firmware " + fw + ", das Gerät hat die Firmware " + liveFw +
               ". Nur Vorlagen der Firmware " + FirmwareLine(liveFw) + ".x werden übernommen.";
    return std::string();
}

bool TSetupCompare::Run(const pugi::xml_document& File, const TSetupDocument& Live, const TXMLLangu* Lang,
                        char DecimalSep) {
    FSep = DecimalSep;
    FCompareDictOri.clear();
    FCompareDictImp.clear();
    FSWModulTVList.clear();
    FInvalidImportList.clear();
    FRunCount = 0;
    FError = TemplateMismatch(File, Live);
    if (!FError.empty()) return false;
    // First pass: every value of the file under its key; second: the live document against them.
    FChanges = nullptr;
    TCompareItem root;
    try {
        const pugi::xml_node file = SysOf(File), live = Live.Sys();
        Walk(file, "", nullptr, Lang, NodeDepth(file));
        FChanges = &Live.ChangeList();
        Walk(live, "", &root, Lang, NodeDepth(live));
    } catch (const TParaError& e) {
        FCompareDictOri.clear();
        FError = e.what();
        return false;
    }
    FSWModulTVList = std::move(root.Children);
    return true;
}

// The key is the id and the chain of the enclosing ids: equal nodes of two documents meet, and one
// id in two groups does not collide.
void TSetupCompare::Walk(const pugi::xml_node& Node, const std::string& Chain, TCompareItem* Item,
                         const TXMLLangu* Lang, int Depth) {
    CheckSetupDepth(Depth);
    for (pugi::xml_node c : Node.children()) {
        if (c.type() != pugi::node_element) continue;
        const char* name = c.name();
        const std::string key = std::string(c.attribute("id").value()) + (Chain.empty() ? "" : "." + Chain);
        if (!std::strcmp(name, "parameter")) {
            if (NodeVisibility(c) <= 2) Compare(c, key, c.child("value"), Item, Lang);
        } else if (!std::strcmp(name, "datapoint")) {
            if (NodeVisibility(c) <= 2) Compare(c, key, c.child("rec"), Item, Lang);
        } else if (!std::strcmp(name, "group") || !std::strcmp(name, "swmodule")) {
            if (!Item) {
                Walk(c, key, nullptr, Lang, Depth + 1);
                continue;
            }
            TCompareItem sub;
            sub.Text = NameOf(c, Lang);
            sub.ID = uint32_t(std::strtoul(c.attribute("id").value(), nullptr, 10));
            sub.Module = !std::strcmp(name, "swmodule");
            Walk(c, key, &sub, Lang, Depth + 1);
            // Modules and groups without a difference do not show.
            if (!sub.Children.empty()) Item->Children.push_back(std::move(sub));
        }
    }
}

void TSetupCompare::Compare(const pugi::xml_node& Node, const std::string& Key, const pugi::xml_node& Holder,
                            TCompareItem* Item, const TXMLLangu* Lang) {
    if (!Holder) return;
    const std::string value = GetNodeValue(Holder);
    if (!Item) {
        FCompareDictImp.emplace(Key, value);
        return;
    }
    ++FRunCount;
    const auto imp = FCompareDictImp.find(Key);
    if (imp == FCompareDictImp.end()) return; // the file does not have it
    const bool isFloat = strcasecmp(GetNodeValue(Node, ".//type").c_str(), "float") == 0;
    if (SameSetupValue(value, imp->second, isFloat)) return;
    TGridRow row;
    try {
        if (!GetGridRow(2, Node.parent().attribute("id").value(), Node, row, Lang, *FChanges)) return;
    } catch (const TParaError&) {
        return;
    }
    const std::string name = Lang && !Lang->IdToText(row.ID).empty() ? Lang->IdToText(row.ID) : row.IDStr;
    TCompareRec rec;
    rec.ValNode = Holder;
    rec.NodeName = Holder.name();
    rec.OriVal = value;
    rec.ID = row.IDStr;
    rec.Name = name;
    rec.FileVal = imp->second;
    rec.Visibility = NodeVisibility(Node);
    rec.IsFloatVal = isFloat;
    TCompareItem leaf;
    leaf.ID = row.ID;
    leaf.Visibility = rec.Visibility;
    leaf.Key = Key;
    if (InRange(row, imp->second)) {
        rec.ImportVal = isFloat ? FormatFloat(*ParseFloat(imp->second)) : imp->second;
        leaf.Text = Fmt("%s: %s [%s]", name.c_str(), Shown(row, rec.ImportVal, FSep).c_str(),
                        Shown(row, value, FSep).c_str());
    } else {
        const pugi::xml_node def = Node.child("default");
        FInvalidImportList.push_back(Fmt("%s = %s [%s - min: %s / max: %s]", name.c_str(),
                                         Shown(row, imp->second, FSep).c_str(), row.DefText(FSep).c_str(),
                                         row.MinText(FSep).c_str(), row.MaxText(FSep).c_str()));
        if (!def) return;
        rec.ImportVal = GetNodeValue(def);
        if (SameSetupValue(value, rec.ImportVal, isFloat)) return; // the default is there already
        leaf.Text = Fmt("(%s) - %s: %s  [%s]", "Standard", name.c_str(),
                        Shown(row, rec.ImportVal, FSep).c_str(), Shown(row, value, FSep).c_str());
    }
    FCompareDictOri.emplace(Key, std::move(rec));
    Item->Children.push_back(std::move(leaf));
}

std::set<std::string> TSetupCompare::AllKeys() const {
    std::set<std::string> keys;
    for (const auto& [k, r] : FCompareDictOri)
        keys.insert(k);
    return keys;
}

void TSetupCompare::Apply(const std::set<std::string>& Ticked, TSetupDocument& Live,
                          std::vector<std::string>& Log) const {
    for (const auto& [key, rec] : FCompareDictOri) {
        if (!Ticked.count(key)) {
            Log.push_back("No Import: Key " + key + " not checked!");
            continue;
        }
        const bool hadText = bool(rec.ValNode.first_child());
        Live.TrackValue(rec.ValNode, rec.ImportVal);
        Log.push_back(hadText ? "Import Update Key " + key + " - " + rec.ImportVal
                              : "Import New Entry for Key " + key);
    }
}

namespace {

// Keeps the changed leaves with all their content and the modules and groups around them; true when
// anything below `Node` stays.
bool Prune(pugi::xml_node Node, const TChangeList& Changes, int Depth) {
    CheckSetupDepth(Depth);
    bool any = false;
    for (pugi::xml_node c = Node.last_child(); c;) {
        pugi::xml_node prev = c.previous_sibling();
        const bool container = !std::strcmp(c.name(), "group") || !std::strcmp(c.name(), "swmodule");
        const bool changed =
            !container && Changes.count(ChangeKey(c.attribute("id").value(), Node.attribute("id").value()));
        if (changed || (container && Prune(c, Changes, Depth + 1)))
            any = true;
        else
            Node.remove_child(c);
        c = prev;
    }
    return any;
}

void CsvWalk(const pugi::xml_node& Node, const TXMLLangu* Lang, const std::set<std::string>& Moduls, char Sep,
             std::string& Out, int Depth) {
    CheckSetupDepth(Depth);
    for (pugi::xml_node c : Node.children()) {
        if (c.type() != pugi::node_element) continue;
        const char* name = c.name();
        const bool par = !std::strcmp(name, "parameter"), dp = !std::strcmp(name, "datapoint");
        if (par || dp) {
            if (NodeVisibility(c) > 2) continue;
            std::string v = GetNodeValue(c.child(par ? "value" : "rec"));
            if (par && strcasecmp(GetNodeValue(c, ".//type").c_str(), "float") == 0)
                if (const auto f = ParseFloat(v)) v = FormatFloat(*f, Sep);
            Out += NameOf(c, Lang) + ";" + v + "\r\n";
        } else if (!std::strcmp(name, "group")) {
            if (std::strcmp(c.attribute("id").value(), "4278190084") == 0) continue; // the counting group
            Out += "\r\n" + NameOf(c, Lang) + "\r\n\r\n";
            CsvWalk(c, Lang, Moduls, Sep, Out, Depth + 1);
        } else if (!std::strcmp(name, "swmodule")) {
            const std::string text = NameOf(c, Lang);
            if (!Moduls.empty() && !Moduls.count(text)) continue;
            Out += "\r\n" + text + "\r\n\r\n";
            CsvWalk(c, Lang, Moduls, Sep, Out, Depth + 1);
        }
    }
}

} // namespace

bool DeltaDocument(const TSetupDocument& Live, pugi::xml_document& Out) {
    Out.reset();
    if (!Live.Loaded() || Live.ChangeList().empty()) return false;
    Out.reset(Live.Doc());
    if (pugi::xml_node dev = Out.find_node([](const pugi::xml_node& n) {
            return n.type() == pugi::node_element && !std::strcmp(n.name(), "device") && n.attribute("name");
        }))
        dev.attribute("name").set_value("anyDevice");
    if (const pugi::xml_node sys = SysOf(Out)) Prune(sys, Live.ChangeList(), NodeDepth(sys));
    return true;
}

std::string SetupCsv(const TSetupDocument& Doc, const TXMLLangu* Lang, const std::set<std::string>& Moduls,
                     char DecimalSep) {
    std::string out;
    if (const pugi::xml_node sys = Doc.Sys()) CsvWalk(sys, Lang, Moduls, DecimalSep, out, NodeDepth(sys));
    return out;
}

} // namespace ferro
