// ferroctl ls, get (with resume, over frames and FTP) and stream against the simulator.
#include "support/Files.h"
#include "support/SimProcess.h"

#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <regex>
#include <sstream>

using namespace ferro::test;
namespace fs = std::filesystem;

namespace {

const char* kRec = "sync/10min-0-1763769600.rec";
const char* kEvt = "Dip-1763772600-250000000.evt";

std::vector<std::string> lines(const std::string& s) {
    std::vector<std::string> out;
    std::istringstream in(s);
    for (std::string l; std::getline(in, l);)
        if (!l.empty()) out.push_back(l);
    return out;
}

std::string port(const SimProcess& sim) {
    return std::to_string(sim.port());
}

} // namespace

TEST(CtlReadout, ListsRecordingsAndEventsWithSizeStartAndEnd) {
    SimProcess sim;
    CtlResult r = RunCtl({"--port", port(sim), "ls", "rec"});
    ASSERT_EQ(r.code, 0) << r.err;
    std::string size = std::to_string(fs::file_size(sim.root() + "/flashdrive0/data/rec/" + kRec));
    // Name, size, start from the name, end at the last of its 40 ten-minute records.
    const std::string rec = std::string(kRec) + "\t" + size + "\t2025-11-22T00:00:00Z\t2025-11-22T06:30:00Z";
    EXPECT_NE(("\n" + r.out).find("\n" + rec + "\n"), std::string::npos) << r.out;

    r = RunCtl({"--port", port(sim), "ls", "evt"});
    ASSERT_EQ(r.code, 0) << r.err;
    // The start keeps the name's fraction; the 0.12 s dip ends in the next second.
    const std::string evt = std::string(kEvt) + "\t61\t2025-11-22T00:50:00.250Z\t2025-11-22T00:50:01Z";
    EXPECT_NE(("\n" + r.out).find("\n" + evt + "\n"), std::string::npos) << r.out;
    EXPECT_NE(r.out.find("Swell-1763773600-0.evt\t55\t2025-11-22T01:06:40Z\t"), std::string::npos)
        << "a whole second stays without fraction: " << r.out;
}

TEST(CtlReadout, GetWritesTheRecordingUnderTheSerialAndResumesAPartialFile) {
    SimProcess sim;
    std::string data = sim.tempDir() + "/data";
    std::string original = readFile(sim.root() + "/flashdrive0/data/rec/" + kRec);
    ASSERT_FALSE(original.empty());
    CtlResult r = RunCtl({"--port", port(sim), "--data-dir", data, "get", "rec", kRec});
    ASSERT_EQ(r.code, 0) << r.err;
    std::string local = data + "/5120042/Recorder/10min-0-1763769600.rec";
    EXPECT_EQ(r.out, local + "\n");
    EXPECT_EQ(readFile(local), original);

    writeFile(local, original.substr(0, original.size() / 3));
    r = RunCtl({"--port", port(sim), "--data-dir", data, "get", "rec", kRec});
    ASSERT_EQ(r.code, 0) << r.err;
    EXPECT_EQ(readFile(local), original) << "the rest was appended";
}

TEST(CtlReadout, GetEventLandsInTheEventFolder) {
    SimProcess sim;
    std::string data = sim.tempDir() + "/data";
    CtlResult r = RunCtl({"--port", port(sim), "--data-dir", data, "get", "evt", kEvt});
    ASSERT_EQ(r.code, 0) << r.err;
    EXPECT_EQ(readFile(data + "/5120042/Event/" + kEvt),
              readFile(sim.root() + "/flashdrive0/data/evt/" + kEvt));
}

TEST(CtlReadout, GetOfAFileTheInstrumentDoesNotHaveFails) {
    SimProcess sim;
    CtlResult r =
        RunCtl({"--port", port(sim), "--data-dir", sim.tempDir() + "/d", "get", "rec", "sync/none.rec"});
    EXPECT_NE(r.code, 0);
    EXPECT_NE(r.err.find("nicht vorhanden"), std::string::npos) << r.err;
}

TEST(CtlReadout, GetOverFtpIsByteIdentical) {
    SimProcess sim({"--ftp-port", "0"});
    ASSERT_GT(sim.ftpPort(), 0) << "the simulator serves FTP: " << sim.output();
    std::string data = sim.tempDir() + "/data";
    CtlResult r = RunCtl({"--port", port(sim), "--ftp", "--ftp-port", std::to_string(sim.ftpPort()),
                          "--data-dir", data, "get", "rec", kRec});
    ASSERT_EQ(r.code, 0) << r.err;
    EXPECT_EQ(readFile(data + "/5120042/Recorder/10min-0-1763769600.rec"),
              readFile(sim.root() + "/flashdrive0/data/rec/" + kRec));
}

