#pragma once
// The columns of the simulator's recordings, class by class: which quantity sits where in a record,
// with its object id, unit, storage kind and group. Harmonics, interharmonics and bands take the
// ids of the statistic report (base id of the channel, order in bits 8 to 15), so that the report
// finds its columns. docs/recording-format.md lists the ids.

#include "data/DataFileTypes.h"
#include "ferrosim/IntervalSynth.h"
#include "ferrosim/Measurement.h"

#include <cstdint>
#include <vector>

namespace ferro::sim {

class RecordingLayout {
public:
    // The layout of a periodic class (10T .. Mmin), of Osc or of Hp.
    explicit RecordingLayout(TDataClass cls);

    TDataClass dataClass() const { return cls_; }
    const std::vector<TTblStrc>& columns() const { return columns_; }
    const std::vector<TVecIdxStruct>& groups() const { return groups_; }
    uint32_t recordSize() const { return size_; }
    bool spectra() const { return spectra_; }

    // A periodic class's record: the stamp `endNs` (end of the interval) and the values.
    void encode(uint64_t endNs, const IntervalValues& v, uint8_t* record) const;
    // An Osc record: sample `k` of every channel and the state of binary input 1.
    void encodeSample(const Waveforms& w, size_t k, bool input1, uint8_t* record) const;
    // An Hp record: the 100 ns tick inside the second and the half period's rms of U1E .. I3.
    void encodeHalfPeriod(int32_t tick, const double* rms6, uint8_t* record) const;

    // Ids of the quantities, shared with the language file and the tests.
    static uint32_t RmsId(size_t channel) { return 0x01010000u + uint32_t(channel); }
    static uint32_t ThdId(size_t channel) { return 0x01030000u + uint32_t(channel); }
    static constexpr uint32_t FrequencyId = 0x01020000u;
    static uint32_t PowerId(size_t phase) { return 0x01050000u + uint32_t(phase); }
    static uint32_t ApparentId(size_t phase) { return 0x01070000u + uint32_t(phase); }
    static constexpr uint32_t PowerFactorId = 0x01080003u;
    static constexpr uint32_t U1MaxId = 0x01090000u, U1MinId = 0x01090001u;
    static constexpr uint32_t TemperatureId = 0x010B0000u;
    static constexpr uint32_t EnergyId = 0x010C0000u;
    static constexpr uint32_t UnbalanceId = 0x010D0000u;
    static uint32_t PltId(size_t phase) { return 0x010E0000u + uint32_t(phase); }
    static uint32_t SampleId(size_t channel) { return 0x01100000u + uint32_t(channel); }
    static uint32_t HalfPeriodId(size_t channel) { return 0x01110000u + uint32_t(channel); }
    // Base ids of the statistic report for channels U1E, U2E, U3E, UNE, I1, I2, I3, IN.
    static uint32_t HarmBase(size_t channel);
    static uint32_t IHarmBase(size_t channel);
    static uint32_t BandBase(size_t channel);
    static uint32_t OrderId(uint32_t base, unsigned order) { return base | (order << 8); }
    // Every group id the layouts use, and every object id, for the language file's check.
    static std::vector<uint32_t> AllIds();

private:
    enum Quantity : uint8_t {
        qStamp,
        qTick,
        qFreq,
        qRms,
        qThd,
        qP,
        qS,
        qPF,
        qTemp,
        qU1Max,
        qU1Min,
        qEnergy,
        qUnb,
        qPlt,
        qHarm,
        qIHarm,
        qBand,
        qSample,
        qHalf,
        qInput
    };
    struct Slot {
        Quantity q;
        uint8_t channel;
        uint8_t order;
    };
    void add(Slot slot, uint32_t id, const char* unit, uint8_t paint, uint32_t size, uint32_t group);
    // Appends a column of `size` bytes in group `group` at the end of the record.
    uint32_t group(uint32_t grpId);

    TDataClass cls_;
    std::vector<TTblStrc> columns_;
    std::vector<TVecIdxStruct> groups_;
    std::vector<Slot> slots_;
    uint32_t size_ = 0;
    bool spectra_ = false;
};

} // namespace ferro::sim
