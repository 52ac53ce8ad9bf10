#include "para/ParaHelper.h"

#include "para/XMLLangu.h"

#include <algorithm>
#include <cstring>
#include <memory>
#include <optional>
#include <string_view>
#include <strings.h>
#include <vector>

namespace ferro {

namespace {

// The format's leaves: they hold their text and nothing else, so no walk looks into them.
bool LeafName(const char* N) {
    switch (N[0]) {
    case 't':
        return NameIs(N, "type");
    case 'v':
        return NameIs(N, "value") || NameIs(N, "visibility");
    case 'd':
        return NameIs(N, "default");
    case 'l':
        return NameIs(N, "low");
    case 'h':
        return NameIs(N, "high");
    case 'e':
        return NameIs(N, "editability");
    case 'r':
        return NameIs(N, "rec");
    default:
        return false;
    }
}

// Whether an element holds more than one text: elements of its own.
bool HoldsElements(const pugi::xml_node& C) {
    const pugi::xml_node first = C.first_child();
    return first && (first.type() == pugi::node_element || first.next_sibling());
}

// The node after `N` in document order without leaving `Root`, `N`'s own children first when `Down`:
// the finders below walk a document of any depth without recursion.
pugi::xml_node NextBelow(const pugi::xml_node& Root, pugi::xml_node N, bool Down) {
    if (Down)
        if (pugi::xml_node c = N.first_child()) return c;
    for (; N && N != Root; N = N.parent())
        if (pugi::xml_node s = N.next_sibling()) return s;
    return {};
}

// The first descendant element called `Name`, in document order: what ".//Name" selects (the
// format's leaves not looked into), without compiling a query for each of the thousands of leaves.
pugi::xml_node FindDesc(const pugi::xml_node& Node, const char* Name) {
    // Text between elements has an empty name: it neither matches nor holds anything.
    for (pugi::xml_node c = Node.first_child(); c;) {
        const char* n = c.name();
        if (n[0] == Name[0] && std::strcmp(n, Name) == 0) return c;
        c = NextBelow(Node, c, !LeafName(n) && HoldsElements(c));
    }
    return {};
}

bool PlainName(const char* S) {
    if (!*S) return false;
    for (; *S; ++S)
        if (!((*S >= 'a' && *S <= 'z') || (*S >= 'A' && *S <= 'Z') || (*S >= '0' && *S <= '9') || *S == '_'))
            return false;
    return true;
}

pugi::xml_node Select(const pugi::xml_node& Node, const char* XPath) {
    if (!Node || !XPath) return {};
    if (std::strncmp(XPath, ".//", 3) == 0 && PlainName(XPath + 3)) return FindDesc(Node, XPath + 3);
    if (std::strncmp(XPath, "./", 2) == 0 && PlainName(XPath + 2)) return Node.child(XPath + 2);
    // Anything else through a compiled query, kept for the next call.
    thread_local std::unordered_map<std::string, std::unique_ptr<pugi::xpath_query>> cache;
    try {
        auto& q = cache[XPath];
        if (!q) q = std::make_unique<pugi::xpath_query>(XPath);
        return q->evaluate_node(Node).node();
    } catch (const std::exception&) {
        cache.erase(XPath);
        return {};
    }
}

// The text of a leaf (its text or CDATA child; the parser keeps no comments), in one call.
const char* TextOf(const pugi::xml_node& N) {
    return N.child_value();
}

// The platform's number conversions with a default for what does not read.
int64_t IntOf(const pugi::xml_node& N, int64_t Def) {
    auto v = ParseInt32(TextOf(N));
    return v ? *v : Def;
}
uint64_t UIntOf(const pugi::xml_node& N, uint64_t Def) {
    auto v = ParseUInt64(TextOf(N));
    return v ? *v : Def;
}
double FloatOf(const pugi::xml_node& N, double Def) {
    const char* t = TextOf(N);
    auto v = ParseFloat(t);
    // The document writes "." only; a comma is a mistake there, not a decimal point.
    return v && !std::strchr(t, ',') ? *v : Def;
}

bool ParseId(std::string_view S, uint32_t& Id) {
    if (S.empty() || S.size() > 10) return false;
    uint64_t v = 0;
    for (char c : S) {
        if (c < '0' || c > '9') return false;
        v = v * 10 + uint64_t(c - '0');
    }
    if (v > 0xFFFFFFFFull) return false;
    Id = uint32_t(v);
    return true;
}

// A value of the row's type from a text of the document.
TVarValue TypedValue(TGridRowTyp Typ, const std::string& Text) {
    switch (Typ) {
    case grtFloat: {
        auto v = ParseFloat(Text);
        return v && Text.find(',') == std::string::npos ? *v : 0.0;
    }
    case grtInteger:
    case grtBoolean:
    case grtDatapoint: {
        auto v = ParseInt32(Text);
        return int64_t(v ? *v : 0);
    }
    case grtUint32: {
        auto v = ParseUInt64(Text);
        return v ? *v : uint64_t(0);
    }
    default:
        return Text;
    }
}

bool TextToBool(const std::string& S) {
    if (strcasecmp(S.c_str(), "true") == 0) return true;
    if (auto v = ParseInt32(S)) return *v != 0;
    return false;
}

void Caption(int Level, TGridRow& Row, const TXMLLangu* Lang) {
    const std::string* text = Lang ? &Lang->IdToTextRef(Row.ID) : nullptr;
    // An id the language file does not name still shows as something the user can look up.
    const std::string& name = text && !text->empty() ? *text : Row.IDStr;
    if (Level < 2) {
        Row.RowCap = name;
        return;
    }
    // "(decimal/HEX) name", put together in one piece: the service level shows thousands of them.
    char hex[9];
    int n = 0;
    for (uint32_t v = Row.ID; n == 0 || v != 0; v >>= 4)
        hex[n++] = "0123456789ABCDEF"[v & 15];
    std::string& cap = Row.RowCap;
    cap.reserve(Row.IDStr.size() + size_t(n) + name.size() + 4);
    cap = '(';
    cap += Row.IDStr;
    cap += '/';
    while (n > 0)
        cap += hex[--n];
    cap += ") ";
    cap += name;
}

void ReadId(const pugi::xml_node& Node, TGridRow& Row) {
    Row.IDStr = Node.attribute("id").value();
    if (!ParseId(Row.IDStr, Row.ID))
        throw TParaError("Ungültige Id \"" + Row.IDStr + "\" im Element <" + Node.name() + ">");
}

void FillList(const pugi::xml_node& Range, TGridRow& Row, const TXMLLangu* Lang) {
    for (pugi::xml_node item : Range.children()) {
        if (item.type() != pugi::node_element) continue;
        const std::string value = item.attribute("id").value();
        const char* textId = TextOf(item);
        uint32_t id = 0;
        const std::string* text = Lang && ParseId(textId, id) ? &Lang->IdToTextRef(id) : nullptr;
        Row.List.emplace_back(value, text && !text->empty() ? *text : value);
    }
}

bool GroupRecorded(const pugi::xml_node& Group, const std::vector<std::string>& Members) {
    for (pugi::xml_node c = Group.first_child(); c;) {
        const bool datapoint = c.type() == pugi::node_element && std::strcmp(c.name(), "datapoint") == 0;
        if (datapoint && TextToBool(GetNodeValue(c, ".//rec")) &&
            std::find(Members.begin(), Members.end(), c.attribute("id").value()) == Members.end())
            return true;
        c = NextBelow(Group, c, c.type() == pugi::node_element && !datapoint);
    }
    return false;
}

// The first descendant whose id is the number `Id` (".//*[@id=Id]", the id compared as a number).
pugi::xml_node FindById(const pugi::xml_node& Node, uint32_t Id) {
    for (pugi::xml_node c = Node.first_child(); c;) {
        const bool element = c.type() == pugi::node_element;
        uint32_t v = 0;
        if (element && ParseId(c.attribute("id").value(), v) && v == Id) return c;
        c = NextBelow(Node, c, element);
    }
    return {};
}

void SetRecBelow(const pugi::xml_node& Node, const char* Flag) {
    for (pugi::xml_node c = Node.first_child(); c;) {
        const bool element = c.type() == pugi::node_element;
        const bool datapoint = element && std::strcmp(c.name(), "datapoint") == 0;
        if (datapoint) SetNodeValue(c, ".//rec", Flag);
        c = NextBelow(Node, c, element && !datapoint);
    }
}

} // namespace

// One walk instead of one per name: the grid reads thousands of them.
TParamLeaves::TParamLeaves(const pugi::xml_node& Node) {
    // True when `N` is of the slot's name (taken only when it is the first such).
    auto take = [](pugi::xml_node& Slot, const pugi::xml_node& N, bool Named) {
        if (Named && !Slot) Slot = N;
        return Named;
    };
    // Depth first, in document order; text between elements has an empty name and holds nothing.
    // No setup nests a row's leaves deeper than a level or two: a document that nests its
    // elements thousands deep is not followed below 16 levels, instead of exhausting the stack.
    constexpr int CLeafDepth = 16;
    pugi::xml_node stack[CLeafDepth];
    int depth = 0;
    pugi::xml_node c = Node.first_child();
    while (true) {
        if (!c) {
            if (depth == 0) break;
            c = stack[--depth].next_sibling();
            continue;
        }
        const char* n = c.name();
        bool slot = true;
        switch (n[0]) {
        case 't':
            slot = take(Type, c, NameIs(n, "type"));
            break;
        case 'v':
            slot = take(Value, c, NameIs(n, "value")) || take(Visibility, c, NameIs(n, "visibility"));
            break;
        case 'd':
            slot = take(Default, c, NameIs(n, "default"));
            break;
        case 'l':
            slot = take(Low, c, NameIs(n, "low"));
            break;
        case 'h':
            slot = take(High, c, NameIs(n, "high"));
            break;
        case 'e':
            slot = take(Editability, c, NameIs(n, "editability"));
            break;
        case 'r':
            // A selection list's items hold no leaves either.
            slot = take(Range, c, NameIs(n, "range")) || take(Rec, c, NameIs(n, "rec"));
            break;
        default:
            slot = false;
        }
        // The leaves and the list hold only their texts; anything else may hold the names above.
        if (!slot && depth < CLeafDepth && HoldsElements(c)) {
            stack[depth++] = c;
            c = c.first_child();
        } else {
            c = c.next_sibling();
        }
    }
}

int TParamLeaves::VisibilityLevel() const {
    return int(IntOf(Visibility, 0));
}

void TParamLeaves::Prefetch() const {
    for (const pugi::xml_node* l : {&Type, &Value, &Default, &Low, &High, &Visibility, &Editability}) {
        // The parser places a leaf's text node right behind the leaf: one node further on.
        const char* at = reinterpret_cast<const char*>(l->internal_object());
        if (!at) continue;
        __builtin_prefetch(at);
        __builtin_prefetch(at + 64);
    }
}

std::string GetNodeValue(const pugi::xml_node& Node, const char* XPath) {
    return GetNodeValue(Select(Node, XPath));
}

std::string GetNodeValue(const pugi::xml_node& Node) {
    const pugi::xml_node c = Node.first_child();
    return c.type() == pugi::node_pcdata || c.type() == pugi::node_cdata ? c.value() : std::string();
}

bool SetNodeValue(const pugi::xml_node& Node, const char* XPath, const std::string& Text) {
    pugi::xml_node c = Select(Node, XPath).first_child();
    if (c.type() != pugi::node_pcdata && c.type() != pugi::node_cdata) return false;
    return c.set_value(Text.c_str());
}

bool GetSubNode(const pugi::xml_node& Node, const char* XPath, pugi::xml_node& Sub) {
    Sub = Select(Node, XPath);
    return bool(Sub);
}

bool GetAndCheckAttribute(const pugi::xml_node& Node, pugi::xml_attribute& Attr, const char* Name,
                          std::string& Text) {
    Attr = Node.attribute(Name);
    Text = Attr.value();
    return bool(Attr);
}

void CheckSetupDepth(int Depth) {
    if (Depth > CMaxSetupDepth)
        throw TParaError("Das Setup ist tiefer als " + std::to_string(CMaxSetupDepth) +
                         " Ebenen verschachtelt und wird nicht gelesen.");
}

int NodeDepth(const pugi::xml_node& Node) {
    int depth = 0;
    for (pugi::xml_node p = Node; p.parent(); p = p.parent())
        ++depth;
    return depth;
}

namespace {

int CountRecordingPoints(const pugi::xml_node& Group, int Depth) {
    CheckSetupDepth(Depth);
    std::vector<std::string> skip;
    for (pugi::xml_node m : Group.children("mandatory"))
        if (const std::string t = GetNodeValue(m); !t.empty()) skip.push_back(t);
    int count = 0;
    for (pugi::xml_node c : Group.children()) {
        if (c.type() != pugi::node_element) continue;
        if (std::strcmp(c.name(), "group") == 0) {
            if (std::find(skip.begin(), skip.end(), c.attribute("id").value()) == skip.end())
                count += CountRecordingPoints(c, Depth + 1);
        } else if (std::strcmp(c.name(), "datapoint") == 0) {
            for (pugi::xml_node r : c.children("rec"))
                count += TextToBool(GetNodeValue(r));
        }
    }
    return count;
}

} // namespace

int CountRecordingPoints(const pugi::xml_node& Group) {
    return CountRecordingPoints(Group, NodeDepth(Group));
}

int NodeVisibility(const pugi::xml_node& Node) {
    return int(IntOf(FindDesc(Node, "visibility"), 0));
}

bool GetGridRow(int Level, const std::string& ParentID, const pugi::xml_node& Node, TGridRow& Row,
                const TXMLLangu* Lang, const TChangeList& Changes) {
    Row = TGridRow();
    return FillGridRow(Level, ParentID, Node, Row, Lang, Changes);
}

bool FillGridRow(int Level, const std::string& ParentID, const pugi::xml_node& Node, TGridRow& Row,
                 const TXMLLangu* Lang, const TChangeList& Changes, const TParamLeaves* Leaves) {
    const char* name = Node.name();
    const bool isPar = NameIs(name, "parameter"), isDp = !isPar && NameIs(name, "datapoint");
    const bool isProp = !isPar && !isDp && NameIs(name, "property");
    if (!isPar && !isDp && !isProp) return false;
    std::optional<TParamLeaves> own;
    if (!Leaves) own.emplace(Node);
    const TParamLeaves& leaf = Leaves ? *Leaves : *own;
    Row.Node = Node;
    if (!isProp && leaf.Range) Row.IsList = NameIs(leaf.Range.attribute("list").value(), "true");
    if (Level < IntOf(leaf.Visibility, 0)) return false;
    ReadId(Node, Row);
    Caption(Level, Row, Lang);
    if (isProp) {
        Row.Editable = false;
        Row.Equal = true;
        Row.RowTyp = grtProperty;
        Row.RowVal = std::string(TextOf(leaf.Value));
        Row.RowPar = Row.RowVal;
        return true;
    }
    const auto change = Changes.empty() ? Changes.end() : Changes.find(ChangeKey(Row.IDStr, ParentID));
    Row.Equal = change == Changes.end();
    if (isDp) {
        Row.Editable = true;
        Row.RowTyp = grtDatapoint;
        Row.RowVal = IntOf(leaf.Rec, 0);
        Row.RowPar = Row.Equal ? Row.RowVal : TypedValue(grtDatapoint, change->second.OriVal);
        Row.RowDef = IntOf(leaf.Default, 0);
        Row.RowMin = int64_t(0);
        Row.RowMax = int64_t(1);
        return true;
    }
    Row.Editable = Level >= IntOf(leaf.Editability, 0);
    const char* typeWord = TextOf(leaf.Type);
    if (!*typeWord) return false;
    Row.RowTyp = GetXTRecTyp(typeWord);
    switch (Row.RowTyp) {
    case grtText:
    case grtProperty:
        Row.RowVal = std::string(TextOf(leaf.Value));
        Row.RowDef = std::string(TextOf(leaf.Default));
        Row.RowMin = IntOf(leaf.Low, 0);
        Row.RowMax = IntOf(leaf.High, 100);
        break;
    case grtFloat:
        Row.RowVal = FloatOf(leaf.Value, 0);
        Row.RowDef = FloatOf(leaf.Default, 0);
        // The smallest normal single, not a negative number: a float that may be 0 names its low.
        Row.RowMin = FloatOf(leaf.Low, 1.17549435E-38);
        Row.RowMax = FloatOf(leaf.High, 3.40282347E+38);
        break;
    case grtInteger:
        Row.RowVal = IntOf(leaf.Value, 0);
        Row.RowDef = IntOf(leaf.Default, 0);
        Row.RowMin = IntOf(leaf.Low, INT32_MIN);
        Row.RowMax = IntOf(leaf.High, INT32_MAX);
        break;
    case grtUint32:
        Row.RowVal = UIntOf(leaf.Value, 0);
        Row.RowDef = UIntOf(leaf.Default, 0);
        Row.RowMin = UIntOf(leaf.Low, 0);
        Row.RowMax = UIntOf(leaf.High, 4294967295ull);
        break;
    case grtBoolean:
    case grtDatapoint:
        Row.RowVal = IntOf(leaf.Value, 0);
        Row.RowDef = IntOf(leaf.Default, 0);
        Row.RowMin = int64_t(0);
        Row.RowMax = int64_t(1);
        break;
    }
    Row.RowPar = Row.Equal ? Row.RowVal : TypedValue(Row.RowTyp, change->second.OriVal);
    if (Row.IsList) {
        // A choice's legality is the menu that offers it; the limits only keep the type's range.
        Row.RowMin = Row.RowTyp == grtUint32 ? TVarValue(uint64_t(0)) : TVarValue(int64_t(0));
        Row.RowMax = Row.RowTyp == grtUint32 ? TVarValue(uint64_t(INT32_MAX)) : TVarValue(int64_t(INT32_MAX));
        FillList(leaf.Range, Row, Lang);
    }
    return true;
}

void CheckAllMandatoryNodes(pugi::xml_document& Doc) {
    std::vector<std::pair<pugi::xml_node, std::vector<std::string>>> parents;
    std::unordered_map<std::string, size_t> byId;
    for (const pugi::xpath_node& x : Doc.select_nodes("//mandatory")) {
        const pugi::xml_node parent = x.node().parent();
        if (!parent || parent.type() != pugi::node_element || std::strcmp(parent.name(), "datapoint") == 0)
            continue;
        const std::string pid = parent.attribute("id").value();
        if (pid.empty()) continue;
        auto [it, fresh] = byId.emplace(pid, parents.size());
        if (fresh) parents.push_back({parent, {}});
        parents[it->second].second.push_back(GetNodeValue(x.node()));
    }
    for (const auto& [parent, members] : parents) {
        bool recorded = false;
        for (pugi::xml_node c : parent.children()) {
            if (c.type() != pugi::node_element) continue;
            const std::string id = c.attribute("id").value();
            if (id.empty() || std::find(members.begin(), members.end(), id) != members.end()) continue;
            if (std::strcmp(c.name(), "datapoint") == 0)
                recorded = TextToBool(GetNodeValue(c, ".//rec"));
            else if (std::strcmp(c.name(), "group") == 0)
                recorded = GroupRecorded(c, members);
            if (recorded) break;
        }
        const char* flag = recorded ? "1" : "0";
        for (const std::string& m : members) {
            uint32_t id = 0;
            if (!ParseId(m, id)) continue; // not an id: nothing below the parent can be meant
            const pugi::xml_node n = FindById(parent, id);
            if (std::strcmp(n.name(), "datapoint") == 0)
                SetNodeValue(n, ".//rec", flag);
            else if (std::strcmp(n.name(), "group") == 0)
                SetRecBelow(n, flag);
        }
    }
}

} // namespace ferro
