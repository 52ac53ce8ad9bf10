#pragma once
// What the simulated supply looks like: nominal values, drift, distortion, unbalance, load and the
// scheduled dips and swells. Read from the "supply" object of profile.json; missing keys keep the
// defaults below, which give a plausible distribution network.

#include <cstdint>
#include <string>
#include <vector>

class QJsonObject;

namespace ferro::sim {

struct SupplyComponent {
    double order = 0;   // multiple of the fundamental; interharmonics have a fraction (7.5)
    double percent = 0; // amplitude in % of the fundamental
    double phaseDeg = 0;
};

struct SupplyEvent {
    bool swell = false;
    double everySeconds = 60; // repeats with this period of the device clock
    double atSecond = 20;     // offset inside the period
    double durationMs = 300;
    double percent = 60;    // remaining (dip) or raised (swell) voltage in % of the normal value
    uint32_t phaseMask = 1; // bit 0 L1 .. bit 2 L3
};

struct SupplyConfig {
    double voltage = 230.0; // line to earth, V rms
    double current = 100.0; // A rms per phase
    double frequency = 50.0;
    double driftHz = 0.03; // amplitude of the slow frequency drift
    double driftPeriodS = 97.0;
    double powerFactor = 0.95; // displacement factor of the load, inductive
    double unbalancePercent = 0.8;
    double neutralVolts = 0.4;   // fundamental of the neutral to earth
    double residualAmps = 0.05;  // leakage current iR
    double temperature = 35.0;   // device temperature, varies by +-2 over an hour
    double plt = 0.35;           // long-term flicker severity of the phases, varies by +-10 % over a day
    uint32_t sampleRate = 20480; // samples per second of the analysis and the oscilloscope
    std::vector<SupplyComponent> voltageHarmonics{{5, 3.0, 0}, {7, 2.0, 20}, {11, 1.0, 40}, {13, 0.5, 0}};
    std::vector<SupplyComponent> currentHarmonics{{3, 6.0, 0}, {5, 10.0, 30}, {7, 5.0, 60}, {11, 2.0, 0}};
    std::vector<SupplyComponent> interharmonics{{7.5, 0.3, 0}};
    // High-frequency emission in % of the fundamental at a frequency in Hz (seen in the 2-9 kHz bands).
    double emissionHz = 4100;
    double emissionPercent = 0.1;
    std::vector<SupplyEvent> events{{false, 60, 20, 300, 60, 1}, {true, 60, 40, 200, 115, 7}};

    // Overrides from a JSON object; false with `error` for a value that makes no physical sense.
    bool read(const QJsonObject& o, std::string& error);
    // Overrides from the command line: "h5=7,unbalance=3,df=0.6,plt=1.2" (hN: the voltage harmonic
    // of order N in %, unbalance: negative over positive sequence in %, df: offset of the frequency
    // in Hz, plt: flicker severity).
    bool applyOverrides(const std::string& list, std::string& error);
};

} // namespace ferro::sim
