// Identity replies: device types, data folders, the version check switch and the device clock.
#include "support/LinkFixture.h"

#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <filesystem>

using namespace ferro;
using namespace ferro::test;
namespace fs = std::filesystem;

TEST(DeviceType, FollowsTheArticleNumberRanges) {
    EXPECT_EQ(TComUnit::DevTypeFromArticle(2400500), devtypFerro);
    EXPECT_EQ(TComUnit::DevTypeFromArticle(2400599), devtypFerro);
    EXPECT_EQ(TComUnit::DevTypeFromArticle(2400600), devtypFerroNimbus);
    EXPECT_EQ(TComUnit::DevTypeFromArticle(2400699), devtypFerroNimbus);
    EXPECT_EQ(TComUnit::DevTypeFromArticle(2400800), devtypFerroDE);
    EXPECT_EQ(TComUnit::DevTypeFromArticle(2400899), devtypFerroDE);
    EXPECT_EQ(TComUnit::DevTypeFromArticle(810000101), devtypQuartz);
    EXPECT_EQ(TComUnit::DevTypeFromArticle(2400700), devtypFerro);
    EXPECT_EQ(TComUnit::DevTypeFromArticle(2400900), devtypFerro);
    EXPECT_EQ(TComUnit::DevTypeFromArticle(0), devtypFerro);
}

TEST(Identity, CallbacksCarryTheNamesAndTheSerialNumber) {
    LinkFixture t;
    uint32_t sn = 0;
    TDevType type = devtypNone;
    std::string plant, bay, device;
    t.link.FOnComNewSNCallBack = [&](TSender, uint32_t s, TDevType d, const std::string& a,
                                     const std::string& f, const std::string& g) {
        sn = s;
        type = d;
        plant = a;
        bay = f;
        device = g;
    };
    int done = 0;
    t.link.FOnConnDone = [&](TSender, bool ok) { done += ok; };
    t.openSession();
    t.feed(IdentityAll(99, 2400812, 13000, "Anlage Ost", "Feld 7", "PQ 7"));
    EXPECT_EQ(sn, 99u);
    EXPECT_EQ(type, devtypFerroDE);
    EXPECT_EQ(plant, "Anlage Ost");
    EXPECT_EQ(bay, "Feld 7");
    EXPECT_EQ(device, "PQ 7");
    EXPECT_EQ(t.link.FSN, 99u);
    EXPECT_EQ(done, 1);
    EXPECT_TRUE(t.logged("IN: IdendityAll ----------- Start --------"));
    EXPECT_TRUE(t.logged("Connection Done Assigned without Folder"));
}

TEST(Identity, ShortIdentityIsNotReadAndTheSessionGoesOn) {
    LinkFixture t;
    int done = 0;
    t.link.FOnConnDone = [&](TSender, bool) { ++done; };
    t.openSession();
    t.feed(Frame(2, 0, 1, std::vector<uint8_t>(100)));
    EXPECT_EQ(done, 0);
    EXPECT_EQ(t.link.Identity().Plant, "");
    EXPECT_FALSE(t.link.FWaitForAnswer);
    t.feed(Refusal(2, 0, 1, 55, "busy")); // a refused identity is dropped silently as well
    EXPECT_EQ(t.link.FSN, 0u);
    EXPECT_EQ(done, 0);
}

TEST(DataFolders, SerialZeroStillGetsItsFolderWithRecorderAndEvent) {
    LinkFixture t;
    QTemporaryDir dir;
    std::string base = dir.path().toStdString() + "/";
    t.link.FDatadir = base;
    t.link.FSetFolders = true;
    int done = 0;
    t.link.FOnConnDone = [&](TSender, bool) { ++done; };
    t.openSession();
    t.feed(IdentityAll(0, 2400512, 20000));
    EXPECT_EQ(t.link.FDatadir, base + "0/");
    EXPECT_EQ(t.link.FRecDir, base + "0/Recorder/");
    EXPECT_EQ(t.link.FEvtDir, base + "0/Event/");
    EXPECT_TRUE(fs::is_directory(base + "0/Recorder"));
    EXPECT_TRUE(fs::is_directory(base + "0/Event"));
    EXPECT_EQ(done, 1);
    // The identity read again (a view's button) keeps the folders where they are.
    t.feed(IdentityAll(0, 2400512, 20000));
    EXPECT_EQ(t.link.FRecDir, base + "0/Recorder/");
    EXPECT_FALSE(fs::exists(base + "0/0"));
}

