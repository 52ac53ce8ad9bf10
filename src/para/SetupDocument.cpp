#include "para/SetupDocument.h"

#include "para/SourceSplice.h"
#include "para/XMLLangu.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <strings.h>
#include <sys/stat.h>

namespace ferro {

namespace {

// A setup of a real instrument is a few megabytes; far more is no setup.
constexpr long long CMaxSetupSize = 256ll << 20;

// Line ends and attribute whitespace as they stand: the values are compared with the source on save.
constexpr unsigned CParseFlags = pugi::parse_cdata | pugi::parse_escapes;

std::string Latin1ToUtf8(const std::string& S) {
    std::string out;
    out.reserve(S.size() + S.size() / 8);
    for (unsigned char c : S) {
        if (c < 0x80)
            out += char(c);
        else
            out += char(0xC0 | (c >> 6)), out += char(0x80 | (c & 0x3F));
    }
    return out;
}

std::string Utf8ToLatin1(const std::string& S) {
    std::string out;
    out.reserve(S.size());
    for (size_t i = 0; i < S.size(); ++i) {
        const unsigned char c = uint8_t(S[i]);
        if (c < 0x80) {
            out += char(c);
        } else if ((c & 0xE0) == 0xC0 && i + 1 < S.size()) {
            const unsigned cp = ((c & 0x1F) << 6) | (uint8_t(S[++i]) & 0x3F);
            out += cp < 0x100 ? char(cp) : '?';
        } else {
            while (i + 1 < S.size() && (uint8_t(S[i + 1]) & 0xC0) == 0x80)
                ++i;
            out += '?'; // beyond Latin-1
        }
    }
    return out;
}

uint32_t NodeId(const pugi::xml_node& Node) {
    const char* t = Node.attribute("id").value();
    if (!*t) return 0;
    uint32_t id = 0;
    unsigned long long v = 0;
    for (const char* p = t; *p; ++p) {
        if (*p < '0' || *p > '9' || (v = v * 10 + unsigned(*p - '0')) > 0xFFFFFFFFull)
            throw TParaError("Ungültige Id \"" + std::string(t) + "\" im Element <" + Node.name() + ">");
    }
    id = uint32_t(v);
    return id;
}

std::string ItemText(uint32_t Id, const pugi::xml_node& Node, const TXMLLangu* Lang) {
    const std::string idText = Node.attribute("id").value();
    std::string t = Lang && !idText.empty() ? Lang->IdToText(Id) : std::string();
    return t.empty() ? idText : t;
}

// The tree walk: the count of visible members of the last visible sub-walk, and whether the node
// holds rows itself. `Depth` counts the levels below the document.
template <class Known>
int Walk(const pugi::xml_node& Node, int Depth, int Level, bool CountFlag, const TXMLLangu* Lang,
         std::vector<TParaTreeItem>& Items, bool& Leaf, TModulList* Moduls, Known& Kept) {
    CheckSetupDepth(Depth);
    int counter = 0;
    Leaf = false;
    // The leaves of this node's rows, once it has any.
    typename Known::mapped_type* kept = nullptr;
    for (pugi::xml_node c : Node.children()) {
        if (c.type() != pugi::node_element) continue;
        const char* name = c.name();
        if (NameIs(name, "parameter") || NameIs(name, "datapoint") || NameIs(name, "property")) {
            // All of the row's leaves, not only its visibility: its rows will need them.
            if (!kept) kept = &Kept[Node.internal_object()];
            kept->push_back({c, TParamLeaves(c)});
            if (kept->back().Leaves.VisibilityLevel() <= Level) {
                ++counter;
                Leaf = true;
            }
            continue;
        }
        const bool group = NameIs(name, "group"), modul = !group && NameIs(name, "swmodule");
        if (!group && !modul) continue;
        TParaTreeItem item;
        item.Node = c;
        item.ID = NodeId(c);
        item.Text = ItemText(item.ID, c, Lang);
        const bool flag = CountFlag || (group && item.ID == TSetupDocument::CCountGroupId);
        bool subLeaf = false;
        const int result = Walk(c, Depth + 1, Level, flag, Lang, item.Children, subLeaf, nullptr, Kept);
        // The groups below the counting group open the menu that counts recording points.
        item.Tag = group && CountFlag ? 4 : result;
        item.Leaf = subLeaf;
        if (modul && Moduls)
            Moduls->emplace_back(
                item.Text, result != 0 ? "1" : (item.ID == TSetupDocument::CProtectedModul ? "0" : "2"));
        if (result == 0) continue; // nothing visible: no item
        counter = result;
        Items.push_back(std::move(item));
    }
    return counter;
}

} // namespace

TSetupDocument::TSetupDocument() : FDoc(std::make_unique<pugi::xml_document>()) {}
TSetupDocument::~TSetupDocument() = default;

bool TSetupDocument::LoadFromFile(const std::string& FileName) {
    struct stat st {};
    if (::stat(FileName.c_str(), &st) != 0 || !S_ISREG(st.st_mode)) {
        FError = "XML read error: Die Datei " + FileName + " ist nicht vorhanden.";
        return false;
    }
    if (st.st_size > CMaxSetupSize) {
        FError = "XML read error: Die Datei " + FileName + " ist zu groß für ein Setup.";
        return false;
    }
    // Read once into a buffer that the parser takes over and parses in place: a setup of megabytes
    // costs no second copy. Its bytes are read again only when the document is written.
    const size_t size = size_t(st.st_size);
    char* buffer = static_cast<char*>(pugi::get_memory_allocation_function()(size ? size : 1));
    if (!buffer) {
        FError = "XML read error: kein Speicher für " + FileName;
        return false;
    }
    std::ifstream in(FileName, std::ios::binary);
    if (!in.read(buffer, std::streamsize(size))) {
        pugi::get_memory_deallocation_function()(buffer);
        FError = "XML read error: Die Datei " + FileName + " lässt sich nicht lesen.";
        return false;
    }
    // A declared Latin-1 file is read and written back in Latin-1; everything else is UTF-8.
    const std::string head(buffer, std::min<size_t>(size, 200));
    const bool latin1 = strcasestr(head.c_str(), "encoding=\"iso-8859-1\"") ||
                        strcasestr(head.c_str(), "encoding='iso-8859-1'") ||
                        strcasestr(head.c_str(), "encoding=\"latin1\"");
    size_t parsed = size;
    if (latin1) {
        const std::string utf8 = Latin1ToUtf8(std::string(buffer, size));
        pugi::get_memory_deallocation_function()(buffer);
        buffer = static_cast<char*>(pugi::get_memory_allocation_function()(utf8.size() + 1));
        std::memcpy(buffer, utf8.data(), utf8.size());
        parsed = utf8.size();
    }
    auto doc = std::make_unique<pugi::xml_document>();
    const pugi::xml_parse_result r =
        doc->load_buffer_inplace_own(buffer, parsed, CParseFlags, pugi::encoding_utf8);
    if (!r || !doc->document_element()) {
        // The line of the failure from the file itself: the parser has written into its buffer.
        std::string text(size, '\0');
        std::ifstream(FileName, std::ios::binary).read(text.data(), std::streamsize(size));
        const size_t at = std::min<size_t>(size_t(std::max<ptrdiff_t>(r.offset, 0)), text.size());
        const long line = 1 + long(std::count(text.begin(), text.begin() + long(at), '\n'));
        FError = std::string("XML read error: ") + (r ? "kein Wurzelelement" : r.description()) + " (Zeile " +
                 std::to_string(line) + ")";
        return false;
    }
    std::swap(FDoc, doc);
    FLeaves.clear();
    FSource.clear();
    FSourceSize = size;
    FSourceTime = uint64_t(st.st_mtim.tv_sec) * 1000000000ull + uint64_t(st.st_mtim.tv_nsec);
    FLatin1 = latin1;
    FFileName = FileName;
    FError.clear();
    FLoaded = true;
    FChangeList.clear();
    return true;
}

// The bytes the document was parsed from: read again from its file the first time they are needed,
// and kept from then on, since the file itself may be overwritten by a save.
const std::string* TSetupDocument::Source() const {
    if (FSource.empty() && FSourceSize > 0) {
        struct stat st {};
        const bool same =
            ::stat(FFileName.c_str(), &st) == 0 && size_t(st.st_size) == FSourceSize &&
            uint64_t(st.st_mtim.tv_sec) * 1000000000ull + uint64_t(st.st_mtim.tv_nsec) == FSourceTime;
        std::string bytes(FSourceSize, '\0');
        std::ifstream in(FFileName, std::ios::binary);
        if (!same || !in.read(bytes.data(), std::streamsize(bytes.size()))) {
            FError = "Die Datei " + FFileName +
                     " wurde seit dem Laden verändert; das Setup wird nicht geschrieben.";
            return nullptr;
        }
        FSource = FLatin1 ? Latin1ToUtf8(bytes) : std::move(bytes);
    }
    return &FSource;
}

bool TSetupDocument::Write(const std::string& FileName, const std::vector<pugi::xml_node>& Skip) const {
    if (!FLoaded) return false;
    const std::string* source = Source();
    if (!source) return false;
    std::string out;
    try {
        out = SpliceDocument(*source, *FDoc, Skip);
    } catch (const TParaError& e) {
        FError = e.what();
        return false;
    }
    if (FLatin1) out = Utf8ToLatin1(out);
    std::ofstream f(FileName, std::ios::binary | std::ios::trunc);
    f.write(out.data(), std::streamsize(out.size()));
    return bool(f.flush());
}

bool TSetupDocument::SaveToFile(const std::string& FileName) const {
    return Write(FileName, {});
}

pugi::xml_node TSetupDocument::Sys() const {
    if (!FLoaded) return {};
    // "//*[@name='sys']" without compiling a query: the first element so named, in document order.
    std::vector<pugi::xml_node> stack{FDoc->document_element()};
    while (!stack.empty()) {
        pugi::xml_node n = stack.back();
        stack.pop_back();
        if (std::strcmp(n.attribute("name").value(), "sys") == 0) return n;
        std::vector<pugi::xml_node> kids;
        for (pugi::xml_node c = n.first_child(); c; c = c.next_sibling())
            if (c.type() == pugi::node_element) kids.push_back(c);
        stack.insert(stack.end(), kids.rbegin(), kids.rend());
    }
    return {};
}

bool TSetupDocument::GetNode(uint32_t Id, pugi::xml_node& Node, std::string& ParentID) const {
    Node = pugi::xml_node();
    ParentID.clear();
    if (!FLoaded) return false;
    const std::string idText = std::to_string(Id);
    Node = FDoc->find_node([&](const pugi::xml_node& n) {
        return n.type() == pugi::node_element && idText == n.attribute("id").value();
    });
    if (!Node) return false;
    ParentID = Node.parent().attribute("id").value();
    return true;
}

std::vector<TParaTreeItem> TSetupDocument::BuildTree(int Level, const TXMLLangu* Lang,
                                                     TModulList& Moduls) const {
    Moduls.clear();
    FLeaves.clear();
    std::vector<TParaTreeItem> items;
    if (const pugi::xml_node sys = Sys()) {
        bool leaf = false;
        try {
            Walk(sys, NodeDepth(sys), Level, false, Lang, items, leaf, &Moduls, FLeaves);
        } catch (...) {
            FLeaves.clear(); // a walk that stopped part-way keeps nothing
            throw;
        }
    }
    return items;
}

std::vector<TGridRow> TSetupDocument::Rows(const pugi::xml_node& Item, int Level,
                                           const TXMLLangu* Lang) const {
    std::vector<TGridRow> rows;
    size_t n = 0;
    for (pugi::xml_node c = Item.first_child(); c; c = c.next_sibling())
        ++n;
    rows.reserve(n);
    const std::string parentId = Item.attribute("id").value();
    const auto found = FLeaves.find(Item.internal_object());
    const std::vector<TKnownLeaves>* known = found != FLeaves.end() ? &found->second : nullptr;
    // A setup of thousands of rows does not fit the caches: the leaves of the row after next are
    // fetched while this one is built.
    auto fetch = [known](size_t k) {
        if (known && k < known->size()) (*known)[k].Leaves.Prefetch();
    };
    fetch(0);
    fetch(1);
    size_t k = 0;
    for (pugi::xml_node c = Item.first_child(); c; c = c.next_sibling()) {
        const TParamLeaves* leaves = nullptr;
        if (known && k < known->size() && (*known)[k].Node == c) {
            leaves = &(*known)[k++].Leaves;
            fetch(k + 1);
        }
        // Built in place: a row is a few hundred bytes, and there are thousands. Text between
        // elements has no name of a row kind and gives none.
        if (!FillGridRow(Level, parentId, c, rows.emplace_back(), Lang, FChangeList, leaves)) rows.pop_back();
    }
    return rows;
}

void TSetupDocument::ChangeCell(const pugi::xml_node& Node, const std::string& Value, bool Equal,
                                TGridRowTyp RowTyp) {
    const std::string id = Node.attribute("id").value();
    pugi::xml_node valueNode;
    if (!GetSubNode(Node, RowTyp == grtDatapoint ? ".//rec" : ".//value", valueNode)) return;
    const std::string old = GetNodeValue(valueNode);
    const std::string key = ChangeKey(id, Node.parent().attribute("id").value());
    if (auto it = FChangeList.find(key); it != FChangeList.end()) {
        if (Equal) FChangeList.erase(it); // changed back: what the instrument has
    } else if (!Equal) {
        FChangeList[key] = {id, Node.parent().attribute("id").value(), old};
    }
    pugi::xml_node text = valueNode.first_child();
    if (text.type() != pugi::node_pcdata && text.type() != pugi::node_cdata)
        text = valueNode.prepend_child(pugi::node_pcdata);
    text.set_value(Value.c_str());
}

void TSetupDocument::TrackValue(const pugi::xml_node& Holder, const std::string& Text) {
    const pugi::xml_node owner = Holder.parent();
    const std::string id = owner.attribute("id").value(), parent = owner.parent().attribute("id").value();
    const std::string old = GetNodeValue(Holder);
    if (old == Text) return;
    const std::string key = ChangeKey(id, parent);
    if (auto it = FChangeList.find(key); it != FChangeList.end()) {
        if (it->second.OriVal == Text) FChangeList.erase(it);
    } else {
        FChangeList[key] = {id, parent, old};
    }
    pugi::xml_node text = Holder.first_child();
    if (text.type() != pugi::node_pcdata && text.type() != pugi::node_cdata)
        text = pugi::xml_node(Holder).prepend_child(pugi::node_pcdata);
    text.set_value(Text.c_str());
}

namespace {
// The default of one value holder; only a holder and a default that both have text count.
int SetDefVal(TSetupDocument& Doc, const pugi::xml_node& Value, const pugi::xml_node& Default) {
    if (!Value || !Default) return 0;
    const pugi::xml_node v = Value.first_child(), d = Default.first_child();
    if (v.type() != pugi::node_pcdata || d.type() != pugi::node_pcdata) return 0;
    if (strcasecmp(v.value(), d.value()) == 0) return 0;
    Doc.TrackValue(Value, d.value());
    return 1;
}

// Every value below the node back to its default, through the groups at any depth: a plain list of
// the groups still to do rather than recursion.
int ResetNode(TSetupDocument& Doc, const pugi::xml_node& Node) {
    int n = 0;
    std::vector<pugi::xml_node> open{Node};
    while (!open.empty()) {
        const pugi::xml_node g = open.back();
        open.pop_back();
        for (pugi::xml_node c : g.children()) {
            if (c.type() != pugi::node_element) continue;
            if (strcasecmp(c.name(), "datapoint") == 0)
                n += SetDefVal(Doc, c.child("rec"), c.child("default"));
            else if (strcasecmp(c.name(), "parameter") == 0)
                n += SetDefVal(Doc, c.child("value"), c.child("default"));
            else if (strcasecmp(c.name(), "group") == 0)
                open.push_back(c);
        }
    }
    return n;
}
} // namespace

int TSetupDocument::ResetToDefaults() {
    int n = 0;
    const std::string keep1 = std::to_string(CProtectedModul), keep2 = std::to_string(CProtectedModul2);
    for (pugi::xml_node m : Sys().children("swmodule")) {
        const std::string id = m.attribute("id").value();
        if (id != keep1 && id != keep2) n += ResetNode(*this, m);
    }
    return n;
}

bool TSetupDocument::SaveForSend(const std::string& Target, const TModulList& Moduls, const TXMLLangu* Lang) {
    if (!FLoaded) return false;
    CheckAllMandatoryNodes(*FDoc);
    std::vector<pugi::xml_node> skip;
    if (const pugi::xml_node sys = Sys()) {
        for (pugi::xml_node c = sys.first_child(); c; c = c.next_sibling()) {
            if (c.type() != pugi::node_element) continue;
            std::string text;
            try {
                text = ItemText(NodeId(c), c, Lang);
            } catch (const TParaError&) {
                text = c.attribute("id").value();
            }
            for (const auto& [name, flag] : Moduls)
                if (name == text && flag == "0") {
                    skip.push_back(c);
                    break;
                }
        }
    }
    return Write(Target, skip);
}

} // namespace ferro
