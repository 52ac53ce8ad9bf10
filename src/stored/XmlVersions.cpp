#include "stored/XmlVersions.h"

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <sstream>

namespace ferro {

std::map<std::string, int> ParseXmlVersions(const std::string& Text) {
    std::map<std::string, int> v;
    std::istringstream in(Text);
    std::string line;
    for (size_t n = 0; n < CMaxXmlVersionLines && std::getline(in, line); ++n) {
        std::istringstream words(line);
        std::string first, name, version;
        if (!(words >> first >> name)) continue;
        words >> version;
        char* end = nullptr;
        const long num = std::strtol(version.c_str(), &end, 10);
        const bool ok = !version.empty() && !*end && num >= 0 && num <= 0x7FFFFFFF;
        std::transform(name.begin(), name.end(), name.begin(),
                       [](unsigned char c) { return char(std::tolower(c)); });
        v[name] = ok ? int(num) : 0;
    }
    return v;
}

std::string FormatXmlVersions(const std::map<std::string, int>& Versions) {
    std::string out;
    for (const auto& [name, ver] : Versions)
        out += "0 " + name + ' ' + std::to_string(ver) + "\r\n";
    return out;
}

} // namespace ferro
