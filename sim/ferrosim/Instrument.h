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
#include <vector>

namespace ferro::sim {

class PacketCapture;

// One open connection as the status report lists it.
struct LinkInfo {
    int id = 0;
    std::string peer; // "address:port" of the client
    std::string user; // who logged in; empty before the session opened
    bool open = false;
};

class Instrument {
public:
    Instrument(Profile profile, InstrumentTree tree, FaultPlan faults);
    ~Instrument();

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

    // Menu entry shown on the display, moved by the cursor keys; enter shows its details or hides them.
    int displayPage() const { return displayPage_; }
    bool displayDetails() const { return displayDetails_; }
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

    // The capture that ips.pcapStart runs; every session hands it its socket's bytes.
    PacketCapture& capture() { return *capture_; }
    // The open connections, as the server knows them (empty without a server).
    std::function<std::vector<LinkInfo>()> links;

    // Asks every session to drop its connection (soft reset, firmware update).
    void requestRestart();
    std::function<void()> onRestart;
    // Drops every connection and refuses new ones for a while (after a firmware update).
    void requestReboot();
    std::function<void()> onReboot;

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
    bool displayDetails_ = false;
    int64_t ntpOffsetMs_ = 0;
    int ntpReplies_ = 0;
    Calibration calibration_;
    int64_t bootMs_ = 0;
    std::function<std::string(uint64_t nowNs)> recordTrigger_;
    std::unique_ptr<PacketCapture> capture_;
};

} // namespace ferro::sim