TEST(DataFolders, OnlyAFerroComparesXmlVersionsAfterTheFolders) {
    for (uint32_t article : {810000101u, 2400512u}) {
        LinkFixture t;
        QTemporaryDir dir;
        t.link.FDatadir = dir.path().toStdString() + "/";
        t.link.FSetFolders = true;
        t.link.FCheckXMLFileVersions = true;
        int done = 0;
        t.link.FOnConnDone = [&](TSender, bool) { ++done; };
        t.openSession();
        size_t sent = t.link.Sent.size();
        t.feed(IdentityAll(5, article, 20000));
        t.tick();
        if (article == 810000101u) {
            EXPECT_EQ(done, 1) << "a Quartz is done at once";
            EXPECT_EQ(t.link.Sent.size(), sent) << "no version list is read";
        } else {
            EXPECT_EQ(done, 0);
            EXPECT_EQ(t.sentNames().back(), "CCC_SCRATCH_PAD_RD");
            EXPECT_STREQ(reinterpret_cast<const char*>(&t.link.Sent.back().bytes[20]), "xml-versions.txt");
        }
    }
}

TEST(DeviceClock, TheIdentityLogShowsTheClockAsTheClockFieldDoes) {
    time_set_t rules;
    rules.tz = time_tz_t::fromOffsetMinutes(60);
    rules.ws = {3, 25, 2, 0};
    rules.sw = {10, 25, 3, 0};
    // 2024-07-01 12:00 UTC lies inside the summer-time rules, 2024-01-15 12:00 UTC outside.
    const std::pair<uint32_t, const char*> cases[] = {{1719835200u, "01.07.2024 14:00:00"},
                                                      {1705320000u, "15.01.2024 13:00:00"}};
    for (const auto& [utc, local] : cases) {
        LinkFixture t;
        t.openSession();
        auto f = IdentityAll(5, 2400512, 20000, "A", "F", "G", utc);
        rules.encode(f.data() + 36);
        t.feed(f);
        EXPECT_TRUE(t.logged(std::string("IN: IdendityAll: Time=") + local)) << local;
    }
}

TEST(DeviceClock, StampExactlyAtTheStartOfSummerTimeCountsAsInside) {
    LinkFixture t;
    t.link.MutableIdentity().TimeSet.tz = time_tz_t::fromOffsetMinutes(60);
    t.link.MutableIdentity().TimeSet.ws = {3, 25, 2, 0};
    t.link.MutableIdentity().TimeSet.sw = {10, 25, 3, 0};
    // 2024: 2023-12-30 + 90 days (date-time 0 plus three months) + 25 days + 2 h = 2024-04-23 02:00 UTC.
    const uint32_t W = 1713837600;
    EXPECT_EQ(t.link.CorrectUTCtoLocal({W, 0}).sec, W + 7200);
    EXPECT_EQ(t.link.CorrectUTCtoLocal({W - 1, 0}).sec, W - 1 + 3600);
    // 2023-12-30 + 304 days (date-time 0 plus ten months) + 25 days + 3 h = 2024-11-23 03:00 UTC.
    const uint32_t S = 1732330800;
    EXPECT_EQ(t.link.CorrectUTCtoLocal({S, 0}).sec, S + 7200);
    EXPECT_EQ(t.link.CorrectUTCtoLocal({S + 1, 0}).sec, S + 1 + 3600);
}

TEST(DeviceClock, WeekdayRuleMovesBothChangesToTheWeekdayOfTheStartRule) {
    LinkFixture t;
    t.link.MutableIdentity().TimeSet.tz = time_tz_t::fromOffsetMinutes(0);
    t.link.MutableIdentity().TimeSet.ws = {3, 25, 2, 1};
    t.link.MutableIdentity().TimeSet.sw = {10, 25, 3, 5};
    // W = 2024-04-23 02:00 (a Tuesday); d = (trunc(W) - 1) mod 7 with trunc(W) = 45405: (45404 mod 7) = 2;
    // (1 + 7 - 2) mod 7 = 6 days on: 2024-04-29 02:00.
    const uint32_t moved = 1713837600 + 6 * 86400;
    EXPECT_EQ(t.link.CorrectUTCtoLocal({moved - 1, 0}).sec, moved - 1);
    EXPECT_EQ(t.link.CorrectUTCtoLocal({moved, 0}).sec, moved + 3600);
}
