#pragma once
// Powers of a three-phase four-wire system from the samples and spectra of one window: active power
// from the instantaneous product, apparent power from the rms values, reactive power summed over the
// harmonic orders, distortion power as what is left, so that S^2 = P^2 + Q^2 + D^2 holds as it does
// in a real instrument. Also the fundamental powers, the symmetrical components and the effective
// apparent power.

#include "ferrosim/Measurement.h"

namespace ferro::sim {

class PowerAnalyzer {
public:
    // Needs the channel values that WaveformAnalyzer::Analyze put into `m`.
    static void Analyze(const Waveforms& w, Measurement& m);

private:
    static PowerValues phase(const Waveforms& w, const Measurement& m, size_t p);
    static void sequences(Measurement& m);
};

} // namespace ferro::sim
