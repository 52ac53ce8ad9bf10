#pragma once
// Whole files as strings, for tests that compare what landed on disk.

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

namespace ferro::test {

inline std::string readFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return std::string((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
}

inline void writeFile(const std::string& path, const std::string& text) {
    std::filesystem::path p(path);
    if (p.has_parent_path()) std::filesystem::create_directories(p.parent_path());
    std::ofstream out(path, std::ios::binary);
    out << text;
}

} // namespace ferro::test
