#pragma once
// The instrument's calibration against a simulated calibrator wired to its inputs: every channel
// reads the calibrator with a gain error of its own until a calibration corrects it. Answers are the
// codes of CalibrationWord().

#include <array>
#include <cstdint>
#include <string>

namespace ferro::sim {

class FaultPlan;

// Error words of the calibration, indexed by the code that pq.cal* return.
const char* CalibrationWord(int code);
int CalibrationCode(const std::string& word);

class Calibration {
public:
    static constexpr int kChannels = 8; // U1..U4, I1..I4
    static constexpr int kFailed = 14;  // a channel outside its limit after the correction

    // `fixedFault`: a word every step answers with (profile); `storeFile`: where a stored one goes.
    Calibration(uint32_t serial, const FaultPlan& faults, int fixedFault, std::string storeFile);

    int open(double hz);
    // Zero point with `reference` 0, otherwise the gain against the reference in V or A.
    int step(char quantity, double reference);
    int state(int channel, int kind) const;
    // `store` 1 keeps the result with `deviceTime` (ISO text); 0 discards an open calibration.
    int close(int store, const std::string& deviceTime);
    // Ends an open calibration without storing (restart).
    void reset();

    // ISO date of the stored calibration, "" if there is none.
    std::string storedDate() const;

    // What the calibrator delivers while wired (the faults spoil it).
    double calibratorVolts() const;
    double calibratorAmps() const;
    double calibratorHz() const;

private:
    bool complete() const { return zeroU_ && zeroI_ && gainU_ && gainI_; }

    const FaultPlan& faults_;
    int fixedFault_;
    std::string storeFile_;
    std::array<double, kChannels> gainError_{};  // raw reading = true value * (1 + error)
    std::array<double, kChannels> correction_{}; // factor found by the gain step
    bool open_ = false, zeroU_ = false, zeroI_ = false, gainU_ = false, gainI_ = false;
    double hz_ = 50.0;
};

} // namespace ferro::sim
