// libFuzzer harness of AnalyseRecData, ReadRecordSpan and the record cursor.
#include "FuzzFile.h"
#include "data/DataFileReader.h"
#include "data/RecCursor.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    using namespace ferro;
    const std::string path = fuzz::WriteInput(TFileKind::Recording, data, size);
    TRecData d;
    if (AnalyseRecData(path, dcUnknown, d, nullptr)) {
        TRecCursor c(d);
        double sum = 0;
        while (c.Next())
            for (const TTblStrc& col : d.RecDataLst)
                sum += c.Value(col) + c.Stamp(col).sec;
        (void)sum;
    }
    ReadRecordSpan(path, d, nullptr);
    return 0;
}
