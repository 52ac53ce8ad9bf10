// The link in-process against the simulator: scratchpad captures, XML versions, packed setups.
#include "foundation/Clock.h"
#include "link/DeviceSession.h"
#include "link/XmlNames.h"
#include "support/SimProcess.h"

#include "support/Files.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

using namespace ferro;
using namespace ferro::test;
namespace fs = std::filesystem;

namespace {

struct Rig {
    SimProcess sim;
    std::string tmp, ini;
    std::unique_ptr<TDeviceSession> session;
    explicit Rig(bool checkXml = false, const std::vector<std::string>& simArgs = {}) : sim(simArgs) {
        tmp = sim.tempDir() + "/tmp/";
        ini = sim.tempDir() + "/ini/";
        fs::create_directories(tmp);
        fs::create_directories(ini);
        TConnectionRec o;
        o.Port = sim.port();
        o.Folders.Tmp = tmp;
        o.Folders.Ini = ini;
        o.CheckXML = checkXml;
        session = std::make_unique<TDeviceSession>(o);
        session->DefaultAnswer = mrYes;
    }
    bool open() {
        bool ok = session->OpenAndWait(30000);
        EXPECT_TRUE(ok) << session->LastError().Text;
        return ok;
    }
    TComUnit& link() { return session->Link(); }
    bool lua(const std::string& line, std::string* out = nullptr) {
        bool done = false;
        link().Lua(line, [&](const TReply& r) {
            if (out) *out = r.Text;
            done = true;
        });
        return session->WaitFor([&] { return done; }, 10000);
    }
};

} // namespace

TEST(LinkE2E, CaptureFetchedFromTheScratchpadIsRemovedOnTheInstrument) {
    Rig rig;
    ASSERT_TRUE(rig.open());
    ASSERT_TRUE(rig.lua("ips.pcapStart('eth0', '//mnt/flashdrive0/data/ccci/scratchpad/cap1.pcap', 2)"));
    std::string onInstrument = rig.sim.root() + "/flashdrive0/data/ccci/scratchpad/cap1.pcap";
    ASSERT_TRUE(fs::exists(onInstrument));
    std::string fetched;
    rig.link().FCCCISratchpad = spPCAP;
    rig.link().FScratchpadFleLst = {"cap1.pcap"};
    rig.link().ScratchpadGet("cap1.pcap", [&](const TReply& r) { fetched = r.File; });
    ASSERT_TRUE(rig.session->WaitFor([&] { return !fetched.empty(); }, 10000));
    EXPECT_EQ(fetched, rig.tmp + "cap1.pcap");
    std::string data = readFile(fetched);
    ASSERT_GE(data.size(), 24u);
    EXPECT_EQ(uint8_t(data[0]), 0xD4) << "a pcap file in little-endian order";
    EXPECT_TRUE(rig.session->WaitFor([&] { return !fs::exists(onInstrument); }, 10000))
        << "the instrument still has the capture";
}

TEST(LinkE2E, NewerXmlFilesArriveOneAfterAnotherAndTheSessionStandsOnce) {
    Rig rig(true);
    int connDone = 0;
    rig.link().FObjPropsVer = 1;
    rig.link().FstrucVer = 1;
    rig.link().FLangVer = 1;
    std::vector<std::string> told;
    QObject::connect(rig.session.get(), &TDeviceSession::Message,
                     [&](const QString& text, TMsgDlgType) { told.push_back(text.toStdString()); });
    ASSERT_TRUE(rig.open());
    TWaitForConnDone counted = [&](TSender, bool) { ++connDone; };
    rig.link().FOnConnDone = counted;
    rig.session->WaitFor([] { return false; }, 300);
    EXPECT_TRUE(fs::exists(rig.ini + "ferro_objprops.XML"));
    EXPECT_TRUE(fs::exists(rig.ini + "ferro_struct.XML"));
    EXPECT_TRUE(fs::exists(rig.ini + "lang_de.XML"));
    EXPECT_NE(readFile(rig.ini + "lang_de.XML").find("<"), std::string::npos) << "unpacked XML";
    EXPECT_EQ(rig.link().FLangVer, 8);
    EXPECT_EQ(rig.link().FstrucVer, 4);
    EXPECT_EQ(connDone, 0) << "no second notice after the last file";
    ASSERT_FALSE(told.empty());
    EXPECT_NE(told.front().find("neue Sprachdateien"), std::string::npos);
}

TEST(LinkE2E, AStrayHeadSwallowsOneAnswerAfterTheTimeOutTheLinkReadsAfresh) {
    Rig rig(false, {"--faults", "strayhead:6"});
    ASSERT_TRUE(rig.open());
    // From here the answer wait runs on a clock the test moves.
    ManualClock manual(ferro::clock().nowMs());
    setClock(&manual);
    struct Restore {
        ~Restore() { setClock(nullptr); }
    } restore;
    std::string out;
    ASSERT_TRUE(rig.lua("print(1)", &out));
    EXPECT_EQ(out.find('1'), 0u) << out;
    // The stray head that followed holds this answer as part of its frame.
    TReply swallowed;
    bool ended = false;
    rig.link().Lua("print(2)", [&](const TReply& r) {
        swallowed = r;
        ended = true;
    });
    EXPECT_FALSE(rig.session->WaitFor([&] { return ended; }, 1000));
    manual.advance(11000);
    ASSERT_TRUE(rig.session->WaitFor([&] { return ended; }, 5000));
    EXPECT_FALSE(swallowed.Ok);
    EXPECT_EQ(swallowed.Text, "Das Gerät hat nicht geantwortet.");
    ASSERT_TRUE(rig.lua("print(3)", &out)) << "the link reads the following answers again";
    EXPECT_EQ(out.find('3'), 0u) << out;
    EXPECT_NE(rig.sim.log().find("stray head"), std::string::npos);
}
