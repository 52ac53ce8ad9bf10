#include "ferrosim/EnergyCounter.h"

namespace ferro::sim {

void EnergyCounter::add(const Measurement& m, double seconds) {
    if (seconds <= 0) return;
    const double h = seconds / 3600.0;
    for (size_t k = 0; k < 4; ++k) {
        const PowerValues& p = m.power[k];
        (p.P >= 0 ? WPplus[k] : WPminus[k]) += (p.P >= 0 ? p.P : -p.P) * h;
        (p.Q >= 0 ? WQplus[k] : WQminus[k]) += (p.Q >= 0 ? p.Q : -p.Q) * h;
        WS[k] += p.S * h;
        WQV[k] += p.QV * h;
    }
}

} // namespace ferro::sim
