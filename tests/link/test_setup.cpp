// Setup files, scratchpad files, the XML version check and untrusted archives.
#include "link/Archive.h"
#include "link/XmlNames.h"
#include "support/LinkFixture.h"

#include <QTemporaryDir>

#include "support/Files.h"
#include <archive.h>
#include <archive_entry.h>

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <map>

using namespace ferro;
using namespace ferro::test;
namespace fs = std::filesystem;

namespace {

std::vector<uint8_t> gz(const std::string& text) {
    MemStream in(text.data(), text.size()), out;
    EXPECT_TRUE(ZipFile(in, out));
    return out.bytes();
}

std::vector<uint8_t> reply(uint8_t cmd, uint16_t ext, const std::vector<uint8_t>& payload,
                           uint16_t flags = 4) {
    return Frame(cmd, 0, ext, payload, flags);
}

// A tar.gz written entry by entry, also with entries a real instrument would never send.
struct TarBuilder {
    std::vector<uint8_t> bytes;
    archive* a;
    TarBuilder() {
        a = archive_write_new();
        archive_write_add_filter_gzip(a);
        archive_write_set_format_pax_restricted(a);
        archive_write_open(a, this, nullptr, &TarBuilder::write, nullptr);
    }
    static la_ssize_t write(archive*, void* self, const void* buf, size_t n) {
        auto* me = static_cast<TarBuilder*>(self);
        me->bytes.insert(me->bytes.end(), static_cast<const uint8_t*>(buf),
                         static_cast<const uint8_t*>(buf) + n);
        return la_ssize_t(n);
    }
    void file(const std::string& name, const std::string& data) {
        archive_entry* e = archive_entry_new();
        archive_entry_set_pathname(e, name.c_str());
        archive_entry_set_size(e, la_int64_t(data.size()));
        archive_entry_set_filetype(e, AE_IFREG);
        archive_entry_set_perm(e, 0644);
        archive_write_header(a, e);
        archive_write_data(a, data.data(), data.size());
        archive_entry_free(e);
    }
    void symlink(const std::string& name, const std::string& to) {
        archive_entry* e = archive_entry_new();
        archive_entry_set_pathname(e, name.c_str());
        archive_entry_set_filetype(e, AE_IFLNK);
        archive_entry_set_symlink(e, to.c_str());
        archive_write_header(a, e);
        archive_entry_free(e);
    }
    std::vector<uint8_t> finish() {
        archive_write_close(a);
        archive_write_free(a);
        return bytes;
    }
};

struct SetupFixture : LinkFixture {
    QTemporaryDir dir;
    std::string tmp;
    std::vector<std::pair<std::string, int>> arrived;
    SetupFixture() {
        tmp = dir.path().toStdString() + "/";
        link.FTmpDir = tmp;
        link.FIniFolder = tmp + "ini/";
        fs::create_directories(link.FIniFolder);
        link.FSN = 4711;
        link.FOnNewXMLFile = [this](TSender, const std::string& f, int t) { arrived.push_back({f, t}); };
    }
};

const char* kSetup = "<?xml version=\"1.0\"?><setup><group name=\"pqAppl\"/></setup>";

} // namespace

TEST(SetupRead, GzipEndsAsXmlBesideTheKeptGz) {
    SetupFixture t;
    t.feed(reply(3, 1, gz(kSetup)));
    ASSERT_EQ(t.arrived.size(), 1u);
    EXPECT_EQ(t.arrived[0].first, t.tmp + "4711_Setup_RD_ALL.xml");
    EXPECT_EQ(t.arrived[0].second, 1);
    EXPECT_EQ(readFile(t.tmp + "4711_Setup_RD_ALL.xml"), kSetup);
    EXPECT_TRUE(fs::exists(t.tmp + "4711_Setup_RD_ALL.gz"));
    EXPECT_TRUE(t.logged("SaveToFile=" + t.tmp + "4711_Setup_RD_ALL.gz"));
}

