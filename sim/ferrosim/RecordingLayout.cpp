#include "ferrosim/RecordingLayout.h"

#include "foundation/MemStream.h"
#include "foundation/records/Units.h"

#include <cstring>

namespace ferro::sim {

namespace {
// Groups of the recordings. The time sits in a housekeeping group that no view offers.
constexpr uint32_t kTimeGroup = 0x0000FFFFu;
constexpr uint32_t kVoltGroup = 0x0B01FFFFu, kCurrentGroup = 0x0B02FFFFu, kFreqGroup = 0x0B03FFFFu,
                   kThdGroup = 0x0B04FFFFu, kPowerGroup = 0x0B05FFFFu, kOtherGroup = 0x0B06FFFFu,
                   kExtremGroup = 0x0B07FFFFu, kOscUGroup = 0x0B10FFFFu, kOscIGroup = 0x0B11FFFFu,
                   kInputGroup = 0x0B12FFFFu, kHalfUGroup = 0x0B13FFFFu, kHalfIGroup = 0x0B14FFFFu;
// Value groups of a column (ValGrp).
enum : uint8_t { vgTime, vgVoltage, vgCurrent, vgFrequency, vgPower, vgSpectrum, vgOther };

constexpr size_t kSpectrumChannels[8] = {chU1, chU2, chU3, chUN, chI1, chI2, chI3, chIN};
constexpr const char* kUnits[CChannels] = {CVolt, CVolt,   CVolt,   CVolt,   CVolt,   CVolt,
                                           CVolt, CAmpere, CAmpere, CAmpere, CAmpere, CAmpere};

size_t spectrumIndex(size_t channel) {
    for (size_t k = 0; k < 8; ++k)
        if (kSpectrumChannels[k] == channel) return k;
    return 0;
}
} // namespace

uint32_t RecordingLayout::HarmBase(size_t channel) {
    static const uint32_t b[8] = {0x2030000, 0x2050000, 0x2070000, 0x2090000,
                                  0x2250000, 0x2270000, 0x2290000, 0x22B0000};
    return b[spectrumIndex(channel)];
}
uint32_t RecordingLayout::IHarmBase(size_t channel) {
    static const uint32_t b[8] = {0x2040000, 0x2060000, 0x2080000, 0x20A0000,
                                  0x2260000, 0x2280000, 0x22A0000, 0x22C0000};
    return b[spectrumIndex(channel)];
}
uint32_t RecordingLayout::BandBase(size_t channel) {
    static const uint32_t b[8] = {0x2140000, 0x2150000, 0x2160000, 0x2170000,
                                  0x2300000, 0x2310000, 0x2320000, 0x2330000};
    return b[spectrumIndex(channel)];
}

uint32_t RecordingLayout::group(uint32_t grpId) {
    for (const TVecIdxStruct& g : groups_)
        if (g.GrpId == grpId) return g.Idx;
    groups_.push_back({uint32_t(groups_.size()), grpId});
    return groups_.back().Idx;
}

void RecordingLayout::add(Slot slot, uint32_t id, const char* unit, uint8_t paint, uint32_t size,
                          uint32_t grp) {
    TTblStrc c;
    c.ObjId = id;
    c.UnitTxt = unit;
    c.PaintStruc = paint;
    c.Offset = size_;
    c.Size = size;
    c.VecIdx = group(grp);
    c.ValGrp = slot.q == qStamp || slot.q == qTick  ? vgTime
               : slot.q == qFreq                    ? vgFrequency
               : slot.q == qP || slot.q == qS       ? vgPower
               : slot.q >= qHarm && slot.q <= qBand ? vgSpectrum
               : std::strcmp(unit, CVolt) == 0      ? vgVoltage
               : std::strcmp(unit, CAmpere) == 0    ? vgCurrent
                                                    : vgOther;
    columns_.push_back(c);
    slots_.push_back(slot);
    size_ += size;
}

RecordingLayout::RecordingLayout(TDataClass cls) : cls_(cls) {
    if (cls == dcOsc) {
        // The time follows from the sample rate: the first column is a value.
        for (size_t ch = 0; ch < CChannels; ++ch)
            add({qSample, uint8_t(ch), 0}, SampleId(ch), kUnits[ch], psSingle, 4,
                ch < chI1 ? kOscUGroup : kOscIGroup);
        add({qInput, 0, 0}, CBinaryStateId, "", psTick, 4, kInputGroup);
        return;
    }
    if (cls == dcHp) {
        add({qTick, 0, 0}, CTimeColumnId, "", psTick, 4, kTimeGroup);
        for (size_t ch : {chU1, chU2, chU3, chI1, chI2, chI3})
            add({qHalf, uint8_t(ch), 0}, HalfPeriodId(ch), kUnits[ch], psSingle, 4,
                ch < chI1 ? kHalfUGroup : kHalfIGroup);
        return;
    }
    add({qStamp, 0, 0}, CTimeColumnId, "", psStamp, 8, kTimeGroup);
    add({qFreq, 0, 0}, FrequencyId, CHertz, psSingle, 4, kFreqGroup);
    for (size_t ch = chU1; ch <= chIN; ++ch)
        add({qRms, uint8_t(ch), 0}, RmsId(ch), kUnits[ch], psSingle, 4,
            ch < chI1 ? kVoltGroup : kCurrentGroup);
    for (size_t ch : {chU1, chU2, chU3, chI1, chI2, chI3})
        add({qThd, uint8_t(ch), 0}, ThdId(ch), CPercent, psSingle, 4, kThdGroup);
    for (uint8_t p = 0; p < 4; ++p)
        add({qP, p, 0}, PowerId(p), CWatt, psSingle, 4, kPowerGroup);
    for (uint8_t p = 0; p < 4; ++p)
        add({qS, p, 0}, ApparentId(p), CVoltAmpere, psSingle, 4, kPowerGroup);
    add({qPF, 0, 0}, PowerFactorId, CNoUnit, psSingle, 4, kOtherGroup);
    add({qTemp, 0, 0}, TemperatureId, CCelsius, psSingle, 4, kOtherGroup);
    spectra_ = cls == dc10min || cls == dc2h;
    if (!spectra_) return;
    add({qU1Max, 0, 0}, U1MaxId, CVolt, psExtrem, 12, kExtremGroup);
    add({qU1Min, 0, 0}, U1MinId, CVolt, psExtrem, 12, kExtremGroup);
    add({qEnergy, 0, 0}, EnergyId, CWattHour, psFloat, 8, kOtherGroup);
    add({qUnb, 0, 0}, UnbalanceId, CPercent, psSingle, 4, kOtherGroup);
    for (uint8_t p = 0; p < 3; ++p)
        add({qPlt, p, 0}, PltId(p), CNoUnit, psSingle, 4, kOtherGroup);
    for (size_t ch : kSpectrumChannels) {
        const char* unit = ch < chI1 ? CPercent : CAmpere;
        for (unsigned h = 0; h < CHarmOrders; ++h)
            add({qHarm, uint8_t(ch), uint8_t(h)}, OrderId(HarmBase(ch), h), unit, psSingle, 4,
                HarmBase(ch) | 0xFFFF);
        for (unsigned h = 0; h < CIHarm; ++h)
            add({qIHarm, uint8_t(ch), uint8_t(h)}, OrderId(IHarmBase(ch), h), unit, psSingle, 4,
                IHarmBase(ch) | 0xFFFF);
        for (unsigned b = 1; b <= CBands; ++b)
            add({qBand, uint8_t(ch), uint8_t(b)}, OrderId(BandBase(ch), b), unit, psSingle, 4,
                BandBase(ch) | 0xFFFF);
    }
}

void RecordingLayout::encode(uint64_t endNs, const IntervalValues& v, uint8_t* record) const {
    auto stamp = [](uint8_t* p, uint64_t ns) {
        MemStream::pokeU32(p, uint32_t(ns / 1000000000ull));
        MemStream::pokeU32(p + 4, uint32_t(ns % 1000000000ull));
    };
    for (size_t k = 0; k < slots_.size(); ++k) {
        uint8_t* p = record + columns_[k].Offset;
        const Slot& s = slots_[k];
        double x = 0;
        switch (s.q) {
        case qStamp:
            stamp(p, endNs);
            continue;
        case qU1Max:
        case qU1Min:
            stamp(p, s.q == qU1Max ? v.u1MaxAt : v.u1MinAt);
            MemStream::pokeF32(p + 8, float(s.q == qU1Max ? v.u1Max : v.u1Min));
            continue;
        case qEnergy:
            std::memcpy(p, &v.energyWh, 8);
            continue;
        case qFreq:
            x = v.f;
            break;
        case qRms:
            x = v.rms[s.channel];
            break;
        case qThd:
            x = v.thd[s.channel];
            break;
        case qP:
            x = v.P[s.channel];
            break;
        case qS:
            x = v.S[s.channel];
            break;
        case qPF:
            x = v.PF;
            break;
        case qTemp:
            x = v.temperature;
            break;
        case qUnb:
            x = v.unbalance;
            break;
        case qPlt:
            x = v.plt[s.channel];
            break;
        case qHarm:
            x = v.harm[s.channel][s.order];
            break;
        case qIHarm:
            x = v.iharm[s.channel][s.order];
            break;
        case qBand:
            x = v.bands[s.channel][s.order - 1u];
            break;
        default:
            break;
        }
        MemStream::pokeF32(p, float(x));
    }
}

void RecordingLayout::encodeSample(const Waveforms& w, size_t k, bool input1, uint8_t* record) const {
    for (size_t ch = 0; ch < CChannels; ++ch)
        MemStream::pokeF32(record + 4 * ch, w.ch[ch][k]);
    MemStream::pokeU32(record + 4 * CChannels, input1 ? 1u : 0u);
}

void RecordingLayout::encodeHalfPeriod(int32_t tick, const double* rms6, uint8_t* record) const {
    MemStream::pokeU32(record, uint32_t(tick));
    for (size_t k = 0; k < 6; ++k)
        MemStream::pokeF32(record + 4 + 4 * k, float(rms6[k]));
}

std::vector<uint32_t> RecordingLayout::AllIds() {
    std::vector<uint32_t> ids;
    for (TDataClass c : {dc10min, dc1s, dcOsc, dcHp}) {
        RecordingLayout l(c);
        for (const TTblStrc& col : l.columns())
            ids.push_back(col.ObjId);
        for (const TVecIdxStruct& g : l.groups())
            ids.push_back(g.GrpId);
    }
    return ids;
}

} // namespace ferro::sim
