// The widget-free parts of the stored-data views: where a listed file lies locally and whether it
// is complete, the texts of the file tree, and a recording decoded onto a time chart.
#include "data/LocalCopy.h"
#include "stored/GraphAssembly.h"
#include "stored/ListingTexts.h"

#include <QTemporaryDir>

#include <fstream>

#include <gtest/gtest.h>

using namespace ferro;

namespace {

void WriteBytes(const std::string& path, size_t n) {
    std::ofstream(path, std::ios::binary) << std::string(n, 'x');
}

} // namespace

TEST(LocalCopy, CompleteResumeMissingAndTheFolderRules) {
    QTemporaryDir dir;
    const std::string rec = dir.filePath("Recorder/").toStdString(),
                      evt = dir.filePath("Event/").toStdString();
    std::filesystem::create_directories(rec);
    std::filesystem::create_directories(evt);
    WriteBytes(rec + "10min-0-100.log", 1000);

    // Exactly as long as listed: complete, logged without "Resuming"; the folder is dropped.
    TLocalCopy c = CheckLocalCopy("sync/10min-0-100.log", 1000, true, rec, evt);
    EXPECT_TRUE(c.Complete);
    EXPECT_EQ(c.Path, rec + "10min-0-100.log");
    EXPECT_EQ(c.LogLine, "File " + c.Path + " Exists 1000/1000");
    // Longer than listed is complete too; shorter resumes at the local length.
    EXPECT_TRUE(CheckLocalCopy("sync/10min-0-100.log", 900, true, rec, evt).Complete);
    c = CheckLocalCopy("sync/10min-0-100.log", 1500, true, rec, evt);
    EXPECT_FALSE(c.Complete);
    EXPECT_EQ(c.LocalSize, 1000u);
    EXPECT_EQ(c.LogLine, "File " + c.Path + " Exists 1000/1500 - Resuming");
    // "rec/x" meets "sync/x" in one local file.
    EXPECT_EQ(CheckLocalCopy("rec/10min-0-100.log", 1, true, rec, evt).Path, c.Path);

    // Events keep their whole name in their own folder; a missing file starts at 0.
    c = CheckLocalCopy("Dip-5-0.log", 10, false, rec, evt);
    EXPECT_EQ(c.Path, evt + "Dip-5-0.log");
    EXPECT_FALSE(c.Complete);
    EXPECT_EQ(c.LocalSize, 0u);
    EXPECT_EQ(c.LogLine, "File " + c.Path + " does not exist - Downloading");
    // A listed name never climbs out of the folder.
    EXPECT_EQ(CheckLocalCopy("../../etc/passwd", 10, false, rec, evt).Path, evt + "passwd");
    EXPECT_EQ(CheckLocalCopy("sync/..", 10, true, rec, evt).Path, rec);
    EXPECT_FALSE(CheckLocalCopy("sync/..", 10, true, rec, evt).Complete);
}

TEST(ListingTexts, ItemTextsByFolderInTheInstrumentsTime) {
    const TToLocal plusOneHour = [](const tmStamp_t& s) { return tmStamp_t{s.sec + 3600, s.frac}; };
    // 2026-11-22 05:40:00 UTC to 2026-11-23 05:30:00 UTC, 2047 bytes: kilobytes round down.
    TListingEntry e = TRecordingList::ParseLine("sync/10min-0-1795326000.log;1795411800;2047", false);
    EXPECT_EQ(ListingItemText(e, plusOneHour), "22.11.2026 06:40:00 - 23.11.2026 06:30:00 - 1Kb");
    e = TRecordingList::ParseLine("rec/Osc-1-3-1795408880.log;1795408881;640096", false);
    EXPECT_EQ(ListingItemText(e, plusOneHour), "Osc 23.11.2026 05:41:20 625Kb");
    e = TRecordingList::ParseLine("Dip-1795408280-0.log;1795408281;824", true);
    EXPECT_EQ(ListingItemText(e, nullptr), "23.11.2026 04:31:20 - 23.11.2026 04:31:21 - 0Kb");
    EXPECT_EQ(SyncFolderIndex("10min"), 2);
    EXPECT_EQ(SyncFolderIndex("Mmin"), 7);
    EXPECT_EQ(SyncFolderIndex("Bin"), -1) << "binary inputs have their own folder";
    EXPECT_EQ(SyncFolderIndex("4"), -1);
}

namespace {

// Records of a stamp, a single, a tick counter of a binary state and an extreme value.
TRecData MakeRecording(const std::vector<uint32_t>& secs, uint8_t valueKind = psSingle) {
    TRecData d;
    d.RecDataLst = {{CTimeColumnId, "", 0, psStamp, 0, 8, 0},
                    {0x1000, "V", 1, valueKind, 8, 4, 1},
                    {CBinaryStateId, "", 6, psTick, 12, 4, 2},
                    {0x2000, "A", 2, psExtrem, 16, 12, 3}};
    d.RecMemSize = 28;
    d.TimeZone = time_tz_t::fromOffsetMinutes(60);
    d.Context.Start = {secs.front(), 0};
    for (size_t i = 0; i < secs.size(); ++i) {
        d.Stream.writeU32(secs[i]);
        d.Stream.writeU32(0);
        d.Stream.writeF32(230.0f + float(i));
        d.Stream.writeU32(i == 1 ? 7u : 0u); // any stored integer reaches the chart as 0 or 1
        d.Stream.writeU32(secs[i]);
        d.Stream.writeU32(0);
        d.Stream.writeF32(10.0f * float(i));
    }
    return d;
}

} // namespace

