// The status report as the pages read it, the capture page's commands, the drive rings, and
// ferroctl status / pcap against ferrosim.
#include "charts/RecordingCanvas.h"
#include "link/DeviceSession.h"
#include "status/DrivePaint.h"
#include "status/PcapCommand.h"
#include "status/StatusReport.h"
#include "status/StatusScript.h"
#include "support/SimProcess.h"

#include <QProcess>
#include <QRegularExpression>

#include <gtest/gtest.h>

#include <random>

using namespace ferro;

namespace {

std::string Line(const std::string& key, const std::string& value) {
    std::string k = key;
    if (k.size() < 35) k.resize(35, ' ');
    return k + value + "\r\n";
}

TStatusReport Report(const std::vector<std::pair<std::string, std::string>>& pairs) {
    std::string text;
    for (const auto& [k, v] : pairs)
        text += Line(k, v);
    TStatusReport r;
    EXPECT_TRUE(r.Parse(text)) << r.Error();
    return r;
}

std::string Get(const TNameValueList& l, const std::string& key) {
    for (const auto& [k, v] : l)
        if (k == key) return v;
    return "<none>";
}

} // namespace

TEST(StatusReport, LinesGoToTheirPagesByTheFirstMatchingKeyPart) {
    const time_tz_t cet = time_tz_t::fromOffsetMinutes(60);
    TStatusReport r = Report({{"ccciWorker.3.peer", "127.0.0.1:5000"},
                              {"recording.files", "9"},
                              {"sysLoad.cpu", "55.5"},
                              {"sysLoad.io", "3,5"}, // a comma is no number: load 0
                              {"sysLoad.mem", "20"},
                              {"modbus.ip.port", "502"},
                              {"iec104.Client1.state", "listening"},
                              {"iec104.Client2.state", "disabled"},
                              {"ip.eth0", "10.0.0.2"},
                              {"NTP.2.server", "ptb"},
                              {"time.syncSrc", "NTP"},
                              {"time.utc.soc", "1763900000"},
                              {"time.utc.fracsec.dst", "1"},
                              {"upTime", "90061"},
                              {"version.major", "2"},
                              {"version.minor", "2"},
                              {"version.patch", "1"},
                              {"deviceName", "FR 042 Nord"}});
    const TStatusLists l = r.Lists(cet);
    EXPECT_EQ(Get(l.CCCILst, "ccciWorker.3.peer"), "127.0.0.1:5000");
    EXPECT_EQ(Get(l.Log, "files"), "9");
    ASSERT_EQ(l.SysLoad.size(), 3u);
    EXPECT_EQ(l.SysLoad[0].Syspart, "io");
    EXPECT_EQ(l.SysLoad[0].Load, 0.0f);
    EXPECT_EQ(l.SysLoad[2].Syspart, "cpu") << "sorted by load";
    EXPECT_EQ(Get(l.ModBus, "ip.port"), "502") << "modbus wins over ip.";
    EXPECT_EQ(l.IEC104, (TNameValueList{{"Client1.state", "listening"}})) << "only the first client";
    EXPECT_EQ(Get(l.Network, "eth0"), "10.0.0.2");
    EXPECT_EQ(Get(l.NTP[1], "server"), "ptb");
    EXPECT_EQ(l.Time.at("syncSrc"), "NTP");
    EXPECT_EQ(l.Time.at("utc.soc"), "1763900000");
    EXPECT_EQ(l.Time.at("Zeitzone"), "1");
    EXPECT_EQ(l.Time.at("Sommerzeit"), "Ja");
    EXPECT_EQ(l.Time.count("upTime"), 0u);

    const TStatusOverview o = r.Overview(cet);
    EXPECT_EQ(o.Firmware, "2.2.1");
    EXPECT_EQ(o.Geraet, "FR 042 Nord") << "the value keeps its inner blanks";
    EXPECT_EQ(o.Laufzeit, "1d 01:01:01.000");
    EXPECT_EQ(o.Time, "23.11.2025 14:13:20 (UTC+02:00)")
        << "UTC plus one hour of zone and one of summer time";
    EXPECT_EQ(o.Serial, "") << "a missing key leaves its control as it was";

    const std::string json = r.ToJson();
    EXPECT_NE(json.find("\"sysLoad.cpu\": 55.5"), std::string::npos) << json;
    EXPECT_NE(json.find("\"sysLoad.io\": \"3,5\""), std::string::npos);
    EXPECT_NE(json.find("\"deviceName\": \"FR 042 Nord\""), std::string::npos);
}

