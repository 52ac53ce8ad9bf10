#include "para/SetupDocument.h"

#include "para/XMLLangu.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <sstream>
#include <strings.h>
#include <sys/stat.h>

namespace ferro {

namespace {

// A setup of a real instrument is a few megabytes; far more is no setup.
constexpr long long CMaxSetupSize = 256ll << 20;

// Everything kept as it stands: comments, declaration, whitespace and line ends, attribute texts.
constexpr unsigned CParseFlags =
    (pugi::parse_full | pugi::parse_ws_pcdata) & ~(pugi::parse_eol | pugi::parse_wconv_attribute);

struct StringWriter : pugi::xml_writer {
    std::string& Out;
    explicit StringWriter(std::string& O) : Out(O) {}
    void write(const void* Data, size_t Size) override { Out.append(static_cast<const char*>(Data), Size); }
};

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
// holds rows itself.
int Walk(const pugi::xml_node& Node, int Level, bool CountFlag, const TXMLLangu* Lang,
         std::vector<TParaTreeItem>& Items, bool& Leaf, TModulList* Moduls) {
    int counter = 0;
    Leaf = false;
    for (pugi::xml_node c : Node.children()) {
        if (c.type() != pugi::node_element) continue;
        const char* name = c.name();
        if (!std::strcmp(name, "parameter") || !std::strcmp(name, "datapoint") ||
            !std::strcmp(name, "property")) {
            if (NodeVisibility(c) <= Level) {
                ++counter;
                Leaf = true;
            }
            continue;
        }
        const bool group = !std::strcmp(name, "group"), modul = !std::strcmp(name, "swmodule");
        if (!group && !modul) continue;
        TParaTreeItem item;
        item.Node = c;
        item.ID = NodeId(c);
        item.Text = ItemText(item.ID, c, Lang);
        const bool flag = CountFlag || (group && item.ID == TSetupDocument::CCountGroupId);
        bool subLeaf = false;
        const int result = Walk(c, Level, flag, Lang, item.Children, subLeaf, nullptr);
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
    std::string source;
    {
        std::ifstream in(FileName, std::ios::binary);
        std::ostringstream ss;
        ss << in.rdbuf();
        source = ss.str();
    }
    // A declared Latin-1 file is written back in Latin-1; everything else is UTF-8.
    pugi::xml_encoding enc = pugi::encoding_utf8;
    const std::string head = source.substr(0, std::min<size_t>(source.size(), 200));
    if (strcasestr(head.c_str(), "encoding=\"iso-8859-1\"") ||
        strcasestr(head.c_str(), "encoding='iso-8859-1'") || strcasestr(head.c_str(), "encoding=\"latin1\""))
        enc = pugi::encoding_latin1;
    auto doc = std::make_unique<pugi::xml_document>();
    const pugi::xml_parse_result r = doc->load_buffer(source.data(), source.size(), CParseFlags, enc);
    if (!r || !doc->document_element()) {
        const size_t at = std::min<size_t>(size_t(std::max<ptrdiff_t>(r.offset, 0)), source.size());
        const long line = 1 + long(std::count(source.begin(), source.begin() + long(at), '\n'));
        FError = std::string("XML read error: ") + (r ? "kein Wurzelelement" : r.description()) + " (Zeile " +
                 std::to_string(line) + ")";
        return false;
    }
    std::swap(FDoc, doc);
    const pugi::xml_node root = FDoc->document_element();
    const size_t rootAt = root.offset_debug() > 0 ? size_t(root.offset_debug()) - 1 : 0;
    FPrefix = enc == pugi::encoding_utf8 ? source.substr(0, rootAt) : std::string();
    const size_t tail = source.find_last_not_of(" \t\r\n");
    FSuffix = tail == std::string::npos ? std::string() : source.substr(tail + 1);
    FEncoding = enc;
    if (enc == pugi::encoding_utf8) KeepEmptyElementForms(source);
    FFileName = FileName;
    FError.clear();
    FLoaded = true;
    FChangeList.clear();
    return true;
}

// "<x></x>" and "<x/>" parse alike; an empty text child makes the first form come back as written.
void TSetupDocument::KeepEmptyElementForms(const std::string& Source) {
    std::vector<pugi::xml_node> stack{FDoc->document_element()};
    while (!stack.empty()) {
        pugi::xml_node n = stack.back();
        stack.pop_back();
        if (!n.first_child()) {
            const ptrdiff_t at = n.offset_debug();
            size_t end = at >= 0 ? Source.find('>', size_t(at)) : std::string::npos;
            // Attribute texts may hold '>': step over quoted parts.
            for (size_t p = size_t(std::max<ptrdiff_t>(at, 0)); end != std::string::npos && p < end; ++p) {
                if (Source[p] == '"' || Source[p] == '\'') {
                    const size_t close = Source.find(Source[p], p + 1);
                    if (close == std::string::npos) break;
                    p = close;
                    if (p > end) end = Source.find('>', p);
                }
            }
            if (end != std::string::npos && end > 0 && Source[end - 1] != '/')
                n.append_child(pugi::node_pcdata);
            continue;
        }
        for (pugi::xml_node c = n.first_child(); c; c = c.next_sibling())
            if (c.type() == pugi::node_element) stack.push_back(c);
    }
}

bool TSetupDocument::Serialize(const pugi::xml_document& Doc, std::string& Out) const {
    Out = FPrefix;
    StringWriter w(Out);
    pugi::xml_node first = Doc.document_element();
    if (FPrefix.empty()) first = Doc.first_child(); // a Latin-1 file writes its declaration anew
    for (pugi::xml_node n = first; n; n = n.next_sibling())
        n.print(w, "", pugi::format_raw, FEncoding);
    Out += FSuffix;
    return true;
}

bool TSetupDocument::SaveToFile(const std::string& FileName) const {
    if (!FLoaded) return false;
    std::string out;
    Serialize(*FDoc, out);
    std::ofstream f(FileName, std::ios::binary | std::ios::trunc);
    f.write(out.data(), std::streamsize(out.size()));
    return bool(f.flush());
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
    std::vector<TParaTreeItem> items;
    if (const pugi::xml_node sys = Sys()) {
        bool leaf = false;
        Walk(sys, Level, false, Lang, items, leaf, &Moduls);
    }
    return items;
}

std::vector<TGridRow> TSetupDocument::Rows(const pugi::xml_node& Item, int Level,
                                           const TXMLLangu* Lang) const {
    std::vector<TGridRow> rows;
    const std::string parentId = Item.attribute("id").value();
    TGridRow row;
    for (pugi::xml_node c = Item.first_child(); c; c = c.next_sibling()) {
        if (c.type() != pugi::node_element) continue;
        if (GetGridRow(Level, parentId, c, row, Lang, FChangeList)) rows.push_back(std::move(row));
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

bool TSetupDocument::SaveForSend(const std::string& Target, const TModulList& Moduls, const TXMLLangu* Lang) {
    if (!FLoaded) return false;
    CheckAllMandatoryNodes(*FDoc);
    TSetupDocument sent;
    sent.FDoc->reset(*FDoc);
    sent.FLoaded = true;
    sent.FPrefix = FPrefix;
    sent.FSuffix = FSuffix;
    sent.FEncoding = FEncoding;
    if (pugi::xml_node sys = sent.Sys()) {
        for (pugi::xml_node c = sys.first_child(); c;) {
            pugi::xml_node next = c.next_sibling();
            if (c.type() == pugi::node_element) {
                std::string text;
                try {
                    text = ItemText(NodeId(c), c, Lang);
                } catch (const TParaError&) {
                    text = c.attribute("id").value();
                }
                for (const auto& [name, flag] : Moduls)
                    if (name == text && flag == "0") {
                        sys.remove_child(c);
                        break;
                    }
            }
            c = next;
        }
    }
    return sent.SaveToFile(Target);
}

} // namespace ferro
