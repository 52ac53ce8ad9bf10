// ferroctl show and export on recorder files, and the simulator's files growing while it runs.
#include "data/RecordedRoot.h"

#include "data/DataFileReader.h"
#include "support/Files.h"
#include "support/SimProcess.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <thread>

using namespace ferro;
using namespace ferro::test;

namespace {

const std::string kLang =
    FERRO_SOURCE_DIR "/fixtures/instrument/flashdrive0/data/ccci/scratchpad/lang/lang_de.xml";

QJsonObject json(const std::string& text) {
    return QJsonDocument::fromJson(QByteArray::fromStdString(text)).object();
}

size_t lineCount(const std::string& s) {
    return size_t(std::count(s.begin(), s.end(), '\n'));
}

} // namespace

TEST(CtlFiles, ShowPrintsHeadColumnsAndEventsAsJson) {
    RecordedRoot root(1200 * kNs);
    const std::string osc = root.files(root.rec() + "/rec", "Osc-1-")[0];
    CtlResult r = RunCtl({"--lang", kLang, "show", osc});
    ASSERT_EQ(r.code, 0) << r.err;
    QJsonObject o = json(r.out);
    EXPECT_EQ(o["kind"].toString(), "recording");
    EXPECT_EQ(o["class"].toString(), "Osc");
    EXPECT_EQ(o["device"].toString(), "FR-042");
    EXPECT_EQ(o["records"].toInt(), 12288);
    EXPECT_EQ(o["sampleRate"].toInt(), 20480);
    EXPECT_EQ(o["nominalVoltage"].toDouble(), 230.0);
    const QJsonObject col = o["columns"].toArray()[0].toObject();
    EXPECT_EQ(col["name"].toString(), "Abtastwert u1");
    EXPECT_EQ(col["unit"].toString(), "V");
    EXPECT_EQ(col["groupName"].toString(), "Abtastwerte Spannung");
    EXPECT_EQ(col["kind"].toInt(), 1);

    r = RunCtl({"--lang", kLang, "show", root.files(root.evt(), "Dip-")[0]});
    ASSERT_EQ(r.code, 0) << r.err;
    const QJsonObject ev = json(r.out)["events"].toArray()[0].toObject();
    EXPECT_EQ(ev["type"].toInt(), 1);
    EXPECT_EQ(ev["phase"].toString(), "L1");
    EXPECT_EQ(ev["text"].toString(), "Spannungseinbruch");
    EXPECT_NEAR(ev["duration"].toDouble(), 0.3, 1e-6);
    EXPECT_EQ(ev["extreme"].toDouble(), 60.0);
    EXPECT_EQ(ev["unit"].toString(), "%");

    const std::string bad = root.dir.path().toStdString() + "/bad.log";
    writeFile(bad, readFile(osc).substr(0, 5));
    r = RunCtl({"show", bad});
    EXPECT_EQ(r.code, 1);
    EXPECT_NE(r.err.find("lässt sich nicht lesen: keine Datei im Aufzeichnungsformat"), std::string::npos)
        << r.err;
    writeFile(bad, readFile(osc).substr(0, 679));
    r = RunCtl({"show", bad});
    EXPECT_EQ(r.code, 1);
    EXPECT_EQ(r.err, "Datei " + bad + " lässt sich nicht lesen: Kopf abgeschnitten: 679 von 680 Bytes\n");
    // A file that is not there, or a folder: the reason in German, not the system's words.
    const std::string gone = root.dir.path().toStdString() + "/gone.log";
    r = RunCtl({"show", gone});
    EXPECT_EQ(r.code, 1);
    EXPECT_EQ(r.err, "Datei " + gone + " lässt sich nicht lesen: Datei oder Verzeichnis nicht gefunden\n");
    r = RunCtl({"export", root.dir.path().toStdString(), "--csv", gone});
    EXPECT_EQ(r.code, 1);
    EXPECT_NE(r.err.find("lässt sich nicht lesen: keine gewöhnliche Datei"), std::string::npos) << r.err;
    EXPECT_FALSE(std::filesystem::exists(gone));
}

TEST(CtlFiles, ExportWritesCsvAndComtradeAndRefusesWhatItCannot) {
    RecordedRoot root(1200 * kNs);
    const std::string sec = root.files(root.rec() + "/sync", "1s-")[0];
    const std::string out = root.dir.path().toStdString() + "/u1.csv";
    CtlResult r = RunCtl({"--lang", kLang, "export", sec, "--csv", out, "--columns", "0x01010000,16842759"});
    ASSERT_EQ(r.code, 0) << r.err;
    TRecData d;
    ASSERT_TRUE(AnalyseRecData(sec, dc1s, d, nullptr));
    const std::string csv = readFile(out);
    EXPECT_EQ(lineCount(csv), d.Records() + 1);
    EXPECT_EQ(csv.substr(0, csv.find('\n')), "Zeit,Effektivwert U1E [V],Effektivwert I1 [A]\r");
    const std::string base = root.dir.path().toStdString() + "/osc";
    r = RunCtl({"export", root.files(root.rec() + "/rec", "Osc-1-")[0], "--comtrade", base});
    ASSERT_EQ(r.code, 0) << r.err;
    EXPECT_GT(readFile(base + ".dat").size(), 12288u * 32);
    r = RunCtl({"export", sec, "--comtrade", base});
    EXPECT_EQ(r.code, 1);
    EXPECT_NE(r.err.find("COMTRADE gibt es nur für Osc- und Hp-Aufzeichnungen"), std::string::npos) << r.err;
    r = RunCtl({"export", sec, "--csv", out, "--columns", "7"});
    EXPECT_EQ(r.code, 2);
    EXPECT_NE(r.err.find("Spalte 7 (0x7) gibt es in der Datei nicht"), std::string::npos) << r.err;
}

TEST(CtlFiles, TheSimulatorsOpenFilesGrowWhileTheyAreRead) {
    SimProcess sim({"--time-scale", "20"});
    ASSERT_TRUE(sim.ok());
    const std::string sync = sim.root() + "/flashdrive0/data/rec/sync";
    uint64_t first = 0, last = 0;
    std::string path;
    // Twenty device seconds a second: within about six seconds the 1 s file holds a hundred more.
    for (int i = 0; i < 300 && last < first + 100; ++i) {
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
        std::error_code ec;
        for (const auto& e : std::filesystem::directory_iterator(sync, ec))
            if (e.path().filename().string().rfind("1s-0-", 0) == 0) path = e.path().string();
        if (path.empty()) continue;
        TRecData d;
        std::string why;
        ASSERT_TRUE(AnalyseRecData(path, dc1s, d, [&](const std::string& l) { why = l; })) << why;
        ASSERT_GE(d.Records(), last) << "a file never shrinks";
        if (d.Records()) {
            ASSERT_EQ(TStoLinear(d.Last) - TStoLinear(d.First), (d.Records() - 1) * kNs);
        }
        if (!first) first = d.Records();
        last = d.Records();
    }
    EXPECT_GE(last, first + 100);
}
