#include "ferrosim/PowerAnalyzer.h"

#include <algorithm>
#include <cmath>
#include <complex>

namespace ferro::sim {

namespace {
constexpr double kPi = 3.14159265358979323846;
constexpr double kDeg = kPi / 180.0;
using cplx = std::complex<double>;

cplx phasor(const ChannelValues& c) {
    return std::polar(c.fundMag, c.fundAngle * kDeg);
}

double rest(double s, double a, double b = 0.0) {
    return std::sqrt(std::max(0.0, s * s - a * a - b * b));
}
} // namespace

PowerValues PowerAnalyzer::phase(const Waveforms& w, const Measurement& m, size_t p) {
    const std::vector<float>& u = w.ch[chU1 + p];
    const std::vector<float>& i = w.ch[chI1 + p];
    const ChannelValues& cu = m.ch[chU1 + p];
    const ChannelValues& ci = m.ch[chI1 + p];
    PowerValues r;
    const size_t n = u.size();
    if (n == 0) return r;
    double sum = 0;
    r.Pmin = 1e30;
    r.Pmax = -1e30;
    const uint32_t cycles = std::max<uint32_t>(m.cycles, 1);
    for (uint32_t c = 0; c < cycles; ++c) {
        size_t a = n * c / cycles, b = n * (c + 1) / cycles;
        double s = 0;
        for (size_t k = a; k < b; ++k)
            s += double(u[k]) * double(i[k]);
        sum += s;
        double pc = b > a ? s / double(b - a) : 0.0;
        double end = w.startTime + double(b) / double(w.rate);
        if (pc > r.Pmax) r.Pmax = pc, r.PmaxAt = end;
        if (pc < r.Pmin) r.Pmin = pc, r.PminAt = end;
    }
    r.P = sum / double(n);
    r.S = cu.rms * ci.rms;
    for (size_t h = 1; h < CHarmOrders; ++h)
        r.Q += cu.harm[h] * ci.harm[h] * std::sin((cu.harmAngle[h] - ci.harmAngle[h]) * kDeg);
    const double phi = (cu.harmAngle[1] - ci.harmAngle[1]) * kDeg;
    r.SV = cu.fundMag * ci.fundMag;
    r.PV = r.SV * std::cos(phi);
    r.QV = r.SV * std::sin(phi);
    r.SN = rest(r.S, r.SV);
    r.D = rest(r.S, r.P, r.Q);
    r.PF = r.S > 0 ? r.P / r.S : 0.0;
    r.cosPhi = std::cos(phi);
    r.tanPhi = r.PV != 0 ? r.QV / r.PV : 0.0;
    r.phiDeg = std::remainder(phi / kDeg, 360.0);
    return r;
}

void PowerAnalyzer::Analyze(const Waveforms& w, Measurement& m) {
    PowerValues& t = m.power[3];
    t = PowerValues();
    for (size_t p = 0; p < 3; ++p) {
        m.power[p] = phase(w, m, p);
        const PowerValues& v = m.power[p];
        t.P += v.P, t.Q += v.Q, t.S += v.S, t.PV += v.PV, t.QV += v.QV, t.SV += v.SV;
        t.Pmax += v.Pmax, t.Pmin += v.Pmin;
    }
    // Arithmetic sums: the totals keep the same relation between S, P, Q and D as each phase.
    t.SN = rest(t.S, t.SV);
    t.D = rest(t.S, t.P, t.Q);
    t.PF = t.S > 0 ? t.P / t.S : 0.0;
    t.cosPhi = t.SV > 0 ? t.PV / t.SV : 0.0;
    t.tanPhi = t.PV != 0 ? t.QV / t.PV : 0.0;
    t.phiDeg = std::atan2(t.QV, t.PV) / kDeg;
    t.PmaxAt = m.power[0].PmaxAt;
    t.PminAt = m.power[0].PminAt;
    sequences(m);
}

void PowerAnalyzer::sequences(Measurement& m) {
    const cplx a = std::polar(1.0, 120.0 * kDeg);
    auto seq = [&](size_t first, SequenceValues& s, cplx out[3]) {
        cplx x1 = phasor(m.ch[first]), x2 = phasor(m.ch[first + 1]), x3 = phasor(m.ch[first + 2]);
        out[0] = (x1 + a * x2 + a * a * x3) / 3.0;
        out[1] = (x1 + a * a * x2 + a * x3) / 3.0;
        out[2] = (x1 + x2 + x3) / 3.0;
        s.plus = std::abs(out[0]);
        s.minus = std::abs(out[1]);
        s.zero = std::abs(out[2]);
        s.unbalance = s.plus > 0 ? 100.0 * s.minus / s.plus : 0.0;
        s.unbalanceZero = s.plus > 0 ? 100.0 * s.zero / s.plus : 0.0;
    };
    cplx us[3], is[3];
    seq(chU1, m.u, us);
    seq(chI1, m.i, is);
    const cplx sPlus = 3.0 * us[0] * std::conj(is[0]);
    m.Pplus = sPlus.real();
    m.Qplus = sPlus.imag(); // the current lags in an inductive load: positive Q
    m.Splus = std::abs(sPlus);
    // Effective values after IEEE 1459 for a four-wire system.
    auto sq = [](double x) { return x * x; };
    const auto& c = m.ch;
    const double ie =
        std::sqrt((sq(c[chI1].rms) + sq(c[chI2].rms) + sq(c[chI3].rms) + sq(c[chIN].rms)) / 3.0);
    const double ue = std::sqrt((3.0 * (sq(c[chU1].rms) + sq(c[chU2].rms) + sq(c[chU3].rms)) +
                                 sq(c[chU12].rms) + sq(c[chU23].rms) + sq(c[chU31].rms)) /
                                18.0);
    const double ie1 = std::sqrt(
        (sq(c[chI1].fundMag) + sq(c[chI2].fundMag) + sq(c[chI3].fundMag) + sq(c[chIN].fundMag)) / 3.0);
    const double ue1 = std::sqrt((3.0 * (sq(c[chU1].fundMag) + sq(c[chU2].fundMag) + sq(c[chU3].fundMag)) +
                                  sq(c[chU12].fundMag) + sq(c[chU23].fundMag) + sq(c[chU31].fundMag)) /
                                 18.0);
    m.Se = 3.0 * ue * ie;
    const double se1 = 3.0 * ue1 * ie1;
    m.SeN = rest(m.Se, se1);
    m.SU = rest(se1, m.Splus);
    m.PFe = m.Se > 0 ? m.power[3].P / m.Se : 0.0;
}

} // namespace ferro::sim
