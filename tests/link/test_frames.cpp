// Frame forms, flag word and command table: the bytes that go on the wire.
#include "link/CccHead.h"
#include "link/CommandTable.h"
#include "support/TestComUnit.h"

#include <gtest/gtest.h>

#include <set>

using namespace ferro;

namespace {
std::vector<uint8_t> bytes(const MemStream& s) {
    return s.bytes();
}
uint32_t u32(const std::vector<uint8_t>& b, size_t off) {
    return MemStream::peekU32(&b[off]);
}
} // namespace

TEST(FrameHead, PlainSessionStartIsTheDocumentedTwentyBytes) {
    TTestComUnit link;
    link.StartPlainSession();
    ASSERT_EQ(link.Sent.size(), 1u);
    const std::vector<uint8_t> expected = {0x01, 0x01, 0x02, 0x00, 0x04, 0x00, 0x04, 0x00, 0x00, 0x00,
                                           0x00, 0x00, 0x14, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00};
    EXPECT_EQ(link.Sent[0].bytes, expected);
}

TEST(FrameHead, SupportLevelOpensTheSupportSession) {
    TTestComUnit link;
    link.FVisibility = 2;
    link.StartPlainSession();
    ASSERT_EQ(link.Sent.size(), 1u);
    ccc_head_t h = link.Sent[0].head();
    EXPECT_EQ(h.Cmd, 1);
    EXPECT_EQ(h.Priv, 2);
    EXPECT_EQ(h.ExtCmd, 3);
}

TEST(FrameFlags, RefusalNeedsBitOneAndAWordBelowSixteen) {
    EXPECT_TRUE(CheckNAK(6));
    EXPECT_TRUE(CheckNAK(2));
    EXPECT_TRUE(CheckNAK(15));
    EXPECT_FALSE(CheckNAK(18));
    EXPECT_FALSE(CheckNAK(4));
    EXPECT_FALSE(CheckNAK(0));
}

TEST(FrameFlags, FlagWordSumsFtpGzTgzAndNeverSetsNak) {
    EXPECT_EQ(GenHeaderFTPNAK(false, true, false), 4);
    EXPECT_EQ(GenHeaderFTPNAK(true, true, true), 13);
    EXPECT_EQ(GenHeaderFTPNAK(false, false, true), 8);
}

TEST(FrameForms, EachFormCarriesItsFieldsAtTheirOffsets) {
    auto name = bytes(frames::WithName(ccc_head_t{}, "rec_0001.dat", 4096));
    ASSERT_EQ(name.size(), 88u);
    EXPECT_EQ(u32(name, 12), 88u);
    EXPECT_EQ(std::string(reinterpret_cast<const char*>(&name[20])), "rec_0001.dat");
    EXPECT_EQ(u32(name, 84), 4096u);
    auto longName = bytes(frames::WithName(ccc_head_t{}, std::string(100, 'x'), 0));
    EXPECT_EQ(longName.size(), 88u) << "a long name is cut to 64 bytes";
    EXPECT_EQ(u32(longName, 84), 0u);

    auto lua = bytes(frames::Lua(ccc_head_t{}, "print(1)"));
    ASSERT_EQ(lua.size(), 30u);
    EXPECT_EQ(std::string(lua.begin() + 20, lua.end()), "print(1)\r\n") << "CR LF, no NUL";

    auto start = bytes(frames::Start(ccc_head_t{}, 0, "admin", "secret"));
    ASSERT_EQ(start.size(), 160u);
    EXPECT_EQ(std::string(reinterpret_cast<const char*>(&start[24])), "admin");
    EXPECT_EQ(std::string(reinterpret_cast<const char*>(&start[88])), "secret");
    EXPECT_EQ(bytes(frames::Start(ccc_head_t{}, 2, "admin", "secret"))[24], 0)
        << "other methods carry no account";

    auto scratch = bytes(frames::ScratchFile(ccc_head_t{}, "fw.bin", {1, 2, 3}));
    ASSERT_EQ(scratch.size(), 151u);
    EXPECT_EQ(std::string(reinterpret_cast<const char*>(&scratch[20])), "fw.bin");
    EXPECT_EQ(scratch[148], 1);

    auto id = bytes(frames::WithId(ccc_head_t{}, 0x01FFFFFF));
    ASSERT_EQ(id.size(), 24u);
    EXPECT_EQ(u32(id, 20), 0x01FFFFFFu);
}

TEST(FrameForms, RefusalLayout) {
    ccc_head_t req;
    req.Cmd = 7;
    req.Priv = 0;
    req.ExtCmd = 1;
    req.FTPNAK = 4;
    auto b = bytes(frames::Refusal(req, 13, "denied"));
    EXPECT_EQ(b[0], 7);
    EXPECT_EQ(b[2], 1);
    EXPECT_EQ(MemStream::peekU16(&b[6]), 6);
    EXPECT_EQ(u32(b, 20), 13u);
    EXPECT_EQ(std::string(b.begin() + 24, b.end()), "denied");
    EXPECT_EQ(u32(b, 12), b.size());
}

TEST(CommandTable, NamesFindTheirRowsAndEveryRowIsItsOwn) {
    struct Want {
        const char* name;
        int cmd, priv, ext;
        TSendCmd form;
    };
    // The rows whose numbers are easy to get wrong: stops, support session, replies sent by us.
    const Want want[] = {{"CCC_SESSION_STR_SUP", 1, 2, 3, scDefault},
                         {"CCC_SESSION_STP", 1, 0, 0xFFFF, scDefault},
                         {"CCC_SETUP_WR", 3, 1, 3, scFile},
                         {"CCC_STREAM_STOP", 4, 0, 0xFFFF, scStream},
                         {"CCC_READOUT_EVT_RD", 5, 0, 0x11, scFileResume},
                         {"CCC_READOUT_LOGD_RD", 5, 0, 0x22, scDefault},
                         {"CCC_SCRATCH_PAD_WR", 7, 0, 2, scCCCIFile},
                         {"CCC_TUNNEL_NTP_REPLY", 9, 1, 3, scDefault}};
    for (const Want& w : want) {
        const TCommandDef* row = FindCommand(w.name);
        ASSERT_NE(row, nullptr) << w.name;
        EXPECT_EQ(row->Cmd, w.cmd) << w.name;
        EXPECT_EQ(row->Priv, w.priv) << w.name;
        EXPECT_EQ(row->ExtCmd, w.ext) << w.name;
        EXPECT_EQ(row->Form, w.form) << w.name;
    }
    std::set<std::pair<int, int>> seen;
    for (const auto& row : CommandTable())
        EXPECT_TRUE(seen.insert({row.Cmd, row.ExtCmd}).second) << row.Name << " shares its numbers";
    EXPECT_EQ(FindCommand("CCC_NO_SUCH"), nullptr);
}
