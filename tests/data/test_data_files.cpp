// Recording, event and binary-input files: what the simulator's recorder writes reads back through
// the core's readers, times and values follow the storage kinds, damaged files are refused.
#include "data/RecordedRoot.h"

#include "data/DataFileHead.h"
#include "data/DataFileReader.h"
#include "data/RecCursor.h"
#include "ferrosim/RecordingLayout.h"
#include "foundation/MemStream.h"
#include "para/XMLLangu.h"
#include "support/Files.h"

#include <gtest/gtest.h>

#include <cmath>

using namespace ferro;
using namespace ferro::test;
namespace fs = std::filesystem;

namespace {

struct Log {
    std::vector<std::string> lines;
    TReaderLog fn() {
        return [this](const std::string& l) { lines.push_back(l); };
    }
    std::string last() const { return lines.empty() ? std::string() : lines.back(); }
};

double valueOf(const TRecData& d, uint64_t row, uint32_t id) {
    TRecCursor c(d);
    while (c.Next())
        if (c.Row() == row)
            for (const TTblStrc& col : d.RecDataLst)
                if (col.ObjId == id) return c.Value(col);
    return NAN;
}

// A small recording built byte by byte: a tick axis and one column of every value kind.
std::string handMade(const std::string& dir, uint8_t axisKind, uint32_t sampleRate) {
    TDataFileHead h;
    h.Context.Valid = 1;
    h.Context.DataClass = dcHp;
    h.Context.SampleRate = sampleRate;
    h.Context.Start = {1700000000, 0};
    h.EntrySize = 36;
    const std::vector<TTblStrc> cols = {{CTimeColumnId, "", 0, axisKind, 0, 4, 0},
                                        {0x01010000, "V", 1, psSingle, 4, 4, 1},
                                        {0x010C0000, "Wh", 6, psFloat, 8, 8, 1},
                                        {0x01090000, "V", 1, psExtrem, 16, 12, 1},
                                        {CBinaryStateId, "", 0, psTick, 28, 4, 1}};
    std::vector<uint8_t> bytes = EncodeDataFileHead(h, cols, {{0, 0xFFFF}, {1, 0x0B01FFFF}}, {});
    const int32_t ticks[4] = {9999990, 9999990, 5, 3};
    const int32_t states[4] = {7, -2, 1, 0};
    for (int r = 0; r < 4; ++r) {
        uint8_t rec[36] = {};
        MemStream::pokeU32(rec, uint32_t(ticks[r]));
        MemStream::pokeF32(rec + 4, 230.5f + r);
        const double energy = 1e10 + 0.5 + r;
        std::memcpy(rec + 8, &energy, 8);
        MemStream::pokeU32(rec + 16, 1700000000 + r);
        MemStream::pokeU32(rec + 20, 250000000);
        MemStream::pokeF32(rec + 24, 99.5f);
        MemStream::pokeU32(rec + 28, uint32_t(states[r]));
        bytes.insert(bytes.end(), rec, rec + 36);
    }
    const std::string path = dir + "/Hp-1-1-1700000000.log";
    writeFile(path, std::string(bytes.begin(), bytes.end()));
    return path;
}

} // namespace

TEST(RecFiles, EveryPeriodicClassReadsBackWithItsIntervalAndLayout) {
    RecordedRoot root;
    for (int c = dc10T; c <= dcMmin; ++c) {
        const TDataClass cls = TDataClass(c);
        const auto found = root.files(root.rec() + "/sync", std::string(DataClassWord(cls)) + "-0-");
        ASSERT_EQ(found.size(), 1u) << DataClassWord(cls);
        TRecData d;
        Log log;
        ASSERT_TRUE(AnalyseRecData(found[0], FerroClsFromNam(ClassWordOfName(found[0])), d, log.fn()))
            << log.last();
        const uint64_t iv = sim::Recorder::IntervalNs(cls);
        EXPECT_EQ(d.First.sec, std::stoull(found[0].substr(found[0].rfind('-') + 1)))
            << "START is the first stamp";
        EXPECT_EQ(TStoLinear(d.Last) - TStoLinear(d.First), (d.Records() - 1) * iv);
        EXPECT_LE(TStoLinear(d.Last), root.now);
        EXPECT_GT(TStoLinear(d.Last) + iv, root.now);
        EXPECT_EQ(d.RecDataLst.front().PaintStruc, psStamp);
        EXPECT_EQ(d.Head.Geraet, "FR-042");
        EXPECT_EQ(d.Context.DataClass, uint32_t(cls));
        EXPECT_NEAR(valueOf(d, 0, sim::RecordingLayout::RmsId(sim::chU1)), 230.0, 10.0);
        // The head's own words, at the documented offsets.
        const std::string bytes = readFile(found[0]);
        EXPECT_EQ(bytes.substr(0, 8), "FERROREC");
        const auto u32 = [&](size_t at) {
            return MemStream::peekU32(reinterpret_cast<const uint8_t*>(&bytes[at]));
        };
        const uint32_t headLen = u32(12);
        EXPECT_EQ(headLen, 680 + 32 * d.RecDataLst.size() + 8 * d.GrpLst.size());
        EXPECT_EQ(u32(664), d.RecMemSize);
        EXPECT_EQ(bytes.size() - headLen, d.Records() * d.RecMemSize);
    }
}