TEST(StatusReport, CardShareQualityWordsAndDatesFollowTheInstrumentsValues) {
    auto card = [](const std::string& sd, uint64_t total) {
        std::vector<std::pair<std::string, std::string>> p = {{"sd0.total", std::to_string(total)},
                                                              {"sd0.used", "600"},
                                                              {"sd0.free", "400"},
                                                              {"sd0.bad", "0"},
                                                              {"flashdrive0.free", "5"},
                                                              {"flashdrive0.total", "0"}};
        if (!sd.empty()) p.push_back({"sd0", sd});
        return Report(p).Overview(time_tz_t{});
    };
    const TStatusOverview shown = card("", 1000);
    EXPECT_TRUE(shown.CardShown);
    EXPECT_EQ(shown.CardText, "40%");
    EXPECT_FALSE(shown.SystemPercent) << "a total of 0 gives no share";
    const TStatusOverview na = card("n/a", 1000);
    EXPECT_FALSE(na.CardShown) << "N/A in any case hides the card";
    EXPECT_EQ(na.CardText, "n/a");
    EXPECT_EQ(MegaBytes(1572864), "2") << "1.5 MiB rounds up";

    auto quality = [](const std::string& src, const std::string& signal, const std::string& q) {
        std::map<std::string, std::string> t = {{"syncSrc", src}, {"signal", signal}, {"quality", q}};
        CheckDCF(t);
        return t["quality"];
    };
    EXPECT_EQ(quality("DCF77", "1", "4000000"), "Sehr gut");
    EXPECT_EQ(quality("DCF77", "1", "4000001"), "Gut");
    EXPECT_EQ(quality("DCF77", "1", "25000001"), "Sehr schlecht");
    EXPECT_EQ(quality("DCF77", "1", "0"), "Ungültig");
    EXPECT_EQ(quality("DCF77", "0", "100"), "Kein Signal");
    EXPECT_EQ(quality("NTP", "1", "4000000"), "4000000") << "only a radio clock's quality is a word";
    EXPECT_EQ(UnixSecondsText("1763900000"), "23.11.2025 12:13:20");
    EXPECT_EQ(UnixSecondsText("bald"), "bald");
}

TEST(StatusReport, GarbageOversizeAndOddLinesGiveAClearMessageAndNoCrash) {
    TStatusReport r;
    EXPECT_FALSE(r.Parse(std::string(TStatusReport::CMaxBytes + 1, 'a')));
    EXPECT_NE(r.Error().find("zu groß"), std::string::npos);
    EXPECT_FALSE(r.Parse(std::string("\x01\x02\x00\x7f", 4) + "\n\n   \r\n"));
    EXPECT_EQ(r.Error(), "Der Gerätestatus enthält keine lesbaren Werte.");
    EXPECT_FALSE(r.ParseFile("/nonexistent/stat.txt"));
    EXPECT_EQ(r.Error(), "File not found: /nonexistent/stat.txt");
    // A key of 35 characters has no blank behind it: key and value run together, as on the instrument.
    ASSERT_TRUE(r.Parse(std::string(35, 'k') + "7\r\nplant\r\n"));
    EXPECT_EQ(r.Value(std::string(35, 'k') + "7"), "");
    EXPECT_TRUE(r.Values().size() == 2 && !r.Has("plant"));
    std::mt19937 rng(25);
    for (int i = 0; i < 200; ++i) {
        std::string junk(size_t(rng() % 600), '\0');
        for (char& c : junk)
            c = char(rng() % 4 == 0 ? ' ' : rng() % 3 == 0 ? '.' : rng());
        if (r.Parse(junk)) {
            r.Overview(time_tz_t{});
            r.Lists(time_tz_t{});
            EXPECT_EQ(r.ToJson().front(), '{');
        } else {
            EXPECT_FALSE(r.Error().empty());
        }
    }
}

TEST(StatusScript, IsJoinedWithCrLfAndRunsFromTheScratchpad) {
    const std::string s = StatusScript();
    EXPECT_EQ(s.rfind("local function prntStat(offset, story, out)\r\n", 0), 0u);
    EXPECT_EQ(s.substr(s.size() - 20), "end\r\nmain(name, ...)");
    EXPECT_NE(s.find("print(\"\\\"uti.stat()\\\"cmd is not available on this Firmware! STOP\")"),
              std::string::npos);
    EXPECT_EQ(std::count(s.begin(), s.end(), '\n'), 36);
    EXPECT_EQ(StatusDofileLine(), "dofile\"/mnt/flashdrive0/data/ccci/scratchpad/status.lua\" ");
}

