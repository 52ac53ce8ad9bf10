// libFuzzer harness of AnalyseAsyncData.
#include "FuzzFile.h"
#include "data/DataFileReader.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    using namespace ferro;
    const std::string path = fuzz::WriteInput(TFileKind::BinaryInputs, data, size);
    std::vector<TAsyncRecord> entries;
    std::vector<uint32_t> ids;
    tmStamp_t stamp;
    AnalyseAsyncData(path, entries, ids, size % 2 == 0, stamp, nullptr);
    return 0;
}