TEST(CtlStream, OneSecondValuesAsCsvWithPlausibleVoltages) {
    SimProcess sim;
    CtlResult r = RunCtl({"--port", port(sim), "stream", "1s", "--count", "3", "--csv"}, 60000);
    ASSERT_EQ(r.code, 0) << r.err;
    auto rows = lines(r.out);
    ASSERT_EQ(rows.size(), 4u) << r.out;
    EXPECT_EQ(rows[0].rfind("time,", 0), 0u);
    // Find the U1E column and check the values look like a 230 V supply.
    std::vector<std::string> head;
    std::istringstream h(rows[0]);
    for (std::string c; std::getline(h, c, ',');)
        head.push_back(c);
    // Every value column names its unit; polar pairs are magnitude and angle.
    for (const char* name : {"F [Hz]", "U1E Betrag [V]", "U1E Winkel [\u00B0]", "I3 Betrag [A]",
                             "THD U12 [%]", "P total [W]", "WP+ total [Wh]", "CF U1E", "Temp [\u00B0C]"})
        EXPECT_NE(std::find(head.begin(), head.end(), name), head.end()) << name;
    EXPECT_EQ(rows[0].find("polar"), std::string::npos);
    auto col = std::find(head.begin(), head.end(), "U1E [V]");
    ASSERT_NE(col, head.end()) << rows[0].substr(0, 200);
    size_t idx = size_t(col - head.begin());
    std::string prevTime;
    for (size_t i = 1; i < rows.size(); ++i) {
        std::vector<std::string> cells;
        std::istringstream in(rows[i]);
        for (std::string c; std::getline(in, c, ',');)
            cells.push_back(c);
        ASSERT_GT(cells.size(), idx);
        double u = std::atof(cells[idx].c_str());
        EXPECT_GT(u, 180.0);
        EXPECT_LT(u, 280.0);
        EXPECT_GT(cells[0], prevTime) << "each block later than the one before";
        prevTime = cells[0];
    }
}

TEST(CtlStream, CountZeroGivesTheHeaderAloneAndBadArgumentsSayWhatIsValid) {
    SimProcess sim;
    CtlResult r = RunCtl({"--port", port(sim), "stream", "150T", "--count", "0", "--csv"});
    ASSERT_EQ(r.code, 0) << r.err;
    auto rows = lines(r.out);
    ASSERT_EQ(rows.size(), 1u) << r.out;
    EXPECT_EQ(rows[0].rfind("time,", 0), 0u);
    // Harmonics by order, in % of the fundamental, which order 1 is itself in V.
    EXPECT_NE(rows[0].find(",H U1E[1] [V],H U1E[2] [%],"), std::string::npos);
    EXPECT_NE(rows[0].find(",H I1[2] [A],"), std::string::npos);

    r = RunCtl({"--port", port(sim), "stream", "5min"});
    EXPECT_EQ(r.code, 2);
    EXPECT_NE(
        r.err.find(
            "Unbekannte Datenklasse: 5min. M\u00F6glich sind 10T, 150T, 10min, 2h, 1s, 10s, Ns, Mmin, osc"),
        std::string::npos)
        << r.err;
    r = RunCtl({"--port", port(sim), "stream", "1s", "--count", "viele"});
    EXPECT_EQ(r.code, 2);
    EXPECT_NE(r.err.find("--count erwartet eine Anzahl"), std::string::npos) << r.err;
    EXPECT_NE(r.err.find("viele"), std::string::npos) << r.err;
}

namespace {
// Runs ferroctl and tells how long it took, in seconds.
CtlResult timedCtl(const std::vector<std::string>& args, double& seconds) {
    const auto t0 = std::chrono::steady_clock::now();
    CtlResult r = RunCtl(args);
    seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count();
    return r;
}
} // namespace

