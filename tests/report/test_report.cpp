// Statistics of a 10-minute recording on the harmonic chart, and the EN 50160 report that
// `ferroctl report` makes of a ferrosim week with a supply set to break one limit.
#include "charts/ClipLst.h"
#include "charts/PQPaintBoxHarm.h"
#include "data/DataFileHead.h"
#include "foundation/MemStream.h"
#include "report/ENStatistic.h"
#include "support/Files.h"
#include "support/SimProcess.h"

#include "data/DataFileReader.h"

#include <QProcess>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <sstream>

using namespace ferro;
using namespace ferro::test;
namespace fs = std::filesystem;

namespace {

constexpr uint32_t kStart = 1763769600;

// A 10-minute recording: a stamp column, then one single column per id; record r holds
// values(r, column).
std::string WriteRecording(const QTemporaryDir& dir, uint8_t wiring, const std::vector<uint32_t>& ids,
                           int records, const std::function<float(int, size_t)>& values) {
    TDataFileHead h;
    h.Kind = TFileKind::Recording;
    h.Env.Anlage = "Umspannwerk Süd";
    h.Env.LeiterSys = wiring;
    for (size_t k = 0; k < h.Env.Limits.size(); ++k)
        h.Env.Limits[k] = float(k + 2) / 10.0f; // order n: n / 10 %
    h.Context.Valid = 1;
    h.Context.DataClass = dc10min;
    h.Context.Start = {kStart, 0};
    h.Context.Nennspannung = 230;
    std::vector<TTblStrc> cols(1);
    cols[0].ObjId = CTimeColumnId;
    cols[0].PaintStruc = psStamp;
    cols[0].Size = 8;
    for (uint32_t id : ids) {
        TTblStrc c;
        c.ObjId = id;
        c.Offset = cols.back().Offset + cols.back().Size;
        c.Size = 4;
        cols.push_back(c);
    }
    h.EntrySize = cols.back().Offset + cols.back().Size;
    std::vector<uint8_t> bytes = EncodeDataFileHead(h, cols, {{0, 0x0000FFFF}}, {});
    for (int r = 0; r < records; ++r) {
        std::vector<uint8_t> rec(h.EntrySize);
        MemStream::pokeU32(rec.data(), kStart + 600u * uint32_t(r + 1));
        for (size_t k = 0; k < ids.size(); ++k)
            MemStream::pokeF32(rec.data() + cols[k + 1].Offset, values(r, k));
        bytes.insert(bytes.end(), rec.begin(), rec.end());
    }
    const std::string path = dir.filePath(QString("10min-0-%1.log").arg(kStart)).toStdString();
    std::ofstream(path, std::ios::binary)
        .write(reinterpret_cast<const char*>(bytes.data()), std::streamsize(bytes.size()));
    return path;
}

// The chart's clipboard rows by their first cell.
std::map<std::string, std::vector<std::string>> ClipRows(TPQPaintBoxHarm& chart) {
    TClipLst clip;
    chart.CopyToClip(clip);
    std::map<std::string, std::vector<std::string>> rows;
    for (const std::string& line : clip.Lines()) {
        std::vector<std::string> cells;
        std::stringstream s(line);
        for (std::string c; std::getline(s, c, '\t');)
            cells.push_back(c);
        if (!cells.empty()) rows[cells[0]] = cells;
    }
    return rows;
}

std::string PdfText(const std::string& pdf) {
    QProcess p;
    p.start("pdftotext", {"-layout", QString::fromStdString(pdf), "-"});
    if (!p.waitForFinished(60000)) return {};
    return p.readAllStandardOutput().toStdString();
}

} // namespace

