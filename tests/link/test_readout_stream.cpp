// Readout replies (listings, files with resume, display, log) and live stream blocks.
#include "support/LinkFixture.h"

#include <QTemporaryDir>

#include "support/Files.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

using namespace ferro;
using namespace ferro::test;
namespace fs = std::filesystem;

namespace {

std::vector<uint8_t> bytesOf(const std::string& s) {
    return std::vector<uint8_t>(s.begin(), s.end());
}

struct ReadoutFixture : LinkFixture {
    QTemporaryDir dir;
    std::string base;
    std::vector<std::string> recFiles, evtFiles;
    ReadoutFixture() {
        base = dir.path().toStdString() + "/";
        link.FRecDir = base + "4711/Recorder/";
        link.FEvtDir = base + "4711/Event/";
        link.FTmpDir = base;
        link.FRecToTable = [this](TSender, const std::string& f) { recFiles.push_back(f); };
        link.FEvtToTable = [this](TSender, const std::string& f) { evtFiles.push_back(f); };
    }
};

std::vector<uint8_t> streamBlock(uint32_t id, uint32_t sec, size_t objectBytes, uint8_t fill = 0) {
    std::vector<uint8_t> p(12 + objectBytes, fill);
    PutU32(p, 0, id);
    PutU32(p, 4, sec);
    PutU32(p, 8, 500);
    return Frame(4, 0, 3, p);
}

std::vector<uint8_t> handle(uint32_t h) {
    std::vector<uint8_t> p(4);
    PutU32(p, 0, h);
    return Frame(4, 0, 1, p);
}

} // namespace

TEST(Readout, ListingGoesToTheOverviewCallback) {
    ReadoutFixture t;
    std::string got;
    t.link.FRecOverview = [&](TSender, MemStream& s) { got.assign(s.bytes().begin(), s.bytes().end()); };
    t.link.SendNamed("CCC_READOUT_REC_LS");
    std::string list = "sync/4-0-1700000000.dat;1700003600;4096\r\n";
    t.feed(Frame(5, 0, 0, bytesOf(list)));
    EXPECT_EQ(got, list);
    EXPECT_FALSE(t.link.FWaitForAnswer);
}

TEST(Readout, FileIsStoredUnderItsNameWithoutThePathAndASecondReadAppends) {
    ReadoutFixture t;
    t.link.SendCommand("CCC_READOUT_REC_RD", 5, 0, 1, "sync/4-0-1700000000.dat", 0u, false);
    t.tick();
    t.feed(Frame(5, 0, 1, bytesOf("ABCD")));
    std::string local = t.base + "4711/Recorder/4-0-1700000000.dat";
    ASSERT_EQ(t.recFiles.size(), 1u);
    EXPECT_EQ(t.recFiles[0], local);
    EXPECT_EQ(readFile(local), "ABCD");
    t.link.SendCommand("CCC_READOUT_REC_RD", 5, 0, 1, "sync/4-0-1700000000.dat", 0u, false);
    t.tick();
    t.feed(Frame(5, 0, 1, bytesOf("ABCD")));
    EXPECT_EQ(readFile(local), "ABCDABCD") << "without Pos the file doubles";
}

TEST(Readout, ResumeAppendsTheRestAfterAPartialFile) {
    ReadoutFixture t;
    std::string full(100000, '\0');
    for (size_t i = 0; i < full.size(); ++i)
        full[i] = char(i * 31);
    fs::create_directories(t.link.FEvtDir);
    std::string local = t.link.FEvtDir + "evt-1700000000-5.bin";
    {
        std::ofstream part(local, std::ios::binary);
        part << full.substr(0, 40000);
    }
    t.link.SendCommand("CCC_READOUT_EVT_RD", 5, 0, 0x11, "evt-1700000000-5.bin", 40000u, false);
    t.tick();
    EXPECT_EQ(MemStream::peekU32(&t.link.Sent[0].bytes[84]), 40000u);
    t.feed(Frame(5, 0, 0x11, bytesOf(full.substr(40000))));
    EXPECT_EQ(readFile(local), full);
    ASSERT_EQ(t.evtFiles.size(), 1u);
}

TEST(Readout, MassDownloadCallbackReplacesTheTableCallback) {
    ReadoutFixture t;
    int next = 0;
    t.link.FMassDLNext = [&](TSender) { ++next; };
    t.link.SendCommand("CCC_READOUT_REC_RD", 5, 0, 1, "a.dat", 0u, false);
    t.tick();
    t.feed(Frame(5, 0, 1, bytesOf("x")));
    EXPECT_EQ(next, 1);
    EXPECT_TRUE(t.recFiles.empty());
}

