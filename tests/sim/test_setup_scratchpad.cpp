// Setup read and write in the three packings, and the scratchpad.
#include "SimHarness.h"

#include <gtest/gtest.h>

#include <filesystem>

using namespace simtest;
namespace fs = std::filesystem;

namespace {
bool startsWithXml(const Bytes& b) {
    return str(b, 0).rfind("<?xml", 0) == 0;
}
} // namespace

TEST(SimSetup, ReadAllFollowsTheRequestFlags) {
    Sim sim;
    RawClient c(sim.port());
    c.openPlain();
    Bytes onDisk = fileBytes(sim.data() + "/setup/setup.xml");
    ASSERT_FALSE(onDisk.empty());

    Frame xml = c.request(plain(3, 0, 1, 0));
    EXPECT_EQ(xml.cmd(), 3);
    EXPECT_EQ(xml.ext(), 1);
    EXPECT_TRUE(startsWithXml(xml.payload()));
    EXPECT_EQ(xml.payload(), onDisk);

    Frame gz = c.request(plain(3, 0, 1, 4));
    EXPECT_EQ(gz.payload()[0], 0x1f);
    EXPECT_EQ(gunzip(gz.payload()), onDisk);

    Frame tgz = c.request(plain(3, 0, 1, 8 | 4));
    auto entries = untar(tgz.payload());
    std::map<std::string, Bytes> byName(entries.begin(), entries.end());
    ASSERT_TRUE(byName.count("setup.xml"));
    EXPECT_EQ(byName["setup.xml"], onDisk);
    EXPECT_TRUE(byName.count("ferro.icd"));
    EXPECT_TRUE(byName.count("ecdsa_host_key"));
    EXPECT_TRUE(byName.count("rsa_host_key"));
    EXPECT_FALSE(byName.count("setup-listing.xml"));
}

TEST(SimSetup, ReadOneByListingPathAndSetupListing) {
    Sim sim;
    RawClient c(sim.port());
    c.openPlain();
    Frame listing = c.request(plain(3, 0, 0, 0));
    EXPECT_EQ(listing.ext(), 0);
    EXPECT_NE(str(listing.bytes).find("name=\"pqAppl\""), std::string::npos);
    Frame one = c.request(named(3, 2, "usrMan/setup.xml", 0, 0));
    EXPECT_EQ(one.ext(), 2);
    EXPECT_EQ(one.payload(), fileBytes(sim.data() + "/setup/setup.xml"));
    Frame missing = c.request(named(3, 2, "usrMan/other.xml", 0, 0));
    EXPECT_TRUE(missing.nak());
    EXPECT_EQ(missing.code(), 2u);
}

TEST(SimSetup, WriteReplacesTheSetupInEachPacking) {
    Sim sim;
    RawClient c(sim.port());
    c.openPlain();
    const std::string doc1 = "<?xml version=\"1.0\"?><usrMan><system name=\"sys\" id=\"1\"/></usrMan>\n";
    Frame ack = c.request(setupWrite(Bytes(doc1.begin(), doc1.end()), 0));
    EXPECT_EQ(ack.cmd(), 3);
    EXPECT_EQ(ack.ext(), 3);
    EXPECT_FALSE(ack.nak());
    EXPECT_EQ(ack.size(), 20u);
    EXPECT_EQ(str(fileBytes(sim.data() + "/setup/setup.xml"), 0), doc1);
    EXPECT_EQ(str(c.request(plain(3, 0, 1, 0)).bytes), doc1);

    const std::string doc2 = "<?xml version=\"1.0\"?><usrMan><system name=\"sys\" id=\"2\"/></usrMan>\n";
    EXPECT_FALSE(c.request(setupWrite(gzipBytes(Bytes(doc2.begin(), doc2.end())), 4)).nak());
    EXPECT_EQ(str(fileBytes(sim.data() + "/setup/setup.xml"), 0), doc2);

    // A tar.gz as the setup read produced it goes back in unchanged.
    Frame tgz = c.request(plain(3, 0, 1, 12));
    EXPECT_FALSE(c.request(setupWrite(tgz.payload(), 12)).nak());
    EXPECT_EQ(str(fileBytes(sim.data() + "/setup/setup.xml"), 0), doc2);
}

