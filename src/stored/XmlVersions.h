#pragma once
// "xml-versions.txt": one line per file, "FIRST NAME VERSION" (the first word unused). It comes
// from a card or a folder, so it is read as untrusted text.

#include <map>
#include <string>

namespace ferro {

// Lower-case name to version; a version that does not parse counts as 0. Only the first
// CMaxXmlVersionLines lines are read.
constexpr size_t CMaxXmlVersionLines = 1000;
std::map<std::string, int> ParseXmlVersions(const std::string& Text);
// The text of a list, CR LF line ends.
std::string FormatXmlVersions(const std::map<std::string, int>& Versions);

} // namespace ferro
