#pragma once
// What the readers of recording, event and binary-input files hand to the views: the columns of a
// recording, its groups, the events, the binary-input entries, and the head every file starts
// with. The byte layout is docs/recording-format.md.

#include "foundation/TimeRecords.h"

#include <array>
#include <cstdint>
#include <string>

namespace ferro {

// The class of a file, from the class word of its name. Ordinals follow the short labels
// "10T" .. "Mmin", "Osc", "Hp", "BinIn"; events have a class of their own.
enum TDataClass : uint8_t {
    dc10T,
    dc150T,
    dc10min,
    dc2h,
    dc1s,
    dc10s,
    dcNs,
    dcMmin,
    dcOsc,
    dcHp,
    dcBinIn,
    dcEvent,
    dcUnknown
};
constexpr int CDataClassCount = 12; // without dcUnknown
const char* DataClassWord(TDataClass c);

// Wiring of the measured system. Only the three-wire system has no neutral.
enum TLeiterSys : uint8_t { ls1P2W, ls3P3W, ls3P4W };
constexpr int CLeiterSysCount = 3;
inline bool HasNeutral(uint8_t leiterSys) {
    return leiterSys != ls3P3W;
}

// Storage kinds of a column: how its bytes turn into a value or a time.
enum TPaintStruc : uint8_t {
    psStamp = 0,  // tmStamp_t, 8 bytes
    psSingle = 1, // single, 4 bytes
    psFloat = 2,  // single or double, 4 or 8 bytes
    psTick = 3,   // signed 32-bit integer; as time a 100 ns tick counter inside the second
    psExtrem = 6, // tmStamp_t of the moment, then the single: 12 bytes
};

// Column that carries the time and is never offered as a curve.
constexpr uint32_t CTimeColumnId = 0x0A000000;
// Binary state column: the integer reaches a chart clamped to 0..1.
constexpr uint32_t CBinaryStateId = 0x00150D00;
// Event quantity given in % of the nominal voltage.
constexpr uint32_t CVoltPercentId = 0x0104002F;

// The plant, field and device a file comes from, its wiring and the harmonic limits.
struct envMan_usrDat_t {
    std::string Anlage, Feld, Geraet;
    uint32_t SN = 0;
    uint8_t LeiterSys = ls3P4W;
    std::array<float, 49> Limits{}; // orders 2 to 50, % of the fundamental
};

// The measuring context of a file. The first word is non-zero when the context holds values.
struct pq_context_t {
    uint32_t Valid = 0;
    uint32_t DataClass = dcUnknown;
    uint32_t SampleRate = 0; // entries per second; 0 when every entry carries its stamp
    tmStamp_t Start{};       // UTC: first entry (Hp: the whole second the first entry lies in)
    tmStamp_t Trigger{};     // UTC; zero seconds: no trigger
    float Nennspannung = 0;  // V, line to earth, secondary side
    float WandlerVerh = 1;   // transformer ratio primary/secondary
    float WandlerKorr = 100; // correction in %, 100 = none
    float Nennfrequenz = 50;
    float Nennstrom = 0;

    // Volts that 100 % of the nominal voltage stand for on the primary side.
    double VoltageFactor() const { return double(Nennspannung) * WandlerVerh * WandlerKorr / 100.0; }
};

// One column of a recording's records.
struct TTblStrc {
    uint32_t ObjId = 0;
    std::string UnitTxt;
    uint8_t ValGrp = 0;
    uint8_t PaintStruc = psSingle;
    uint32_t Offset = 0;
    uint32_t Size = 0;
    uint32_t VecIdx = 0;
    // Low byte: the index of the vector group the column belongs to.
    uint32_t getVecIdx() const { return VecIdx; }
};

struct TVecIdxStruct {
    uint32_t Idx = 0;
    uint32_t GrpId = 0;
};

// One PQ event.
struct TEvtStrc {
    uint32_t ObjId = 0;
    tmStamp_t Stamp{};
    uint8_t EvtType = 0;
    float Duration = 0;
    float MaxVal = 0;
    int32_t Harm = 0;
    uint8_t Phase = 0;
    std::string UnitTxt;
    std::string IdTxt; // language id of the event's text, decimal
};

// Event types. 0 to 31 are shown to every user; from 32 on only in service mode.
enum TEvtType : uint8_t {
    etDip = 1,
    etSwell = 2,
    etInterruption = 3,
    etRvc = 4,
    etFrequency = 5,
    etHarmonic = 8,
    etUnbalance = 9,
    etFlicker = 10,
    etExternalTrigger = 15,
    etBinaryInput = 16,
    etRecorderTriggered = 33,
    etRecorderStarted = 34,
};
constexpr uint8_t CLastUserEvtType = 31;

struct TAsyncRecord {
    tmStamp_t Stamp{};
    uint16_t Bits = 0;
};

} // namespace ferro
