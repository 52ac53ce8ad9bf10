// libFuzzer harness of the offline archive's head readers, on files of any of the three kinds.
#include "FuzzFile.h"
#include "data/DataFileReader.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    using namespace ferro;
    const TFileKind kind = TFileKind(size % 3);
    const std::string path = fuzz::WriteInput(kind, data, size);
    time_tz_t tz;
    envMan_usrDat_t env;
    tmStamp_t stamp;
    ReadOfflineSysEnvHead(path, tz, env, true, stamp, nullptr);
    std::string name, text;
    ReadOfflineContextHeader(path, tz, nullptr, name, text, stamp, nullptr);
    return 0;
}
