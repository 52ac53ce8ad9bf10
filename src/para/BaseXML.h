#pragma once
// The instrument's description files (language, object properties, structure): one XML file each,
// loaded whole and kept as what the derived class takes out of it.

#include <string>

namespace pugi {
class xml_node;
}

namespace ferro {

class TBaseXML {
public:
    virtual ~TBaseXML() = default;
    // Loads `FileName`; false with a German reason in LastError() if it cannot be read or parsed,
    // keeping what was loaded before.
    bool LoadFromFile(const std::string& FileName);
    const std::string& FileName() const { return FFileName; }
    int Version() const { return FVersion; }
    const std::string& LastError() const { return FError; }

protected:
    // Takes the document's root element; false if it is not the expected kind of file.
    virtual bool Parse(const pugi::xml_node& Root) = 0;

private:
    std::string FFileName, FError;
    int FVersion = 0;
};

} // namespace ferro