TEST(RecFiles, DisturbanceRecordingsInputsAndEventsReadBack) {
    RecordedRoot root;
    const auto osc = root.files(root.rec() + "/rec", "Osc-1-");
    const auto hp = root.files(root.rec() + "/rec", "Hp-1-");
    ASSERT_EQ(osc.size(), 6u) << "one pair every ten minutes of the last hour";
    ASSERT_EQ(hp.size(), 6u);
    TRecData o, h;
    ASSERT_TRUE(AnalyseRecData(osc[0], dcOsc, o, nullptr));
    EXPECT_EQ(o.SampleRate, 20480u);
    EXPECT_EQ(o.Records(), 12288u);
    EXPECT_EQ(TStoLinear(o.Context.Trigger) - TStoLinear(o.First), 200000000u);
    ASSERT_TRUE(AnalyseRecData(hp[0], dcHp, h, nullptr));
    ASSERT_EQ(h.Records(), 150u);
    TRecCursor c(h);
    uint64_t prev = 0;
    while (c.Next()) {
        const uint64_t expected =
            c.Row() == 0 ? TStoLinear(h.Context.Trigger) - 490000000u : prev + 10000000u;
        EXPECT_EQ(c.TimeNs(), expected) << "row " << c.Row() << ", across the second too";
        prev = c.TimeNs();
    }
    std::string name, text;
    tmStamp_t stamp;
    time_tz_t tz;
    ASSERT_TRUE(ReadOfflineContextHeader(osc[0], tz, nullptr, name, text, stamp, nullptr));
    EXPECT_EQ(name, "Osc");
    EXPECT_NE(text.find("20480 Hz"), std::string::npos) << text;
    EXPECT_EQ(stamp.sec, o.Context.Trigger.sec);

    const auto bin = root.files(root.rec() + "/async", "Bin-0-");
    ASSERT_EQ(bin.size(), 1u);
    std::vector<TAsyncRecord> changes;
    std::vector<uint32_t> ids;
    ASSERT_TRUE(AnalyseAsyncData(bin[0], changes, ids, false, stamp, nullptr));
    EXPECT_EQ(ids, (std::vector<uint32_t>{0x150D00, 0x150D01, 0x150D02, 0x150D03}));
    ASSERT_GT(changes.size(), 200u) << "two edges per dip and swell, and the slow inputs";
    for (size_t k = 1; k < changes.size(); ++k)
        EXPECT_LE(TStoLinear(changes[k - 1].Stamp), TStoLinear(changes[k].Stamp));

    const auto dips = root.files(root.evt(), "Dip-");
    ASSERT_EQ(dips.size(), 60u);
    TEvtData e;
    ASSERT_TRUE(AnalyseEventData(dips[0], e, nullptr));
    ASSERT_EQ(e.EvtLst.size(), 2u) << "phase 1, and the recorder's own entry";
    EXPECT_EQ(e.EvtLst[0].EvtType, etDip);
    EXPECT_EQ(e.EvtLst[0].Phase, 1);
    EXPECT_FLOAT_EQ(e.EvtLst[0].MaxVal, 60.0f);
    EXPECT_FLOAT_EQ(e.EvtLst[0].Duration, 0.3f);
    EXPECT_EQ(e.EvtLst[1].EvtType, etRecorderTriggered);
    std::vector<std::string> lines;
    uint32_t objId = 0;
    ASSERT_TRUE(ReadEventDetail(
        dips[0], 0, objId, lines, [](uint32_t) { return "Spannungseinbruch"; }, nullptr));
    EXPECT_EQ(objId, CVoltPercentId);
    EXPECT_EQ(lines[0], "Ereignis: Spannungseinbruch L1 (Typ 1)");
    const std::string all = [&] {
        std::string s;
        for (auto& l : lines)
            s += l + "\n";
        return s;
    }();
    EXPECT_NE(all.find("Dauer: 0.3000 s"), std::string::npos) << all;
    EXPECT_NE(all.find("Extremwert: 60.00 % (138.00 V)"), std::string::npos) << all;
    Log log;
    EXPECT_FALSE(ReadEventDetail(dips[0], 2, objId, lines, nullptr, log.fn()));
    EXPECT_NE(log.last().find("Ereignis 2 gibt es nicht"), std::string::npos) << log.last();
}

