#include "ferrosim/WaveformAnalyzer.h"

#include <kissfft/kiss_fft.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <cstdlib>
#include <memory>

namespace ferro::sim {

namespace {
constexpr double kPi = 3.14159265358979323846;

struct CfgFree {
    void operator()(kiss_fft_state* p) const { kiss_fft_free(p); }
};

bool smooth(size_t n) {
    for (size_t f : {2u, 3u, 5u, 7u, 11u, 13u})
        while (n % f == 0)
            n /= f;
    return n == 1;
}

double wrap180(double deg) {
    deg = std::fmod(deg, 360.0);
    if (deg > 180.0) deg -= 360.0;
    if (deg <= -180.0) deg += 360.0;
    return deg;
}
} // namespace

size_t WaveformAnalyzer::SmoothLength(size_t n) {
    if (n < 2) return 2;
    for (size_t d = 0; d < n; ++d) {
        if (smooth(n - d)) return n - d;
        if (smooth(n + d)) return n + d;
    }
    return n;
}

double WaveformAnalyzer::ZeroCrossingFrequency(const std::vector<float>& x, uint32_t rate, double* fMin,
                                               double* fMax) {
    std::vector<double> at; // sample positions of rising crossings, interpolated
    for (size_t k = 1; k < x.size(); ++k)
        if (x[k - 1] < 0.0f && x[k] >= 0.0f)
            at.push_back(double(k - 1) + double(-x[k - 1]) / double(x[k] - x[k - 1]));
    if (at.size() < 2) return 0.0;
    double lo = 1e9, hi = 0.0;
    for (size_t k = 1; k < at.size(); ++k) {
        double f = double(rate) / (at[k] - at[k - 1]);
        lo = std::min(lo, f);
        hi = std::max(hi, f);
    }
    if (fMin) *fMin = lo;
    if (fMax) *fMax = hi;
    return double(rate) * double(at.size() - 1) / (at.back() - at.front());
}

void WaveformAnalyzer::Analyze(const Waveforms& w, uint32_t cycles, Measurement& m) {
    m.cycles = cycles;
    m.frequency = ZeroCrossingFrequency(w.ch[chU1], w.rate, &m.fMin, &m.fMax);
    // One FFT plan for all channels: they are sampled alike.
    std::unique_ptr<kiss_fft_state, CfgFree> plan(
        kiss_fft_alloc(int(w.ch[chU1].size()), 0, nullptr, nullptr));
    for (size_t c = 0; c < CChannels; ++c)
        analyzeChannel(w.ch[c], w.rate, cycles, w.startTime, plan.get(), w.ch[chU1].size(), m.ch[c]);
    // Angles are given against the fundamental of u1, as the vector diagram shows them.
    const double ref = m.ch[chU1].fundAngle;
    for (ChannelValues& cv : m.ch)
        cv.fundAngle = wrap180(cv.fundAngle - ref);
}

void WaveformAnalyzer::analyzeChannel(const std::vector<float>& x, uint32_t rate, uint32_t cycles,
                                      double startTime, kiss_fft_state* plan, size_t planSize,
                                      ChannelValues& out) {
    const size_t n = x.size();
    out = ChannelValues();
    if (n < 2 || cycles == 0) return;
    double sum2 = 0, peak = 0;
    for (float v : x) {
        sum2 += double(v) * double(v);
        peak = std::max(peak, double(std::fabs(v)));
    }
    out.rms = std::sqrt(sum2 / double(n));
    out.crest = out.rms > 0 ? peak / out.rms : 0.0;

    // One-cycle rms values: the extremes a recorder keeps between its aggregation intervals.
    out.cycleMin = 1e30;
    for (uint32_t c = 0; c < cycles; ++c) {
        size_t a = n * c / cycles, b = n * (c + 1) / cycles;
        double s = 0;
        for (size_t k = a; k < b; ++k)
            s += double(x[k]) * double(x[k]);
        double r = b > a ? std::sqrt(s / double(b - a)) : 0.0;
        double end = startTime + double(b) / double(rate);
        if (r > out.cycleMax) out.cycleMax = r, out.cycleMaxAt = end;
        if (r < out.cycleMin) out.cycleMin = r, out.cycleMinAt = end;
    }

    std::unique_ptr<kiss_fft_state, CfgFree> own;
    if (n != planSize) {
        own.reset(kiss_fft_alloc(int(n), 0, nullptr, nullptr));
        plan = own.get();
    }
    if (!plan) return;
    std::vector<kiss_fft_cpx> in(n), spectrum(n);
    for (size_t k = 0; k < n; ++k)
        in[k] = {x[k], 0.0f};
    kiss_fft(plan, in.data(), spectrum.data());
    // Rms of one line; the mean value (line 0) is not split between positive and negative lines.
    auto lineRms2 = [&](size_t k) {
        if (k >= n / 2) return 0.0;
        double re = spectrum[k].r, im = spectrum[k].i;
        double mag2 = (re * re + im * im) / (double(n) * double(n));
        return k == 0 ? mag2 : 2.0 * mag2;
    };
    auto lineDeg = [&](size_t k) {
        // The phase of a sine: the DFT measures against a cosine.
        return k < n / 2
                   ? wrap180(std::atan2(double(spectrum[k].i), double(spectrum[k].r)) * 180.0 / kPi + 90.0)
                   : 0.0;
    };
    out.harm[0] = std::sqrt(lineRms2(0));
    for (size_t h = 1; h < CHarmOrders; ++h) {
        const size_t c = h * cycles;
        out.harm[h] = std::sqrt(lineRms2(c - 1) + lineRms2(c) + lineRms2(c + 1)); // harmonic subgroup
        out.harmAngle[h] = lineDeg(c);
    }
    for (size_t i = 0; i < CIHarm; ++i) {
        // Centred interharmonic subgroup: the lines between two harmonics without their neighbours.
        double s = 0;
        for (size_t k = i * cycles + 2; k + 2 <= (i + 1) * cycles; ++k)
            s += lineRms2(k);
        out.iharm[i] = std::sqrt(s);
    }
    const double df = double(rate) / double(n);
    for (size_t b = 0; b < CBands; ++b) {
        const double lo = 2000.0 + 200.0 * double(b), hi = lo + 200.0;
        double s = 0;
        for (size_t k = size_t(std::ceil(lo / df)); double(k) * df < hi && k < n / 2; ++k)
            s += lineRms2(k);
        out.bands[b] = std::sqrt(s);
    }
    out.fundMag = out.harm[1];
    out.fundAngle = out.harmAngle[1];
    double h2 = 0, ih2 = 0;
    for (size_t h = 2; h < CHarmOrders; ++h)
        h2 += out.harm[h] * out.harm[h];
    for (double v : out.iharm)
        ih2 += v * v;
    out.thd = out.fundMag > 0 ? 100.0 * std::sqrt(h2) / out.fundMag : 0.0;
    out.tihd = out.fundMag > 0 ? 100.0 * std::sqrt(ih2) / out.fundMag : 0.0;
}

} // namespace ferro::sim
