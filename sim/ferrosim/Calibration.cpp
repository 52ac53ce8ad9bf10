#include "ferrosim/Calibration.h"

#include "ferrosim/FaultPlan.h"

#include <cmath>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <system_error>

namespace ferro::sim {

namespace {
const char* const kCalWords[] = {"No Error",
                                 "Calibration todo",
                                 "Frequency tolerance violation",
                                 "Frequency fluctuation",
                                 "Magnitude out of range",
                                 "Distortion",
                                 "Calibration tolerance violation",
                                 "Calibration quantity fluctuation",
                                 "Permission denied",
                                 "Device or resource busy",
                                 "No such device",
                                 "Invalid argument",
                                 "Timer expired",
                                 "Checksum mismatch",
                                 "Calibration failed"};
constexpr int kCalWordCount = int(sizeof(kCalWords) / sizeof(kCalWords[0]));
constexpr int kTodo = 1, kFreq = 2, kRange = 4, kTolerance = 6, kFluct = 7, kBusy = 9, kNoDevice = 10,
              kInvalid = 11;

constexpr double kNominalVolts = 100.0, kNominalAmps = 5.0;
constexpr double kRangeLimit = 0.10;     // reference further off the signal than this: refused
constexpr double kToleranceLimit = 0.02; // a correction beyond 2 % means a broken channel
constexpr double kChannelLimit = 0.001;  // what a calibrated channel may still be off
constexpr double kFreqLimitHz = 0.1;
} // namespace

const char* CalibrationWord(int code) {
    if (code < 0) code = -code;
    return code < kCalWordCount ? kCalWords[code] : "Unknown error";
}

int CalibrationCode(const std::string& word) {
    for (int i = 0; i < kCalWordCount; ++i)
        if (word == kCalWords[i]) return i;
    return -1;
}

Calibration::Calibration(uint32_t serial, const FaultPlan& faults, int fixedFault, std::string storeFile)
    : faults_(faults), fixedFault_(fixedFault), storeFile_(std::move(storeFile)) {
    // Each instrument has its own spread of errors, within a few tenths of a percent.
    for (int k = 0; k < kChannels; ++k)
        gainError_[size_t(k)] = double(int((serial * 31u + unsigned(k) * 17u) % 41u) - 20) * 1.5e-4;
    correction_.fill(1.0);
}

double Calibration::calibratorVolts() const {
    return faults_.calFault("range") ? kNominalVolts * 0.6 : kNominalVolts;
}
double Calibration::calibratorAmps() const {
    return faults_.calFault("range") ? kNominalAmps * 0.6 : kNominalAmps;
}
double Calibration::calibratorHz() const {
    return faults_.calFault("freq") ? hz_ + 0.5 : hz_;
}

int Calibration::open(double hz) {
    if (open_ || faults_.calFault("busy")) return kBusy;
    if (hz != 50.0 && hz != 60.0) return kInvalid;
    open_ = true;
    zeroU_ = zeroI_ = gainU_ = gainI_ = false;
    correction_.fill(1.0);
    hz_ = hz;
    return 0;
}

int Calibration::step(char quantity, double reference) {
    if (!open_) return kTodo;
    if ((quantity != 'U' && quantity != 'I') || !(reference >= 0) || !std::isfinite(reference))
        return kInvalid;
    if (fixedFault_) return fixedFault_;
    const bool volts = quantity == 'U';
    if (reference == 0) {
        (volts ? zeroU_ : zeroI_) = true;
        return 0;
    }
    if (std::fabs(calibratorHz() - hz_) > kFreqLimitHz) return kFreq;
    if (faults_.calFault("fluct")) return kFluct;
    const double actual = volts ? calibratorVolts() : calibratorAmps();
    if (std::fabs(reference - actual) > kRangeLimit * actual) return kRange;
    std::array<double, kChannels> found = correction_;
    for (int k = volts ? 0 : 4, end = k + 4; k < end; ++k) {
        const double raw = actual * (1.0 + gainError_[size_t(k)]);
        found[size_t(k)] = reference / raw;
        if (std::fabs(found[size_t(k)] - 1.0) > kToleranceLimit) return kTolerance;
    }
    correction_ = found;
    (volts ? gainU_ : gainI_) = true;
    return 0;
}

int Calibration::state(int channel, int kind) const {
    if (channel < 1 || channel > kChannels || kind < 0 || kind > 1) return kNoDevice;
    if (fixedFault_) return fixedFault_;
    const bool volts = channel <= 4;
    if (kind == 1) return (volts ? zeroU_ : zeroI_) ? 0 : kTodo;
    if (!(volts ? gainU_ : gainI_)) return kTodo;
    // What the channel reads now, against what the calibrator really delivers.
    const size_t k = size_t(channel - 1);
    const double residual = (1.0 + gainError_[k]) * correction_[k] - 1.0;
    return std::fabs(residual) <= kChannelLimit ? 0 : kFailed;
}

int Calibration::close(int store, const std::string& deviceTime) {
    if (!store) {
        reset();
        return 0;
    }
    if (!open_ || !complete()) return kTodo;
    std::error_code ec;
    std::filesystem::create_directories(std::filesystem::path(storeFile_).parent_path(), ec);
    std::ofstream out(storeFile_, std::ios::trunc);
    out << "date=" << deviceTime << "\n";
    for (int k = 0; k < kChannels; ++k)
        out << "factor" << (k + 1) << "=" << correction_[size_t(k)] << "\n";
    out.close();
    reset();
    return out ? 0 : kInvalid;
}

void Calibration::reset() {
    open_ = zeroU_ = zeroI_ = gainU_ = gainI_ = false;
}

std::string Calibration::storedDate() const {
    std::ifstream in(storeFile_);
    std::string line;
    while (std::getline(in, line))
        if (line.rfind("date=", 0) == 0) return line.substr(5);
    return std::string();
}

} // namespace ferro::sim