TEST(RecFiles, AFileCutInsideItsLastRecordYieldsTheWholeRecordsOnly) {
    RecordedRoot root;
    for (const std::string& path :
         {root.files(root.rec() + "/rec", "Hp-1-")[0], root.files(root.rec() + "/sync", "10min-")[0]}) {
        TRecData whole;
        ASSERT_TRUE(AnalyseRecData(path, dcUnknown, whole, nullptr));
        const std::string bytes = readFile(path);
        const size_t n = whole.Records(), e = whole.RecMemSize;
        const std::string cut = root.dir.path().toStdString() + "/cut.log";
        for (size_t end = bytes.size() - e; end < bytes.size(); ++end) {
            writeFile(cut, bytes.substr(0, end));
            TRecData d;
            ASSERT_TRUE(AnalyseRecData(cut, dcUnknown, d, nullptr)) << end;
            ASSERT_EQ(d.Records(), n - 1) << end;
            ASSERT_EQ(d.Stream.bytes(),
                      std::vector<uint8_t>(whole.Stream.data(), whole.Stream.data() + (n - 1) * e));
        }
    }
}

TEST(RecFiles, AnOpenFileGrowsAsTheClockRunsAndItsListedEndFollows) {
    RecordedRoot root;
    const std::string path = root.files(root.rec() + "/sync", "1s-0-")[0];
    TRecData before, after;
    ASSERT_TRUE(AnalyseRecData(path, dc1s, before, nullptr));
    root.recorder->advance(root.now + 10 * kNs);
    ASSERT_TRUE(AnalyseRecData(path, dc1s, after, nullptr));
    EXPECT_EQ(after.Records(), before.Records() + 10);
    EXPECT_EQ(TStoLinear(after.Last), TStoLinear(before.Last) + 10 * kNs);
    const std::string rel = "sync/" + fs::path(path).filename().string();
    EXPECT_EQ(sim::InstrumentTree::listedEnd(path, rel), std::optional<uint64_t>(after.Last.sec));
}

TEST(RecFiles, StorageKindsDecodeToTheirTimesAndValues) {
    QTemporaryDir dir;
    TRecData d;
    ASSERT_TRUE(AnalyseRecData(handMade(dir.path().toStdString(), psTick, 0), dcHp, d, nullptr));
    ASSERT_EQ(d.Records(), 4u);
    const uint64_t base = 1700000000ull * kNs;
    // An equal tick adds no second, a lower one adds one each time.
    const uint64_t times[4] = {base + 999999000, base + 999999000, base + kNs + 500, base + 2 * kNs + 300};
    TRecCursor c(d);
    for (int r = 0; c.Next(); ++r) {
        EXPECT_EQ(c.TimeNs(), times[r]) << r;
        EXPECT_FLOAT_EQ(float(c.Value(d.RecDataLst[1])), 230.5f + r);
        EXPECT_EQ(c.Value(d.RecDataLst[2]), 1e10 + 0.5 + r) << "the double keeps its digits";
        EXPECT_EQ(c.Stamp(d.RecDataLst[3]).sec, 1700000000u + r);
        EXPECT_FLOAT_EQ(float(c.Value(d.RecDataLst[3])), 99.5f);
        EXPECT_EQ(c.Value(d.RecDataLst[4]), r == 1 || r == 3 ? 0.0 : 1.0) << "binary state clamped to 0..1";
    }
    EXPECT_EQ(TStoLinear(d.Last), times[3]);
    // The same records with a value axis: the time comes from the sample rate.
    QTemporaryDir dir2;
    ASSERT_TRUE(AnalyseRecData(handMade(dir2.path().toStdString(), psSingle, 3), dcHp, d, nullptr));
    TRecCursor s(d);
    s.Next();
    s.Next();
    EXPECT_EQ(s.TimeNs(), base + 333333333u);
}

