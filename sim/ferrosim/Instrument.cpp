#include "ferrosim/Instrument.h"

#include "ferrosim/PacketCapture.h"

#include <QDateTime>

#include <algorithm>
#include <cmath>

#include <cstdio>
#include <fstream>

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
                                 "Checksum mismatch"};
constexpr int kCalWordCount = int(sizeof(kCalWords) / sizeof(kCalWords[0]));
constexpr int kCalTodo = 1, kCalBusy = 9, kCalNoDevice = 10, kCalInvalid = 11;
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

Instrument::Instrument(Profile profile, InstrumentTree tree, FaultPlan faults)
    : profile_(std::move(profile)), tree_(std::move(tree)), faults_(std::move(faults)),
      calFaultCode_(std::max(0, CalibrationCode(profile_.calibrationFault))) {
    hostAnchorMs_ = deviceAnchorMs_ = QDateTime::currentMSecsSinceEpoch();
    supply_ = std::make_unique<SupplySynth>(profile_.supply, uint64_t(now()) * 1000000000ull);
    startedMs_ = hostAnchorMs_;
    capture_ = std::make_unique<PacketCapture>(*this);
}

Instrument::~Instrument() = default;

uint64_t Instrument::upSeconds() const {
    return uint64_t(std::max<int64_t>(0, QDateTime::currentMSecsSinceEpoch() - startedMs_) / 1000);
}

uint8_t Instrument::generation() const {
    TFerroFW fw;
    fw.Rev = profile_.firmware;
    fw.CalcVer();
    return fw.Gen;
}

bool Instrument::hasBinaryInputs() const {
    TFerroFW fw;
    fw.Rev = profile_.firmware;
    return fw.HasBinaryInputs();
}

int Instrument::connectionLimit() const {
    return faults_.connectionLimit() >= 0 ? faults_.connectionLimit() : profile_.connectionLimit;
}

uint32_t Instrument::now() const {
    return uint32_t(nowNs() / 1000000000ull);
}

uint64_t Instrument::nowNs() const {
    const double elapsedMs = double(QDateTime::currentMSecsSinceEpoch() - hostAnchorMs_) * scale_;
    return uint64_t(deviceAnchorMs_) * 1000000ull + uint64_t(std::llround(elapsedMs * 1e6));
}

void Instrument::setNow(uint32_t utcSeconds) {
    hostAnchorMs_ = QDateTime::currentMSecsSinceEpoch();
    deviceAnchorMs_ = int64_t(utcSeconds) * 1000;
}

void Instrument::setTimeScale(double k) {
    deviceAnchorMs_ = int64_t(nowNs() / 1000000ull);
    hostAnchorMs_ = QDateTime::currentMSecsSinceEpoch();
    scale_ = k;
}

void Instrument::log(const std::string& line) {
    std::fprintf(stderr, "ferrosim: %s\n", line.c_str());
    std::ofstream out(tree_.logFile(), std::ios::app);
    if (out) {
        QString stamp = QDateTime::fromSecsSinceEpoch(now(), Qt::UTC).toString("yyyy-MM-dd hh:mm:ss");
        out << stamp.toStdString() << ' ' << line << "\n";
    }
}

void Instrument::pressKey(const std::string& key) {
    if (key == "right" || key == "down") displayPage_ = (displayPage_ + 1) % 4;
    if (key == "left" || key == "up") displayPage_ = (displayPage_ + 3) % 4;
    // A new entry starts with its main values.
    if (key != "enter") displayDetails_ = false;
    if (key == "enter") displayDetails_ = !displayDetails_;
}

int Instrument::calOpen(double frequency) {
    if (calOpen_) return kCalBusy;
    if (frequency != 50.0 && frequency != 60.0) return kCalInvalid;
    calOpen_ = true;
    calSteps_ = 0;
    return 0;
}

int Instrument::calStep(char quantity, double reference) {
    if (!calOpen_) return kCalTodo;
    if ((quantity != 'U' && quantity != 'I') || reference < 0) return kCalInvalid;
    ++calSteps_;
    return calFaultCode_;
}

int Instrument::calState(int channel, int kind) {
    if (channel < 1 || channel > 8 || kind < 0 || kind > 1) return kCalNoDevice;
    if (calSteps_ < 4) return kCalTodo;
    return calFaultCode_;
}

int Instrument::calClose(int store) {
    if (!calOpen_ && store) return kCalTodo;
    calOpen_ = false;
    calSteps_ = 0;
    return 0;
}

std::string Instrument::triggerRecording() {
    if (!recordTrigger_) {
        log("recording trigger ignored: no recorder");
        return std::string();
    }
    const std::string name = recordTrigger_(nowNs());
    log("recording triggered: " + name);
    return name;
}

void Instrument::requestRestart() {
    log("restart");
    if (onRestart) onRestart();
}

void Instrument::requestReboot() {
    log("reboot");
    if (onReboot)
        onReboot();
    else
        requestRestart();
}

} // namespace ferro::sim
