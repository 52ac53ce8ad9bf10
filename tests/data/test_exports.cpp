// CSV and COMTRADE exports of recordings. The COMTRADE files are read back by a reader written
// from IEEE C37.111-2013 (configuration file clause 7, binary data file clause 8), not from the
// writer.
#include "data/RecordedRoot.h"

#include "data/ComtradeExport.h"
#include "data/CsvExport.h"
#include "data/RecCursor.h"
#include "ferrosim/RecordingLayout.h"
#include "support/Files.h"

#include <gtest/gtest.h>

#include <cmath>
#include <sstream>

using namespace ferro;
using namespace ferro::test;

namespace {

std::vector<std::string> splitOn(const std::string& s, char sep) {
    std::vector<std::string> out(1);
    for (char c : s)
        if (c == sep)
            out.emplace_back();
        else
            out.back().push_back(c);
    return out;
}

// The configuration and data of a COMTRADE record, as the standard lays them out.
struct Comtrade {
    std::string station, device;
    int revYear = 0, analogCount = 0, digitalCount = 0;
    struct Analog {
        std::string id, phase, unit;
        double a = 0, b = 0;
        char ps = 0;
    };
    std::vector<Analog> analog;
    std::vector<std::string> digital;
    double lineFreq = 0;
    int nrates = 0;
    double samp = 0;
    long endsamp = 0;
    std::string first, trigger, ft, timeCode;
    double timemult = 0;
    struct Sample {
        uint32_t n, t;
        std::vector<int16_t> a;
        std::vector<uint16_t> d;
    };
    std::vector<Sample> samples;

    bool load(const std::string& base) {
        std::vector<std::string> l;
        for (const std::string& line : splitOn(readFile(base + ".cfg"), '\n'))
            if (!line.empty()) l.push_back(line.back() == '\r' ? line.substr(0, line.size() - 1) : line);
        size_t i = 0;
        auto f = splitOn(l[i++], ',');
        station = f[0], device = f[1], revYear = std::stoi(f[2]);
        f = splitOn(l[i++], ',');
        if (f[1].back() != 'A' || f[2].back() != 'D') return false;
        analogCount = std::stoi(f[1]), digitalCount = std::stoi(f[2]);
        if (std::stoi(f[0]) != analogCount + digitalCount) return false;
        for (int k = 0; k < analogCount; ++k) {
            // An,ch_id,ph,ccbm,uu,a,b,skew,min,max,primary,secondary,PS
            f = splitOn(l[i++], ',');
            if (f.size() != 13 || std::stoi(f[0]) != k + 1) return false;
            analog.push_back({f[1], f[2], f[4], std::stod(f[5]), std::stod(f[6]), f[12][0]});
        }
        for (int k = 0; k < digitalCount; ++k) {
            f = splitOn(l[i++], ','); // Dn,ch_id,ph,ccbm,y
            if (f.size() != 5) return false;
            digital.push_back(f[1]);
        }
        lineFreq = std::stod(l[i++]);
        nrates = std::stoi(l[i++]);
        for (int r = 0; r < std::max(nrates, 1); ++r) {
            f = splitOn(l[i++], ',');
            samp = std::stod(f[0]), endsamp = std::stol(f[1]);
        }
        first = l[i++], trigger = l[i++], ft = l[i++];
        timemult = std::stod(l[i++]);
        timeCode = l[i++];
        const std::string dat = readFile(base + ".dat");
        const size_t words = size_t(digitalCount + 15) / 16, size = 8 + 2 * size_t(analogCount) + 2 * words;
        if (ft != "BINARY" || dat.size() % size) return false;
        for (size_t at = 0; at < dat.size(); at += size) {
            auto p = reinterpret_cast<const uint8_t*>(dat.data() + at);
            Sample s{MemStream::peekU32(p), MemStream::peekU32(p + 4), {}, {}};
            for (int k = 0; k < analogCount; ++k)
                s.a.push_back(int16_t(MemStream::peekU16(p + 8 + 2 * k)));
            for (size_t w = 0; w < words; ++w)
                s.d.push_back(MemStream::peekU16(p + 8 + 2 * analogCount + 2 * w));
            samples.push_back(s);
        }
        return true;
    }
};

} // namespace