TEST(RecFiles, DamagedFilesAreRefusedWithAReasonAndNothingRead) {
    QTemporaryDir dir;
    const std::string good = handMade(dir.path().toStdString(), psTick, 0);
    const std::string bytes = readFile(good);
    const std::string bad = dir.path().toStdString() + "/bad.log";
    auto refused = [&](std::string b, const std::string& reason, TDataClass cls = dcUnknown) {
        writeFile(bad, b);
        TRecData d;
        Log log;
        const bool ok = AnalyseRecData(bad, cls, d, log.fn());
        EXPECT_FALSE(ok) << reason;
        EXPECT_EQ(d.Records(), 0u);
        EXPECT_NE(log.last().find(bad), std::string::npos);
        EXPECT_NE(log.last().find(reason), std::string::npos) << log.last();
    };
    auto patched = [&](size_t at, uint32_t v) {
        std::string b = bytes;
        MemStream::pokeU32(reinterpret_cast<uint8_t*>(&b[at]), v);
        return b;
    };
    for (size_t cut : {0, 7, 100, 679})
        refused(bytes.substr(0, cut), "Kopf abgeschnitten");
    refused("XERROREC" + bytes.substr(8), "Kennung fehlt");
    refused(patched(8, 2), "Formatversion 2");
    refused(patched(12, uint32_t(bytes.size() + 1)), "Kopflänge");
    refused(patched(12, 0xFFFFFFF0u), "Kopflänge");
    refused(patched(668, 0xFFFFFFFFu), "Spalten und 2 Gruppen passen nicht");
    refused(patched(672, 1000), "Gruppen passen nicht");
    refused(patched(664, 0), "Eintragsgröße 0");
    refused(patched(664, 1u << 30), "Eintragsgröße");
    refused(patched(680 + 32 + 20, 34), "Spalte 1: Spalte ab Byte 34 reicht über den Datensatz");
    refused(patched(680 + 32 + 20, 0xFFFFFFFEu), "reicht über den Datensatz");
    std::string kind = bytes;
    kind[680 + 17] = 5;
    refused(kind, "unbekannte Speicherart 5");
    refused(patched(680 + 32 + 28, 7), "Gruppe 7, die es nicht gibt");
    refused(bytes, "Datenklasse Hp der Datei passt nicht zum Namen (10min)", dc10min);
    // The other readers take only their own kind.
    TEvtData e;
    Log log;
    EXPECT_FALSE(AnalyseEventData(good, e, log.fn()));
    EXPECT_NE(log.last().find("Aufzeichnung"), std::string::npos);
    std::vector<TAsyncRecord> a;
    std::vector<uint32_t> ids;
    tmStamp_t stamp;
    EXPECT_FALSE(AnalyseAsyncData(good, a, ids, false, stamp, log.fn()));
    TDataFileHead h;
    h.Kind = TFileKind::BinaryInputs;
    h.Context.DataClass = dcBinIn;
    h.EntrySize = 12;
    std::vector<uint8_t> async = EncodeDataFileHead(h, {}, {}, {1, 2});
    MemStream::pokeU32(async.data() + 668, 17);
    writeFile(bad, std::string(async.begin(), async.end()));
    EXPECT_FALSE(AnalyseAsyncData(bad, a, ids, false, stamp, log.fn()));
    EXPECT_NE(log.last().find("17 Eingänge"), std::string::npos) << log.last();

    // An event that claims to last 1e30 s (or NaN) ends its file at most 1e8 s after its start.
    TDataFileHead eh;
    eh.Kind = TFileKind::Events;
    eh.Context.DataClass = dcEvent;
    eh.EntrySize = TDataFileHead::EventEntrySize;
    std::vector<uint8_t> ev = EncodeDataFileHead(eh, {}, {}, {});
    for (float duration : {1e30f, std::nanf("")}) {
        std::vector<uint8_t> entry(eh.EntrySize, 0);
        MemStream::pokeU32(entry.data() + 4, 1700000000u);
        MemStream::pokeF32(entry.data() + 16, duration);
        ev.insert(ev.end(), entry.begin(), entry.end());
    }
    writeFile(bad, std::string(ev.begin(), ev.end()));
    time_tz_t tz;
    envMan_usrDat_t env;
    ASSERT_TRUE(ReadOfflineSysEnvHead(bad, tz, env, true, stamp, log.fn())) << log.last();
    EXPECT_EQ(stamp.sec, 1700000000u + 100000000u);
}

