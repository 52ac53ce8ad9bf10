// The simulator's parts in-process: fault list syntax, the tree's name checks, the packings.
#include "ferrosim/Compression.h"
#include "ferrosim/FaultPlan.h"
#include "ferrosim/InstrumentTree.h"
#include "ferrosim/SimOptions.h"
#include "ferrosim/SupplyConfig.h"

#include <QJsonDocument>
#include <QJsonObject>

#include <QTemporaryDir>

#include <gtest/gtest.h>

using namespace ferro::sim;

TEST(SimFaultPlan, ParsesEveryKind) {
    FaultPlan p;
    std::string error;
    ASSERT_TRUE(p.parse("refuse:3:0x01:55:a:b,drop:7:*,delay:250,cut:4096,garbage,badsize,limit:5", error))
        << error;
    ASSERT_NE(p.refusalFor(3, 1), nullptr);
    EXPECT_EQ(p.refusalFor(3, 1)->code, 55u);
    EXPECT_EQ(p.refusalFor(3, 1)->text, "a:b");
    EXPECT_EQ(p.refusalFor(3, 2), nullptr);
    EXPECT_TRUE(p.drops(7, 0));
    EXPECT_TRUE(p.drops(7, 0xFFFF));
    EXPECT_FALSE(p.drops(3, 1));
    EXPECT_EQ(p.delayMs(), 250);
    EXPECT_EQ(p.cutBytes(), 4096);
    EXPECT_TRUE(p.garbage());
    EXPECT_TRUE(p.badSize());
    EXPECT_EQ(p.connectionLimit(), 5);
}

TEST(SimFaultPlan, RejectsMalformedItems) {
    for (const char* bad : {"refuse:3:1:55", "refuse:300:1:5:x", "drop:1", "delay:-4", "cut:abc",
                            "limit:", "garbage:1", "whatever"}) {
        FaultPlan p;
        std::string error;
        EXPECT_FALSE(p.parse(bad, error)) << bad;
        EXPECT_NE(error.find("bad fault"), std::string::npos);
    }
    FaultPlan empty;
    std::string error;
    EXPECT_TRUE(empty.parse("", error));
    EXPECT_EQ(empty.cutBytes(), -1);
    EXPECT_EQ(empty.connectionLimit(), -1);
}

TEST(SimTree, ResolveKeepsNamesBelowTheBaseFolder) {
    QTemporaryDir dir;
    InstrumentTree tree(dir.path().toStdString());
    std::string base = tree.scratchpadDir();
    EXPECT_EQ(tree.resolve(base, "lang/lang_de.gz").value(), base + "/lang/lang_de.gz");
    for (const char* bad : {"", "..", "../x", "a/../../x", "/abs", "a\\b", "C:x", "./x"})
        EXPECT_FALSE(tree.resolve(base, bad).has_value()) << bad;
}

TEST(SimTree, InstrumentPathsMapOntoTheRoot) {
    QTemporaryDir dir;
    InstrumentTree tree(dir.path().toStdString());
    const std::string r = tree.root();
    EXPECT_EQ(tree.resolveInstrumentPath("//mnt/flashdrive0/data/logd.log", "/").value(),
              r + "/flashdrive0/data/logd.log");
    EXPECT_EQ(tree.resolveInstrumentPath("/ramdrive0/ccci", "/").value(), r + "/ramdrive0/ccci");
    EXPECT_EQ(tree.resolveInstrumentPath("~/fw.img", "/").value(), tree.scratchpadDir() + "/fw.img");
    EXPECT_EQ(tree.resolveInstrumentPath("x/../y", "/mnt/flashdrive0/data").value(),
              r + "/flashdrive0/data/y");
    EXPECT_FALSE(tree.resolveInstrumentPath("../../..", "/mnt/flashdrive0").has_value());
    EXPECT_FALSE(tree.resolveInstrumentPath("/mnt/../..", "/").has_value());
    EXPECT_EQ(tree.instrumentPathOf(r + "/flashdrive0/data"), "/mnt/flashdrive0/data");
}

TEST(SimTree, SymlinkOutOfTheRootIsNotFollowed) {
    QTemporaryDir dir, outside;
    InstrumentTree tree(dir.path().toStdString());
    std::filesystem::create_directories(tree.scratchpadDir());
    std::filesystem::create_directory_symlink(outside.path().toStdString(), tree.scratchpadDir() + "/link");
    EXPECT_FALSE(tree.resolve(tree.scratchpadDir(), "link/x").has_value());
    EXPECT_FALSE(tree.resolveInstrumentPath("~/link/x", "/").has_value());
}

