#pragma once
// What the simulated instrument computes from one analysis window of sampled waveforms.
// Channels follow the oscilloscope order: u1, u2, u3, uN, u12, u23, u31, i1, i2, i3, iN, iR.

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace ferro::sim {

constexpr size_t CChannels = 12;
constexpr size_t CHarmOrders = 51; // 0 .. 50
constexpr size_t CIHarm = 50;      // 0.5 .. 49.5
constexpr size_t CBands = 35;      // 200 Hz bands from 2 to 9 kHz
enum Channel : size_t { chU1, chU2, chU3, chUN, chU12, chU23, chU31, chI1, chI2, chI3, chIN, chIR };

// The sampled waveforms of one window, channel by channel.
struct Waveforms {
    double startTime = 0; // seconds of the device clock at sample 0
    uint32_t rate = 0;
    std::array<std::vector<float>, CChannels> ch;
    size_t size() const { return ch[0].size(); }
};

struct ChannelValues {
    double rms = 0;
    double crest = 0;
    double fundMag = 0;                          // rms of the fundamental
    double fundAngle = 0;                        // degrees, against the fundamental of u1
    std::array<double, CHarmOrders> harm{};      // rms of each order (0 the mean value)
    std::array<double, CHarmOrders> harmAngle{}; // degrees of each order at the window start
    std::array<double, CIHarm> iharm{};          // rms of each interharmonic subgroup
    std::array<double, CBands> bands{};          // rms of each band
    double thd = 0;                              // % of the fundamental
    double tihd = 0;                             // %
    // Extremes of the one-cycle rms values inside the window, and the time they ended.
    double cycleMax = 0, cycleMin = 0;
    double cycleMaxAt = 0, cycleMinAt = 0;
};

struct PowerValues {
    double P = 0, Q = 0, S = 0; // Q after Budeanu: the sum over the harmonic orders
    double PV = 0, QV = 0, SV = 0, SN = 0;
    double D = 0; // sqrt(S^2 - P^2 - Q^2)
    double PF = 0, cosPhi = 0, tanPhi = 0, phiDeg = 0;
    double Pmax = 0, Pmin = 0, PmaxAt = 0, PminAt = 0; // per-cycle extremes
};

struct SequenceValues {
    double plus = 0, minus = 0, zero = 0;    // rms magnitudes
    double unbalance = 0, unbalanceZero = 0; // minus/plus and zero/plus in %
};

struct Measurement {
    double endTime = 0;        // device clock at the end of the window (the block's stamp)
    double frequency = 0;      // measured from the zero crossings of u1
    double fMin = 0, fMax = 0; // from single periods
    uint32_t cycles = 0;
    std::array<ChannelValues, CChannels> ch;
    std::array<PowerValues, 4> power; // L1, L2, L3, total
    SequenceValues u, i;
    double Pplus = 0, Qplus = 0, Splus = 0, SU = 0, Se = 0, SeN = 0, PFe = 0;
    std::array<double, 6> pinst{}; // U1E, U2E, U3E, U12, U23, U31
    uint32_t flags = 0;            // bit per voltage channel touched by a dip or swell
    double temperature = 0;
};

} // namespace ferro::sim
