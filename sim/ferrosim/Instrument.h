#pragma once
// The simulated instrument as all sessions share it: profile, disk, clock, log, calibration and the
// few values that Lua commands change.

#include "ferrosim/Calibration.h"
#include "ferrosim/FaultPlan.h"
#include "ferrosim/InstrumentTree.h"
#include "ferrosim/Profile.h"
#include "ferrosim/SupplySynth.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

namespace ferro::sim {

class Instrument {
public:
    Instrument(Profile profile, InstrumentTree tree, FaultPlan faults);

    Profile& profile() { return profile_; }
    const Profile& profile() const { return profile_; }
    const InstrumentTree& tree() const { return tree_; }
    const FaultPlan& faults() const { return faults_; }
    int connectionLimit() const;
    // Layout generation of the stream objects, from the profile's firmware word.
    uint8_t generation() const;
    bool hasBinaryInputs() const;
    // The supply at the measuring inputs.
    const SupplySynth& supply() const { return *supply_; }

    // Device clock, UTC seconds; Lua may set it, the offset to the host clock is kept.
    uint32_t now() const;
    // The same in nanoseconds.
    uint64_t nowNs() const;
    void setNow(uint32_t utcSeconds);
    // Moves the clock by an offset that the NTP tunnel measured, and keeps it for uti.stat().
    void takeNtpOffset(int64_t offsetMs);
    int64_t ntpOffsetMs() const { return ntpOffsetMs_; }
    int ntpReplies() const { return ntpReplies_; }
    // The device clock runs `k` times as fast as the host's from now on (recordings grow faster).
    void setTimeScale(double k);

    // One line into the device log (logd.log in the tree) and to stderr.
    void log(const std::string& line);

    // Screen page shown on the display, moved by the keys.
    int displayPage() const { return displayPage_; }
    void pressKey(const std::string& key);

    Calibration& calibration() { return calibration_; }
    // Seconds since the start or the last restart.
    int64_t upTimeSeconds() const;

    // Starts a manual recording: a small file below rec/rec.
    // Writes a disturbance recording now through the recorder; "" when there is none.
    std::string triggerRecording();
    void setRecordTrigger(std::function<std::string(uint64_t nowNs)> trigger) {
        recordTrigger_ = std::move(trigger);
    }

    // Asks every session to drop its connection (soft reset, firmware update).
    void requestRestart();
    std::function<void()> onRestart;

private:
    Profile profile_;
    InstrumentTree tree_;
    FaultPlan faults_;
    std::unique_ptr<SupplySynth> supply_;
    // Device time = deviceAnchorMs_ + scale_ * (host time - hostAnchorMs_).
    int64_t hostAnchorMs_ = 0;
    int64_t deviceAnchorMs_ = 0;
    double scale_ = 1.0;
    int displayPage_ = 0;
    int64_t ntpOffsetMs_ = 0;
    int ntpReplies_ = 0;
    Calibration calibration_;
    int64_t bootMs_ = 0;
    std::function<std::string(uint64_t nowNs)> recordTrigger_;
};

} // namespace ferro::sim
