// The Lua channel: output frames, errors, the end frame, modules and the confinement to the tree.
#include "SimHarness.h"

#include "ferrosim/Compression.h"

#include <gtest/gtest.h>

#include <array>
#include <chrono>
#include <filesystem>
#include <memory>
#include <sstream>
#include <thread>

using namespace simtest;
namespace fs = std::filesystem;

namespace {

struct LuaReply {
    std::vector<Frame> frames;
    std::string out, err;
    bool ended = false;
};

LuaReply runLua(RawClient& c, const std::string& line) {
    LuaReply r;
    c.send(lua(line));
    Frame f;
    while (c.frame(f, 20000)) { // a runaway line takes a while on a busy machine
        r.frames.push_back(f);
        EXPECT_EQ(f.cmd(), 6);
        if (f.ext() == 1) r.out += str(f.bytes);
        if (f.ext() == 2) r.err += str(f.bytes);
        if (f.ext() == 3) {
            r.ended = true;
            break;
        }
    }
    return r;
}

} // namespace

TEST(SimLua, OutputSpansFramesErrorsComeAsKind2AndRunawaysAreStopped) {
    Sim sim;
    RawClient c(sim.port());
    c.openPlain();
    LuaReply r = runLua(c, "for i = 1, 300 do print('abcdefgh') end");
    ASSERT_TRUE(r.ended);
    std::string expected;
    for (int i = 0; i < 300; ++i)
        expected += "abcdefgh\n";
    EXPECT_EQ(r.out, expected);
    ASSERT_GE(r.frames.size(), 4u);
    for (size_t i = 0; i + 1 < r.frames.size(); ++i)
        EXPECT_LE(r.frames[i].size(), 20u + 1024);
    EXPECT_EQ(r.frames.back().size(), 20u);
    // A line breaks across two frames somewhere: 9-byte lines do not divide 1024.
    EXPECT_NE(str(r.frames[0].bytes).back(), '\n');

    LuaReply syntax = runLua(c, "print('a'");
    EXPECT_TRUE(syntax.ended);
    EXPECT_EQ(syntax.out, "");
    EXPECT_NE(syntax.err.find("expected"), std::string::npos);
    LuaReply runtime = runLua(c, "print('before') error('boom')");
    EXPECT_EQ(runtime.out, "before\n");
    EXPECT_NE(runtime.err.find("boom"), std::string::npos);
    ASSERT_EQ(runtime.frames.size(), 3u);
    EXPECT_EQ(runtime.frames[1].ext(), 2);
    LuaReply quiet = runLua(c, "local x = 1");
    ASSERT_EQ(quiet.frames.size(), 1u);
    EXPECT_EQ(quiet.frames[0].size(), 20u);

    LuaReply loop = runLua(c, "while true do end");
    EXPECT_TRUE(loop.ended);
    EXPECT_NE(loop.err.find("stopped"), std::string::npos);
    for (const char* huge :
         {"local s = string.rep('x', 1 << 40)", "local t = {} for i = 1, 1e9 do t[i] = i end"}) {
        LuaReply r = runLua(c, huge);
        EXPECT_TRUE(r.ended) << huge;
        EXPECT_NE(r.err, "") << huge;
    }
    EXPECT_EQ(runLua(c, "print(1 + 1)").out, "2\n");
}

TEST(SimLua, UserRightsAndCalibrationWords) {
    Sim sim;
    RawClient c(sim.port());
    c.openPlain();
    // A right's name instead of a user asks for the session's own user (admin on a plain session).
    const std::pair<const char*, const char*> cases[] = {
        {"print(user.authorized(\"admin\")[\"lua.user.print\"]);", "true\n"},
        {"print(user.authorized(\"viewer\")[\"lua.user.print\"]);", "false\n"},
        {"print(user.authorized(\"viewer\")[\"setup.read\"]);", "true\n"},
        {"print(user.authorized(\"lua.user.print\")[\"lua.user.print\"]);", "true\n"},
        {"pq.calState(1,0)", "Calibration todo\n"},
        {"pq.calOpen(50.000)", "No Error\n"},
        {"pq.calOpen(50.000)", "Device or resource busy\n"},
        {"pq.calU(0)", "No Error\n"},
        {"pq.calI(0)", "No Error\n"},
        {"pq.calU(100.000)", "No Error\n"},
        {"pq.calI(5.000)", "No Error\n"},
        {"pq.calState(3,1)", "Calibration ok\n"},
        {"pq.calState(9,0)", "No such device\n"},
        {"print(uti.err2ascii(pq.calClose(1)))", "No Error\nNo Error\n"}};
    for (const auto& [line, out] : cases)
        EXPECT_EQ(runLua(c, line).out, out) << line;
}

