// Setup read and write in the three packings, and the scratchpad.
#include "SimHarness.h"
#include "ferrosim/Compression.h"

#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <thread>

using namespace simtest;
namespace fs = std::filesystem;

TEST(SimSetup, ReadAllFollowsTheRequestFlagsAndReadOneByName) {
    Sim sim;
    RawClient c(sim.port());
    c.openPlain();
    const Bytes onDisk = fileBytes(sim.data() + "/setup/setup.xml");
    ASSERT_FALSE(onDisk.empty());
    Frame xml = c.request(plain(3, 0, 1, 0));
    EXPECT_EQ(xml.ext(), 1);
    EXPECT_EQ(xml.payload(), onDisk);
    const Bytes gz = c.request(plain(3, 0, 1, 4)).payload();
    EXPECT_EQ(Bytes(gz.begin(), gz.begin() + 2), (Bytes{0x1f, 0x8b}));
    EXPECT_EQ(gunzip(gz), onDisk);
    auto byName = untar(c.request(plain(3, 0, 1, 8 | 4)).payload());
    EXPECT_EQ(byName["setup.xml"], onDisk);
    for (const char* name : {"ferro.icd", "ecdsa_host_key", "rsa_host_key"})
        EXPECT_TRUE(byName.count(name)) << name;
    EXPECT_FALSE(byName.count("setup-listing.xml"));

    EXPECT_NE(str(c.request(plain(3, 0, 0, 0)).bytes).find("name=\"pqAppl\""), std::string::npos);
    EXPECT_EQ(c.request(named(3, 2, "usrMan/setup.xml", 0, 0)).payload(), onDisk);
    EXPECT_EQ(c.request(named(3, 2, "usrMan/other.xml", 0, 0)).code(), 2u);
}

TEST(SimSetup, WriteReplacesTheSetupInEachPackingAndRefusesDamage) {
    Sim sim;
    RawClient c(sim.port());
    c.openPlain();
    const std::string path = sim.data() + "/setup/setup.xml";
    const std::string doc1 = "<?xml version=\"1.0\"?><usrMan><system name=\"sys\" id=\"1\"/></usrMan>\n";
    Frame ack = c.request(setupWrite(Bytes(doc1.begin(), doc1.end()), 0));
    EXPECT_EQ(ack.ext(), 3);
    EXPECT_TRUE(ack.ack());
    EXPECT_EQ(ack.size(), 20u);
    EXPECT_EQ(str(fileBytes(path), 0), doc1);
    EXPECT_EQ(str(c.request(plain(3, 0, 1, 0)).bytes), doc1);

    const std::string doc2 = "<?xml version=\"1.0\"?><usrMan><system name=\"sys\" id=\"2\"/></usrMan>\n";
    EXPECT_TRUE(
        c.request(setupWrite(ferro::sim::Compression::gzip(Bytes(doc2.begin(), doc2.end())), 4)).ack());
    EXPECT_EQ(str(fileBytes(path), 0), doc2);
    // A tar.gz as the setup read produced it goes back in unchanged (over another setup meanwhile).
    const Bytes packed = c.request(plain(3, 0, 1, 12)).payload();
    writeBytes(path, Bytes(doc1.begin(), doc1.end()));
    EXPECT_TRUE(c.request(setupWrite(packed, 12)).ack());
    EXPECT_EQ(str(fileBytes(path), 0), doc2);

    const std::string broken = "<usrMan><system>";
    EXPECT_EQ(c.request(setupWrite(Bytes(broken.begin(), broken.end()), 0)).code(), 22u);
    EXPECT_TRUE(c.request(setupWrite(Bytes{0x1f, 0x8b, 8, 0, 1, 2, 3, 4, 5, 6, 7}, 4)).nak());
    EXPECT_TRUE(c.request(setupWrite(Bytes{1, 2, 3}, 12)).nak());
    Bytes unprivileged = head(3, 0, 3, 20 + 9);
    for (char ch : std::string("<a>x</a>\n"))
        unprivileged.push_back(uint8_t(ch));
    EXPECT_EQ(c.request(unprivileged).code(), 13u);
    EXPECT_EQ(str(fileBytes(path), 0), doc2);
}