TEST(PcapCommand, PresetsDurationsFiltersNamesAndListingLines) {
    const QDateTime now(QDate(2026, 11, 23), QTime(6, 5, 9));
    TPcapSettings s;
    EXPECT_EQ(GenPcapCommand(s, now),
              "ips.pcapStart(\"emac\", \"/mnt/flashdrive0/data/261123_060509.pcap\", \"1h\")");
    s.Seconds = 30;
    s.FileName = "mine.pcap";
    s.Filters = {PcapFilterText("all", "255.255.255.255"), PcapFilterText("", "10.0.0.1")};
    EXPECT_EQ(
        GenPcapCommand(s, now),
        "ips.pcapStart(\"emac\", \"/mnt/flashdrive0/data/mine.pcap\", \"1h30s\", \"all@255.255.255.255\", "
        "\"10.0.0.1\")")
        << "a typed name is kept";
    s.ByPackets = true;
    s.Packets = 19.6;
    s.Filters.clear();
    EXPECT_EQ(GenPcapCommand(s, now), "ips.pcapStart(\"emac\", \"/mnt/flashdrive0/data/mine.pcap\", 20)");
    EXPECT_EQ(PcapDurationText(0, 0, 0), "\"\"");
    EXPECT_EQ(PcapDurationText(0, 5, 0), "\"5m\"");

    TPcapListItem item;
    EXPECT_TRUE(ParsePcapListLine("file 5053 2026-11-23 05:51:04 t1.pcap", item));
    EXPECT_EQ(item.Name, "t1.pcap");
    EXPECT_EQ(item.Detail, "file5053 - 2026-11-23 05:51:04");
    EXPECT_FALSE(ParsePcapListLine("dir 0 2026-11-23 05:51:04 old", item));
    EXPECT_FALSE(ParsePcapListLine("Name Size Date", item));
    EXPECT_FALSE(ParsePcapListLine("file 1 2026-11-23 05:51:04 ../../x.pcap", item))
        << "no way out of the folder";
}

TEST(DrivePaint, TheRingIsThreeArcsOfTwentyRingsAndATotalOfZeroDrawsNothing) {
    TRecordingCanvas c;
    TDriveValues d;
    d.Total = 1000, d.Used = 250, d.Free = 750, d.Bad = 0;
    EXPECT_TRUE(TDrivePaint::PaintPerc(c, 200, 200, d));
    const auto paths = c.Of(TCanvasOp::DrawPath);
    ASSERT_EQ(paths.size(), 40u) << "an empty share draws no arc";
    EXPECT_EQ(paths.front().Stroke.Color, TDrivePaint::CUsedColor);
    EXPECT_EQ(paths.back().Stroke.Color, TDrivePaint::CFreeColor);
    // The first arc starts at the top, on the inner radius (half the width less 40).
    EXPECT_NEAR(paths.front().Path.front().Point.X, 100, 1e-9);
    EXPECT_NEAR(paths.front().Path.front().Point.Y, 40, 1e-9);
    // The used quarter ends at three o'clock; the outermost ring is 38 pixels further out.
    EXPECT_NEAR(paths[19].Path.back().Point.X, 100 + 60 + 38, 1e-6);
    c.Reset();
    d.Total = 0;
    EXPECT_FALSE(TDrivePaint::PaintPerc(c, 200, 200, d));
    EXPECT_TRUE(c.Of(TCanvasOp::DrawPath).empty());
    EXPECT_FALSE(TDrivePaint::PaintBar(c, 200, 20, d));
    EXPECT_TRUE(c.Of(TCanvasOp::FillRect).empty());
}

#ifdef FERROCTL_BIN
using ferro::test::CtlResult;
using ferro::test::RunCtl;
using ferro::test::SimProcess;

