#include "para/SourceSplice.h"
#include "para/ParaHelper.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

namespace ferro {

namespace {

struct TEdit {
    size_t Start, End;
    std::string Text;
};

std::string Escape(const char* S) {
    std::string out;
    for (; *S; ++S) {
        if (*S == '&')
            out += "&amp;";
        else if (*S == '<')
            out += "&lt;";
        else if (*S == '>')
            out += "&gt;";
        else
            out += *S;
    }
    return out;
}

// The text of a source span with its entity references read.
std::string Unescape(const std::string& S) {
    std::string out;
    for (size_t i = 0; i < S.size(); ++i) {
        if (S[i] != '&') {
            out += S[i];
            continue;
        }
        const size_t semi = S.find(';', i);
        if (semi == std::string::npos) return out + S.substr(i);
        const std::string ref = S.substr(i + 1, semi - i - 1);
        static const std::pair<const char*, char> named[] = {
            {"amp", '&'}, {"lt", '<'}, {"gt", '>'}, {"quot", '"'}, {"apos", '\''}};
        bool done = false;
        for (const auto& [n, c] : named)
            if (ref == n) out += c, done = true;
        if (!done && ref.size() > 1 && ref[0] == '#') {
            const unsigned long cp = ref[1] == 'x' ? std::strtoul(ref.c_str() + 2, nullptr, 16)
                                                   : std::strtoul(ref.c_str() + 1, nullptr, 10);
            if (cp < 0x80)
                out += char(cp);
            else if (cp < 0x800)
                out += char(0xC0 | (cp >> 6)), out += char(0x80 | (cp & 0x3F));
            else if (cp < 0x10000)
                out += char(0xE0 | (cp >> 12)), out += char(0x80 | ((cp >> 6) & 0x3F)),
                    out += char(0x80 | (cp & 0x3F));
            else
                out += char(0xF0 | (cp >> 18)), out += char(0x80 | ((cp >> 12) & 0x3F)),
                    out += char(0x80 | ((cp >> 6) & 0x3F)), out += char(0x80 | (cp & 0x3F));
            done = true;
        }
        if (!done) out += S.substr(i, semi - i + 1);
        i = semi;
    }
    return out;
}

class TSplicer {
public:
    TSplicer(const std::string& Source) : FSrc(Source) {}

    // Just past the '>' of the tag whose name starts at `NameAt`, stepping over quoted values.
    size_t TagEnd(size_t NameAt) const {
        for (size_t p = NameAt; p < FSrc.size(); ++p) {
            if (FSrc[p] == '"' || FSrc[p] == '\'') {
                const size_t close = FSrc.find(FSrc[p], p + 1);
                if (close == std::string::npos) return FSrc.size();
                p = close;
            } else if (FSrc[p] == '>') {
                return p + 1;
            }
        }
        return FSrc.size();
    }

    // Where a text node's characters stand in the source. A text whose value was set has lost its
    // pointer into the source; it starts where its element's start tag or its previous sibling ends.
    size_t TextStart(const pugi::xml_node& T) const {
        if (T.offset_debug() >= 0) return size_t(T.offset_debug());
        const pugi::xml_node prev = T.previous_sibling();
        if (prev)
            return prev.type() == pugi::node_element ? ElementEnd(prev, NodeDepth(prev)) : TextEnd(prev);
        return TagEnd(size_t(std::max<ptrdiff_t>(T.parent().offset_debug(), 0)));
    }

    // [start, end) of a text's characters (inside the brackets of a CDATA section); empty when the
    // source has none there.
    std::pair<size_t, size_t> TextSpan(const pugi::xml_node& T) const {
        size_t at = std::min(TextStart(T), FSrc.size());
        if (FSrc.compare(at, 9, "<![CDATA[") == 0) {
            at += 9;
            const size_t end = FSrc.find("]]>", at);
            return {at, end == std::string::npos ? FSrc.size() : end};
        }
        const size_t end = FSrc.find('<', at);
        return {at, end == std::string::npos ? FSrc.size() : end};
    }

