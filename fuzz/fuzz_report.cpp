// libFuzzer harness of the report statistics and the EN 50160 evaluation on any recording the
// reader takes: every family, the week split and the rows, with an event file made of the same bytes.
#include "FuzzFile.h"
#include "report/ENEvaluation.h"
#include "report/ENStatistic.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    using namespace ferro;
    const std::string path = fuzz::WriteInput(TFileKind::Recording, data, size);
    TRecData d;
    if (!AnalyseRecData(path, dcUnknown, d, nullptr)) return 0;
    // The harness has one input file: the recording is in memory now, the events take its place.
    const std::string events = fuzz::WriteInput(TFileKind::Events, data, size);
    for (int disp = 0; disp <= 15; ++disp) {
        TENStatistic s;
        ComputeENStatistic(d, disp, s, nullptr);
    }
    TENReport r;
    EvaluateEN50160(path, d, {events}, r);
    return 0;
}