TEST(SetupRead, PlainXmlWhenNoCompressionIsAskedFor) {
    SetupFixture t;
    t.link.FGZ = false;
    std::string text = kSetup;
    t.feed(reply(3, 0, std::vector<uint8_t>(text.begin(), text.end()), 0));
    ASSERT_EQ(t.arrived.size(), 1u);
    EXPECT_EQ(t.arrived[0].first, t.tmp + "4711_Setup_LS.xml");
    EXPECT_EQ(t.arrived[0].second, 0) << "a listing";
}

TEST(SetupRead, TarGzFillsTheIcdAndKeyFields) {
    SetupFixture t;
    t.link.FTGZ = true;
    TarBuilder tb;
    tb.file("setup.xml", kSetup);
    tb.file("station.icd", "<SCL/>");
    tb.file("ssh_host_ecdsa_host_key", "ECDSA");
    tb.file("ssh_host_rsa_host_key", "RSA");
    t.feed(reply(3, 2, tb.finish(), 12));
    std::string folder = t.tmp + "4711/";
    ASSERT_EQ(t.arrived.size(), 1u);
    EXPECT_EQ(t.arrived[0].first, folder + "setup.xml");
    EXPECT_EQ(t.link.FICDFile, folder + "station.icd");
    EXPECT_EQ(t.link.FECDSAKeyFile, folder + "ssh_host_ecdsa_host_key");
    EXPECT_EQ(t.link.FRSAKeyFile, folder + "ssh_host_rsa_host_key");
    EXPECT_EQ(readFile(t.link.FICDFile), "<SCL/>");
    EXPECT_TRUE(fs::exists(t.tmp + "4711_SetupRDOne.tgz"));
}

TEST(SetupRead, BrokenGzipLeavesTheLinkUsableAndSaysSo) {
    SetupFixture t;
    std::string shown;
    t.link.FDisplayConnMessage = [&](const std::string& s, TMsgDlgType, TThreadedMessageCallBack,
                                     TMsgDlgButtons, TMsgDlgBtn) { shown = s; };
    t.link.SendNamed("CCC_SETUP_RD_ALL");
    t.feed(reply(3, 1, {0x1f, 0x8b, 8, 0, 1, 2, 3, 4, 5}));
    EXPECT_TRUE(t.arrived.empty());
    EXPECT_NE(shown.find("konnte nicht entpackt werden"), std::string::npos);
    EXPECT_FALSE(t.link.FWaitForAnswer);
    t.link.SendNamed("CCC_IDENTIFY_BASIC");
    EXPECT_EQ(t.link.Sent.size(), 2u);
}

TEST(SetupWrite, RefusedSetupEndsTheRequestAtOnceWithTheInstrumentsText) {
    SetupFixture t;
    writeFile(t.tmp + "bad.xml", "<broken");
    bool done = false;
    TReply got;
    t.link.WriteSetup(t.tmp + "bad.xml", [&](const TReply& r) {
        got = r;
        done = true;
    });
    t.tick();
    t.feed(Refusal(3, 1, 3, 22, "XML parse error"));
    t.processEvents();
    ASSERT_TRUE(done);
    EXPECT_FALSE(got.Ok);
    EXPECT_EQ(got.Code, 22u);
    EXPECT_NE(got.Text.find("XML parse error"), std::string::npos);
}

TEST(SetupWrite, GzippedFileGoesOutAndTheAcknowledgementEndsTheCloseRequest) {
    SetupFixture t;
    writeFile(t.tmp + "mine.xml", kSetup);
    int done = 0;
    t.link.FSendParaDone = [&](TSender) { ++done; };
    t.link.FRequestClose = [](TSender) {};
    t.link.SendCommand("CCC_SETUP_WR", 3, 1, 3, t.tmp + "mine.xml");
    EXPECT_TRUE(t.link.Sent.empty()) << "file forms leave with the timer";
    t.tick();
    ASSERT_EQ(t.link.Sent.size(), 1u);
    ccc_head_t h = t.sentHead(0);
    EXPECT_EQ(h.Cmd, 3);
    EXPECT_EQ(h.Priv, 1);
    EXPECT_EQ(h.ExtCmd, 3);
    MemStream body(t.link.Sent[0].bytes.data() + 20, t.link.Sent[0].bytes.size() - 20), xml;
    ASSERT_TRUE(UnZipFile(body, xml));
    EXPECT_EQ(std::string(xml.bytes().begin(), xml.bytes().end()), kSetup);
    EXPECT_FALSE(t.link.FWaitForAnswer) << "the acknowledgement is not awaited";
    t.feed(reply(3, 3, {}));
    EXPECT_EQ(done, 1);
    EXPECT_FALSE(t.link.FRequestClose);
}

