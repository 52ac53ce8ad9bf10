#include "link/XmlNames.h"

namespace ferro {

std::string ExtractFileName(const std::string& path) {
    size_t cut = path.find_last_of("/\\:");
    return cut == std::string::npos ? path : path.substr(cut + 1);
}

std::string ExtractFileExt(const std::string& path) {
    std::string name = ExtractFileName(path);
    size_t dot = name.rfind('.');
    return dot == std::string::npos ? std::string() : name.substr(dot);
}

std::string ChangeFileExt(const std::string& name, const std::string& ext) {
    size_t cut = name.find_last_of("/\\:");
    size_t dot = name.rfind('.');
    if (dot == std::string::npos || (cut != std::string::npos && dot < cut)) return name + ext;
    return name.substr(0, dot) + ext;
}

} // namespace ferro