TEST(Export, CsvHasNamesUnitsIsoTimesAndValuesThatReadBack) {
    RecordedRoot root;
    TRecData d;
    ASSERT_TRUE(AnalyseRecData(root.files(root.rec() + "/sync", "10min-")[0], dc10min, d, nullptr));
    std::vector<size_t> cols;
    std::string reason;
    const uint32_t u1 = sim::RecordingLayout::RmsId(sim::chU1);
    ASSERT_TRUE(TCsvExport::SelectColumns(d, {u1, sim::RecordingLayout::EnergyId}, cols, reason));
    EXPECT_FALSE(TCsvExport::SelectColumns(d, {0x12345678}, cols, reason));
    EXPECT_EQ(reason, "Spalte 305419896 (0x12345678) gibt es in der Datei nicht");
    ASSERT_TRUE(TCsvExport::SelectColumns(d, {u1, sim::RecordingLayout::EnergyId}, cols, reason));
    std::ostringstream out;
    TCsvExport::Write(
        d, cols, [](uint32_t id) { return id == 0x01010000 ? "U1E, Leiter-Erde" : ""; }, out);
    const auto lines = splitOn(out.str(), '\n');
    ASSERT_EQ(lines.size(), d.Records() + 2) << "header, records, and the empty rest after the last CR LF";
    EXPECT_EQ(lines[0], "Zeit,\"U1E, Leiter-Erde [V]\",0x010C0000 [Wh]\r");
    const auto f = splitOn(lines[1].substr(0, lines[1].size() - 1), ',');
    ASSERT_EQ(f.size(), 3u);
    EXPECT_EQ(f[0], "2025-11-22T00:10:00.000+00:00");
    TRecCursor first(d);
    first.Next();
    EXPECT_EQ(std::stof(f[1]), float(first.Value(d.RecDataLst[cols[0]])));
    EXPECT_EQ(std::stod(f[2]), first.Value(d.RecDataLst[cols[1]])) << "the double keeps its digits";
    EXPECT_EQ(TCsvExport::Field("a b"), "a b");
    EXPECT_EQ(TCsvExport::Field("a\"b"), "\"a\"\"b\"");
    EXPECT_EQ(TCsvExport::Field("x,\"y\""), "\"x,\"\"y\"\"\"");
    EXPECT_EQ(TCsvExport::Number(0.1, true), "0.1");
}

TEST(Export, ComtradeOfAnOscilloscopeRecordingReadsBackByTheStandard) {
    RecordedRoot root;
    TRecData d;
    ASSERT_TRUE(AnalyseRecData(root.files(root.rec() + "/rec", "Osc-1-")[0], dcOsc, d, nullptr));
    const std::string base = root.dir.path().toStdString() + "/osc";
    std::string reason;
    ASSERT_TRUE(TComtradeExport::Write(d, base, nullptr, reason)) << reason;
    Comtrade c;
    ASSERT_TRUE(c.load(base));
    EXPECT_EQ(c.station, "Umspannwerk Nord Feld 3");
    EXPECT_EQ(c.revYear, 2013);
    EXPECT_EQ(c.analogCount, 12);
    EXPECT_EQ(c.digitalCount, 1);
    EXPECT_EQ(c.lineFreq, 50.0);
    EXPECT_EQ(c.nrates, 1);
    EXPECT_EQ(c.samp, 20480.0);
    EXPECT_EQ(c.endsamp, long(d.Records()));
    EXPECT_EQ(c.timeCode, "0,0");
    EXPECT_EQ(c.analog[0].unit, "V");
    EXPECT_EQ(c.analog[7].unit, "A");
    // Trigger 200 ms after the first sample; times in dd/mm/yyyy,hh:mm:ss.ssssss.
    const uint64_t t0 = TStoLinear(d.First), trig = TStoLinear(d.Context.Trigger);
    EXPECT_EQ(c.first.substr(0, 11), "22/11/2025,");
    EXPECT_NEAR(std::stod(c.trigger.substr(17)) - std::stod(c.first.substr(17)), (trig - t0) / 1e9, 1e-9);
    ASSERT_EQ(c.samples.size(), d.Records());
    TRecCursor cur(d);
    size_t digitalOn = 0;
    while (cur.Next()) {
        const auto& s = c.samples[cur.Row()];
        ASSERT_EQ(s.n, cur.Row() + 1);
        EXPECT_NEAR(s.t * c.timemult, (cur.TimeNs() - t0) / 1000.0, 1.0);
        for (int k = 0; k < 12; ++k)
            ASSERT_NEAR(c.analog[k].a * s.a[k] + c.analog[k].b, cur.Value(d.RecDataLst[k]),
                        std::fabs(c.analog[k].a) * 0.51)
                << "channel " << k << " sample " << cur.Row();
        EXPECT_EQ(s.d[0] & 1, cur.Value(d.RecDataLst[12]) != 0 ? 1 : 0);
        digitalOn += s.d[0] & 1;
    }
    EXPECT_GT(digitalOn, 0u) << "the binary input marks the dip";
}

TEST(Export, ComtradeOfHalfPeriodsUsesTimeStampsAndOtherClassesAreRefused) {
    RecordedRoot root;
    TRecData hp, sec;
    ASSERT_TRUE(AnalyseRecData(root.files(root.rec() + "/rec", "Hp-1-")[0], dcHp, hp, nullptr));
    const std::string base = root.dir.path().toStdString() + "/hp";
    std::string reason;
    ASSERT_TRUE(TComtradeExport::Write(hp, base, nullptr, reason)) << reason;
    Comtrade c;
    ASSERT_TRUE(c.load(base));
    EXPECT_EQ(c.nrates, 0);
    EXPECT_EQ(c.samp, 0.0);
    EXPECT_EQ(c.endsamp, 150);
    EXPECT_EQ(c.analogCount, 6);
    for (size_t k = 1; k < c.samples.size(); ++k)
        EXPECT_EQ(c.samples[k].t - c.samples[k - 1].t, 10000u);
    ASSERT_TRUE(AnalyseRecData(root.files(root.rec() + "/sync", "1s-")[0], dc1s, sec, nullptr));
    EXPECT_FALSE(TComtradeExport::Write(sec, base, nullptr, reason));
    EXPECT_EQ(reason, "COMTRADE gibt es nur für Osc- und Hp-Aufzeichnungen, nicht für 1s");
    EXPECT_EQ(TComtradeExport::ZoneCode(-5 * 3600 - 1800), "-5h30");
}
