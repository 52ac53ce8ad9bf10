#include "ferrosim/StreamService.h"

#include "ferrosim/Instrument.h"
#include "ferrosim/MeasurementEngine.h"
#include "ferrosim/StreamObjectEncoder.h"
#include "ferrosim/WaveformAnalyzer.h"
#include "foundation/Format.h"
#include "foundation/MemStream.h"
#include "foundation/TimeRecords.h"
#include "foundation/records/FieldTable.h"
#include "foundation/records/ObjectHeader.h"
#include "foundation/records/RecordCodec.h"
#include "foundation/records/RecordValues.h"

#include <algorithm>
#include <cmath>

namespace ferro::sim {

namespace {

constexpr uint64_t kSecond = 1000000000ull;
constexpr size_t kIdFrameSize = CHeadSize + 4;
// Interval of each data class in ms (200 ms, 3 s, 10 min, 2 h, 1 s, 10 s, n s, m min, oscilloscope).
constexpr uint64_t kIntervalMs[] = {200, 3000, 600000, 7200000, 1000, 10000, 5000, 60000, 1000};
// The oscilloscope captures this many cycles per block.
constexpr uint32_t kOscCycles = 10;
// Longest analysis window: the last second of a longer interval stands for it.
constexpr uint32_t kMaxCycles = 50;

} // namespace

StreamService::StreamService(Instrument& instrument) : instrument_(instrument) {}
StreamService::~StreamService() = default;

Answer StreamService::handle(const ccc_head_t& head, const std::vector<uint8_t>& frame) {
    if (frame.size() < kIdFrameSize) return Answer::Refuse(CodeBadFrame, "stream frame too short");
    const uint32_t word = MemStream::peekU32(frame.data() + CHeadSize);
    switch (head.ExtCmd) {
    case 1:
        return start(word);
    case 2:
        return next(word);
    case CExtStop:
        return stop(word);
    default:
        return Answer::Refuse(CodeUnknownCommand, "unknown stream command");
    }
}

Answer StreamService::start(uint32_t objId) {
    const int dataObj = TObjectHeader::DataObjOf(objId);
    if (dataObj < 0) return Answer::Refuse(CodeUnknownObject, Fmt("unknown stream object 0x%08X", objId));
    if (dataObj == doBin && !instrument_.hasBinaryInputs())
        return Answer::Refuse(CodeUnknownObject, "no binary inputs on this firmware");
    if (streams_.size() >= CMaxStreams) return Answer::Refuse(CodeTooManyStreams, "too many streams");
    Stream s;
    s.objId = objId;
    s.dataObj = dataObj;
    s.intervalNs = (dataObj == doBin ? 1000 : kIntervalMs[dataObj]) * 1000000ull;
    // The first block is the interval that ended last, as on the device.
    const uint64_t now = uint64_t(instrument_.now()) * kSecond;
    s.clockNs = now - now % s.intervalNs;
    s.energy = std::make_unique<EnergyCounter>(LinearToTS(s.clockNs));
    const uint32_t handle = nextHandle_++;
    streams_.emplace(handle, std::move(s));
    instrument_.log(Fmt("stream 0x%08X started, handle 0x%x", objId, handle));
    std::vector<uint8_t> payload(4);
    MemStream::pokeU32(payload.data(), handle);
    Answer a = Answer::Data(std::move(payload));
    // The device sends the first block by itself; every later one waits for its request.
    Answer first = next(handle);
    if (!first.refused) a.follow.push_back({first.ext >= 0 ? first.ext : 3, std::move(first.payload)});
    return a;
}

Answer StreamService::next(uint32_t handle) {
    auto it = streams_.find(handle);
    if (it == streams_.end())
        return Answer::Refuse(CodeUnknownHandle, Fmt("no stream with handle 0x%x", handle));
    Stream& s = it->second;
    Answer a = Answer::Data(s.dataObj == doBin ? binaryBlock(s) : block(s));
    a.ext = CExtBlock;
    s.clockNs += s.intervalNs;
    ++s.blocks;
    return a;
}

Answer StreamService::stop(uint32_t handle) {
    if (streams_.erase(handle) == 0)
        return Answer::Refuse(CodeUnknownHandle, Fmt("no stream with handle 0x%x", handle));
    instrument_.log(Fmt("stream handle 0x%x stopped", handle));
    return Answer::Ack();
}

std::vector<uint8_t> StreamService::block(Stream& s) {
    const uint8_t gen = instrument_.generation();
    const TRecordDef* def = TFieldTable::Instance().RecordFor(TDataObj(s.dataObj), gen);
    if (!def) return {};
    const SupplySynth& supply = instrument_.supply();
    const SupplyConfig& cfg = supply.config();
    const Nominal nom{cfg.voltage, cfg.current, cfg.frequency};
    MeasurementEngine engine(supply);
    if (s.dataObj == doOsc) {
        // A capture of the last cycles; the object's stamp is the time of its first sample.
        Waveforms w = engine.window(s.clockNs, kOscCycles);
        const double f = WaveformAnalyzer::ZeroCrossingFrequency(w.ch[chU1], w.rate);
        const uint64_t firstNs = s.clockNs - uint64_t(std::llround(double(w.size()) * 1e9 / double(w.rate)));
        return StreamObjectEncoder::Oscilloscope(*def, LinearToTS(firstNs), w, f, nom);
    }
    const double intervalS = double(s.intervalNs) * 1e-9;
    const uint32_t cycles =
        std::clamp<uint32_t>(uint32_t(std::lround(intervalS * cfg.frequency)), kOscCycles, kMaxCycles);
    Measurement m = engine.measure(s.clockNs, cycles, s.clockNs - std::min(s.clockNs, s.intervalNs));
    s.energy->add(m, s.blocks == 0 ? 0.0 : intervalS);
    return StreamObjectEncoder::Measured(*def, s.objId, LinearToTS(s.clockNs), m, *s.energy, nom);
}

std::vector<uint8_t> StreamService::binaryBlock(Stream& s) {
    const TRecordDef* def = TFieldTable::Instance().RecordFor(doBin, instrument_.generation());
    if (!def) return {};
    TRecordValues v(*def);
    const std::string& hdr = def->Members.at(0).Type->TypeName;
    v.SetStamp(hdr, "TS", LinearToTS(s.clockNs));
    v.Set(hdr, "Ver", 1);
    v.SetTailCount(CBinaryInputs);
    // Input k changes every 2^k blocks: a counter on the inputs, easy to follow in a view.
    for (uint32_t k = 0; k < CBinaryInputs; ++k)
        v.TailSet(k, "State", (s.blocks >> k) & 1u);
    return TRecordCodec::Encode(v);
}

} // namespace ferro::sim