TEST(Scratchpad, WriteAcknowledgementCallsForTheNextFile) {
    SetupFixture t;
    writeFile(t.tmp + "fw.bin", "firmware");
    std::vector<bool> nak;
    t.link.FSendCCCIFileNext = [&](TSender, bool failed) { nak.push_back(failed); };
    t.link.SendCommand("CCC_SCRATCH_PAD_WR", 7, 0, 2, t.tmp + "fw.bin", "fw.bin");
    t.tick();
    ASSERT_EQ(t.link.Sent.size(), 1u);
    EXPECT_EQ(t.link.Sent[0].bytes.size(), 148u + 8u);
    t.feed(reply(7, 2, {}));
    ASSERT_EQ(nak.size(), 1u);
    EXPECT_FALSE(nak[0]);
}

TEST(Scratchpad, CaptureIsSavedHandedOnAndRemovedFromTheInstrument) {
    SetupFixture t;
    std::string got;
    t.link.FCCCISratchpad = spPCAP;
    t.link.FScratchpadFleLst = {"capture_01.pcap"};
    t.link.ScratchpadGet("capture_01.pcap", [&](const TReply& r) { got = r.File; });
    t.feed(reply(7, 1, {0xD4, 0xC3, 0xB2, 0xA1}));
    t.processEvents();
    t.tick();
    EXPECT_EQ(got, t.tmp + "capture_01.pcap");
    EXPECT_EQ(readFile(got), std::string("\xD4\xC3\xB2\xA1", 4));
    EXPECT_EQ(t.link.PendingReplies(), 0u);
    ASSERT_EQ(t.link.Sent.size(), 2u);
    EXPECT_EQ(t.sentNames()[1], "CCC_SCRATCH_PAD_RM");
    EXPECT_EQ(std::string(reinterpret_cast<const char*>(&t.link.Sent[1].bytes[20])), "capture_01.pcap");
}

TEST(Scratchpad, StatusReportGoesToTheSerialsFileAndAPlainFileUnderItsOwnName) {
    SetupFixture t;
    std::string status, plain;
    t.link.FCCCISratchpad = spStatus;
    t.link.ScratchpadGet("stat.txt", [&](const TReply& r) { status = r.File; });
    std::string text = "cpu=12%";
    t.feed(reply(7, 1, std::vector<uint8_t>(text.begin(), text.end())));
    EXPECT_EQ(t.link.FCCCISratchpad, spNone);
    // A name from the request never leaves the temporary folder.
    t.link.ScratchpadGet("../../etc/notes.txt", [&](const TReply& r) { plain = r.File; });
    t.feed(reply(7, 1, std::vector<uint8_t>(text.begin(), text.end())));
    t.processEvents();
    EXPECT_EQ(status, t.tmp + "4711_status.txt");
    EXPECT_EQ(plain, t.tmp + "notes.txt");
    EXPECT_EQ(readFile(plain), text);
}

