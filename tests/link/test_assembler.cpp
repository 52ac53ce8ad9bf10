// Frame assembly from a byte stream: splits, bursts, NTP requests and garbage.
#include "link/FrameAssembler.h"
#include "support/Files.h"
#include "support/Replies.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <gtest/gtest.h>

using namespace ferro;
using ferro::test::Frame;

namespace {

struct Collector {
    TFrameAssembler a;
    std::vector<std::vector<uint8_t>> frames;
    std::vector<std::vector<uint8_t>> ntp;
    std::vector<std::string> log;
    int begins = 0, ends = 0;
    Collector() {
        a.FOnFrame = [this](const uint8_t* f, size_t n) { frames.emplace_back(f, f + n); };
        a.FOnNtp = [this](const uint8_t* f, size_t n) { ntp.emplace_back(f, f + n); };
        a.Flog = [this](const std::string& s, bool) { log.push_back(s); };
        a.FBeginWork = [this](uint32_t) { ++begins; };
        a.FEndWork = [this] { ++ends; };
    }
    // Feeds like a link thread: append, then passes until no frame comes off.
    void feed(const uint8_t* p, size_t n) {
        a.Append(p, n);
        while (a.ReadData()) {
        }
    }
    void feed(const std::vector<uint8_t>& b) { feed(b.data(), b.size()); }
};

std::vector<uint8_t> payload(size_t n, uint8_t seed) {
    std::vector<uint8_t> p(n);
    for (size_t i = 0; i < n; ++i)
        p[i] = uint8_t(seed + i * 7);
    return p;
}

std::vector<uint8_t> concat(const std::vector<uint8_t>& a, const std::vector<uint8_t>& b) {
    std::vector<uint8_t> r = a;
    r.insert(r.end(), b.begin(), b.end());
    return r;
}

} // namespace

TEST(FrameAssembly, TwoFramesInOneReadAreDeliveredInOrder) {
    auto f1 = Frame(6, 1, 1, payload(37, 1));
    auto f2 = Frame(2, 0, 0, payload(12, 9));
    Collector c;
    c.feed(concat(f1, f2));
    ASSERT_EQ(c.frames.size(), 2u);
    EXPECT_EQ(c.frames[0], f1);
    EXPECT_EQ(c.frames[1], f2);
    EXPECT_EQ(c.a.Buffered(), 0u);
    EXPECT_EQ(c.begins, 2);
    EXPECT_EQ(c.ends, 2);
}

TEST(FrameAssembly, OnePassTakesOffOneFrame) {
    auto f = Frame(2, 0, 0, payload(4, 1));
    Collector c;
    auto both = concat(f, f);
    c.a.Append(both.data(), both.size());
    EXPECT_TRUE(c.a.ReadData());
    EXPECT_EQ(c.frames.size(), 1u);
    EXPECT_EQ(c.a.Buffered(), f.size()) << "the second frame waits at the front for the next pass";
    EXPECT_TRUE(c.a.ReadData());
    EXPECT_FALSE(c.a.ReadData());
    EXPECT_EQ(c.frames.size(), 2u);
}

TEST(FrameAssembly, FrameSplitAtEveryOffsetIsJoinedOnce) {
    auto f1 = Frame(5, 0, 1, payload(53, 3));
    auto f2 = Frame(4, 0, 3, payload(9, 5));
    auto stream = concat(f1, f2);
    for (size_t cut = 1; cut < stream.size(); ++cut) {
        Collector c;
        c.feed(stream.data(), cut);
        if (cut < 20) {
            EXPECT_FALSE(c.a.HeadRead()) << "head read early at " << cut;
        }
        c.feed(stream.data() + cut, stream.size() - cut);
        ASSERT_EQ(c.frames.size(), 2u) << "cut at " << cut;
        EXPECT_EQ(c.frames[0], f1) << "cut at " << cut;
        EXPECT_EQ(c.frames[1], f2) << "cut at " << cut;
    }
}

TEST(FrameAssembly, NtpRequestIsServedWhereItArrivesBetweenLogLines) {
    auto before = Frame(6, 1, 1, payload(5, 1));
    auto ntp = Frame(9, 1, 2, payload(48, 2));
    Collector c;
    c.feed(concat(before, ntp));
    ASSERT_EQ(c.frames.size(), 1u);
    ASSERT_EQ(c.ntp.size(), 1u);
    EXPECT_EQ(c.ntp[0], ntp);
    auto at = std::find(c.log.begin(), c.log.end(), "NTP Begin");
    ASSERT_NE(at, c.log.end());
    EXPECT_EQ(*(at + 1), "NTP End");
}

