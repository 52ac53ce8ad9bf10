// libFuzzer harness of "xml-versions.txt" as a card brings it: any text parses, every version is
// one a list can hold, and a list written back reads as the same.
#include "stored/XmlVersions.h"

#include <cstdlib>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    using namespace ferro;
    const auto v = ParseXmlVersions(std::string(reinterpret_cast<const char*>(data), size));
    for (const auto& [name, ver] : v)
        if (ver < 0 || name.empty()) std::abort();
    if (ParseXmlVersions(FormatXmlVersions(v)) != v) std::abort();
    return 0;
}
