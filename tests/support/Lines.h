#pragma once
// Looking for a piece of text in collected log lines.

#include <algorithm>
#include <string>
#include <vector>

namespace ferro::test {

inline bool AnyContains(const std::vector<std::string>& lines, const std::string& piece) {
    return std::any_of(lines.begin(), lines.end(),
                       [&](const std::string& l) { return l.find(piece) != std::string::npos; });
}

} // namespace ferro::test
