#pragma once
// Turns the samples of one window into per-channel values the way the instrument does: rms over the
// window, a DFT over whole cycles for harmonic and interharmonic subgroups, 200 Hz bands from 2 to
// 9 kHz, THD, crest factor, one-cycle extremes, and the frequency from the zero crossings of u1.

#include "ferrosim/Measurement.h"

#include <cstddef>

struct kiss_fft_state;

namespace ferro::sim {

class WaveformAnalyzer {
public:
    // Frequency from the rising zero crossings of `x`; 0 when fewer than two are found. `minPeriod`
    // and `maxPeriod` receive the extremes of the single periods in Hz (shortest period = highest).
    static double ZeroCrossingFrequency(const std::vector<float>& x, uint32_t rate, double* fMin = nullptr,
                                        double* fMax = nullptr);
    // A DFT length near `n` with prime factors up to 13 only, so the transform stays fast.
    static size_t SmoothLength(size_t n);

    // `w` holds `cycles` whole periods of the fundamental (as near as the sample grid allows).
    // Fills everything of ChannelValues for every channel, and the frequency values of `m`.
    static void Analyze(const Waveforms& w, uint32_t cycles, Measurement& m);

private:
    // `plan` is an FFT plan for `planSize` points; a channel of another length gets its own.
    static void analyzeChannel(const std::vector<float>& x, uint32_t rate, uint32_t cycles, double startTime,
                               kiss_fft_state* plan, size_t planSize, ChannelValues& out);
};

} // namespace ferro::sim