TEST(SimLua, FilesStayInsideTheInstrumentTree) {
    Sim sim;
    RawClient c(sim.port());
    c.openPlain();
    LuaReply w =
        runLua(c, "local f = io.open('//mnt/flashdrive0/data/ccci/scratchpad/t.txt', 'w') f:write('hi') "
                  "f:close() print(fs.pwd())");
    EXPECT_EQ(w.err, "");
    EXPECT_EQ(w.out, "/mnt/flashdrive0/data\n");
    EXPECT_EQ(str(fileBytes(sim.data() + "/ccci/scratchpad/t.txt"), 0), "hi");
    for (const char* escape :
         {"io.open('/../../../../etc/passwd')", "io.open('../../../x', 'w')", "io.open('/profile.json')",
          "dofile('/mnt/../../etc/profile')", "fs.cp('/mnt/flashdrive0/data/logd.log', '/../x')"})
        EXPECT_NE(runLua(c, escape).err.find("Permission denied"), std::string::npos) << escape;
    for (const char* gone :
         {"os.execute('true')", "io.popen('ls')", "require('os')", "package.loadlib('x','y')",
          "os.remove('x')", "load(string.dump(print))", "io.tmpfile()"})
        EXPECT_NE(runLua(c, gone).err, "") << gone;
    // "/etc/x" is the instrument's own /etc: inside the root.
    EXPECT_EQ(runLua(c, "local f = io.open('/etc/x', 'w') f:write('1') f:close()").err, "");
    EXPECT_TRUE(fs::exists(sim.root() + "/etc/x"));

    EXPECT_EQ(
        runLua(c, "fs.cp('/mnt/flashdrive0/data/logd.log', '/mnt/flashdrive0/data/ccci/scratchpad/l.log')")
            .err,
        "");
    EXPECT_TRUE(fs::exists(sim.data() + "/ccci/scratchpad/l.log"));
    EXPECT_EQ(runLua(c, "fs.cd(\"/mnt/flashdrive0/data/ccci\") print(fs.pwd())").out,
              "/mnt/flashdrive0/data/ccci\n");
    std::string ls = runLua(c, "fs.ls(\"scratchpad/*.txt\")").out;
    EXPECT_NE(ls.find(" xml-versions.txt\n"), std::string::npos);
    EXPECT_EQ(ls.find("ferro_struct"), std::string::npos);
    EXPECT_EQ(runLua(c, "fs.rm(\"scratchpad/l.log\")").err, "");
    EXPECT_FALSE(fs::exists(sim.data() + "/ccci/scratchpad/l.log"));
}