TEST(Readout, RefusedReadWritesNothing) {
    ReadoutFixture t;
    t.link.SendCommand("CCC_READOUT_REC_RD", 5, 0, 1, "gone.dat", 0u, false);
    t.tick();
    t.feed(Refusal(5, 0, 1, 2, "no such file"));
    EXPECT_TRUE(t.recFiles.empty());
    EXPECT_FALSE(fs::exists(t.link.FRecDir + "gone.dat"));
}

TEST(Readout, NameThatClimbsOutStaysInTheRecordingFolder) {
    ReadoutFixture t;
    t.link.SendCommand("CCC_READOUT_REC_RD", 5, 0, 1, "../../escape.dat", 0u, false);
    t.tick();
    t.feed(Frame(5, 0, 1, bytesOf("z")));
    EXPECT_FALSE(fs::exists(t.base + "escape.dat"));
    EXPECT_TRUE(fs::exists(t.link.FRecDir + "escape.dat"));
}

TEST(Readout, DisplayImageAndFileText) {
    ReadoutFixture t;
    std::string png;
    t.link.FSetNewDisplayImage = [&](TSender, MemStream& s) {
        png.assign(s.bytes().begin(), s.bytes().end());
    };
    t.feed(Frame(5, 0, 0x21, bytesOf("\x89PNG....")));
    EXPECT_EQ(png, "\x89PNG....");
    t.feed(Frame(10, 0, 5, bytesOf("Firmware copied")));
    ASSERT_FALSE(t.memoLines.empty());
    EXPECT_EQ(t.memoLines.back(), "Firmware copied");
    t.feed(Frame(5, 0, 0x22, bytesOf("log line\n")));
    EXPECT_EQ(readFile(t.base + "Dlog.log"), "log line\n");
}

TEST(Stream, HandleThenPacedBlocks) {
    LinkFixture t;
    t.link.MutableIdentity().Rev.Gen = 2;
    int updates = 0;
    t.link.FUpdateGrid = [&](TSender) { ++updates; };
    t.link.SendCommand("CCC_STREAM_START", 4, 0, 1, uint32_t(0x04FFFFFF));
    t.tick();
    ASSERT_EQ(t.link.Sent.size(), 1u);
    t.feed(handle(0x1234));
    EXPECT_TRUE(t.link.FStreamRec.Active);
    EXPECT_EQ(t.link.FStreamRec.ObjHdl, 0x1234u);
    t.feed(streamBlock(0x04FFFFFF, 1700000000, 2328 - 12));
    EXPECT_EQ(updates, 1);
    EXPECT_EQ(t.link.FBytes.FBytes.size(), 2328u);
    EXPECT_EQ(MemStream::peekU32(t.link.FBytes.FBytes.data()), 0x04FFFFFFu);
    const uint8_t* bufferBefore = t.link.FBytes.FBytes.data();
    t.tick(500);
    EXPECT_EQ(t.link.Sent.size(), 1u) << "the next block is asked for a second after the last";
    t.tick(600);
    EXPECT_EQ(t.link.CountSendLst(), 1) << "appended at the first tick after the pause";
    t.tick();
    ASSERT_EQ(t.link.Sent.size(), 2u);
    EXPECT_EQ(t.sentNames()[1], "CCC_STREAM_GET_NXT");
    EXPECT_EQ(MemStream::peekU32(&t.link.Sent[1].bytes[20]), 0x1234u);
    t.feed(streamBlock(0x04FFFFFF, 1700000001, 2328 - 12, 7));
    EXPECT_EQ(t.link.FBytes.FBytes.data(), bufferBefore) << "same size, same buffer";
}

TEST(Stream, BlockAfterStopBeforeItsAcknowledgementIsDropped) {
    LinkFixture t;
    int updates = 0;
    t.link.FUpdateGrid = [&](TSender) { ++updates; };
    t.feed(handle(0x99));
    t.link.SendCommand("CCC_STREAM_STOP", 4, 0, 0xFFFF, uint32_t(0x99));
    EXPECT_EQ(t.link.FStreamRec.ObjHdl, 0u);
    EXPECT_TRUE(t.logged("ObjectHandle auf 0 gesetzt"));
    t.feed(streamBlock(0x04FFFFFF, 1, 100));
    EXPECT_EQ(updates, 0);
    EXPECT_FALSE(t.link.FNextStreamBool);
    t.tick();
    t.feed(Frame(4, 0, 0xFFFF, {}));
    EXPECT_FALSE(t.link.FStreamRec.Active);
}

