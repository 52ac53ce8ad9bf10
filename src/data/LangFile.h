#pragma once
// The instrument's language file: display text and short form of every id
// (<text id="..." long="..." short="..."/>).

#include <cstdint>
#include <string>
#include <unordered_map>

namespace ferro {

class TLangFile {
public:
    // False when the file cannot be read or is not well-formed; the texts read so far stay.
    bool Load(const std::string& path);
    std::string IdToText(uint32_t id) const;
    std::string IdToShort(uint32_t id) const;
    size_t Count() const { return texts_.size(); }

private:
    std::unordered_map<uint32_t, std::pair<std::string, std::string>> texts_;
};

} // namespace ferro
