// Files by FTP against a real FTP server on loopback.
#include "link/FtpClient.h"
#include "support/FtpServer.h"
#include "support/LinkFixture.h"
#include "support/Ports.h"

#include <QCryptographicHash>
#include <QTemporaryDir>

#include "support/Files.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

using namespace ferro;
using namespace ferro::test;
namespace fs = std::filesystem;

namespace {
std::string pattern(size_t n) {
    std::string s(n, '\0');
    uint32_t x = 12345;
    for (auto& c : s) {
        x = x * 1103515245 + 12345;
        c = char(x >> 16);
    }
    return s;
}
struct FtpFixture : LinkFixture {
    QTemporaryDir remoteDir, localDir;
    std::string remote, local;
    std::unique_ptr<FtpServer> server;
    FtpFixture() {
        remote = remoteDir.path().toStdString() + "/";
        local = localDir.path().toStdString() + "/";
        server = std::make_unique<FtpServer>(remote);
        link.FIP = "127.0.0.1";
        link.FFtpPort = server->port();
        link.FFTP = true;
        link.FRecDir = local + "Recorder/";
        link.FEvtDir = local + "Event/";
        link.FTmpDir = local;
    }
};
} // namespace

TEST(Ftp, RecordingFetchedByPathIsByteIdentical) {
    FtpFixture t;
    ASSERT_TRUE(t.server->ready());
    std::string data = pattern(3 * 1024 * 1024 + 17);
    writeFile(t.remote + "data/rec/sync/4-0-1700000000.dat", data);
    std::vector<std::string> got;
    std::vector<TWorkStatus> work;
    t.link.FRecToTable = [&](TSender, const std::string& f) { got.push_back(f); };
    t.link.FOnTransferWork = [&](TWorkStatus s, TWorkMode, uint64_t) { work.push_back(s); };
    t.link.SendCommand("CCC_READOUT_REC_RD", 5, 0, 1, "sync/4-0-1700000000.dat", 0u, false);
    t.tick();
    std::string path = "data/rec/sync/4-0-1700000000.dat";
    t.feed(Frame(5, 0, 1, std::vector<uint8_t>(path.begin(), path.end()), 5));
    ASSERT_EQ(got.size(), 1u);
    EXPECT_EQ(got[0], t.local + "Recorder/4-0-1700000000.dat");
    EXPECT_EQ(
        QCryptographicHash::hash(QByteArray::fromStdString(readFile(got[0])), QCryptographicHash::Sha256),
        QCryptographicHash::hash(QByteArray::fromStdString(data), QCryptographicHash::Sha256));
    ASSERT_GE(work.size(), 2u);
    EXPECT_EQ(work.front(), WorkBegin);
    EXPECT_EQ(work.back(), WorkEnd);
    EXPECT_EQ(t.server->logins(), 1) << "one login serves the size and the transfer";
}

TEST(Ftp, ListingWithAWrongPathGivesAnEmptyStream) {
    FtpFixture t;
    ASSERT_TRUE(t.server->ready());
    bool called = false;
    size_t size = 99;
    t.link.FRecOverview = [&](TSender, MemStream& s) {
        called = true;
        size = s.size();
    };
    std::string path = "no/such/listing.txt";
    t.feed(Frame(5, 0, 0, std::vector<uint8_t>(path.begin(), path.end()), 5));
    EXPECT_TRUE(called);
    EXPECT_EQ(size, 0u);
}

TEST(Ftp, ResumeFetchesOnlyTheRest) {
    FtpFixture t;
    ASSERT_TRUE(t.server->ready());
    std::string data = pattern(500000);
    writeFile(t.remote + "evt/e-1-2.bin", data);
    writeFile(t.local + "e.bin", data.substr(0, 123456));
    TFtpClient c;
    c.Port = t.server->port();
    ASSERT_TRUE(c.Get("/evt/e-1-2.bin", t.local + "e.bin", false, true));
    EXPECT_EQ(readFile(t.local + "e.bin"), data);
    EXPECT_EQ(c.Size("/evt/e-1-2.bin"), 500000);
    EXPECT_EQ(c.Size("/evt/missing.bin"), -1);
}

TEST(Ftp, SetupUploadGoesToTheServerAndTheFrameNamesIt) {
    FtpFixture t;
    ASSERT_TRUE(t.server->ready());
    fs::create_directories(t.remote + "ramdrive0/ccci");
    writeFile(t.local + "mine.xml", "<setup/>");
    t.link.SendCommand("CCC_SETUP_WR", 3, 1, 3, t.local + "mine.xml");
    t.tick();
    ASSERT_TRUE(fs::exists(t.remote + "ramdrive0/ccci/mine.gz"));
    t.tick();
    ASSERT_EQ(t.link.Sent.size(), 1u);
    EXPECT_EQ(t.link.Sent[0].bytes.size(), 88u);
    EXPECT_EQ(std::string(reinterpret_cast<const char*>(&t.link.Sent[0].bytes[20])), "mine.gz");
}

TEST(Ftp, UnreachableServerFailsCleanly) {
    TFtpClient c;
    c.Port = FreeLoopbackPort();
    MemStream m;
    EXPECT_FALSE(c.Probe());
    EXPECT_FALSE(c.Get("/x", m));
    EXPECT_EQ(m.size(), 0u);
}
