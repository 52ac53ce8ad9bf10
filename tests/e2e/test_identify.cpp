// ferroctl identify against the simulator over TCP, SSH and the serial line.
#include "support/Ports.h"
#include "support/SimProcess.h"

#include <QJsonDocument>
#include <QJsonObject>

#include <gtest/gtest.h>

#include <filesystem>

using namespace ferro::test;

namespace {
QJsonObject parseOneObject(const std::string& out) {
    QJsonParseError e{};
    QJsonDocument d = QJsonDocument::fromJson(QByteArray::fromStdString(out), &e);
    EXPECT_EQ(e.error, QJsonParseError::NoError) << out;
    return d.object();
}

void expectFixtureIdentity(const QJsonObject& o) {
    EXPECT_EQ(o["serial"].toInteger(), 5120042);
    EXPECT_EQ(o["article"].toInteger(), 2400512);
    EXPECT_EQ(o["devType"].toString(), "devtypFerro");
    EXPECT_EQ(o["plant"].toString(), "Umspannwerk Nord");
    EXPECT_EQ(o["field"].toString(), "Feld 3");
    EXPECT_EQ(o["device"].toString(), "FR-042");
    EXPECT_EQ(o["timeZone"].toString(), "+01:00");
    EXPECT_TRUE(o["version"].toString().startsWith("V2.2.1.5"));
    EXPECT_EQ(o["clock"].toString().size(), 19) << "ISO 8601 to the second";
}
} // namespace

TEST(CtlIdentify, TcpPrintsOneJsonObjectWithTheInstrumentsIdentity) {
    SimProcess sim;
    ASSERT_TRUE(sim.ok());
    CtlResult r = RunCtl({"--host", "127.0.0.1", "--port", std::to_string(sim.port()), "identify"});
    ASSERT_EQ(r.code, 0) << r.err;
    EXPECT_EQ(std::count(r.out.begin(), r.out.end(), '\n'), 1);
    QJsonObject o = parseOneObject(r.out);
    expectFixtureIdentity(o);
    for (const char* key : {"serial", "article", "devType", "revision", "version", "plant", "field", "device",
                            "clock", "timeZone"})
        EXPECT_TRUE(o.contains(key)) << key;
}

TEST(CtlIdentify, ClosedPortGivesTheGermanMessageAndFails) {
    const int port = FreeLoopbackPort();
    CtlResult r = RunCtl({"--host", "127.0.0.1", "--port", std::to_string(port), "identify"});
    EXPECT_NE(r.code, 0);
    EXPECT_NE(r.err.find("Keine Verbindung zu 127.0.0.1"), std::string::npos) << r.err;
    EXPECT_TRUE(r.out.empty());
}

TEST(CtlIdentify, SshWithYesStoresTheKeyAndWorksLikeTcp) {
    SimProcess sim({"--ssh-port", "0"});
    ASSERT_GT(sim.sshPort(), 0);
    std::string ini = sim.tempDir() + "/ini/";
    CtlResult r = RunCtl({"--port", std::to_string(sim.sshPort()), "--ssh", "--user", "admin", "--password",
                          "admin", "--yes", "--ini-dir", ini, "identify"});
    ASSERT_EQ(r.code, 0) << r.err;
    expectFixtureIdentity(parseOneObject(r.out));
    EXPECT_TRUE(std::filesystem::exists(ini + "Hash"));
}

TEST(CtlIdentify, SshWithoutTerminalAndWithoutYesRefusesANewKey) {
    SimProcess sim({"--ssh-port", "0"});
    ASSERT_GT(sim.sshPort(), 0);
    std::string ini = sim.tempDir() + "/ini/";
    CtlResult r = RunCtl({"--port", std::to_string(sim.sshPort()), "--ssh", "--user", "admin", "--password",
                          "admin", "--ini-dir", ini, "identify"});
    EXPECT_NE(r.code, 0);
    EXPECT_NE(r.err.find("Dieses Gerät ist nicht bekannt"), std::string::npos) << r.err;
    EXPECT_FALSE(std::filesystem::exists(ini + "Hash"));
}

TEST(CtlIdentify, SerialLineWorksLikeTcp) {
    SimProcess sim({"--serial"});
    ASSERT_FALSE(sim.serial().empty());
    CtlResult r = RunCtl({"--serial", sim.serial(), "identify"});
    ASSERT_EQ(r.code, 0) << r.err;
    expectFixtureIdentity(parseOneObject(r.out));
}

TEST(CtlIdentify, SerialDeviceThatDoesNotExistFailsCleanly) {
    CtlResult r = RunCtl({"--serial", "/dev/ferro-no-such-line", "identify"}, 20000);
    EXPECT_NE(r.code, 0);
    EXPECT_NE(r.err.find("/dev/ferro-no-such-line"), std::string::npos) << r.err;
}