TEST(FrameAssembly, BeginWorkIsLoggedWithSizeAndCommand) {
    Collector c;
    c.feed(Frame(5, 0, 0x11, payload(80, 1)));
    EXPECT_NE(std::find(c.log.begin(), c.log.end(), "ComUnit: BeginWork 0/100 - 5 0 11"), c.log.end());
    EXPECT_NE(std::find(c.log.begin(), c.log.end(), "ReadEnd"), c.log.end());
}

TEST(FrameAssemblyBadInput, SizeBelowTheHeadIsDroppedAndTheAssemblerStaysUsable) {
    std::vector<uint8_t> bad(24, 0);
    bad[0] = 2;
    bad[12] = 8; // Size 8
    Collector c;
    c.feed(bad);
    EXPECT_TRUE(c.frames.empty());
    EXPECT_EQ(c.a.Buffered(), 0u);
    EXPECT_FALSE(c.log.empty());
    auto good = Frame(2, 0, 0, payload(12, 1));
    c.feed(good);
    ASSERT_EQ(c.frames.size(), 1u);
    EXPECT_EQ(c.frames[0], good);
}

TEST(FrameAssemblyBadInput, AbsurdSizeIsNeitherAwaitedNorAllocated) {
    std::vector<uint8_t> bad(20, 0xEE);
    bad[12] = 0xF0;
    bad[13] = 0xFF;
    bad[14] = 0xFF;
    bad[15] = 0xFF;
    Collector c;
    c.feed(bad);
    EXPECT_FALSE(c.a.HeadRead());
    EXPECT_EQ(c.a.Buffered(), 0u);
    auto good = Frame(1, 1, 2, {});
    c.feed(good);
    EXPECT_EQ(c.frames.size(), 1u);
}

TEST(FrameAssemblyBadInput, ClearDropsHalfFrame) {
    auto f = Frame(5, 0, 1, payload(200, 1));
    Collector c;
    c.feed(f.data(), 50);
    EXPECT_TRUE(c.a.HeadRead());
    c.a.Clear();
    EXPECT_FALSE(c.a.HeadRead());
    c.feed(f);
    ASSERT_EQ(c.frames.size(), 1u);
    EXPECT_EQ(c.frames[0], f);
}

TEST(FrameAssembly, ManyWaitingFramesWithAppendsInBetweenAllArriveIntact) {
    auto f = Frame(4, 0, 3, payload(100, 1));
    std::vector<uint8_t> burst;
    for (int i = 0; i < 10000; ++i)
        burst.insert(burst.end(), f.begin(), f.end());
    Collector c;
    c.a.Append(burst.data(), burst.size());
    size_t appended = 0;
    while (c.a.ReadData()) {
        // More bytes while thousands of frames still wait: compaction must not lose or reorder any.
        if (c.frames.size() % 1000 == 0 && appended < 10) {
            c.a.Append(f.data(), f.size());
            ++appended;
        }
    }
    EXPECT_EQ(c.frames.size(), 10010u);
    EXPECT_EQ(c.frames.back(), f);
    EXPECT_EQ(c.a.Buffered(), 0u);
}

TEST(FrameAssemblyBadInput, TextIsNoHeadEvenWithAPlausibleSize) {
    std::string text = "garbage that is no protocol\r\n";
    Collector c;
    c.feed(reinterpret_cast<const uint8_t*>(text.data()), text.size());
    EXPECT_FALSE(c.a.HeadRead());
    EXPECT_EQ(c.a.Buffered(), 0u);
    ASSERT_FALSE(c.log.empty());
    EXPECT_NE(c.log.back().find("not a head"), std::string::npos);
}

namespace {

// An assembler that spools frames from 100 bytes on into a temporary folder.
struct SpoolCollector : Collector {
    QTemporaryDir dir;
    std::vector<std::pair<ccc_head_t, std::string>> spooled; // head and payload read back
    SpoolCollector() {
        a.FSpoolFrom = 100;
        a.FOpenSpool = [this](const ccc_head_t&) { return TFrameSpool::Create(dir.path().toStdString()); };
        a.FOnSpooled = [this](const ccc_head_t& h, std::unique_ptr<TFrameSpool> s) {
            EXPECT_TRUE(s->Ok());
            spooled.emplace_back(h, ferro::test::readFile(s->Path()));
        };
    }
    size_t filesLeft() const { return QDir(dir.path()).entryList(QDir::Files | QDir::Hidden).size(); }
};

std::string text(const std::vector<uint8_t>& b, size_t from = 0) {
    return std::string(b.begin() + long(from), b.end());
}

} // namespace