TEST(GraphAssembly, DecodesEveryKindInLocalTimeWithColoursByTag) {
    const TRecData d = MakeRecording({1000, 1600, 2200});
    TPQPaintBoxCrvTime chart;
    const std::vector<TAlphaColor> colours(TColArr.begin(), TColArr.end());
    std::vector<std::string> log;
    ASSERT_TRUE(TGraphAssembly::Paint(
        d, {3, 1, 2}, chart, colours, [](uint32_t id) { return id == 0x1000 ? "U1E" : ""; },
        [&](const std::string& l) { log.push_back(l); }));
    ASSERT_EQ(chart.GetMessCnt(), 3);
    EXPECT_EQ(chart.MessLst().Tsl(0), 4600ull * 1000000000ull) << "one hour east of UTC";
    EXPECT_EQ(chart.MessLst().Tsl(2), 5800ull * 1000000000ull);
    EXPECT_FLOAT_EQ(chart.MessLst().Val(2, 0), 20.0f);
    EXPECT_FLOAT_EQ(chart.MessLst().Val(1, 1), 231.0f);
    EXPECT_FLOAT_EQ(chart.MessLst().Val(1, 2), 1.0f);
    EXPECT_EQ(chart.GetBaseRec(1).FSym, "U1E");
    EXPECT_EQ(chart.GetBaseRec(1).FGrpSym, "Spannung");
    EXPECT_EQ(chart.GetBaseRec(0).FSym, "0x2000") << "a column without a name shows its id";
    // The colour follows the tag; the twelfth colour is never taken.
    EXPECT_EQ(chart.GetLnColor(0), colours[3]);
    EXPECT_EQ(TGraphAssembly::ColourOf(11, colours), colours[0]);
    EXPECT_TRUE(log.empty());

    // Decoded apart, as on the reader thread, and handed over whole: the same records, each curve
    // scaled as AutoScaleAll scales it.
    TGraphSeries s;
    ASSERT_TRUE(TGraphAssembly::Assemble(d, {3, 1, 2}, s, nullptr));
    TPQPaintBoxCrvTime other;
    TGraphAssembly::Show(d, s, other, colours, nullptr);
    EXPECT_EQ(s.Records.Count(), 0);
    ASSERT_EQ(other.GetMessCnt(), 3);
    std::vector<double> ranges;
    for (int c = 0; c < 3; ++c)
        ranges.insert(ranges.end(), {other.YRec(c).FSclMin, other.YRec(c).FSclMax});
    other.AutoScaleAll();
    for (int c = 0; c < 3; ++c) {
        EXPECT_EQ(other.YRec(c).FSclMin, ranges[size_t(2 * c)]) << c;
        EXPECT_EQ(other.YRec(c).FSclMax, ranges[size_t(2 * c + 1)]) << c;
        for (int i = 0; i < 3; ++i)
            EXPECT_EQ(other.MessLst().Val(i, c), chart.MessLst().Val(i, c));
    }
    EXPECT_EQ(other.MessLst().Tsl(2), chart.MessLst().Tsl(2));

    // An unknown storage kind gives up before anything reaches the chart.
    const TRecData bad = MakeRecording({1000, 1600}, 9);
    EXPECT_FALSE(TGraphAssembly::Paint(bad, {1}, chart, colours, nullptr,
                                       [&](const std::string& l) { log.push_back(l); }));
    EXPECT_EQ(log, std::vector<std::string>{"Unknown PaintStruc: 9"});
    EXPECT_EQ(chart.GetMessCnt(), 3);
}

TEST(GraphAssembly, ALongRecordingDecodedInTwoHalvesKeepsEveryRecordAndTheWholeRange) {
    std::vector<uint32_t> secs(140000);
    for (size_t i = 0; i < secs.size(); ++i)
        secs[i] = 1000 + uint32_t(i);
    const TRecData d = MakeRecording(secs);
    TGraphSeries s;
    ASSERT_TRUE(TGraphAssembly::Assemble(d, {1, 3}, s, nullptr));
    ASSERT_EQ(s.Records.Count(), 140000);
    for (int r : {0, 69999, 70000, 139999}) {
        EXPECT_EQ(s.Records.Tsl(r), (4600ull + uint64_t(r)) * 1000000000ull) << r;
        EXPECT_EQ(s.Records.Val(r, 0), 230.0f + float(r)) << r;
        EXPECT_EQ(s.Records.Val(r, 1), 10.0f * float(r)) << r;
    }
    // The lowest values are in the first half, the highest in the second.
    EXPECT_EQ(s.Min[0], 230.0f);
    EXPECT_EQ(s.Max[0], 140229.0f);
    EXPECT_EQ(s.Min[1], 0.0f);
    EXPECT_EQ(s.Max[1], 1399990.0f);
}
