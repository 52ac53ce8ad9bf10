#include "ferrosim/MeasurementEngine.h"

#include "ferrosim/PowerAnalyzer.h"
#include "ferrosim/WaveformAnalyzer.h"

#include <algorithm>
#include <cmath>

namespace ferro::sim {

namespace {
// Flicker sensation from the spread of the one-cycle rms values: 0.05 for a steady supply, about
// 1 for a 0.25 % step, as the flickermeter's scale goes.
double pinstOf(const ChannelValues& c) {
    if (c.rms <= 0) return 0.0;
    double dv = 100.0 * (c.cycleMax - c.cycleMin) / c.rms;
    return std::min(20.0, 0.05 + (dv / 0.25) * (dv / 0.25));
}
} // namespace

Waveforms MeasurementEngine::window(uint64_t endNs, uint32_t cycles) const {
    const SupplyConfig& c = synth_.config();
    const double fs = double(c.sampleRate);
    // One spare cycle and some margin for the drift: the exact length is known only after measuring.
    const size_t spare = size_t(std::ceil((cycles + 1) * fs / c.frequency * 1.05));
    const uint64_t spareNs = uint64_t(double(spare) * 1e9 / fs);
    Waveforms w;
    synth_.sample(endNs - spareNs, spare, w);
    double f = WaveformAnalyzer::ZeroCrossingFrequency(w.ch[chU1], c.sampleRate);
    if (f <= 0) f = c.frequency;
    size_t n = WaveformAnalyzer::SmoothLength(size_t(std::lround(cycles * fs / f)));
    n = std::min(n, spare);
    const size_t drop = spare - n;
    for (auto& ch : w.ch)
        ch.erase(ch.begin(), ch.begin() + long(drop));
    w.startTime += double(drop) / fs;
    return w;
}

Measurement MeasurementEngine::measure(uint64_t endNs, uint32_t cycles, uint64_t flagsFromNs) const {
    Measurement m;
    Waveforms w = window(endNs, cycles);
    m.endTime = double(endNs / 1000000000ull) + double(endNs % 1000000000ull) * 1e-9;
    WaveformAnalyzer::Analyze(w, cycles, m);
    PowerAnalyzer::Analyze(w, m);
    const size_t flicker[6] = {chU1, chU2, chU3, chU12, chU23, chU31};
    for (size_t k = 0; k < 6; ++k)
        m.pinst[k] = pinstOf(m.ch[flicker[k]]);
    m.flags = synth_.eventFlags(std::min(flagsFromNs, endNs), endNs);
    m.temperature = synth_.temperatureAt(endNs);
    return m;
}

} // namespace ferro::sim
