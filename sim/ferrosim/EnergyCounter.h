#pragma once
// The instrument's energy registers: import and export active energy, inductive and capacitive
// reactive energy, apparent and fundamental reactive energy, per phase and total, in Wh / varh / VAh.

#include "ferrosim/Measurement.h"
#include "foundation/TimeRecords.h"

#include <array>

namespace ferro::sim {

class EnergyCounter {
public:
    explicit EnergyCounter(tmStamp_t start) : start_(start) {}

    // Adds the powers of `m` held for `seconds`.
    void add(const Measurement& m, double seconds);

    // Index 0..2 the phases, 3 the total.
    std::array<double, 4> WPplus{}, WPminus{}, WQplus{}, WQminus{}, WS{}, WQV{};
    const tmStamp_t& start() const { return start_; }

private:
    tmStamp_t start_;
};

} // namespace ferro::sim
