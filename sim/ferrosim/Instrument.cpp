#include "ferrosim/Instrument.h"

#include "ferrosim/PacketCapture.h"

#include <QDateTime>

#include <algorithm>
#include <cmath>

#include <cstdio>
#include <fstream>

namespace ferro::sim {

Instrument::Instrument(Profile profile, InstrumentTree tree, FaultPlan faults)
    : profile_(std::move(profile)), tree_(std::move(tree)), faults_(std::move(faults)),
      calibration_(profile_.serial, faults_, std::max(0, CalibrationCode(profile_.calibrationFault)),
                   tree_.root() + "/flashdrive0/cal/calibration.txt") {
    hostAnchorMs_ = deviceAnchorMs_ = bootMs_ = QDateTime::currentMSecsSinceEpoch();
    supply_ = std::make_unique<SupplySynth>(profile_.supply, uint64_t(now()) * 1000000000ull);
    capture_ = std::make_unique<PacketCapture>(*this);
}

Instrument::~Instrument() = default;

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

int64_t Instrument::upTimeSeconds() const {
    return (QDateTime::currentMSecsSinceEpoch() - bootMs_) / 1000;
}

void Instrument::takeNtpOffset(int64_t offsetMs) {
    deviceAnchorMs_ = int64_t(nowNs() / 1000000ull) + offsetMs;
    hostAnchorMs_ = QDateTime::currentMSecsSinceEpoch();
    ntpOffsetMs_ = offsetMs;
    ++ntpReplies_;
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
    calibration_.reset();
    bootMs_ = QDateTime::currentMSecsSinceEpoch();
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
