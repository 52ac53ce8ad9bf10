#pragma once
// The three-phase supply the simulated instrument is connected to: produces sampled waveforms of all
// twelve channels at any time of the device clock. Everything the instrument reports is computed
// from these samples (WaveformAnalyzer, PowerAnalyzer), never from the configuration directly.

#include "ferrosim/Measurement.h"
#include "ferrosim/SupplyConfig.h"

#include <cstdint>
#include <vector>

namespace ferro::sim {

// The geometry of the synthesized supply, shared by the sampled waveforms and the closed-form
// interval values so that both describe the same three phases.
namespace supply {
inline constexpr double kPi = 3.14159265358979323846;
inline constexpr double kDeg = kPi / 180.0;
inline constexpr double kSqrt2 = 1.41421356237309504880;
// Phase position of L1..L3 and the small unbalance: L2 a little low, L3 a little high.
inline constexpr double kPhaseShift[3] = {0.0, -120.0 * kDeg, 120.0 * kDeg};
inline constexpr double kUnbalanceSign[3] = {0.0, -1.0, 1.0};
} // namespace supply

class SupplySynth {
public:
    // `epochNs`: a device time near the times asked for; phases are kept relative to it so that
    // double precision is not spent on seconds since 1970.
    SupplySynth(SupplyConfig config, uint64_t epochNs);

    const SupplyConfig& config() const { return config_; }

    // `count` samples of every channel from `startNs` (linear device time) at the configured rate.
    void sample(uint64_t startNs, size_t count, Waveforms& out) const;

    // One scheduled dip or swell: where it lies on the device clock and which event of the profile.
    struct Occurrence {
        uint64_t startNs = 0, endNs = 0;
        size_t event = 0;
    };
    // The dips and swells that overlap [fromNs, toNs), by start.
    std::vector<Occurrence> occurrences(uint64_t fromNs, uint64_t toNs) const;
    // Mean of the squared amplitude factor of phase `p` (0 .. 2) over [fromNs, toNs): 1 without
    // dips or swells. The rms of any quantity of that phase scales with its root.
    double meanSquareFactor(size_t p, uint64_t fromNs, uint64_t toNs) const;
    // Mean frequency of the drifting supply over [fromNs, toNs).
    double meanFrequency(uint64_t fromNs, uint64_t toNs) const;
    // Bits of the voltage channels (0 U1E .. 6 U31) touched by a dip or swell in [fromNs, toNs).
    uint32_t eventFlags(uint64_t fromNs, uint64_t toNs) const;
    double temperatureAt(uint64_t ns) const;

private:
    double relSeconds(uint64_t ns) const;
    // Voltage factor of phase `p` at relative time `t` from the scheduled dips and swells.
    double eventFactor(size_t p, double t) const;
    double theta(double t) const;

    SupplyConfig config_;
    uint64_t epochNs_;
    double loadAngle_;
};

} // namespace ferro::sim