TEST(RecPhysics, TenMinuteRmsIsTheRootMeanSquareOfItsSeconds) {
    RecordedRoot root;
    TRecData tenMin, seconds;
    ASSERT_TRUE(AnalyseRecData(root.files(root.rec() + "/sync", "10min-")[0], dc10min, tenMin, nullptr));
    ASSERT_TRUE(AnalyseRecData(root.files(root.rec() + "/sync", "1s-")[0], dc1s, seconds, nullptr));
    std::vector<std::pair<uint64_t, double>> u1s, i1s;
    TRecCursor s(seconds);
    const TTblStrc* u = nullptr;
    const TTblStrc* i = nullptr;
    for (const TTblStrc& c : seconds.RecDataLst) {
        if (c.ObjId == sim::RecordingLayout::RmsId(sim::chU1)) u = &c;
        if (c.ObjId == sim::RecordingLayout::RmsId(sim::chI1)) i = &c;
    }
    while (s.Next()) {
        u1s.push_back({s.TimeNs(), s.Value(*u)});
        i1s.push_back({s.TimeNs(), s.Value(*i)});
    }
    TRecCursor t(tenMin);
    int compared = 0;
    while (t.Next()) {
        double su = 0, si = 0;
        int n = 0;
        for (size_t k = 0; k < u1s.size(); ++k)
            if (u1s[k].first > t.TimeNs() - 600 * kNs && u1s[k].first <= t.TimeNs()) {
                su += u1s[k].second * u1s[k].second;
                si += i1s[k].second * i1s[k].second;
                ++n;
            }
        if (n != 600) continue;
        EXPECT_NEAR(t.Value(*u), std::sqrt(su / n), 0.001 * t.Value(*u));
        EXPECT_NEAR(t.Value(*i), std::sqrt(si / n), 0.001 * t.Value(*i));
        ++compared;
    }
    EXPECT_GE(compared, 11);
}

TEST(RecPhysics, ADipShowsInTheSecondsAsAnEventAndInTheOscilloscope) {
    RecordedRoot root;
    const std::string osc = root.files(root.rec() + "/rec", "Osc-1-").back();
    TRecData o, seconds;
    ASSERT_TRUE(AnalyseRecData(osc, dcOsc, o, nullptr));
    const uint64_t trigger = TStoLinear(o.Context.Trigger);
    const auto evt = root.files(root.evt(), "Dip-" + std::to_string(trigger / kNs) + "-");
    ASSERT_EQ(evt.size(), 1u) << "the event of the trigger";
    TEvtData e;
    ASSERT_TRUE(AnalyseEventData(evt[0], e, nullptr));
    const TEvtStrc& dip = e.EvtLst[0];
    EXPECT_EQ(TStoLinear(dip.Stamp), trigger);
    const double depth = dip.MaxVal / 100.0, dur = dip.Duration;
    // The second that holds the dip: its mean square drops by the dip's share.
    ASSERT_TRUE(AnalyseRecData(root.files(root.rec() + "/sync", "1s-")[0], dc1s, seconds, nullptr));
    const uint32_t u1 = sim::RecordingLayout::RmsId(sim::chU1);
    const uint64_t row = (trigger / kNs + 1 - seconds.First.sec);
    const double before = valueOf(seconds, row - 1, u1), during = valueOf(seconds, row, u1);
    EXPECT_NEAR(during * during, before * before * (1 - dur + dur * depth * depth), 0.002 * before * before);
    // The oscilloscope: one cycle's rms after the trigger against one before it.
    auto cycleRms = [&](uint64_t fromNs) {
        double s = 0;
        int n = 0;
        TRecCursor c(o);
        while (c.Next())
            if (c.TimeNs() >= fromNs && c.TimeNs() < fromNs + 20000000u) {
                s += c.Value(o.RecDataLst[0]) * c.Value(o.RecDataLst[0]);
                ++n;
            }
        return std::sqrt(s / n);
    };
    EXPECT_NEAR(cycleRms(trigger + 40000000u) / cycleRms(trigger - 60000000u), depth, 0.03);
}

TEST(RecLanguage, EveryIdTheFilesUseHasAGermanAndAnEnglishText) {
    for (const char* lang : {"lang_de.xml", "lang_en.xml"}) {
        TXMLLangu f;
        ASSERT_TRUE(f.SetLangFile(
            std::string(FERRO_SOURCE_DIR "/fixtures/instrument/flashdrive0/data/ccci/scratchpad/lang/") +
            lang));
        std::vector<uint32_t> ids = sim::RecordingLayout::AllIds();
        for (uint32_t id : {0x0C000001u, 0x0C000002u, 0x0C000003u, 0x0C000021u, CVoltPercentId})
            ids.push_back(id);
        for (uint32_t id : ids)
            EXPECT_FALSE(f.IdToText(id).empty()) << lang << " " << std::hex << id;
    }
}