TEST(ENStatistic, NinetyFivePercentEntryThreeWireRuleAndNormalisedLimits) {
    QTemporaryDir dir;
    // Harmonic 5 of U1E (line to earth), of U12 (line to line) and of I1: values 1..n, shuffled.
    const uint32_t u1e = 0x2030000 | 5 << 8, u12 = 0x20B0000 | 5 << 8, i1 = 0x2250000 | 5 << 8;
    auto shuffled = [](int r, size_t k) { return float((r * 7 + int(k)) % 20 + 1); };
    for (int n : {20, 19}) {
        const std::string f =
            WriteRecording(dir, ls3P4W, {u1e, i1}, n, [&](int r, size_t) { return float((r * 7) % n + 1); });
        std::vector<std::string> log;
        TENStatistic s;
        ASSERT_TRUE(GeneENCompleteRep(f, sdHrmULE, s, [&](const std::string& l) { log.push_back(l); }));
        // Entry 19 of 0..19 (20 records) and entry 18 of 0..18 (19 records): the maximum both times.
        EXPECT_EQ(s.P95[0][5], float(n)) << n;
        EXPECT_EQ(s.Max[0][5], float(n));
        EXPECT_EQ(log.front(), "Valid_Symbols=1") << "the current column is not of this family";
        EXPECT_EQ(log.back(), "ENHarmonics=" + f);
    }
    std::vector<float> hundred(100);
    for (int k = 0; k < 100; ++k)
        hundred[size_t(k)] = float(100 - k);
    float mx = 0, p95 = 0;
    ASSERT_TRUE(MaxAnd95(hundred, mx, p95));
    EXPECT_EQ(p95, 96.0f) << "entry 95 of the ascending order";
    // Against a full sort, for sizes around the cut, ascending, descending and with repeats and NaN.
    uint32_t x = 7;
    for (size_t n : {1u, 2u, 19u, 20u, 21u, 101u, 5000u})
        for (int shape = 0; shape < 3; ++shape) {
            std::vector<float> v(n);
            for (size_t k = 0; k < n; ++k) {
                x = x * 1664525u + 1013904223u;
                v[k] = shape == 0 ? float(k) : shape == 1 ? float(n - k) : float(x >> 28);
            }
            if (shape == 2) v.push_back(std::nanf(""));
            std::vector<float> sorted = v;
            sorted.erase(std::remove_if(sorted.begin(), sorted.end(), [](float f) { return f != f; }),
                         sorted.end());
            std::sort(sorted.begin(), sorted.end());
            ASSERT_TRUE(MaxAnd95(v, mx, p95));
            EXPECT_EQ(p95, sorted[std::min(sorted.size() - 1, sorted.size() * 95 / 100)])
                << n << " " << shape;
            EXPECT_EQ(mx, sorted.back()) << n << " " << shape;
        }

    // Three wires: asked for line to earth, the line-to-line harmonics are shown, normalised
    // against the head's limit; the current stays as asked.
    const std::string three = WriteRecording(dir, ls3P3W, {u12, i1}, 20, shuffled);
    TENStatistic s;
    ASSERT_TRUE(GeneENCompleteRep(three, sdHrmULE, s, nullptr));
    EXPECT_EQ(s.Disp, sdHrmULL);
    EXPECT_TRUE(s.Normalization);
    EXPECT_EQ(s.ValidSymbols, 1);
    TPQPaintBoxHarm chart;
    FeedHarmChart(s, chart);
    EXPECT_TRUE(chart.Statistic() && chart.Normalization());
    EXPECT_EQ(chart.HrmMeas(0), "U12");
    auto rows = ClipRows(chart);
    EXPECT_EQ(rows["Limit"][6], "0.5") << "order 5's limit from the head";
    EXPECT_EQ(rows["L1 (Max)"][6], "20");
    EXPECT_EQ(rows["L1 (95%)"][6], "20");
    ASSERT_TRUE(GeneENCompleteRep(three, sdHrmIL, s, nullptr));
    EXPECT_EQ(s.Disp, sdHrmIL);
    EXPECT_FALSE(s.Normalization);
    EXPECT_EQ(s.Max[0][5], 20.0f);

    // No column of the family: an empty chart; an unreadable file: false and an empty chart.
    ASSERT_TRUE(GeneENCompleteRep(three, sdFrqBandIL, s, nullptr));
    EXPECT_EQ(s.ValidSymbols, 0);
    FeedHarmChart(s, chart);
    EXPECT_EQ(chart.HrmVal()[0][5], 0.0f);
    writeFile(dir.filePath("10min-bad.log").toStdString(), "FERROREC");
    EXPECT_FALSE(GeneENCompleteRep(dir.filePath("10min-bad.log").toStdString(), sdHrmULE, s, nullptr));
}