TEST(SimSetup, DamagedOrUnprivilegedWritesAreRefusedAndLeaveTheSetup) {
    Sim sim;
    RawClient c(sim.port());
    c.openPlain();
    Bytes before = fileBytes(sim.data() + "/setup/setup.xml");
    const std::string broken = "<usrMan><system>";
    EXPECT_EQ(c.request(setupWrite(Bytes(broken.begin(), broken.end()), 0)).code(), 22u);
    Bytes junkGz = {0x1f, 0x8b, 8, 0, 1, 2, 3, 4, 5, 6, 7};
    EXPECT_TRUE(c.request(setupWrite(junkGz, 4)).nak());
    EXPECT_TRUE(c.request(setupWrite(Bytes{1, 2, 3}, 12)).nak());
    Bytes unprivileged = head(3, 0, 3, 20 + 9);
    for (char ch : std::string("<a>x</a>\n"))
        unprivileged.push_back(uint8_t(ch));
    EXPECT_EQ(c.request(unprivileged).code(), 13u);
    EXPECT_EQ(fileBytes(sim.data() + "/setup/setup.xml"), before);
}

TEST(SimScratchpad, WriteReadRemoveRoundTrip) {
    Sim sim;
    RawClient c(sim.port());
    c.openPlain();
    Bytes file;
    for (int i = 0; i < 3000; ++i)
        file.push_back(uint8_t(i * 7));
    Frame ack = c.request(scratchWrite("status.lua", file));
    EXPECT_EQ(ack.cmd(), 7);
    EXPECT_EQ(ack.ext(), 2);
    EXPECT_FALSE(ack.nak());
    EXPECT_EQ(fileBytes(sim.data() + "/ccci/scratchpad/status.lua"), file);

    Frame rd = c.request(named(7, 1, "status.lua"));
    EXPECT_EQ(rd.cmd(), 7);
    EXPECT_EQ(rd.ext(), 1);
    EXPECT_EQ(rd.payload(), file);

    Frame rm = c.request(named(7, 3, "status.lua"));
    EXPECT_EQ(rm.ext(), 3);
    EXPECT_FALSE(rm.nak());
    EXPECT_FALSE(fs::exists(sim.data() + "/ccci/scratchpad/status.lua"));
    Frame again = c.request(named(7, 1, "status.lua"));
    EXPECT_TRUE(again.nak());
    EXPECT_EQ(again.code(), 2u);
    EXPECT_TRUE(c.request(named(7, 3, "status.lua")).nak());
}

TEST(SimScratchpad, HoldsVersionListAndPackedXmlFiles) {
    Sim sim;
    RawClient c(sim.port());
    c.openPlain();
    std::string versions = str(c.request(named(7, 1, "xml-versions.txt")).bytes);
    EXPECT_NE(versions.find("ferro_objprops.gz 3\r\n"), std::string::npos);
    EXPECT_NE(versions.find("ferro_struct.gz 4\r\n"), std::string::npos);
    EXPECT_NE(versions.find("lang/lang_de.gz 7\r\n"), std::string::npos);
    for (const char* lang : {"de", "en", "fr", "es", "it", "pl", "cs", "ru"}) {
        Frame f = c.request(named(7, 1, std::string("lang/lang_") + lang + ".gz"));
        ASSERT_FALSE(f.nak()) << lang;
        std::string xml = str(gunzip(f.payload()), 0);
        EXPECT_NE(xml.find(std::string("lang=\"") + lang + "\""), std::string::npos);
        EXPECT_NE(xml.find("<text id=\"218300416\""), std::string::npos);
    }
    std::string de = str(gunzip(c.request(named(7, 1, "lang/lang_de.gz")).payload()), 0);
    EXPECT_NE(de.find("Nennspannung"), std::string::npos);
    EXPECT_NE(str(gunzip(c.request(named(7, 1, "ferro_struct.gz")).payload()), 0).find("<structure"),
              std::string::npos);
}

TEST(SimScratchpad, NamesThatLeaveTheFolderAreRefusedAndWriteNothing) {
    Sim sim;
    RawClient c(sim.port());
    c.openPlain();
    const std::string outside = sim.root() + "/../escaped.txt";
    for (const std::string& name :
         {std::string("../../../escaped.txt"), std::string("lang/../../x.txt"),
          std::string("/tmp/escaped.txt"), sim.root() + "/x", std::string("a\\..\\b"), std::string("")}) {
        Frame w = c.request(scratchWrite(name, Bytes{'x'}));
        EXPECT_TRUE(w.nak()) << name;
        EXPECT_EQ(w.code(), 3u) << name;
        EXPECT_TRUE(c.request(named(7, 1, name)).nak()) << name;
        EXPECT_TRUE(c.request(named(7, 3, name)).nak()) << name;
    }
    EXPECT_FALSE(fs::exists(outside));
    EXPECT_FALSE(fs::exists("/tmp/escaped.txt"));
    // A frame shorter than its fixed part.
    Bytes tooShort = head(7, 0, 2, 40);
    tooShort.resize(40);
    Frame shortFrame = c.request(tooShort);
    EXPECT_TRUE(shortFrame.nak());
}