TEST(FrameSpooling, LargeFrameGoesToDiskAndTheFramesAroundItStayInMemoryAtEverySplit) {
    auto small = Frame(6, 1, 1, payload(30, 1));
    auto big = Frame(5, 0, 1, payload(700, 2));
    auto after = Frame(4, 0, 3, payload(9, 5));
    auto stream = concat(concat(small, big), after);
    for (size_t cut = 1; cut < stream.size(); cut += 7) {
        SpoolCollector c;
        c.feed(stream.data(), cut);
        c.feed(stream.data() + cut, stream.size() - cut);
        ASSERT_EQ(c.frames.size(), 2u) << "cut at " << cut;
        EXPECT_EQ(c.frames[0], small);
        EXPECT_EQ(c.frames[1], after) << "the frame behind the spooled one is whole, cut at " << cut;
        ASSERT_EQ(c.spooled.size(), 1u) << "cut at " << cut;
        EXPECT_EQ(c.spooled[0].first.Size, big.size());
        EXPECT_EQ(c.spooled[0].first.ExtCmd, 1);
        EXPECT_EQ(c.spooled[0].second, text(big, 20)) << "cut at " << cut;
        EXPECT_EQ(c.begins, 3);
        EXPECT_EQ(c.ends, 3);
        EXPECT_EQ(c.filesLeft(), 0u) << "the receiver owned the spool and dropped it";
    }
}

TEST(FrameSpooling, ASpoolIsOnlyOpenedWhereTheOwnerWantsOne) {
    SpoolCollector c;
    c.a.FOpenSpool = [](const ccc_head_t&) { return nullptr; };
    auto big = Frame(5, 0, 1, payload(700, 2));
    c.feed(big);
    EXPECT_TRUE(c.spooled.empty());
    ASSERT_EQ(c.frames.size(), 1u);
    EXPECT_EQ(c.frames[0], big);
}

TEST(FrameSpooling, AFrameCutShortLeavesNoFileBehind) {
    SpoolCollector c;
    auto big = Frame(5, 0, 1, payload(700, 2));
    c.feed(big.data(), 400);
    ASSERT_NE(c.a.Spool(), nullptr);
    EXPECT_EQ(c.a.SpoolLeft(), big.size() - 400);
    EXPECT_EQ(c.filesLeft(), 1u);
    c.a.Clear();
    EXPECT_EQ(c.filesLeft(), 0u);
    c.feed(big);
    ASSERT_EQ(c.spooled.size(), 1u);
    EXPECT_EQ(c.spooled[0].second, text(big, 20));
}

TEST(FrameSpool, MovedIntoPlaceOrAppendedAndOnFailureTheTargetStaysAsItWas) {
    QTemporaryDir dir;
    const std::string folder = dir.path().toStdString() + "/";
    auto spoolOf = [&](const std::string& content) {
        auto s = TFrameSpool::Create(folder);
        s->Write(reinterpret_cast<const uint8_t*>(content.data()), content.size());
        return s;
    };
    auto fresh = spoolOf("first part");
    const std::string spoolPath = fresh->Path();
    ASSERT_TRUE(fresh->MoveInto(folder + "rec.bin"));
    fresh.reset();
    EXPECT_EQ(ferro::test::readFile(folder + "rec.bin"), "first part");
    ferro::test::writeFile(folder + "plain.bin", "x");
    EXPECT_EQ(QFile::permissions(QString::fromStdString(folder + "rec.bin")),
              QFile::permissions(QString::fromStdString(folder + "plain.bin")))
        << "a download gets the permissions of any new file";
    QFile::remove(QString::fromStdString(folder + "plain.bin"));
    EXPECT_FALSE(QFile::exists(QString::fromStdString(spoolPath)));

    ASSERT_TRUE(spoolOf(", second part")->MoveInto(folder + "rec.bin"));
    EXPECT_EQ(ferro::test::readFile(folder + "rec.bin"), "first part, second part");

    EXPECT_FALSE(spoolOf("lost")->MoveInto(folder + "missing/rec.bin"));
    EXPECT_EQ(QDir(dir.path()).entryList(QDir::Files | QDir::Hidden), QStringList{"rec.bin"})
        << "no spool outlives its owner";
    EXPECT_EQ(TFrameSpool::Create(folder + "missing/"), nullptr);
}
