// Listing lines of recordings and events: names, times, sizes, and what bad lines read as.
#include "data/RecordingList.h"

#include <gtest/gtest.h>

using namespace ferro;

TEST(RecordingList, SyncAsyncAndRecNamesGiveClassAndStart) {
    auto list = TRecordingList::Parse("sync/4-0-1700000000.dat;1700003600;4096\r\n"
                                      "async/9-1-1700000100.bin;1700000200;14\r\n"
                                      "rec/Osc-2-3-1700000300.dat;1700000301;100000\r\n",
                                      false);
    ASSERT_EQ(list.size(), 3u);
    EXPECT_EQ(list[0].Folder, "sync");
    EXPECT_EQ(list[0].Class, "4");
    EXPECT_EQ(list[0].Start, 1700000000u);
    EXPECT_EQ(list[0].End, 1700003600u);
    EXPECT_EQ(list[0].Size, 4096u);
    EXPECT_FALSE(list[0].IsAsync);
    EXPECT_TRUE(list[1].IsAsync);
    EXPECT_EQ(list[2].Class, "Osc");
    EXPECT_EQ(list[2].Start, 1700000300u) << "the fourth dash element is the time";
}

TEST(RecordingList, EventNamesCarrySecondsAndFraction) {
    auto e = TRecordingList::ParseLine("Dip-1700000000-250000000.evt;1700000001;2048", true);
    EXPECT_EQ(e.Name, "Dip-1700000000-250000000.evt");
    EXPECT_EQ(e.Start, 1700000000u);
    EXPECT_EQ(e.StartNs, 250000000u);
    EXPECT_EQ(e.Size, 2048u);
}

TEST(RecordingList, MissingFieldsAndBadNumbersReadAsZero) {
    auto a = TRecordingList::ParseLine("sync/4-0-1700000000.dat", false);
    EXPECT_EQ(a.End, 0u);
    EXPECT_EQ(a.Size, 0u);
    auto b = TRecordingList::ParseLine("sync/4-0-17x.dat;abc;-5", false);
    EXPECT_EQ(b.Start, 0u);
    EXPECT_EQ(b.End, 0u);
    EXPECT_EQ(b.Size, 0u);
    auto c = TRecordingList::ParseLine("sync/4-0-1700000000.dat;;99999999999", false);
    EXPECT_EQ(c.Size, 99999999999u);
}

TEST(RecordingList, UnknownFoldersAndEmptyLinesAreIgnored) {
    auto list = TRecordingList::Parse("\r\nother/x-1-2.dat;3;4\r\nsync/a-b-5.dat;6;7\r\n   \r\n", false);
    ASSERT_EQ(list.size(), 1u);
    EXPECT_EQ(list[0].Name, "sync/a-b-5.dat");
}

TEST(RecordingList, LocalNameNeverCarriesAPath) {
    EXPECT_EQ(TRecordingList::LocalName("sync/4-0-1.dat"), "4-0-1.dat");
    EXPECT_EQ(TRecordingList::LocalName("../../etc/passwd"), "passwd");
    EXPECT_EQ(TRecordingList::LocalName("C:\\x\\y.dat"), "y.dat");
    EXPECT_EQ(TRecordingList::LocalName("sync/.."), "");
    EXPECT_EQ(TRecordingList::LocalName(std::string("a.rec\0b", 7)), "") << "a NUL would shorten it on disk";
}
