#pragma once
// Measures the simulated supply like the instrument's signal processing: takes the samples of the
// last whole cycles before a moment, and runs the waveform and power analysis over them.

#include "ferrosim/Measurement.h"
#include "ferrosim/SupplySynth.h"

namespace ferro::sim {

class MeasurementEngine {
public:
    explicit MeasurementEngine(const SupplySynth& synth) : synth_(synth) {}

    // About `cycles` periods of the fundamental ending at `endNs`; the length follows the frequency
    // measured on the samples themselves.
    Waveforms window(uint64_t endNs, uint32_t cycles) const;
    // The values of that window; dips and swells anywhere in [flagsFromNs, endNs) set the flags.
    Measurement measure(uint64_t endNs, uint32_t cycles, uint64_t flagsFromNs) const;

private:
    const SupplySynth& synth_;
};

} // namespace ferro::sim
