#include "ferrosim/IntervalSynth.h"

#include <algorithm>
#include <cmath>
#include <complex>
#include <vector>

namespace ferro::sim {

namespace {
using namespace supply;

using Phasor = std::complex<double>;

// One spectral component of a channel: its order (0 for the emission) and its peak phasor.
struct Component {
    double order;
    Phasor v;
};

bool integral(double order) {
    return std::floor(order) == order;
}

// Sum of the squared rms values of a component list.
double rms2(const std::vector<Component>& c) {
    double s = 0;
    for (const Component& k : c)
        s += std::norm(k.v) / 2.0;
    return s;
}

// Component-wise a - b (line to line) or a + b + c (neutral current); lists share their order.
std::vector<Component> combine(const std::vector<Component>& a, const std::vector<Component>& b,
                               double sign) {
    std::vector<Component> out = a;
    for (size_t k = 0; k < out.size(); ++k)
        out[k].v += sign * b[k].v;
    return out;
}
} // namespace

void IntervalSynth::compute(uint64_t fromNs, uint64_t toNs, bool spectra, IntervalValues& out) const {
    const SupplyConfig& c = synth_.config();
    const double unb = c.unbalancePercent / 100.0, load = std::acos(c.powerFactor);
    const std::vector<SupplySynth::Occurrence> occ = synth_.occurrences(fromNs, toNs);
    const double len = double(toNs - fromNs);
    std::array<double, 3> factor{};
    for (size_t p = 0; p < 3; ++p) {
        double sum = 0;
        for (const auto& o : occ) {
            const SupplyEvent& e = c.events[o.event];
            if (!(e.phaseMask & (1u << p))) continue;
            const double f = e.percent / 100.0;
            sum += double(std::min(o.endNs, toNs) - std::max(o.startNs, fromNs)) * (f * f - 1.0);
        }
        factor[p] = std::sqrt(std::max(0.0, 1.0 + sum / len));
    }
    std::array<std::vector<Component>, 3> u, i;
    for (size_t p = 0; p < 3; ++p) {
        const double amp = 1.0 + kUnbalanceSign[p] * unb;
        const double off = kPhaseShift[p] + kUnbalanceSign[p] * unb * 5.0 * kDeg;
        const double up = kSqrt2 * c.voltage * amp * factor[p], ip = kSqrt2 * c.current * amp * factor[p];
        u[p].push_back({1, std::polar(up, off)});
        for (const SupplyComponent& h : c.voltageHarmonics)
            u[p].push_back({h.order, std::polar(up * h.percent / 100.0, h.order * off + h.phaseDeg * kDeg)});
        for (const SupplyComponent& h : c.interharmonics)
            u[p].push_back({h.order, std::polar(up * h.percent / 100.0, h.order * off + h.phaseDeg * kDeg)});
        u[p].push_back({0, std::polar(up * c.emissionPercent / 100.0, kPhaseShift[p])});
        i[p].push_back({1, std::polar(ip, off - load)});
        for (const SupplyComponent& h : c.currentHarmonics)
            i[p].push_back(
                {h.order, std::polar(ip * h.percent / 100.0, h.order * (off - load) + h.phaseDeg * kDeg)});
    }
    const std::vector<Component> ull[3] = {combine(u[0], u[1], -1), combine(u[1], u[2], -1),
                                           combine(u[2], u[0], -1)};
    const std::vector<Component> in = combine(combine(i[0], i[1], 1), i[2], 1);
    const std::vector<Component>* chans[CChannels] = {&u[0],   &u[1], &u[2], nullptr, &ull[0], &ull[1],
                                                      &ull[2], &i[0], &i[1], &i[2],   &in,     nullptr};

    out = IntervalValues();
    out.f = synth_.meanFrequency(fromNs, toNs);
    out.rms[chUN] = c.neutralVolts;
    out.rms[chIR] = c.residualAmps;
    for (size_t ch = 0; ch < CChannels; ++ch) {
        if (!chans[ch]) continue;
        const std::vector<Component>& list = *chans[ch];
        out.rms[ch] = std::sqrt(rms2(list));
        const bool current = ch >= chI1;
        // Voltages relative to their fundamental, currents in A.
        const double fund = std::abs(list.front().v);
        const double scale = current ? 1.0 / kSqrt2 : (fund > 0 ? 100.0 / fund : 0.0);
        double h2 = 0;
        for (const Component& k : list)
            if (k.order >= 2 && integral(k.order) && k.order < CHarmOrders)
                h2 += std::norm(std::abs(k.v) * 100.0 / fund);
        out.thd[ch] = fund > 0 ? std::sqrt(h2) : 0.0;
        if (!spectra) continue;
        for (const Component& k : list) {
            const double v = std::abs(k.v) * scale;
            if (k.order == 0) {
                const double hz = c.emissionHz;
                const double b = std::floor((hz - 2000.0) / 200.0);
                if (b >= 0 && b < double(CBands) && hz < c.sampleRate / 2.0) out.bands[ch][size_t(b)] = v;
            } else if (integral(k.order) && k.order < CHarmOrders) {
                out.harm[ch][size_t(k.order)] = std::hypot(out.harm[ch][size_t(k.order)], v);
            } else if (k.order < CIHarm) {
                out.iharm[ch][size_t(k.order)] = std::hypot(out.iharm[ch][size_t(k.order)], v);
            }
        }
    }
    for (size_t p = 0; p < 3; ++p) {
        // Active power of the orders that voltage and current share.
        double P = 0;
        for (const Component& iv : i[p])
            for (const Component& uv : u[p])
                if (uv.order == iv.order && uv.order >= 1 && integral(uv.order))
                    P += std::real(uv.v * std::conj(iv.v)) / 2;
        out.P[p] = P;
        out.S[p] = out.rms[chU1 + p] * out.rms[chI1 + p];
        out.P[3] += P;
        out.S[3] += out.S[p];
    }
    out.PF = out.S[3] > 0 ? out.P[3] / out.S[3] : 0.0;
    out.energyWh = out.P[3] * len * 1e-9 / 3600.0;
    out.temperature = synth_.temperatureAt(fromNs + (toNs - fromNs) / 2);
    // Symmetrical components of the fundamentals; the phase order decides which one is positive.
    const Phasor a = std::polar(1.0, 120.0 * kDeg);
    const Phasor s1 = (u[0][0].v + a * u[1][0].v + a * a * u[2][0].v) / 3.0;
    const Phasor s2 = (u[0][0].v + a * a * u[1][0].v + a * u[2][0].v) / 3.0;
    const double hi = std::max(std::abs(s1), std::abs(s2)), lo = std::min(std::abs(s1), std::abs(s2));
    out.unbalance = hi > 0 ? lo / hi * 100.0 : 0.0;
    // Flicker wanders by a tenth over the day, each phase a little apart.
    const double day = double((fromNs / 1000000000ull) % 86400ull) / 86400.0;
    for (size_t p = 0; p < 3; ++p)
        out.plt[p] = c.plt * (1.0 + 0.1 * std::sin(2.0 * kPi * day + double(p)));
    // U1E's one-cycle extremes: the deepest dip and the highest swell of phase 1 in the interval.
    const double u1 = factor[0] > 0 ? out.rms[chU1] / factor[0] : c.voltage;
    out.u1Max = out.u1Min = u1;
    out.u1MaxAt = out.u1MinAt = fromNs + (toNs - fromNs) / 2;
    for (const auto& o : occ) {
        const SupplyEvent& e = c.events[o.event];
        if (!(e.phaseMask & 1u)) continue;
        const double v = u1 * e.percent / 100.0;
        const uint64_t at = std::clamp<uint64_t>(o.startNs + 20000000ull, fromNs, toNs - 1);
        if (v > out.u1Max) {
            out.u1Max = v;
            out.u1MaxAt = at;
        }
        if (v < out.u1Min) {
            out.u1Min = v;
            out.u1MinAt = at;
        }
    }
}

} // namespace ferro::sim
