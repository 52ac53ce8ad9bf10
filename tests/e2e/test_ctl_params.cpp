// ferroctl params and param-set: the fixture's rows, values through the validator into a file and to
// the simulator, and documents that are refused.
#include "support/Files.h"
#include "support/SimProcess.h"

#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <sstream>

using namespace ferro::test;
namespace fs = std::filesystem;

namespace {

const std::string kData = FERRO_SOURCE_DIR "/fixtures/instrument/flashdrive0/data";
const std::string kSetup = kData + "/setup/setup.xml";
const std::string kLang = kData + "/ccci/scratchpad/lang/lang_de.xml";

std::vector<std::string> Lines(const std::string& text) {
    std::vector<std::string> out;
    std::istringstream in(text);
    for (std::string l; std::getline(in, l);)
        out.push_back(l);
    return out;
}

// The lines of `b` that differ from those of `a` (both of the same length).
std::vector<std::string> Changed(const std::string& a, const std::string& b) {
    const auto la = Lines(a), lb = Lines(b);
    EXPECT_EQ(la.size(), lb.size());
    std::vector<std::string> out;
    for (size_t i = 0; i < std::min(la.size(), lb.size()); ++i)
        if (la[i] != lb[i]) out.push_back(lb[i]);
    return out;
}

int Count(const std::string& text, const std::string& piece) {
    int n = 0;
    for (size_t at = text.find(piece); at != std::string::npos; at = text.find(piece, at + 1))
        ++n;
    return n;
}

} // namespace

TEST(CtlParams, CsvRowsOfTheFixtureFollowTheLevel) {
    CtlResult l2 = RunCtl({"params", "--setup", kSetup, "--lang", kLang, "--csv", "--level", "2"});
    ASSERT_EQ(l2.code, 0) << l2.err;
    const auto rows = Lines(l2.out);
    ASSERT_FALSE(rows.empty());
    EXPECT_EQ(rows[0], "path,id,name,value,default,min,max,type,editable\r");
    EXPECT_GT(rows.size(), 2500u) << "a real instrument's few thousand parameters";
    EXPECT_NE(
        l2.out.find("\r\nNetz und Wandler/Grundeinstellungen,218300416,Nennspannung in % der sekundären "
                    "Nennspannung,100,100,50,200,float,1\r\n"),
        std::string::npos);
    EXPECT_NE(l2.out.find(",335740928,Bemessungsdifferenzstrom,0.03,0.03,0.001,10,float,1\r\n"),
              std::string::npos);
    EXPECT_NE(l2.out.find(",218103808,Nennfrequenz,0,0,0,2147483647,uint32,1\r\n"), std::string::npos)
        << "a choice stores its value; its limits are the list's";
    EXPECT_NE(l2.out.find(",4261413896,Zeitkorrektur der Anzeige,-3,0,-12,12,integer,1\r\n"),
              std::string::npos);

    CtlResult l1 = RunCtl({"params", "--setup", kSetup, "--lang", kLang, "--csv"});
    ASSERT_EQ(l1.code, 0) << l1.err;
    EXPECT_EQ(Count(l1.out, "Kalibrierung"), 0) << "service rows are hidden at level 1";
    EXPECT_GT(Count(l2.out, "Kalibrierung"), 100);
    EXPECT_LT(Lines(l1.out).size(), rows.size());
    EXPECT_EQ(l1.out.find(",4261413896,"), std::string::npos) << "visibility 2: not at level 1";
    CtlResult text = RunCtl({"params", "--setup", kSetup, "--lang", kLang});
    EXPECT_NE(
        text.out.find(
            "\nNetz und Wandler/Grundeinstellungen\n  Nennfrequenz = 50 Hz  (Werkseinstellung 50 Hz)\n"),
        std::string::npos)
        << text.out.substr(0, 600);
}

