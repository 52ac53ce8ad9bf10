// libFuzzer harness of AnalyseEventData and ReadEventDetail.
#include "FuzzFile.h"
#include "data/DataFileReader.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    using namespace ferro;
    const std::string path = fuzz::WriteInput(TFileKind::Events, data, size);
    TEvtData d;
    AnalyseEventData(path, d, nullptr);
    std::vector<std::string> lines;
    uint32_t objId = 0;
    ReadEventDetail(
        path, size % 4, objId, lines, [](uint32_t) { return std::string("Ereignis"); }, nullptr);
    return 0;
}