TEST(Scratchpad, TwoReadsInFlightEachKeepTheirOwnNameAndContent) {
    SetupFixture t;
    writeFile(t.tmp + "setup.xml", kSetup);
    std::map<std::string, TReply> got;
    t.link.WriteSetup(t.tmp + "setup.xml", [&](const TReply& r) { got["setup"] = r; });
    t.link.ScratchpadGet("templates/a.xml", [&](const TReply& r) { got["a"] = r; });
    t.link.ScratchpadGet("templates/b.xml", [&](const TReply& r) { got["b"] = r; });
    t.tick();
    // The setup's acknowledgement ends the wait for a's file: b goes out while a is still out.
    t.feed(reply(3, 3, {}));
    t.tick();
    const std::vector<std::string> sent = t.sentNames();
    ASSERT_EQ(std::count(sent.begin(), sent.end(), "CCC_SCRATCH_PAD_RD"), 2);
    t.feed(reply(7, 1, {'A', 'A'}));
    t.feed(reply(7, 1, {'B', 'B', 'B'}));
    t.processEvents();
    EXPECT_TRUE(got["setup"].Ok);
    EXPECT_EQ(got["a"].File, t.tmp + "a.xml");
    EXPECT_EQ(got["b"].File, t.tmp + "b.xml");
    EXPECT_EQ(readFile(t.tmp + "a.xml"), "AA");
    EXPECT_EQ(readFile(t.tmp + "b.xml"), "BBB");
}

TEST(Scratchpad, PutEndsWithTheAcknowledgementOrTheRefusal) {
    SetupFixture t;
    writeFile(t.tmp + "a.lua", "print(1)");
    std::vector<TReply> replies;
    t.link.ScratchpadPut(t.tmp + "a.lua", "a.lua", [&](const TReply& r) { replies.push_back(r); });
    t.link.ScratchpadPut(t.tmp + "a.lua", "b.lua", [&](const TReply& r) { replies.push_back(r); });
    t.tick();
    t.feed(reply(7, 2, {}));
    t.feed(Refusal(7, 0, 2, 22, "drive full"));
    t.processEvents();
    ASSERT_EQ(replies.size(), 2u);
    EXPECT_TRUE(replies[0].Ok);
    EXPECT_FALSE(replies[1].Ok);
    EXPECT_EQ(replies[1].Code, 22u);
}

TEST(XmlVersions, ThreeNewerFilesArriveOneAfterAnotherAndConnDoneComesOnce) {
    SetupFixture t;
    int done = 0;
    t.link.FOnConnDone = [&](TSender, bool) { ++done; };
    t.link.FObjPropsVer = 3;
    t.link.FstrucVer = 5;
    t.link.FLangVer = 7;
    t.link.CheckFileVersions();
    ASSERT_EQ(t.link.Sent.size(), 1u);
    EXPECT_EQ(std::string(reinterpret_cast<const char*>(&t.link.Sent[0].bytes[20])), "xml-versions.txt");
    std::string list =
        "v ferro_objprops.gz 4\r\nv ferro_struct.gz 6\r\nv lang/lang_de.gz 8\r\nv lang/lang_en.gz 99\r\n";
    t.feed(reply(7, 1, std::vector<uint8_t>(list.begin(), list.end())));
    EXPECT_EQ(t.link.FScratchpadFleLst.size(), 3u);
    EXPECT_TRUE(t.logged("ComUnit: New Version 4 for ferro_objprops.gz"));
    const char* contents[] = {"<objprops/>", "<struct/>", "<langu/>"};
    for (int i = 0; i < 3; ++i) {
        t.tick();
        ASSERT_EQ(t.link.Sent.size(), size_t(2 + i));
        EXPECT_EQ(done, 0);
        t.feed(reply(7, 1, gz(contents[i])));
    }
    EXPECT_EQ(done, 1);
    EXPECT_EQ(readFile(t.link.FIniFolder + "ferro_objprops.XML"), "<objprops/>");
    EXPECT_EQ(readFile(t.link.FIniFolder + "ferro_struct.XML"), "<struct/>");
    EXPECT_EQ(readFile(t.link.FIniFolder + "lang_de.XML"), "<langu/>");
    ASSERT_EQ(t.arrived.size(), 1u) << "only the language file is announced";
    EXPECT_EQ(t.arrived[0].second, 2);
    EXPECT_EQ(t.link.FLangVer, 8);
}