TEST(Stream, BinaryHandleArrivesSecondAndTheFirstStays) {
    LinkFixture t;
    t.link.FStreamRec.WithBinary = true;
    t.link.SendCommand("CCC_STREAM_START", 4, 0, 1, uint32_t(0x04FFFFFF));
    t.tick();
    t.feed(handle(0x10));
    EXPECT_EQ(t.link.FStreamRec.BinaryHdl, 1u);
    t.tick();
    ASSERT_EQ(t.link.Sent.size(), 2u);
    EXPECT_EQ(MemStream::peekU32(&t.link.Sent[1].bytes[20]), 0x00989680u);
    t.feed(handle(0x20));
    EXPECT_EQ(t.link.FStreamRec.ObjHdl, 0x10u);
    EXPECT_EQ(t.link.FStreamRec.BinaryHdl, 0x20u);
    EXPECT_TRUE(t.logged("New Binary Stream Obj Handle: 20"));
    // Stopping the measuring stream stops the binary one too.
    t.link.SendCommand("CCC_STREAM_STOP", 4, 0, 0xFFFF, uint32_t(0x10));
    EXPECT_EQ(t.link.CountSendLst(), 2);
    EXPECT_EQ(t.link.FStreamRec.BinaryHdl, 0u);
    EXPECT_FALSE(t.link.FStreamRec.WithBinary);
}

TEST(Stream, BinaryBlockWithNoInputsGivesAnEmptyArrayAndIsAskedForAtOnce) {
    LinkFixture t;
    t.feed(handle(0x10));
    t.link.FStreamRec.BinaryHdl = 0x20;
    uint32_t count = 99;
    std::vector<uint8_t> status = {1};
    t.link.FBinInCB = [&](TSender, uint32_t n, const std::vector<uint8_t>& s) {
        count = n;
        status = s;
    };
    std::vector<uint8_t> p(14, 0);
    PutU32(p, 0, 0x00989680);
    t.feed(Frame(4, 0, 3, p));
    EXPECT_EQ(count, 0u);
    EXPECT_TRUE(status.empty());
    EXPECT_FALSE(t.link.FNextStreamBool) << "the binary stream has no pause";
    t.tick();
    ASSERT_FALSE(t.link.Sent.empty());
    EXPECT_EQ(t.sentNames().back(), "CCC_STREAM_GET_NXT");
    EXPECT_EQ(MemStream::peekU32(&t.link.Sent.back().bytes[20]), 0x20u);
    p.push_back(1);
    p.push_back(0);
    p[13] = 2;
    t.feed(Frame(4, 0, 3, p));
    EXPECT_EQ(count, 2u);
    EXPECT_EQ(status, (std::vector<uint8_t>{1, 0}));
}

TEST(Stream, OscilloscopeGapFollowsTheFirmwareGeneration) {
    const size_t gaps[] = {20, 40, 40, 0};
    for (uint8_t gen = 0; gen < 4; ++gen) {
        LinkFixture t;
        t.link.MutableIdentity().Rev.Gen = gen;
        t.feed(handle(0x10));
        // Object offsets: id, stamp, then the gap, then the sample count and rate.
        std::vector<uint8_t> p(12 + gaps[gen] + 8, 0);
        PutU32(p, 0, 0x08FFFFFF);
        PutU32(p, 12 + gaps[gen], 2048);
        PutU32(p, 12 + gaps[gen] + 4, 10240);
        t.feed(Frame(4, 0, 3, p));
        EXPECT_EQ(t.link.FBytes.SmplCnt, 2048u) << "generation " << int(gen);
        EXPECT_EQ(t.link.FBytes.smplrte, 10240u) << "generation " << int(gen);
    }
}

TEST(Stream, UnknownObjectStillUpdatesAndAsksForTheNext) {
    LinkFixture t;
    int updates = 0;
    t.link.FUpdateGrid = [&](TSender) { ++updates; };
    t.feed(handle(0x10));
    t.feed(streamBlock(0x0AFFFFFF, 5, 16));
    EXPECT_EQ(updates, 1);
    EXPECT_TRUE(t.link.FNextStreamBool);
    EXPECT_TRUE(t.link.FBytes.FBytes.empty()) << "an unknown block is not copied";
}