TEST(CtlParamSet, ValuesGoThroughTheValidatorIntoTheFileAndNothingElseMoves) {
    QTemporaryDir dir;
    const std::string copy = dir.filePath("setup.xml").toStdString();
    fs::copy_file(kSetup, copy);
    CtlResult r =
        RunCtl({"param-set", "218300416=250", "4261413894=FR 043", "--setup", copy, "--lang", kLang});
    EXPECT_EQ(r.code, 3) << r.err;
    EXPECT_NE(
        r.err.find("Der eingegebene Wert für Nennspannung in % der sekundären Nennspannung liegt im "
                   "ungültigen Bereich.\nBitte die Bereichsgrenzen beachten:\nMinimaler Wert: 50\nMaximaler "
                   "Wert: 200\nStandard Wert: 100\n\nDer Parameter wird auf den Wert 200 gesetzt!"),
        std::string::npos)
        << r.err;
    EXPECT_EQ(
        Changed(readFile(kSetup), readFile(copy)),
        (std::vector<std::string>{"            <value>FR043</value>", "              <value>200</value>"}));

    const std::string before = readFile(copy);
    r = RunCtl({"param-set", "12345=1", "--setup", copy});
    EXPECT_EQ(r.code, 1);
    EXPECT_NE(r.err.find("12345 gibt es im Setup nicht"), std::string::npos) << r.err;
    r = RunCtl({"param-set", "4261413889=x", "--setup", copy, "--lang", kLang});
    EXPECT_EQ(r.code, 1);
    EXPECT_NE(r.err.find("Gerätetyp ist auf Stufe 2 nicht änderbar"), std::string::npos) << r.err;
    EXPECT_EQ(readFile(copy), before);

    // A document that does not load is never written.
    const std::string broken = dir.filePath("broken.xml").toStdString();
    std::ofstream(broken) << "<usrMan><system name=\"sys\"><parameter id=\"1\">";
    r = RunCtl({"param-set", "1=2", "--setup", broken});
    EXPECT_EQ(r.code, 1);
    EXPECT_EQ(r.err.rfind("XML read error: ", 0), 0u) << r.err;
    EXPECT_EQ(readFile(broken), "<usrMan><system name=\"sys\"><parameter id=\"1\">");
    r = RunCtl({"params", "--setup", broken});
    EXPECT_EQ(r.code, 1);
}

TEST(CtlParamSet, SendChangesTheInstrumentsSetupInExactlyThoseValues) {
    SimProcess sim;
    ASSERT_TRUE(sim.ok());
    const std::string port = std::to_string(sim.port());
    const std::string before = readFile(sim.root() + "/flashdrive0/data/setup/setup.xml");
    CtlResult r = RunCtl({"--port", port, "param-set", "218103808=1", "235667456=231.5",
                          "4261413892=Umspannwerk_West", "--send", "--lang", kLang});
    ASSERT_EQ(r.code, 0) << r.err;
    EXPECT_NE(r.out.find("Setup übertragen und bestätigt."), std::string::npos);
    const std::string got = sim.tempDir() + "/got.xml";
    ASSERT_EQ(RunCtl({"--port", port, "setup-get", got}).code, 0);
    EXPECT_EQ(
        Changed(before, readFile(got)),
        (std::vector<std::string>{"            <value>Umspannwerk_West</value>",
                                  "              <value>1</value>", "              <value>231.5</value>"}));

    // The validator does not know a text's least length; the instrument does, and refuses.
    r = RunCtl({"--port", port, "param-set", "4261413656=1.2", "--send"});
    EXPECT_EQ(r.code, 1);
    EXPECT_NE(r.err.find("Das Gerät hat das Setup nicht bestätigt."), std::string::npos) << r.err;
    ASSERT_EQ(RunCtl({"--port", port, "setup-get", got}).code, 0);
    EXPECT_EQ(Count(readFile(got), "<value>1.2</value>"), 0);
}

TEST(CtlSetupFiles, DiffDeltaAndCsvOfTwoSetups) {
    const std::string tmpl = kData + "/ccci/scratchpad/templates/Mittelspannung_20kV.xml";
    CtlResult same = RunCtl({"--lang", kLang, "setup-diff", kSetup, kSetup});
    EXPECT_EQ(same.code, 0) << same.err;
    EXPECT_EQ(same.out, "");
    CtlResult diff = RunCtl({"--lang", kLang, "setup-diff", kSetup, tmpl});
    EXPECT_EQ(diff.code, 1) << diff.err;
    EXPECT_EQ(Lines(diff.out).size(), 4u) << diff.out;
    EXPECT_NE(
        diff.out.find("Netz und Wandler/Grundeinstellungen\t218300416\tNennspannung in % der sekundären "
                      "Nennspannung\t100\t105\n"),
        std::string::npos)
        << diff.out;

    QTemporaryDir dir;
    const std::string delta = dir.filePath("delta.xml").toStdString();
    ASSERT_EQ(RunCtl({"--lang", kLang, "setup-delta", kSetup, tmpl, delta}).code, 0);
    CtlResult again = RunCtl({"--lang", kLang, "setup-diff", kSetup, delta});
    EXPECT_EQ(again.out, diff.out) << "the delta carries exactly the differences";
    EXPECT_EQ(RunCtl({"setup-delta", kSetup, kSetup, delta}).code, 1) << "nothing differs";

    const std::string csv = dir.filePath("setup.csv").toStdString();
    ASSERT_EQ(RunCtl({"--lang", kLang, "setup-csv", kSetup, csv}).code, 0);
    EXPECT_NE(readFile(csv).find("\r\nGrundeinstellungen\r\n\r\nNennfrequenz;0\r\n"), std::string::npos);
    EXPECT_EQ(RunCtl({"setup-csv", kSetup, dir.filePath("none/x.csv").toStdString()}).code, 2);
}
