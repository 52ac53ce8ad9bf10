#pragma once
// Writes measured values into stream objects through the one field table of the records library,
// so the simulator and the client agree on every offset by construction.

#include "ferrosim/EnergyCounter.h"
#include "ferrosim/Measurement.h"
#include "foundation/TimeRecords.h"
#include "foundation/records/FieldTable.h"

#include <cstdint>
#include <vector>

namespace ferro {
class TRecordValues;
}

namespace ferro::sim {

struct Nominal {
    double voltage = 230;
    double current = 100;
    double frequency = 50;
};

class StreamObjectEncoder {
public:
    // A measurement object (200 ms .. m min, 10 s frequency). `objId` is written into the header,
    // since one layout serves several objects (1 s, n s, m min).
    static std::vector<uint8_t> Measured(const TRecordDef& def, uint32_t objId, const tmStamp_t& ts,
                                         const Measurement& m, const EnergyCounter& energy,
                                         const Nominal& nom);
    // The oscilloscope object: the header values and every sample of `w`.
    static std::vector<uint8_t> Oscilloscope(const TRecordDef& def, const tmStamp_t& ts, const Waveforms& w,
                                             double measuredHz, const Nominal& nom);

private:
    static void voltage(TRecordValues& v, const std::string& member, const Measurement& m);
    static void voltageSpectra(TRecordValues& v, const std::string& member, const Measurement& m);
    static void voltageExtremes(TRecordValues& v, const std::string& member, const Measurement& m);
    static void current(TRecordValues& v, const std::string& member, const Measurement& m,
                        const Nominal& nom);
    static void currentSpectra(TRecordValues& v, const std::string& member, const Measurement& m);
    static void bands(TRecordValues& v, const std::string& member, const Measurement& m, bool voltages);
    static void power(TRecordValues& v, const std::string& member, const Measurement& m);
    static void powerExtremes(TRecordValues& v, const std::string& member, const Measurement& m);
    static void energy(TRecordValues& v, const std::string& member, const EnergyCounter& e);
};

} // namespace ferro::sim
