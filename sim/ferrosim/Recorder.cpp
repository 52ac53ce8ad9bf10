#include "ferrosim/Recorder.h"

#include "ferrosim/Instrument.h"
#include "foundation/MemStream.h"
#include "foundation/records/Units.h"

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <fstream>

namespace fs = std::filesystem;

namespace ferro::sim {

namespace {
constexpr uint64_t kNs = 1000000000ull;
constexpr uint64_t kDay = 86400 * kNs;
// Events of the last hour of history get their files; a disturbance recording pair at most every
// ten minutes, so that a long run does not fill the disk.
constexpr uint64_t kEventHistory = 3600 * kNs;
constexpr uint64_t kDisturbanceGap = 600 * kNs;
constexpr uint64_t kOscPre = 200000000ull, kOscPost = 400000000ull;
constexpr uint64_t kHpPre = 500000000ull, kHpPost = 1000000000ull, kHalfPeriod = 10000000ull;
constexpr size_t kFlushBytes = 1u << 20;
// Language ids of the event texts and the inputs' data points.
constexpr uint32_t kDipText = 0x0C000001u, kSwellText = 0x0C000002u, kInterruptText = 0x0C000003u,
                   kRecorderText = 0x0C000021u;
constexpr size_t kInputs = 4;

bool create(const std::string& path, const std::vector<uint8_t>& head) {
    std::error_code ec;
    fs::create_directories(fs::path(path).parent_path(), ec);
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out.write(reinterpret_cast<const char*>(head.data()), std::streamsize(head.size()));
    return bool(out);
}

// One write per batch: a reader that comes in between sees whole records and at most one part.
void append(const std::string& path, std::vector<uint8_t>& bytes) {
    if (bytes.empty()) return;
    std::ofstream out(path, std::ios::binary | std::ios::app);
    out.write(reinterpret_cast<const char*>(bytes.data()), std::streamsize(bytes.size()));
    bytes.clear();
}

void putStamp(uint8_t* p, uint64_t ns) {
    MemStream::pokeU32(p, uint32_t(ns / kNs));
    MemStream::pokeU32(p + 4, uint32_t(ns % kNs));
}
} // namespace

uint64_t Recorder::IntervalNs(TDataClass cls) {
    static const uint64_t ns[] = {kNs / 5, 3 * kNs, 600 * kNs, 7200 * kNs, kNs, 10 * kNs, 5 * kNs, 60 * kNs};
    return cls <= dcMmin ? ns[cls] : kNs;
}

std::string Recorder::SyncName(TDataClass cls, uint64_t startSec) {
    return std::string("sync/") + DataClassWord(cls) + "-0-" + std::to_string(startSec) + ".log";
}

Recorder::Recorder(Instrument& instrument, uint64_t historyNs)
    : instrument_(instrument), synth_(instrument.supply()), history_(historyNs) {
    for (int c = dc10T; c <= dcMmin; ++c) {
        const TDataClass cls = TDataClass(c);
        // The slow classes keep one file for a month, the others one per day.
        const uint64_t period = cls == dc10min || cls == dc2h ? 30 * kDay : kDay;
        classes_.push_back({cls, RecordingLayout(cls), 0, period, {}});
    }
}

TDataFileHead Recorder::head(TFileKind kind, TDataClass cls, uint64_t startNs) const {
    const Profile& p = instrument_.profile();
    const SupplyConfig& s = instrument_.supply().config();
    TDataFileHead h;
    h.Kind = kind;
    h.Env.Anlage = p.plant;
    h.Env.Feld = p.bay;
    h.Env.Geraet = p.device;
    h.Env.SN = p.serial;
    h.Env.LeiterSys = ls3P4W;
    for (size_t k = 0; k < h.Env.Limits.size(); ++k)
        h.Env.Limits[k] = CDefHrms[k + 2];
    h.Context.Valid = 1;
    h.Context.DataClass = cls;
    h.Context.Start = LinearToTS(startNs);
    h.Context.Nennspannung = float(s.voltage);
    h.Context.Nennfrequenz = float(s.frequency);
    h.Context.Nennstrom = float(s.current);
    h.Tz = p.timeSet.tz;
    h.EntrySize = kind == TFileKind::Events ? TDataFileHead::EventEntrySize : TDataFileHead::AsyncEntrySize;
    return h;
}

void Recorder::start() {
    const std::string marker = instrument_.tree().recDir() + "/../recorder.state";
    const uint64_t now = instrument_.nowNs();
    if (fs::exists(marker)) history_ = 0;
    advance(now);
    std::ofstream(marker) << "history written up to " << now / kNs << "\n";
    timer_.setInterval(200);
    QObject::connect(&timer_, &QTimer::timeout, [this] { advance(instrument_.nowNs()); });
    timer_.start();
}

void Recorder::advance(uint64_t nowNs) {
    if (!started_) {
        started_ = true;
        const uint64_t history = history_;
        for (ClassState& s : classes_) {
            // A day of the fast classes at most: the slow ones carry the long history.
            const uint64_t back = s.cls == dc10min || s.cls == dc2h ? history : std::min(history, kDay);
            const uint64_t iv = IntervalNs(s.cls);
            s.next = (nowNs - back) / iv * iv + iv;
        }
        inputsDone_ = nowNs - std::min(history, kDay);
        eventsDone_ = nowNs - std::min(history, kEventHistory);
        instrument_.log("recorder: " + std::to_string(history_ / kNs) + " s of history");
    } else {
        // A clock set forward (uti.setDateTime) is not filled record by record, which would hold the
        // event loop for hours: the recordings go on in new files ten minutes before the new time.
        constexpr uint64_t catchUp = 600 * kNs;
        for (ClassState& s : classes_) {
            const uint64_t iv = IntervalNs(s.cls);
            if (nowNs > s.next + catchUp + iv) {
                s.next = (nowNs - catchUp) / iv * iv + iv;
                s.path.clear();
            }
        }
        inputsDone_ = std::max(inputsDone_, nowNs - std::min(nowNs, catchUp));
        eventsDone_ = std::max(eventsDone_, nowNs - std::min(nowNs, catchUp));
    }
    for (ClassState& s : classes_)
        advanceClass(s, nowNs);
    advanceInputs(nowNs);
    advanceEvents(nowNs);
}

void Recorder::advanceClass(ClassState& s, uint64_t nowNs) {
    const uint64_t iv = IntervalNs(s.cls);
    const uint32_t size = s.layout.recordSize();
    std::vector<uint8_t> batch;
    IntervalValues v;
    while (s.next <= nowNs) {
        if (s.path.empty() || (s.next - iv) / s.period != (s.next - 2 * iv) / s.period) {
            append(s.path, batch);
            s.path = instrument_.tree().recDir() + "/" + SyncName(s.cls, s.next / kNs);
            TDataFileHead h = head(TFileKind::Recording, s.cls, s.next);
            h.EntrySize = size;
            create(s.path, EncodeDataFileHead(h, s.layout.columns(), s.layout.groups(), {}));
        }
        synth_.compute(s.next - iv, s.next, s.layout.spectra(), v);
        batch.resize(batch.size() + size);
        s.layout.encode(s.next, v, batch.data() + batch.size() - size);
        s.next += iv;
        if (batch.size() >= kFlushBytes) append(s.path, batch);
    }
    append(s.path, batch);
}

uint16_t Recorder::inputBits(uint64_t atNs) const {
    uint16_t bits = 0;
    // Input 1 follows the dips and swells; inputs 2 and 3 toggle every ten minutes and every hour.
    for (const auto& o : instrument_.supply().occurrences(atNs, atNs + 1))
        if (o.startNs <= atNs && atNs < o.endNs) bits |= 1;
    if ((atNs / (600 * kNs)) % 2) bits |= 2;
    if ((atNs / (3600 * kNs)) % 2) bits |= 4;
    return bits;
}

void Recorder::advanceInputs(uint64_t nowNs) {
    if (nowNs <= inputsDone_) return;
    std::vector<uint64_t> changes;
    for (const auto& o : instrument_.supply().occurrences(inputsDone_, nowNs)) {
        changes.push_back(o.startNs);
        changes.push_back(o.endNs);
    }
    for (uint64_t t = (inputsDone_ / (600 * kNs) + 1) * 600 * kNs; t < nowNs; t += 600 * kNs)
        changes.push_back(t);
    std::sort(changes.begin(), changes.end());
    std::vector<uint8_t> batch;
    for (uint64_t t : changes) {
        if (t < inputsDone_ || t >= nowNs) continue;
        if (inputPath_.empty() || t / kDay != inputDay_) {
            append(inputPath_, batch);
            inputDay_ = t / kDay;
            inputPath_ = instrument_.tree().recDir() + "/async/Bin-0-" + std::to_string(t / kNs) + ".log";
            std::vector<uint32_t> ids;
            for (size_t k = 0; k < kInputs; ++k)
                ids.push_back(CBinaryStateId + uint32_t(k));
            create(inputPath_, EncodeDataFileHead(head(TFileKind::BinaryInputs, dcBinIn, t), {}, {}, ids));
        }
        uint8_t e[TDataFileHead::AsyncEntrySize] = {};
        putStamp(e, t);
        MemStream::pokeU16(e + 8, inputBits(t));
        batch.insert(batch.end(), e, e + sizeof e);
    }
    append(inputPath_, batch);
    inputsDone_ = nowNs;
}

void Recorder::advanceEvents(uint64_t nowNs) {
    const SupplyConfig& cfg = instrument_.supply().config();
    for (const auto& o : instrument_.supply().occurrences(eventsDone_, nowNs)) {
        // An event is written once it has ended, and only once.
        if (o.startNs < eventsDone_ || o.endNs > nowNs) continue;
        const SupplyEvent& e = cfg.events[o.event];
        const bool interruption = !e.swell && e.percent < 5.0;
        const uint8_t type = e.swell ? etSwell : interruption ? etInterruption : etDip;
        uint32_t oscSec = 0, hpSec = 0;
        if (lastDisturbanceNs_ == 0 || o.startNs >= lastDisturbanceNs_ + kDisturbanceGap) {
            lastDisturbanceNs_ = o.startNs;
            writeOsc(o.startNs, o.endNs);
            writeHp(o.startNs);
            oscSec = hpSec = uint32_t(o.startNs / kNs);
        }
        const uint32_t flags = instrument_.supply().eventFlags(o.startNs, o.endNs);
        std::vector<uint8_t> bytes;
        auto entry = [&](uint32_t objId, uint8_t evtType, uint8_t phase, float maxVal, const char* unit,
                         uint32_t text) {
            uint8_t r[TDataFileHead::EventEntrySize] = {};
            MemStream::pokeU32(r, objId);
            putStamp(r + 4, o.startNs);
            r[12] = evtType;
            r[13] = phase;
            MemStream::pokeF32(r + 16, float(double(o.endNs - o.startNs) * 1e-9));
            MemStream::pokeF32(r + 20, maxVal);
            std::memcpy(r + 24, unit, std::min<size_t>(std::strlen(unit), 11));
            MemStream::pokeU32(r + 36, text);
            MemStream::pokeF32(r + 40, maxVal);
            MemStream::pokeF32(r + 44, float(cfg.voltage));
            MemStream::pokeU32(r + 48, flags);
            putStamp(r + 52, o.endNs);
            MemStream::pokeU32(r + 60, oscSec);
            MemStream::pokeU32(r + 64, hpSec);
            bytes.insert(bytes.end(), r, r + sizeof r);
        };
        const uint32_t text = e.swell ? kSwellText : interruption ? kInterruptText : kDipText;
        for (uint8_t p = 0; p < 3; ++p)
            if (e.phaseMask & (1u << p))
                entry(CVoltPercentId, type, uint8_t(p + 1), float(e.percent), CPercent, text);
        if (oscSec) entry(kRecorderText, etRecorderTriggered, 0, 0.0f, "", kRecorderText);
        const std::string name = std::string(e.swell        ? "Swell"
                                             : interruption ? "Interrupt"
                                                            : "Dip") +
                                 "-" + std::to_string(o.startNs / kNs) + "-" +
                                 std::to_string(o.startNs % kNs) + ".log";
        const std::string path = instrument_.tree().evtDir() + "/" + name;
        create(path, EncodeDataFileHead(head(TFileKind::Events, dcEvent, o.startNs), {}, {}, {}));
        append(path, bytes);
    }
    eventsDone_ = nowNs;
}

void Recorder::writeOsc(uint64_t triggerNs, uint64_t eventEndNs) {
    const RecordingLayout layout(dcOsc);
    const uint32_t rate = instrument_.supply().config().sampleRate;
    const size_t count = size_t((kOscPre + kOscPost) * rate / kNs);
    const uint64_t startNs = triggerNs - kOscPre;
    Waveforms w;
    instrument_.supply().sample(startNs, count, w);
    TDataFileHead h = head(TFileKind::Recording, dcOsc, startNs);
    h.EntrySize = layout.recordSize();
    h.Context.SampleRate = rate;
    h.Context.Trigger = LinearToTS(triggerNs);
    const std::string path = instrument_.tree().recDir() + "/rec/Osc-1-" + std::to_string(++recordingCount_) +
                             "-" + std::to_string(triggerNs / kNs) + ".log";
    create(path, EncodeDataFileHead(h, layout.columns(), layout.groups(), {}));
    std::vector<uint8_t> bytes(count * layout.recordSize());
    for (size_t k = 0; k < count; ++k) {
        const uint64_t t = startNs + uint64_t(std::llround(double(k) * 1e9 / rate));
        layout.encodeSample(w, k, t >= triggerNs && t < eventEndNs, bytes.data() + k * layout.recordSize());
    }
    append(path, bytes);
}

std::string Recorder::writeHp(uint64_t triggerNs) {
    const RecordingLayout layout(dcHp);
    const uint32_t rate = instrument_.supply().config().sampleRate;
    const uint64_t startNs = triggerNs - kHpPre;
    const size_t halves = size_t((kHpPre + kHpPost) / kHalfPeriod);
    const size_t perHalf = size_t(kHalfPeriod * rate / kNs);
    Waveforms w;
    instrument_.supply().sample(startNs, halves * perHalf, w);
    TDataFileHead h = head(TFileKind::Recording, dcHp, 0);
    // The tick counter counts from the whole second the first half period ends in.
    h.Context.Start = tmStamp_t{uint32_t((startNs + kHalfPeriod) / kNs), 0};
    h.Context.SampleRate = uint32_t(kNs / kHalfPeriod);
    h.Context.Trigger = LinearToTS(triggerNs);
    h.EntrySize = layout.recordSize();
    const std::string name =
        "rec/Hp-1-" + std::to_string(++recordingCount_) + "-" + std::to_string(triggerNs / kNs) + ".log";
    const std::string path = instrument_.tree().recDir() + "/" + name;
    create(path, EncodeDataFileHead(h, layout.columns(), layout.groups(), {}));
    std::vector<uint8_t> bytes(halves * layout.recordSize());
    const size_t chans[6] = {chU1, chU2, chU3, chI1, chI2, chI3};
    for (size_t k = 0; k < halves; ++k) {
        double rms[6];
        for (size_t c = 0; c < 6; ++c) {
            double s = 0;
            for (size_t n = k * perHalf; n < (k + 1) * perHalf; ++n)
                s += double(w.ch[chans[c]][n]) * w.ch[chans[c]][n];
            rms[c] = std::sqrt(s / double(perHalf));
        }
        const uint64_t end = startNs + (k + 1) * kHalfPeriod;
        layout.encodeHalfPeriod(int32_t(end % kNs / 100), rms, bytes.data() + k * layout.recordSize());
    }
    append(path, bytes);
    return name;
}

} // namespace ferro::sim
