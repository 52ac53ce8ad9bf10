#include "ferrosim/SupplySynth.h"

#include <algorithm>
#include <cmath>
#include <complex>
#include <vector>

namespace ferro::sim {

using namespace supply;

SupplySynth::SupplySynth(SupplyConfig config, uint64_t epochNs)
    : config_(std::move(config)), epochNs_(epochNs), loadAngle_(std::acos(config_.powerFactor)) {}

double SupplySynth::relSeconds(uint64_t ns) const {
    return double(int64_t(ns - epochNs_)) * 1e-9;
}

double SupplySynth::theta(double t) const {
    // Integral of f0 + d sin(2 pi t / T): the phase keeps running smoothly while the frequency drifts.
    const SupplyConfig& c = config_;
    return 2.0 * kPi * c.frequency * t +
           c.driftHz * c.driftPeriodS * (1.0 - std::cos(2.0 * kPi * t / c.driftPeriodS));
}

double SupplySynth::temperatureAt(uint64_t ns) const {
    return config_.temperature + 2.0 * std::sin(2.0 * kPi * relSeconds(ns) / 3600.0);
}

double SupplySynth::eventFactor(size_t p, double t) const {
    double factor = 1.0;
    const double epochS = double(epochNs_ / 1000000000ull) + double(epochNs_ % 1000000000ull) * 1e-9;
    for (const SupplyEvent& e : config_.events) {
        if (!(e.phaseMask & (1u << p))) continue;
        double inPeriod = std::fmod(std::fmod(epochS, e.everySeconds) + t, e.everySeconds);
        if (inPeriod < 0) inPeriod += e.everySeconds; // before the epoch: history
        if (inPeriod >= e.atSecond && inPeriod < e.atSecond + e.durationMs * 1e-3) factor = e.percent / 100.0;
    }
    return factor;
}

uint32_t SupplySynth::eventFlags(uint64_t fromNs, uint64_t toNs) const {
    uint32_t phases = 0;
    const double epochS = double(epochNs_ / 1000000000ull) + double(epochNs_ % 1000000000ull) * 1e-9;
    const double t0 = epochS + relSeconds(fromNs), t1 = epochS + relSeconds(toNs);
    for (const SupplyEvent& e : config_.events) {
        // The first occurrence that has not ended before t0; it touches the span if it begins before t1.
        const double dur = e.durationMs * 1e-3;
        const double k = std::ceil((t0 - dur - e.atSecond) / e.everySeconds);
        double begin = k * e.everySeconds + e.atSecond;
        if (begin + dur <= t0) begin += e.everySeconds;
        if (dur > 0 && begin < t1) phases |= e.phaseMask & 7u;
    }
    uint32_t flags = phases;
    if (phases & 3) flags |= 1u << 4;
    if (phases & 6) flags |= 1u << 5;
    if (phases & 5) flags |= 1u << 6;
    return flags;
}

std::vector<SupplySynth::Occurrence> SupplySynth::occurrences(uint64_t fromNs, uint64_t toNs) const {
    std::vector<Occurrence> out;
    const double t0 = double(fromNs / 1000000000ull) + double(fromNs % 1000000000ull) * 1e-9;
    const double t1 = double(toNs / 1000000000ull) + double(toNs % 1000000000ull) * 1e-9;
    for (size_t n = 0; n < config_.events.size(); ++n) {
        const SupplyEvent& e = config_.events[n];
        const double dur = e.durationMs * 1e-3;
        if (dur <= 0 || e.everySeconds <= 0) continue;
        // Occurrences begin at k * every + at on the device clock, as eventFactor places them.
        for (double k = std::ceil((t0 - dur - e.atSecond) / e.everySeconds);
             k * e.everySeconds + e.atSecond < t1; k += 1) {
            const double begin = k * e.everySeconds + e.atSecond;
            if (begin + dur <= t0) continue;
            Occurrence o;
            o.startNs = uint64_t(std::llround(begin * 1e9));
            o.endNs = uint64_t(std::llround((begin + dur) * 1e9));
            o.event = n;
            out.push_back(o);
        }
    }
    std::sort(out.begin(), out.end(),
              [](const Occurrence& a, const Occurrence& b) { return a.startNs < b.startNs; });
    return out;
}

double SupplySynth::meanSquareFactor(size_t p, uint64_t fromNs, uint64_t toNs) const {
    if (toNs <= fromNs) return 1.0;
    double sum = 0;
    for (const Occurrence& o : occurrences(fromNs, toNs)) {
        const SupplyEvent& e = config_.events[o.event];
        if (!(e.phaseMask & (1u << p))) continue;
        const double overlap = double(std::min(o.endNs, toNs) - std::max(o.startNs, fromNs));
        const double f = e.percent / 100.0;
        sum += overlap * (f * f - 1.0);
    }
    return 1.0 + sum / double(toNs - fromNs);
}

double SupplySynth::meanFrequency(uint64_t fromNs, uint64_t toNs) const {
    const SupplyConfig& c = config_;
    const double t0 = relSeconds(fromNs), t1 = relSeconds(toNs);
    if (t1 <= t0 || c.driftPeriodS <= 0)
        return c.frequency + c.driftHz * std::sin(2.0 * kPi * t0 / c.driftPeriodS);
    // The mean of f0 + d sin(2 pi t / T) over the span.
    const double w = 2.0 * kPi / c.driftPeriodS;
    return c.frequency + c.driftHz * (std::cos(w * t0) - std::cos(w * t1)) / (w * (t1 - t0));
}

void SupplySynth::sample(uint64_t startNs, size_t count, Waveforms& out) const {
    const SupplyConfig& c = config_;
    out.rate = c.sampleRate;
    out.startTime = double(startNs / 1000000000ull) + double(startNs % 1000000000ull) * 1e-9;
    for (auto& v : out.ch)
        v.resize(count);
    const double t0 = relSeconds(startNs);
    const double uPeak = kSqrt2 * c.voltage, iPeak = kSqrt2 * c.current;
    const double unb = c.unbalancePercent / 100.0;
    // Integer orders come from powers of e^{ja}: one sine and cosine per phase and sample.
    auto rotors = [](const std::vector<SupplyComponent>& list) {
        std::vector<std::complex<double>> r;
        for (const SupplyComponent& h : list)
            r.push_back(std::polar(h.percent / 100.0, h.phaseDeg * kDeg));
        return r;
    };
    const std::vector<std::complex<double>> vRot = rotors(c.voltageHarmonics),
                                            iRot = rotors(c.currentHarmonics);
    auto integral = [](const SupplyComponent& h) { return std::floor(h.order) == h.order; };
    int maxOrder = 1;
    for (const auto* list : {&c.voltageHarmonics, &c.currentHarmonics})
        for (const SupplyComponent& h : *list)
            if (integral(h)) maxOrder = std::max(maxOrder, int(h.order));
    std::vector<std::complex<double>> pw(size_t(maxOrder) + 1);
    auto distorted = [&](double a, const std::vector<SupplyComponent>& list,
                         const std::vector<std::complex<double>>& rot) {
        const std::complex<double> z = std::polar(1.0, a);
        pw[0] = 1.0;
        for (size_t h = 1; h < pw.size(); ++h)
            pw[h] = pw[h - 1] * z;
        double v = z.imag();
        for (size_t n = 0; n < list.size(); ++n)
            v += integral(list[n])
                     ? (pw[size_t(list[n].order)] * rot[n]).imag()
                     : list[n].percent / 100.0 * std::sin(list[n].order * a + list[n].phaseDeg * kDeg);
        return v;
    };
    for (size_t k = 0; k < count; ++k) {
        const double t = t0 + double(k) / double(c.sampleRate);
        const double th = theta(t);
        double u[3], i[3];
        for (size_t p = 0; p < 3; ++p) {
            const double a = th + kPhaseShift[p] + kUnbalanceSign[p] * unb * 5.0 * kDeg;
            const double amp = (1.0 + kUnbalanceSign[p] * unb) * eventFactor(p, t);
            double v = distorted(a, c.voltageHarmonics, vRot);
            for (const SupplyComponent& h : c.interharmonics)
                v += h.percent / 100.0 * std::sin(h.order * a + h.phaseDeg * kDeg);
            v += c.emissionPercent / 100.0 * std::sin(2.0 * kPi * c.emissionHz * t + kPhaseShift[p]);
            u[p] = uPeak * amp * v;
            i[p] = iPeak * amp * distorted(a - loadAngle_, c.currentHarmonics, iRot);
        }
        out.ch[chU1][k] = float(u[0]);
        out.ch[chU2][k] = float(u[1]);
        out.ch[chU3][k] = float(u[2]);
        out.ch[chUN][k] = float(kSqrt2 * c.neutralVolts * std::sin(th + 30.0 * kDeg));
        out.ch[chU12][k] = float(u[0] - u[1]);
        out.ch[chU23][k] = float(u[1] - u[2]);
        out.ch[chU31][k] = float(u[2] - u[0]);
        out.ch[chI1][k] = float(i[0]);
        out.ch[chI2][k] = float(i[1]);
        out.ch[chI3][k] = float(i[2]);
        out.ch[chIN][k] = float(i[0] + i[1] + i[2]);
        out.ch[chIR][k] = float(kSqrt2 * c.residualAmps * std::sin(th - 60.0 * kDeg));
    }
}

} // namespace ferro::sim
