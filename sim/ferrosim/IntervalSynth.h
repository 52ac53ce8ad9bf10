#pragma once
// Values of the simulated supply over a whole interval, as the recorder stores them: computed in
// closed form from the same supply description that SupplySynth samples (components, unbalance,
// drift and the scheduled dips and swells), so that a day of one-second values costs no sampling,
// and a longer interval's rms is exactly the root of the mean square of its shorter ones.
// Line-to-line and neutral values take each phase's interval factor as constant.

#include "ferrosim/Measurement.h"
#include "ferrosim/SupplySynth.h"

#include <array>
#include <cstdint>

namespace ferro::sim {

struct IntervalValues {
    double f = 0;
    std::array<double, CChannels> rms{}, thd{};
    // Harmonics, interharmonic subgroups and 2-9 kHz bands: voltages in % of the fundamental,
    // currents in A. Filled only when asked for.
    std::array<std::array<double, CHarmOrders>, CChannels> harm{};
    std::array<std::array<double, CIHarm>, CChannels> iharm{};
    std::array<std::array<double, CBands>, CChannels> bands{};
    std::array<double, 4> P{}, S{}; // L1, L2, L3, total
    double PF = 0, temperature = 0, energyWh = 0;
    // Negative over positive sequence of the voltage fundamentals in %, and the phases' Plt.
    double unbalance = 0;
    std::array<double, 3> plt{};
    // One-cycle extremes of U1E and when they happened.
    double u1Max = 0, u1Min = 0;
    uint64_t u1MaxAt = 0, u1MinAt = 0;
};

class IntervalSynth {
public:
    explicit IntervalSynth(const SupplySynth& synth) : synth_(synth) {}
    // The values of [fromNs, toNs); `spectra` adds harmonics, interharmonics and bands.
    void compute(uint64_t fromNs, uint64_t toNs, bool spectra, IntervalValues& out) const;

private:
    const SupplySynth& synth_;
};

} // namespace ferro::sim
