// The simulator's parts in-process: fault list syntax, the tree's name checks, the packings, options.
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

TEST(SimTree, DotDotStaysInTheRootAndSymlinksOutAreNotFollowed) {
    QTemporaryDir dir, outside;
    InstrumentTree tree(dir.path().toStdString());
    EXPECT_EQ(tree.resolveInstrumentPath("x/../y", "/mnt/flashdrive0/data").value(),
              tree.root() + "/flashdrive0/data/y");
    EXPECT_FALSE(tree.resolveInstrumentPath("../../..", "/mnt/flashdrive0").has_value());
    std::filesystem::create_directories(tree.scratchpadDir());
    std::filesystem::create_directory_symlink(outside.path().toStdString(), tree.scratchpadDir() + "/link");
    EXPECT_FALSE(tree.resolve(tree.scratchpadDir(), "link/x").has_value());
    EXPECT_FALSE(tree.resolveInstrumentPath("~/link/x", "/").has_value());
}

TEST(SimCompression, UnpackingIsBoundedAndTruncationDetected) {
    Bytes plain(100000);
    for (size_t i = 0; i < plain.size(); ++i)
        plain[i] = uint8_t(i % 13);
    Bytes packed = Compression::gzip(plain), back;
    ASSERT_TRUE(Compression::gunzip(packed, back, plain.size()));
    EXPECT_EQ(back, plain);
    EXPECT_FALSE(Compression::gunzip(packed, back, plain.size() - 1));
    EXPECT_FALSE(Compression::gunzip(Bytes(packed.begin(), packed.begin() + long(packed.size() / 2)), back,
                                     plain.size()));
    std::vector<ArchiveEntry> read;
    EXPECT_FALSE(Compression::untarGz(Compression::tarGz({{"ferro.icd", plain}}), read, 1000));
}

TEST(SimCommandLine, BadOptionsAreRejected) {
    std::string error;
    const std::vector<std::vector<const char*>> bad = {{"ferrosim", "--port", "5"},
                                                       {"ferrosim", "--root", "x", "--port", "70000"},
                                                       {"ferrosim", "--root", "x", "--bogus"},
                                                       {"ferrosim", "--root", "x", "--ftp-port", "ftp"}};
    for (auto args : bad)
        EXPECT_FALSE(SimOptions().parse(int(args.size()), const_cast<char**>(args.data()), error))
            << args.back();
}