TEST(XmlVersions, ListNamingOnlyTheLanguageFileLeavesTheOthers) {
    SetupFixture t;
    t.link.FObjPropsVer = 3;
    t.link.FstrucVer = 5;
    t.link.FLangVer = 7;
    t.link.CheckXMLVersion("v lang/LANG_DE.gz 9\r\n");
    ASSERT_EQ(t.link.FScratchpadFleLst.size(), 1u);
    EXPECT_EQ(t.link.FScratchpadFleLst[0], "lang/lang_de.gz");
    EXPECT_EQ(t.link.FObjPropsVer, 3);
    EXPECT_EQ(t.link.FstrucVer, 5);

    // A local version of 0 never asks; a version that is no number counts as 0.
    SetupFixture u;
    int done = 0;
    u.link.FOnConnDone = [&](TSender, bool) { ++done; };
    u.link.FstrucVer = 5;
    u.link.CheckXMLVersion("v ferro_objprops.gz 50\r\nv ferro_struct.gz x7\r\nv lang/lang_de.gz 3\r\n");
    EXPECT_TRUE(u.link.FScratchpadFleLst.empty());
    EXPECT_EQ(done, 1);
    EXPECT_TRUE(u.link.Sent.empty());
}

TEST(XmlVersions, AnsweringNoConnectsWithoutDownloading) {
    SetupFixture t;
    int done = 0;
    std::string asked;
    t.link.FOnConnDone = [&](TSender, bool) { ++done; };
    t.link.FDisplayConnMessage = [&](const std::string& s, TMsgDlgType type, TThreadedMessageCallBack cb,
                                     TMsgDlgButtons, TMsgDlgBtn def) {
        asked = s;
        EXPECT_EQ(type, mtConfirmation);
        EXPECT_EQ(def, mbYes);
        cb(nullptr, mrNo);
    };
    t.link.FLangVer = 1;
    t.link.CheckXMLVersion("v lang/lang_de.gz 2\r\n");
    EXPECT_NE(asked.find("neue Sprachdateien"), std::string::npos);
    EXPECT_EQ(done, 1);
    EXPECT_TRUE(t.link.Sent.empty());
}

TEST(UntrustedArchive, EntriesThatWouldEscapeAreRefusedAndNothingLandsOutside) {
    QTemporaryDir dir;
    std::string folder = dir.path().toStdString() + "/inner/";
    TarBuilder tb;
    tb.file("../evil.txt", "x");
    tb.file("/tmp/ferro_abs_evil.txt", "x");
    tb.file("sub/../../evil2.txt", "x");
    tb.symlink("link", "/etc/passwd");
    tb.file("good.xml", "<ok/>");
    MemStream bytes(tb.finish());
    std::vector<std::string> log;
    TUntarResult r;
    ASSERT_TRUE(ExtractTar(bytes, folder, r, [&](const std::string& s) { log.push_back(s); }));
    ASSERT_EQ(r.Written.size(), 1u);
    EXPECT_EQ(readFile(r.Written[0]), "<ok/>");
    EXPECT_EQ(r.Refused.size(), 4u);
    EXPECT_EQ(log.size(), 4u);
    EXPECT_FALSE(fs::exists(dir.path().toStdString() + "/evil.txt"));
    EXPECT_FALSE(fs::exists(dir.path().toStdString() + "/evil2.txt"));
    EXPECT_FALSE(fs::exists("/tmp/ferro_abs_evil.txt"));
    EXPECT_FALSE(fs::exists(folder + "link"));
}

TEST(UntrustedArchive, TruncatedEntryIsRefused) {
    QTemporaryDir dir;
    TarBuilder tb;
    tb.file("big.bin", std::string(200000, 'a'));
    std::vector<uint8_t> raw = tb.finish();
    // Unpack, cut the tar in the middle of the entry's data, and pack again without the gzip layer.
    MemStream gzBytes(raw), tar;
    ASSERT_TRUE(UnZipFile(gzBytes, tar));
    tar.resize(512 + 100000);
    TUntarResult r;
    ExtractTar(tar, dir.path().toStdString(), r);
    ASSERT_EQ(r.Refused.size(), 1u);
    EXPECT_NE(r.Refused[0].find("size does not match"), std::string::npos) << r.Refused[0];
    EXPECT_TRUE(r.Written.empty());
    EXPECT_FALSE(fs::exists(dir.path().toStdString() + "/big.bin"));
}