// A refusal ends the command at once (it used to wait 15 to 30 s) with the instrument's code and text.
TEST(CtlRefusal, EveryCommandEndsAtOnceWithTheInstrumentsCodeAndText) {
    double took = 0;
    {
        SimProcess sim({"--faults", "refuse:1:*:13:keine Sitzung"});
        CtlResult r = timedCtl({"--port", port(sim), "identify"}, took);
        EXPECT_EQ(r.code, 1);
        EXPECT_NE(r.err.find("Der Nutzer ferro hat keinen Zugriff auf diese Funktion\n"), std::string::npos)
            << r.err;
        EXPECT_NE(r.err.find("Das Gerät lehnt ab (Code 13): keine Sitzung"), std::string::npos) << r.err;
        EXPECT_LT(took, 8.0);
    }
    SimProcess sim({"--faults", "refuse:5:0x10:2:keine Liste,refuse:4:*:200:kein Objekt,drop:5:1"});
    CtlResult r = timedCtl({"--port", port(sim), "ls", "evt"}, took);
    EXPECT_EQ(r.code, 1);
    EXPECT_EQ(r.err, "Die Liste ist nicht angekommen. Das Gerät lehnt ab (Code 2): keine Liste\n");
    EXPECT_LT(took, 8.0);
    r = timedCtl({"--port", port(sim), "stream", "10T", "--count", "3"}, took);
    EXPECT_EQ(r.code, 1);
    EXPECT_NE(r.err.find("Das Gerät lehnt ab (Code 200): kein Objekt"), std::string::npos) << r.err;
    EXPECT_LT(took, 8.0);

    // A file that never comes: --deadline ends the wait and tells how far it came.
    const std::string data = sim.tempDir() + "/data";
    const auto size = fs::file_size(sim.root() + "/flashdrive0/data/rec/" + kRec);
    r = timedCtl({"--port", port(sim), "--data-dir", data, "get", "rec", kRec, "--deadline", "1"}, took);
    EXPECT_EQ(r.code, 1);
    EXPECT_NE(r.err.find("nach 1 s abgebrochen (--deadline): 0 von " + std::to_string(size) + " Bytes"),
              std::string::npos)
        << r.err;
    EXPECT_LT(took, 12.0);
    // Names that are no file names are refused before anything is asked.
    for (const char* name : {"sync/", "sync/.."}) {
        r = RunCtl({"--port", port(sim), "--data-dir", data, "get", "rec", name});
        EXPECT_EQ(r.code, 2) << name;
        EXPECT_NE(r.err.find("ist kein Dateiname"), std::string::npos) << r.err;
    }
    EXPECT_FALSE(fs::exists(data + "/5120042/Recorder/10min-0-1763769600.rec"));
}

// A line that drips (one byte a second, the file would take 40 minutes): --deadline ends get and sync
// per file, says how far the file came and leaves the local copy as it was.
TEST(CtlDeadline, ADrippingLineEndsGetAndSyncAtTheDeadlineWithTheBytesThatCame) {
    SimProcess sim({"--history-days", "1", "--time-scale", "0.001", "--faults", "drip:1000"});
    const std::string data = sim.tempDir() + "/data";
    const auto size = std::to_string(fs::file_size(sim.root() + "/flashdrive0/data/rec/" + kRec));
    double took = 0;
    CtlResult r =
        timedCtl({"--port", port(sim), "--data-dir", data, "get", "rec", kRec, "--deadline", "3"}, took);
    EXPECT_EQ(r.code, 1);
    // The head and a few payload bytes came, not the file.
    std::smatch m;
    ASSERT_TRUE(std::regex_search(r.err, m,
                                  std::regex("nach 3 s abgebrochen \\(--deadline\\): ([0-9]+) von " + size +
                                             " Bytes angekommen, die lokale Datei hat weiter 0")))
        << r.err;
    EXPECT_GT(std::stoi(m[1]), 0);
    EXPECT_LT(took, 30.0);
    EXPECT_FALSE(fs::exists(data + "/5120042/Recorder/10min-0-1763769600.rec"));

    r = timedCtl({"--port", port(sim), "--data-dir", data, "sync", "--class", "10min", "--deadline", "2"},
                 took);
    EXPECT_EQ(r.code, 1);
    EXPECT_NE(r.err.find("nach 2 s abgebrochen (--deadline)"), std::string::npos) << r.err;
    EXPECT_NE(r.out.find("0 neu oder gewachsen"), std::string::npos) << r.out;
    EXPECT_NE(r.out.find("Zeitlimit (--deadline) bei "), std::string::npos) << r.out;
    EXPECT_LT(took, 30.0);
    // The line was given up, not left held: the instrument answers the next client at once.
    EXPECT_EQ(RunCtl({"--port", port(sim), "identify"}).code, 0);
}
