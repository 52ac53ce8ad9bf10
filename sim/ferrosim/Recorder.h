#pragma once
// The instrument's recorder: at the first start of a root it writes a history of every class from
// the synthesized supply (periodic classes, binary inputs, the events of the last hour and a
// disturbance recording pair (Osc, Hp) every ten minutes of it); from then on the open file of each
// class grows as the device clock runs, and every new dip or swell becomes an event file.
// Files follow docs/recording-format.md.

#include "data/DataFileHead.h"
#include "ferrosim/IntervalSynth.h"
#include "ferrosim/RecordingLayout.h"

#include <QTimer>

#include <cstdint>
#include <string>
#include <vector>

namespace ferro::sim {

class Instrument;

class Recorder {
public:
    // `historyNs`: how far back the history of the first start reaches (the fast classes: a day at most).
    Recorder(Instrument& instrument, uint64_t historyNs);

    // History unless the root has one, then a timer that calls advance() with the device clock.
    void start();
    // Writes everything that is due up to `nowNs`: records, binary-input changes, events and
    // disturbance recordings. The first call after construction also lays down the history.
    void advance(uint64_t nowNs);

    // A disturbance recording triggered by hand (Lua pq.triggerRec): an Hp recording around
    // `triggerNs`; its name as the listing gives it.
    std::string triggerHp(uint64_t triggerNs) { return writeHp(triggerNs); }

    // Files below the recording folder are named like the listing names them.
    static std::string SyncName(TDataClass cls, uint64_t startSec);
    static uint64_t IntervalNs(TDataClass cls);

private:
    struct ClassState {
        TDataClass cls;
        RecordingLayout layout;
        uint64_t next = 0;   // end stamp of the next record
        uint64_t period = 0; // a new file begins when next / period changes
        std::string path;
    };

    TDataFileHead head(TFileKind kind, TDataClass cls, uint64_t startNs) const;
    void advanceClass(ClassState& s, uint64_t nowNs);
    void advanceInputs(uint64_t nowNs);
    void advanceEvents(uint64_t nowNs);
    uint16_t inputBits(uint64_t atNs) const;
    // Osc and Hp around a trigger; the recordings' names' seconds.
    void writeOsc(uint64_t triggerNs, uint64_t eventEndNs);
    std::string writeHp(uint64_t triggerNs);

    Instrument& instrument_;
    IntervalSynth synth_;
    uint64_t history_;
    bool started_ = false;
    std::vector<ClassState> classes_;
    uint64_t inputsDone_ = 0, eventsDone_ = 0, lastDisturbanceNs_ = 0;
    std::string inputPath_;
    uint64_t inputDay_ = 0;
    unsigned recordingCount_ = 0;
    QTimer timer_;
};

} // namespace ferro::sim
