// libFuzzer harness of the ICD reader: the seven values read from the input go into a small setup
// document, and the IED name is set in the input file, which must then read back with that name.
#include "para/IcdFile.h"
#include "para/SetupDocument.h"

#include <cstdio>
#include <cstdlib>
#include <unistd.h>

namespace {

const char* kSetup = R"(<?xml version="1.0" encoding="UTF-8"?>
<usrMan name="usrMan"><appl name="pqAppl"><cfg name="setup.xml"><system id="4261412864" name="sys">
<swmodule id="4278190464">
<parameter id="4278190467"><type>text</type><value>FR1</value><default>FR</default><low>1</low><high>64</high><visibility>0</visibility><editability>0</editability></parameter>
<parameter id="4278190468"><type>text</type><value>a.icd</value><default></default><low>0</low><high>64</high><visibility>0</visibility><editability>0</editability></parameter>
<parameter id="4278190473"><type>text</type><value>H</value><default></default><low>0</low><high>64</high><visibility>0</visibility><editability>0</editability></parameter>
</swmodule></system></cfg></appl></usrMan>
)";

bool WriteFile(const std::string& path, const void* data, size_t size) {
    FILE* f = std::fopen(path.c_str(), "wb");
    if (!f) return false;
    const bool ok = std::fwrite(data, 1, size, f) == size;
    return std::fclose(f) == 0 && ok;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    using namespace ferro;
    const std::string pid = std::to_string(getpid());
    const std::string icd = "in-" + pid + ".icd", setup = "setup-" + pid + ".xml";
    if (!WriteFile(icd, data, size) || !WriteFile(setup, kSetup, std::char_traits<char>::length(kSetup)))
        return 0;
    TICDInfo info;
    std::string why;
    if (ReadICDFile(icd, info, why)) {
        TSetupDocument doc;
        if (doc.LoadFromFile(setup)) ApplyICDInfo(doc, info);
        // The name is set where the file has one; a nameless IED stays so.
        if (!info.Values[0].empty() && RenameICDIed(icd, "FUZZ42")) {
            TICDInfo renamed;
            if (!ReadICDFile(icd, renamed, why) || renamed.Values[0] != "FUZZ42") {
                std::fprintf(stderr, "the renamed file reads \"%s\" (%s)\n", renamed.Values[0].c_str(),
                             why.c_str());
                std::abort();
            }
        }
    } else if (why.empty()) {
        std::fprintf(stderr, "a refused ICD file without a reason\n");
        std::abort();
    }
    std::remove(icd.c_str());
    std::remove(setup.c_str());
    return 0;
}