TEST(StatusE2E, FerroctlStatusTellsTheFreeSpaceOfTheSimulatorsDriveAndItsSessions) {
    SimProcess sim({"--history-days", "0"});
    ASSERT_TRUE(sim.ok()) << sim.output();
    const std::vector<std::string> base = {"--port", std::to_string(sim.port())};
    // A second client stays connected while the status is read.
    TConnectionRec rec;
    rec.Port = sim.port();
    rec.Folders.Tmp = sim.tempDir() + "/";
    TDeviceSession other(rec);
    ASSERT_TRUE(other.OpenAndWait(30000)) << other.LastError().Text;
    std::vector<std::string> a = base;
    a.insert(a.end(), {"status", "--json"});
    const CtlResult r = RunCtl(a, 60000);
    ASSERT_EQ(r.code, 0) << r.err;
    EXPECT_NE(r.out.find("\"ccciWorker.sessions\": 2"), std::string::npos) << r.out;
    other.CloseAndWait();
    QProcess df;
    df.start("df", {"-B1", "--output=avail", QString::fromStdString(sim.root())});
    ASSERT_TRUE(df.waitForFinished(10000));
    const double avail = QString(df.readAllStandardOutput()).split('\n').value(1).trimmed().toDouble();
    ASSERT_GT(avail, 0);
    const QRegularExpression freeRe("\"flashdrive0.free\": (\\d+)");
    const auto m = freeRe.match(QString::fromStdString(r.out));
    ASSERT_TRUE(m.hasMatch()) << r.out;
    EXPECT_NEAR(m.captured(1).toDouble(), avail, avail * 0.01);
    EXPECT_NE(r.out.find("\"plant\": \"Umspannwerk Nord\""), std::string::npos);
    EXPECT_NE(r.out.find("\"serial\": 5120042"), std::string::npos) << "numbers as numbers";
}

TEST(StatusE2E, ACaptureOfTwentyPacketsHoldsTheIdentifyExchangeAndReadsWithTcpdump) {
    SimProcess sim({"--history-days", "0"});
    ASSERT_TRUE(sim.ok()) << sim.output();
    const std::string port = std::to_string(sim.port());
    auto ctl = [&](std::vector<std::string> a) {
        a.insert(a.begin(), {"--port", port});
        return RunCtl(a, 60000);
    };
    CtlResult r = ctl({"pcap", "start", "--packets", "20", "--filter", "all@127.0.0.1", "--name", "id.pcap"});
    ASSERT_EQ(r.code, 0) << r.err;
    EXPECT_EQ(r.out, "id.pcap\n");
    ASSERT_EQ(ctl({"identify"}).code, 0);
    EXPECT_NE(ctl({"pcap", "ls"}).out.find("id.pcap\tfile"), std::string::npos);
    const std::string local = sim.tempDir() + "/id.pcap";
    r = ctl({"pcap", "get", "id.pcap", "--out", local});
    ASSERT_EQ(r.code, 0) << r.err;
    QProcess dump;
    dump.start("tcpdump", {"-nn", "-r", QString::fromStdString(local)});
    if (!dump.waitForStarted(5000)) GTEST_SKIP() << "tcpdump is not installed";
    ASSERT_TRUE(dump.waitForFinished(20000));
    const QString out = dump.readAllStandardOutput(), err = dump.readAllStandardError();
    EXPECT_EQ(dump.exitCode(), 0) << err.toStdString();
    EXPECT_EQ(out.count('\n'), 20) << out.toStdString();
    EXPECT_FALSE(err.contains("warning", Qt::CaseInsensitive) || err.contains("truncated"))
        << err.toStdString();
    // The identify exchange: the client's session request and the identity reply of 1592 bytes.
    EXPECT_TRUE(out.contains(QString("127.0.0.1.%1: Flags [P.]").arg(sim.port()))) << out.toStdString();
    EXPECT_TRUE(out.contains(QString("127.0.0.1.%1 > ").arg(sim.port())));
    EXPECT_EQ(ctl({"pcap", "rm", "id.pcap"}).code, 0);
    EXPECT_EQ(ctl({"pcap", "ls"}).out, "");

    // A source filter that no loopback packet matches leaves the file at its head; a bad one is refused.
    ASSERT_EQ(
        ctl({"pcap", "start", "--packets", "5", "--filter", "src@10.9.9.9", "--name", "none.pcap"}).code, 0);
    ASSERT_EQ(ctl({"identify"}).code, 0);
    EXPECT_NE(ctl({"pcap", "ls"}).out.find("none.pcap\tfile24 - "), std::string::npos);
    r = ctl({"pcap", "start", "--filter", "any@nowhere"});
    EXPECT_EQ(r.code, 1);
    EXPECT_NE(r.err.find("Invalid argument: filter any@nowhere"), std::string::npos) << r.err;
}
#endif