TEST(SimLua, StatusScriptWritesStatTxtFromUtiStat) {
    Sim sim;
    RawClient c(sim.port());
    c.openPlain();
    // The status script as the status view sends it (condensed), lines joined by CR LF.
    std::string script = R"(local function prntStat(offset, story, out)
   if out then stat = io.open(out, "w") end assert(stat, "could not open/create output-file")
   for n,v in pairs(story) do
      if type(v) == "table" then prntStat(offset..n..".", v, nil)
      elseif n~="__name" then stat:write(string.format("%-35s", offset..n ), story[n], "\r\n") end
   end
   if out then stat:close() end
end
function main(name, ...)
   local arg = table.pack(...)
   if arg[1] then path = arg[1] else path = "/mnt/flashdrive0/data/ccci/scratchpad" end
   if uti.stat then
      uti.mute() local cwd = fs.pwd()
      if arg[2] then prntStat("", uti.stat(), path.."/stat/stat.txt") log.getLog(path.."/stat/logd.log")
         cfg.rd_all(path.."/stat/config.xml") uti.gzip(path.."/stat", path.."/stat.tgz") fs.rmdir(path.."/stat", "-r")
      else prntStat("", uti.stat(), path.."/stat.txt") end
      fs.cd(cwd) uti.unmute()
   else print("\"uti.stat()\"cmd is not available on this Firmware! STOP") end
end
main(name, ...))";
    for (size_t at = script.find('\n'); at != std::string::npos; at = script.find('\n', at + 2))
        script.replace(at, 1, "\r\n");
    ASSERT_TRUE(c.request(scratchWrite("status.lua", Bytes(script.begin(), script.end()))).ack());
    LuaReply run = runLua(c, "dofile\"/mnt/flashdrive0/data/ccci/scratchpad/status.lua\" ");
    EXPECT_EQ(run.err, "");
    EXPECT_EQ(run.out, ""); // muted while the script ran
    // One line per leaf: the dotted key left-justified in 35 characters, the value, CR LF.
    std::map<std::string, std::string> values;
    std::istringstream lines(str(c.request(named(7, 1, "stat.txt")).bytes));
    std::string line;
    while (std::getline(lines, line)) {
        ASSERT_GE(line.size(), 36u) << line;
        ASSERT_EQ(line.back(), '\r');
        std::string key = line.substr(0, 35);
        key.erase(key.find_last_not_of(' ') + 1);
        values[key] = line.substr(35, line.size() - 36);
    }
    for (const char* key :
         {"time.utc.soc", "version.major", "flashdrive0.free", "sd0.used", "upTime", "article"})
        EXPECT_TRUE(values.count(key)) << key;
    EXPECT_EQ(values["serial"], "5120042");
    EXPECT_EQ(values["plant"], "Umspannwerk Nord");
    EXPECT_EQ(values["version.minor"], "2");
    EXPECT_EQ(values["NTP.1.server"], "127.0.0.1");

    // The archive branch, as a call with arguments takes it.
    EXPECT_EQ(runLua(c, "main(nil, '/mnt/flashdrive0/data/ccci/scratchpad', 'all')").err, "");
    auto entries = untar(fileBytes(sim.data() + "/ccci/scratchpad/stat.tgz"));
    EXPECT_TRUE(entries.count("stat/stat.txt"));
    EXPECT_TRUE(entries.count("stat/logd.log"));
    EXPECT_EQ(entries["stat/config.xml"], fileBytes(sim.data() + "/setup/setup.xml"));
    EXPECT_FALSE(fs::exists(sim.data() + "/ccci/scratchpad/stat"));
}

TEST(SimLua, DeviceModulesChangeTheInstrumentAndSoftResetDropsEveryLine) {
    Sim sim;
    RawClient c(sim.port()), b(sim.port());
    c.openPlain();
    b.openPlain();
    // The counts before and after a trigger; a dip of the profile (one a minute) may come in
    // between and adds one Osc and one Hp recording.
    auto counts = [&] {
        std::istringstream in(runLua(c, "pq.getEvtOscHpCnt()").out);
        std::string word;
        int evt = -1, osc = -1, hp = -1;
        in >> word >> evt >> word >> osc >> word >> hp;
        return std::array<int, 3>{evt, osc, hp};
    };
    const auto before = counts();
    ASSERT_GE(before[0], 0);
    EXPECT_EQ(runLua(c, "pq.triggerRec()").err, "");
    // A real recording in the recording format, listed at once.
    std::istringstream listing(str(c.request(plain(5, 0, 0)).bytes));
    int written = 0;
    for (std::string line; std::getline(listing, line);)
        written += line.rfind("rec/Hp-1-", 0) == 0 && line.find(".log;") != std::string::npos;
    EXPECT_GE(written, 1);
    const auto after = counts();
    EXPECT_EQ(after[2] - before[2], 1 + (after[1] - before[1]));
    EXPECT_EQ(runLua(c, "uti.setDateTime(\"01.02.2030 13:00:00\")").err, "");
    // 13:00 local at UTC+1 is 12:00 UTC.
    EXPECT_NEAR(double(get32(c.request(plain(2, 0, 1)).bytes, 32)), 1896177600.0, 3.0);
    EXPECT_EQ(runLua(c, "ips.pcapStart(\"eth0\", \"/mnt/flashdrive0/data/cap.pcap\", 3)").err, "");
    Bytes pcap = fileBytes(sim.data() + "/cap.pcap");
    ASSERT_GE(pcap.size(), 24u);
    EXPECT_EQ(get32(pcap, 0), 0xa1b2c3d4u);
    EXPECT_EQ(get32(pcap, 20), 1u);
    EXPECT_NE(runLua(c, "print(cfg.rd_all())").out.find("name=\"sys\""), std::string::npos);
    EXPECT_TRUE(runLua(c, "uti.softreset()").ended);
    EXPECT_TRUE(c.closedWithin(3000));
    EXPECT_TRUE(b.closedWithin(3000));
    RawClient again(sim.port());
    EXPECT_TRUE(again.openPlain().ack());
}

