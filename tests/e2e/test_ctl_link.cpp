// ferroctl's Lua and setup commands against the simulator.
#include "support/SimProcess.h"

#include "support/Files.h"

#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

using namespace ferro::test;
namespace fs = std::filesystem;

namespace {

// Points the temp folder of the ferroctl runs started meanwhile at a fresh, empty folder.
struct OwnTempFolder {
    QTemporaryDir dir;
    QByteArray before = qgetenv("TMPDIR");
    OwnTempFolder() { qputenv("TMPDIR", dir.path().toUtf8()); }
    ~OwnTempFolder() { before.isNull() ? qunsetenv("TMPDIR") : qputenv("TMPDIR", before); }
    std::string path() const { return dir.path().toStdString(); }
};

} // namespace

TEST(CtlUsage, HelpPrintsTheGermanUsageWithTheStreamDefaultsAndSucceeds) {
    CtlResult longForm = RunCtl({"--help"});
    EXPECT_EQ(longForm.code, 0) << longForm.err;
    EXPECT_EQ(longForm.out.rfind("Aufruf: ferroctl", 0), 0u) << longForm.out;
    EXPECT_NE(longForm.out.find("Vorgabe 10"), std::string::npos) << "stream's default count";
    EXPECT_TRUE(longForm.err.empty()) << longForm.err;
    CtlResult shortForm = RunCtl({"ls", "-h"});
    EXPECT_EQ(shortForm.code, 0);
    EXPECT_EQ(shortForm.out, longForm.out);
    // A mistake still fails, with the reason and the usage on stderr.
    CtlResult wrong = RunCtl({"--bogus"});
    EXPECT_EQ(wrong.code, 2);
    EXPECT_EQ(wrong.err.rfind("Unbekannte Option: --bogus\n", 0), 0u) << wrong.err;
    EXPECT_NE(wrong.err.find("Aufruf: ferroctl"), std::string::npos);
    EXPECT_NE(RunCtl({"--timeout", "bald", "identify"}).err.find("Ungültiges Zeitlimit: bald"),
              std::string::npos);
}

TEST(CtlLua, PrintsTheOutputOfALine) {
    SimProcess sim;
    CtlResult r = RunCtl({"--port", std::to_string(sim.port()), "lua", "print(1+1)"});
    ASSERT_EQ(r.code, 0) << r.err;
    EXPECT_EQ(r.out, "2\n");
}

TEST(CtlLua, AnErrorFailsTheCommand) {
    SimProcess sim;
    CtlResult r = RunCtl({"--port", std::to_string(sim.port()), "lua", "nosuchfunction()"});
    EXPECT_NE(r.code, 0);
    EXPECT_NE(r.out.find("nosuchfunction"), std::string::npos) << r.out;
}

TEST(CtlSetup, GetWritesTheInstrumentsSetupAndPutReplacesItLeavingNoTemporaryFiles) {
    SimProcess sim;
    OwnTempFolder tmp;
    std::string file = sim.tempDir() + "/setup.xml";
    CtlResult r = RunCtl({"--port", std::to_string(sim.port()), "setup-get", file});
    ASSERT_EQ(r.code, 0) << r.err;
    EXPECT_TRUE(fs::is_empty(tmp.path())) << "the fetched archive and what was unpacked from it are gone";
    std::string xml = readFile(file);
    EXPECT_EQ(xml, readFile(sim.root() + "/flashdrive0/data/setup/setup.xml"));
    ASSERT_NE(xml.find("pqAppl"), std::string::npos);

    std::string changed = xml;
    size_t at = changed.find("Umspannwerk Nord");
    ASSERT_NE(at, std::string::npos);
    changed.replace(at, 16, "Umspannwerk Süd");
    std::string mine = sim.tempDir() + "/mine.xml";
    std::ofstream(mine, std::ios::binary) << changed;
    r = RunCtl({"--port", std::to_string(sim.port()), "setup-put", mine});
    ASSERT_EQ(r.code, 0) << r.err;
    EXPECT_NE(r.out.find("bestätigt"), std::string::npos);
    EXPECT_TRUE(fs::is_empty(tmp.path())) << "the copy that was packed and sent is gone";

    std::string again = sim.tempDir() + "/again.xml";
    r = RunCtl({"--port", std::to_string(sim.port()), "setup-get", again});
    ASSERT_EQ(r.code, 0) << r.err;
    EXPECT_NE(readFile(again).find("Umspannwerk Süd"), std::string::npos);
}

TEST(CtlSetup, PutOfAMissingFileIsRefusedBeforeConnecting) {
    CtlResult r = RunCtl({"--port", "1", "setup-put", "/nonexistent/setup.xml"});
    EXPECT_EQ(r.code, 2);
    EXPECT_NE(r.err.find("setup-put"), std::string::npos);
}

TEST(CtlSetup, GetOverSshBringsTheSameSetup) {
    SimProcess sim({"--ssh-port", "0"});
    std::string overTcp = sim.tempDir() + "/tcp.xml", overSsh = sim.tempDir() + "/ssh.xml";
    CtlResult r = RunCtl({"--port", std::to_string(sim.port()), "setup-get", overTcp});
    ASSERT_EQ(r.code, 0) << r.err;
    r = RunCtl({"--port", std::to_string(sim.sshPort()), "--ssh", "--user", "admin", "--password", "admin",
                "--yes", "--ini-dir", sim.tempDir() + "/ini/", "setup-get", overSsh});
    ASSERT_EQ(r.code, 0) << r.err;
    EXPECT_FALSE(readFile(overSsh).empty());
    EXPECT_EQ(readFile(overSsh), readFile(overTcp));
}