    size_t TextEnd(const pugi::xml_node& T) const {
        const auto [at, end] = TextSpan(T);
        return end < FSrc.size() && FSrc.compare(end, 3, "]]>") == 0 ? end + 3 : end;
    }

    // Just past the element's end tag (or its own "/>"). `Depth` is the element's (NodeDepth).
    size_t ElementEnd(const pugi::xml_node& E, int Depth) const {
        CheckSetupDepth(Depth);
        const size_t tagEnd = TagEnd(size_t(E.offset_debug()));
        if (tagEnd >= 2 && FSrc[tagEnd - 2] == '/') return tagEnd;
        size_t from = tagEnd;
        if (const pugi::xml_node c = E.last_child())
            from = c.type() == pugi::node_element ? ElementEnd(c, Depth + 1) : TextEnd(c);
        const size_t close = FSrc.find(std::string("</") + E.name(), from);
        if (close == std::string::npos) return FSrc.size();
        const size_t gt = FSrc.find('>', close);
        return gt == std::string::npos ? FSrc.size() : gt + 1;
    }

    // `Depth` is N's (NodeDepth): 0 for the document.
    void Walk(const pugi::xml_node& N, const std::vector<pugi::xml_node>& Skip, int Depth = 0) {
        CheckSetupDepth(Depth);
        for (pugi::xml_node c = N.first_child(); c; c = c.next_sibling()) {
            const pugi::xml_node_type t = c.type();
            if (t == pugi::node_element) {
                if (std::find(Skip.begin(), Skip.end(), c) != Skip.end() && c.offset_debug() > 0) {
                    // The element goes with its line: indentation and the line end before it.
                    size_t s = size_t(c.offset_debug()) - 1;
                    while (s > 0 && (FSrc[s - 1] == ' ' || FSrc[s - 1] == '\t'))
                        --s;
                    if (s > 0 && FSrc[s - 1] == '\n') --s;
                    if (s > 0 && FSrc[s - 1] == '\r') --s;
                    FEdits.push_back({s, ElementEnd(c, Depth + 1), {}});
                    continue;
                }
                Walk(c, Skip, Depth + 1);
            } else if (t == pugi::node_pcdata || t == pugi::node_cdata) {
                Text(c);
            }
        }
    }

    std::string Result() {
        std::stable_sort(FEdits.begin(), FEdits.end(),
                         [](const TEdit& a, const TEdit& b) { return a.Start < b.Start; });
        std::string out;
        out.reserve(FSrc.size() + 256);
        size_t at = 0;
        for (const TEdit& e : FEdits) {
            if (e.Start < at) continue; // inside a part already removed
            out.append(FSrc, at, e.Start - at);
            out += e.Text;
            at = e.End;
        }
        out.append(FSrc, std::min(at, FSrc.size()), std::string::npos);
        return out;
    }

private:
    void Text(const pugi::xml_node& T) {
        const pugi::xml_node parent = T.parent();
        const std::string text = T.type() == pugi::node_cdata ? std::string(T.value()) : Escape(T.value());
        if (parent.offset_debug() <= 0) return;
        const size_t tagEnd = TagEnd(size_t(parent.offset_debug()));
        if (tagEnd >= 2 && FSrc[tagEnd - 2] == '/') {
            // A text the program gave an element written as "<x/>": the element opens up.
            FEdits.push_back({tagEnd - 2, tagEnd, ">" + text + "</" + parent.name() + ">"});
            return;
        }
        const auto [at, end] = TextSpan(T);
        const std::string was = FSrc.substr(at, end - at);
        if (was == text) return;
        if (T.type() == pugi::node_pcdata && was.find('&') != std::string::npos && Unescape(was) == T.value())
            return;
        FEdits.push_back({at, end, text});
    }

    const std::string& FSrc;
    std::vector<TEdit> FEdits;
};

} // namespace

std::string SpliceDocument(const std::string& Source, const pugi::xml_document& Doc,
                           const std::vector<pugi::xml_node>& Skip) {
    TSplicer s(Source);
    s.Walk(Doc, Skip);
    return s.Result();
}

} // namespace ferro