TEST(SimLua, FirmwareUpdateRejectsDamageAndRestartsWithTheNewRevision) {
    Sim sim("", nullptr, {"--reboot-ms", "1000"});
    RawClient c(sim.port());
    c.openPlain();
    const std::string update = "print(uti.err2ascii(uti.fwUpdate(\"~/update.tgz\")))";
    ASSERT_TRUE(c.request(scratchWrite("update.tgz", Bytes(3000, 0x17))).ack());
    EXPECT_EQ(runLua(c, update).out, "Invalid argument\n");
    EXPECT_EQ(get32(c.request(plain(2, 0, 1)).bytes, 216), 0x02020105u);

    const std::string version = "product=FerroRecorder\nrevision=2.3.0.7\n";
    Bytes image = ferro::sim::Compression::tarGz(
        {{"VERSION", Bytes(version.begin(), version.end())}, {"rootfs.img", Bytes(5000, 0x42)}});
    ASSERT_TRUE(c.request(scratchWrite("update.tgz", image)).ack());
    LuaReply r = runLua(c, update);
    EXPECT_EQ(r.out, "No Error\n");
    EXPECT_TRUE(r.ended);
    EXPECT_TRUE(c.closedWithin(3000));
    // The port refuses while the instrument reboots, then takes connections again.
    EXPECT_FALSE(RawClient(sim.port()).connected());
    std::unique_ptr<RawClient> again;
    for (int i = 0; i < 100 && !(again && again->connected()); ++i) {
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
        again = std::make_unique<RawClient>(sim.port());
    }
    ASSERT_TRUE(again->connected());
    again->openPlain();
    EXPECT_EQ(get32(again->request(plain(2, 0, 1)).bytes, 216), 0x02030007u);
}

TEST(SimLua, CalibrationFaultFromTheProfileIsAnswered) {
    Sim sim("", [](const std::string& root) {
        Sim::setProfile(root, "calibrationFault", "\"Calibration quantity fluctuation\"");
    });
    RawClient c(sim.port());
    c.openPlain();
    EXPECT_EQ(runLua(c, "pq.calOpen(60.000)").out, "No Error\n");
    EXPECT_EQ(runLua(c, "print(pq.calI(0))").out, "Calibration quantity fluctuation\n7\n");
}

TEST(SimLua, CalibratorFaultsAnswerWithTheirWordsAndAGoodCalibrationIsStored) {
    const std::pair<const char*, const char*> faults[] = {{"cal-busy", "Device or resource busy\n"},
                                                          {"cal-range", "Magnitude out of range\n"},
                                                          {"cal-fluct", "Calibration quantity fluctuation\n"},
                                                          {"cal-freq", "Frequency tolerance violation\n"}};
    for (const auto& [fault, word] : faults) {
        Sim sim(fault);
        RawClient c(sim.port());
        c.openPlain();
        std::string out = runLua(c, "pq.calOpen(50.000)").out;
        if (out == "No Error\n") out = runLua(c, "pq.calU(100.000)").out;
        EXPECT_EQ(out, word) << fault;
    }
    Sim sim;
    RawClient c(sim.port());
    c.openPlain();
    for (const char* line : {"pq.calOpen(50.000)", "pq.calU(0)", "pq.calI(0)"})
        runLua(c, line);
    EXPECT_EQ(runLua(c, "pq.calU(130.000)").out, "Magnitude out of range\n")
        << "the reference is far off the signal";
    EXPECT_EQ(runLua(c, "pq.calU(100.500)").out, "No Error\n");
    EXPECT_EQ(runLua(c, "pq.calI(5.000)").out, "No Error\n");
    EXPECT_EQ(runLua(c, "pq.calState(1,0)").out, "Calibration failed\n") << "corrected to a wrong reference";
    EXPECT_EQ(runLua(c, "pq.calState(5,0)").out, "Calibration ok\n");
    EXPECT_EQ(runLua(c, "print(uti.stat().calibration.date)").out, "\n");
    EXPECT_EQ(runLua(c, "pq.calClose(1)").out, "No Error\n");
    EXPECT_NE(runLua(c, "print(uti.stat().calibration.date)").out.find("T"), std::string::npos);
}