TEST(SimCompression, RoundTripsAndBoundsUnpacking) {
    Bytes plain(100000);
    for (size_t i = 0; i < plain.size(); ++i)
        plain[i] = uint8_t(i % 13);
    Bytes packed = Compression::gzip(plain);
    EXPECT_TRUE(Compression::looksGzip(packed));
    EXPECT_LT(packed.size(), plain.size() / 10);
    Bytes back;
    ASSERT_TRUE(Compression::gunzip(packed, back, plain.size()));
    EXPECT_EQ(back, plain);
    EXPECT_FALSE(Compression::gunzip(packed, back, plain.size() - 1));
    Bytes truncated(packed.begin(), packed.begin() + long(packed.size() / 2));
    EXPECT_FALSE(Compression::gunzip(truncated, back, plain.size()));

    std::vector<ArchiveEntry> entries{{"setup.xml", Bytes{'<', 'a', '/', '>'}}, {"ferro.icd", plain}};
    std::vector<ArchiveEntry> read;
    ASSERT_TRUE(Compression::untarGz(Compression::tarGz(entries), read, 1 << 20));
    ASSERT_EQ(read.size(), 2u);
    EXPECT_EQ(read[0].name, "setup.xml");
    EXPECT_EQ(read[1].data, plain);
    EXPECT_FALSE(Compression::untarGz(Compression::tarGz(entries), read, 1000));
}

TEST(SimCommandLine, OptionsAndTheirErrors) {
    const char* good[] = {"ferrosim", "--root",  "/tmp/r",    "--port=0",
                          "--faults", "garbage", "--profile", "p.json"};
    SimOptions o;
    std::string error;
    ASSERT_TRUE(o.parse(8, const_cast<char**>(good), error)) << error;
    EXPECT_EQ(o.root, "/tmp/r");
    EXPECT_EQ(o.port, 0);
    EXPECT_EQ(o.faults, "garbage");
    EXPECT_EQ(o.profile, "p.json");
    const char* noRoot[] = {"ferrosim", "--port", "5"};
    EXPECT_FALSE(SimOptions().parse(3, const_cast<char**>(noRoot), error));
    const char* badPort[] = {"ferrosim", "--root", "x", "--port", "70000"};
    EXPECT_FALSE(SimOptions().parse(5, const_cast<char**>(badPort), error));
    const char* unknown[] = {"ferrosim", "--root", "x", "--bogus"};
    EXPECT_FALSE(SimOptions().parse(4, const_cast<char**>(unknown), error));
}

TEST(SimCommandLine, FtpPortIsOptionalAndChecked) {
    std::string error;
    const char* none[] = {"ferrosim", "--root", "x"};
    SimOptions a;
    ASSERT_TRUE(a.parse(3, const_cast<char**>(none), error));
    EXPECT_EQ(a.ftpPort, -1);
    const char* free[] = {"ferrosim", "--root", "x", "--ftp-port", "0", "--ssh-port=2222"};
    SimOptions b;
    ASSERT_TRUE(b.parse(6, const_cast<char**>(free), error)) << error;
    EXPECT_EQ(b.ftpPort, 0);
    EXPECT_EQ(b.sshPort, 2222);
    const char* given[] = {"ferrosim", "--root", "x", "--ftp-port=2121"};
    SimOptions c;
    ASSERT_TRUE(c.parse(4, const_cast<char**>(given), error));
    EXPECT_EQ(c.ftpPort, 2121);
    const char* bad[] = {"ferrosim", "--root", "x", "--ftp-port", "ftp"};
    EXPECT_FALSE(SimOptions().parse(5, const_cast<char**>(bad), error));
}

namespace {
bool readSupply(const char* json, SupplyConfig& c, std::string& error) {
    return c.read(QJsonDocument::fromJson(json).object(), error);
}
} // namespace

TEST(SimSupplyConfig, OverridesKeepTheRestAndNonsenseIsRejected) {
    SupplyConfig c;
    std::string error;
    ASSERT_TRUE(readSupply(R"({"voltage": 63.5, "events": [{"kind": "swell", "phases": [2, 3, 9]}],
                               "voltageHarmonics": [{"order": 5, "percent": 4, "phase": 10}]})",
                           c, error))
        << error;
    EXPECT_EQ(c.voltage, 63.5);
    EXPECT_EQ(c.current, 100.0);
    ASSERT_EQ(c.events.size(), 1u);
    EXPECT_TRUE(c.events[0].swell);
    EXPECT_EQ(c.events[0].percent, 115.0);
    EXPECT_EQ(c.events[0].phaseMask, 6u);
    ASSERT_EQ(c.voltageHarmonics.size(), 1u);
    EXPECT_EQ(c.voltageHarmonics[0].phaseDeg, 10.0);
    EXPECT_FALSE(c.currentHarmonics.empty()); // not named: the default stays

    for (const char* bad :
         {R"({"voltage": -1})", R"({"frequency": 5})", R"({"powerFactor": 1.5})", R"({"sampleRate": 1000})",
          R"({"voltageHarmonics": [{"order": 51, "percent": 1}]})",
          R"({"interharmonics": [{"order": 50, "percent": 1}]})", R"({"events": [{"everySeconds": 0}]})"}) {
        SupplyConfig d;
        EXPECT_FALSE(readSupply(bad, d, error)) << bad;
        EXPECT_FALSE(error.empty());
    }
}