TEST(ENReport, FerrosimWeekWithBrokenFifthHarmonic) {
    // A week of history with the 5th harmonic at 7 % (the limit is 6 %).
    SimProcess sim({"--history-days", "7", "--supply", "h5=7"});
    ASSERT_TRUE(sim.ok()) << sim.output();
    const std::string data = sim.root() + "/flashdrive0/data";
    for (int k = 0; k < 600 && !fs::exists(data + "/recorder.state"); ++k)
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
    ASSERT_TRUE(fs::exists(data + "/recorder.state"));
    sim.stop();

    // The newest 10-minute file holds the last hour, where the events lie.
    std::vector<std::string> recs, events;
    for (const auto& e : fs::directory_iterator(data + "/rec/sync"))
        if (e.path().filename().string().rfind("10min-", 0) == 0 && e.path().extension() == ".log")
            recs.push_back(e.path().string());
    ASSERT_FALSE(recs.empty());
    std::sort(recs.begin(), recs.end());
    const std::string rec = recs.back();
    TRecData span;
    ASSERT_TRUE(ReadRecordSpan(rec, span, nullptr));
    // Dips are scheduled every minute; the report counts those that started within the recording.
    const uint64_t from = TStoLinear(span.First) - 600000000000ull, to = TStoLinear(span.Last);
    int dips = 0;
    for (const auto& e : fs::directory_iterator(data + "/evt")) {
        const std::string name = e.path().filename().string();
        events.push_back(e.path().string());
        if (name.rfind("Dip-", 0) != 0) continue;
        const uint64_t at = std::stoull(name.substr(4)) * 1000000000ull;
        if (at >= from && at <= to) ++dips;
    }
    ASSERT_GT(dips, 20);

    QTemporaryDir out;
    const std::string pdf = out.filePath("bericht.pdf").toStdString();
    std::vector<std::string> args = {"report", rec, "--events"};
    args.insert(args.end(), events.begin(), events.end());
    args.insert(args.end(), {"--pdf", pdf});
    CtlResult r = RunCtl(args, 120000);
    ASSERT_EQ(r.code, 0) << r.err;
    const std::string text = PdfText(pdf);
    ASSERT_FALSE(text.empty()) << "pdftotext (poppler-utils) reads the report";
    EXPECT_NE(text.find("Umspannwerk Nord"), std::string::npos);
    EXPECT_NE(text.find("Spannungseinbrüche: " + std::to_string(dips) + "\n"), std::string::npos) << text;
    std::vector<std::string> rows = {"Netzfrequenz", "Langsame Spannungsänderungen", "Flicker (Plt)",
                                     "Spannungsunsymmetrie", "THD der Spannung"};
    for (int h = 2; h <= 25; ++h)
        rows.push_back("Harmonische " + std::to_string(h) + " ");
    std::vector<std::string> failing;
    std::stringstream lines(text);
    for (std::string line; std::getline(lines, line);) {
        for (const std::string& row : rows)
            if (line.find(row) != std::string::npos) rows.erase(std::find(rows.begin(), rows.end(), row));
        if (line.find("nicht eingehalten") != std::string::npos)
            failing.push_back(line.substr(line.find_first_not_of(' ')));
    }
    EXPECT_TRUE(rows.empty()) << "missing row " << rows.front();
    ASSERT_FALSE(failing.empty());
    for (const std::string& f : failing)
        EXPECT_EQ(f.find("Harmonische 5 "), 0u) << f;
    for (const char* page : {"Statistik Harmonische – Spannung Leiter–Erde",
                             "Statistik Zwischenharmonische – Strom", "Statistik 2,0 - 9,0 kHz – Strom"})
        EXPECT_NE(text.find(page), std::string::npos) << page;

    // Refusals: a bad supply override, a file that is no recording; no PDF is left behind.
    SimProcess bad({"--supply", "h1=5"});
    EXPECT_FALSE(bad.ok());
    EXPECT_NE(bad.log().find("order 2 to 50"), std::string::npos) << bad.log();
    const std::string junk = out.filePath("10min-junk.log").toStdString();
    writeFile(junk, "no recording");
    r = RunCtl({"report", junk, "--pdf", out.filePath("junk.pdf").toStdString()});
    EXPECT_EQ(r.code, 1);
    EXPECT_NE(r.err.find("Die Aufzeichnung " + junk +
                         " lässt sich nicht lesen: Kopf abgeschnitten: 12 von 680 Bytes\n"),
              std::string::npos)
        << r.err;
    EXPECT_FALSE(fs::exists(out.filePath("junk.pdf").toStdString()));
}
