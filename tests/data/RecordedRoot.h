#pragma once
// An instrument root with the recorder's history, written in-process at a fixed device time:
// the tests move the clock themselves.

#include "ferrosim/Instrument.h"
#include "ferrosim/Recorder.h"

#include <QTemporaryDir>

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

namespace ferro::test {

constexpr uint64_t kNs = 1000000000ull;
// 2025-11-22 00:00:00 UTC, the start of a day and of a two-hour interval.
constexpr uint64_t kT0 = 1763769600ull * kNs;

struct RecordedRoot {
    QTemporaryDir dir;
    std::unique_ptr<sim::Instrument> instrument;
    std::unique_ptr<sim::Recorder> recorder;
    uint64_t now;

    explicit RecordedRoot(uint64_t historyNs = 7200 * kNs, uint64_t at = kT0 + 7200 * kNs + kNs / 2)
        : now(at) {
        sim::Profile profile;
        profile.serial = 5120042;
        profile.plant = "Umspannwerk Nord";
        profile.bay = "Feld 3";
        profile.device = "FR-042";
        instrument = std::make_unique<sim::Instrument>(profile, sim::InstrumentTree(dir.path().toStdString()),
                                                       sim::FaultPlan());
        recorder = std::make_unique<sim::Recorder>(*instrument, historyNs);
        recorder->advance(now);
    }
    std::string rec() const { return instrument->tree().recDir(); }
    std::string evt() const { return instrument->tree().evtDir(); }
    // Files of a folder whose name starts with `prefix`, sorted.
    std::vector<std::string> files(const std::string& folder, const std::string& prefix) const {
        std::vector<std::string> out;
        std::error_code ec;
        for (const auto& e : std::filesystem::directory_iterator(folder, ec))
            if (e.path().filename().string().rfind(prefix, 0) == 0) out.push_back(e.path().string());
        std::sort(out.begin(), out.end());
        return out;
    }
};

} // namespace ferro::test