TEST(SimSetup, ASetupThatBreaksALimitIsRefusedAndTheOldOneStays) {
    Sim sim;
    RawClient c(sim.port());
    c.openPlain();
    const std::string path = sim.data() + "/setup/setup.xml";
    const Bytes before = fileBytes(path);
    auto doc = [](const std::string& parameter) {
        return "<usrMan><system name=\"sys\"><group id=\"1\">" + parameter + "</group></system></usrMan>";
    };
    const std::string bad[] = {
        doc("<parameter "
            "id=\"5\"><type>float</type><value>200.5</value><low>50</low><high>200</high></parameter>"),
        doc("<parameter id=\"5\"><type>uint32</type><value>-1</value></parameter>"),
        doc("<parameter id=\"5\"><type>integer</type><value>zwei</value></parameter>"),
        doc("<parameter id=\"5\"><type>boolean</type><value>2</value></parameter>"),
        doc("<parameter id=\"5\"><type>text</type><value>zu "
            "lang</value><low>0</low><high>3</high></parameter>"),
        doc("<parameter id=\"5\"><type>uint32</type><value>3</value><range list=\"true\"><item id=\"0\"/>"
            "<item id=\"1\"/></range></parameter>"),
        doc("<datapoint id=\"5\"><rec>ja</rec></datapoint>")};
    for (const std::string& xml : bad) {
        EXPECT_EQ(c.request(setupWrite(Bytes(xml.begin(), xml.end()), 0)).code(), 22u) << xml;
    }
    EXPECT_EQ(fileBytes(path), before);
    const std::string reason = "setup refused: parameter 5: 200.5 outside 50..200";
    std::string log;
    for (int i = 0; i < 100 && log.find(reason) == std::string::npos; ++i) {
        std::this_thread::sleep_for(std::chrono::milliseconds(30));
        log = sim.log();
    }
    EXPECT_NE(log.find(reason), std::string::npos) << "the log names the parameter and its limits";
    const std::string edge =
        doc("<parameter id=\"5\"><type>float</type><value>200.000001</value><low>50</low><high>200</high>"
            "</parameter>");
    EXPECT_TRUE(c.request(setupWrite(Bytes(edge.begin(), edge.end()), 0)).ack()) << "five decimals of slack";
}

TEST(SimScratchpad, RoundTripPackedXmlFilesAndNamesThatLeaveTheFolder) {
    Sim sim;
    RawClient c(sim.port());
    c.openPlain();
    const std::string path = sim.data() + "/ccci/scratchpad/status.lua";
    Bytes file;
    for (int i = 0; i < 3000; ++i)
        file.push_back(uint8_t(i * 7));
    Frame ack = c.request(scratchWrite("status.lua", file));
    EXPECT_EQ(ack.ext(), 2);
    EXPECT_TRUE(ack.ack());
    EXPECT_EQ(fileBytes(path), file);
    Frame rd = c.request(named(7, 1, "status.lua"));
    EXPECT_EQ(rd.ext(), 1);
    EXPECT_EQ(rd.payload(), file);
    Frame rm = c.request(named(7, 3, "status.lua"));
    EXPECT_EQ(rm.ext(), 3);
    EXPECT_TRUE(rm.ack());
    EXPECT_FALSE(fs::exists(path));
    EXPECT_EQ(c.request(named(7, 1, "status.lua")).code(), 2u);
    EXPECT_TRUE(c.request(named(7, 3, "status.lua")).nak());

    for (const std::string& name :
         {std::string("../../../escaped.txt"), std::string("lang/../../x.txt"),
          std::string("/tmp/escaped.txt"), sim.root() + "/x", std::string("a\\..\\b"), std::string("")}) {
        EXPECT_EQ(c.request(scratchWrite(name, Bytes{'x'})).code(), 3u) << name;
        EXPECT_TRUE(c.request(named(7, 1, name)).nak()) << name;
        EXPECT_TRUE(c.request(named(7, 3, name)).nak()) << name;
    }
    EXPECT_FALSE(fs::exists(sim.root() + "/../escaped.txt"));
    EXPECT_FALSE(fs::exists("/tmp/escaped.txt"));
    std::string versions = str(c.request(named(7, 1, "xml-versions.txt")).bytes);
    for (const char* line : {"ferro_objprops.gz 3\r\n", "ferro_struct.gz 4\r\n", "lang/lang_de.gz 8\r\n"})
        EXPECT_NE(versions.find(line), std::string::npos) << line;
    for (const char* lang : {"de", "en", "fr", "es", "it", "pl", "cs", "ru"}) {
        std::string xml =
            str(gunzip(c.request(named(7, 1, std::string("lang/lang_") + lang + ".gz")).payload()), 0);
        EXPECT_NE(xml.find(std::string("lang=\"") + lang + "\""), std::string::npos) << lang;
        EXPECT_NE(xml.find("<text id=\"218300416\""), std::string::npos) << lang;
    }
    EXPECT_NE(str(gunzip(c.request(named(7, 1, "ferro_struct.gz")).payload()), 0).find("<structure"),
              std::string::npos);
    Bytes tooShort = head(7, 0, 2, 40); // shorter than its fixed fields
    tooShort.resize(40);
    EXPECT_TRUE(c.request(tooShort).nak());
}
