#pragma once
// A list of text lines that charts fill for export and that can hand itself to the clipboard.

#include <string>
#include <vector>

namespace ferro {

class TClipLst {
public:
    void Add(const std::string& Line) { FLines.push_back(Line); }
    void Clear() { FLines.clear(); }
    int Count() const { return int(FLines.size()); }
    bool Empty() const { return FLines.empty(); }
    const std::string& operator[](int i) const { return FLines[size_t(i)]; }
    const std::vector<std::string>& Lines() const { return FLines; }
    // All lines, each ended by a line feed.
    std::string Text() const;

    // Puts the text on the system clipboard and empties the list, so that the next export starts
    // clean. Needs a QGuiApplication. Reports whether there was anything to copy.
    bool CopyToClip();

private:
    std::vector<std::string> FLines;
};

} // namespace ferro
