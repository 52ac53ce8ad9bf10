// The Lua channel: output frames, errors, the end frame, modules and the confinement to the tree.
#include "SimHarness.h"

#include "ferrosim/Compression.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <map>
#include <sstream>

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

TEST(SimLua, LongOutputSpansSeveralFramesAndEndsWithKind3) {
    Sim sim;
    RawClient c(sim.port());
    c.openPlain();
    LuaReply r = runLua(c, "for i = 1, 300 do print(string.format('line %03d', i)) end");
    ASSERT_TRUE(r.ended);
    std::string expected;
    char buf[16];
    for (int i = 1; i <= 300; ++i) {
        std::snprintf(buf, sizeof(buf), "line %03d\n", i);
        expected += buf;
    }
    EXPECT_EQ(r.out, expected);
    ASSERT_GE(r.frames.size(), 4u);
    for (size_t i = 0; i + 1 < r.frames.size(); ++i) {
        EXPECT_EQ(r.frames[i].ext(), 1);
        EXPECT_LE(r.frames[i].size(), 20u + 1024);
    }
    EXPECT_EQ(r.frames.back().size(), 20u);
    // A line breaks across two frames somewhere: 9-byte lines do not divide 1024.
    EXPECT_NE(str(r.frames[0].bytes).back(), '\n');
}

TEST(SimLua, ErrorsComeAsKind2AndTheStateStaysUsable) {
    Sim sim;
    RawClient c(sim.port());
    c.openPlain();
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
    EXPECT_EQ(quiet.frames[0].ext(), 3);
    EXPECT_EQ(quiet.frames[0].size(), 20u);
}

TEST(SimLua, RunawayLoopIsStoppedWithAnError) {
    Sim sim;
    RawClient c(sim.port());
    c.openPlain();
    LuaReply r = runLua(c, "while true do end");
    EXPECT_TRUE(r.ended);
    EXPECT_NE(r.err.find("stopped"), std::string::npos);
}

TEST(SimLua, UserRightsAndCalibrationWords) {
    Sim sim;
    RawClient c(sim.port());
    c.openPlain();
    EXPECT_EQ(runLua(c, "print(user.authorized(\"admin\")[\"lua.user.print\"]);").out, "true\n");
    EXPECT_EQ(runLua(c, "print(user.authorized(\"viewer\")[\"lua.user.print\"]);").out, "false\n");
    EXPECT_EQ(runLua(c, "print(user.authorized(\"viewer\")[\"setup.read\"]);").out, "true\n");
    // A right's name instead of a user asks for the session's own user (admin on a plain session).
    EXPECT_EQ(runLua(c, "print(user.authorized(\"lua.user.print\")[\"lua.user.print\"]);").out, "true\n");

    EXPECT_EQ(runLua(c, "pq.calState(1,0)").out, "Calibration todo\n");
    EXPECT_EQ(runLua(c, "pq.calOpen(50.000)").out, "No Error\n");
    EXPECT_EQ(runLua(c, "pq.calOpen(50.000)").out, "Device or resource busy\n");
    for (const char* step : {"pq.calU(0)", "pq.calI(0)", "pq.calU(100.000)", "pq.calI(5.000)"})
        EXPECT_EQ(runLua(c, step).out, "No Error\n") << step;
    EXPECT_EQ(runLua(c, "pq.calState(3,1)").out, "Calibration ok\n");
    EXPECT_EQ(runLua(c, "pq.calState(9,0)").out, "No such device\n");
    EXPECT_EQ(runLua(c, "print(uti.err2ascii(pq.calClose(1)))").out, "No Error\nNo Error\n");
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
         {"io.open('/../../../../etc/passwd')", "io.open('../../../x', 'w')",
          "dofile('/mnt/../../etc/profile')", "fs.cp('/mnt/flashdrive0/data/logd.log', '/../x')"}) {
        LuaReply r = runLua(c, escape);
        EXPECT_NE(r.err.find("Permission denied"), std::string::npos) << escape;
    }
    for (const char* gone : {"os.execute('true')", "io.popen('ls')", "require('os')",
                             "package.loadlib('x','y')", "os.remove('x')", "load(string.dump(print))"}) {
        LuaReply r = runLua(c, gone);
        EXPECT_NE(r.err, "") << gone;
    }
    // "/etc/x" is the instrument's own /etc: inside the root.
    EXPECT_EQ(runLua(c, "local f = io.open('/etc/x', 'w') f:write('1') f:close()").err, "");
    EXPECT_TRUE(fs::exists(sim.root() + "/etc/x"));
}

TEST(SimLua, FileSystemModuleAndDofile) {
    Sim sim;
    RawClient c(sim.port());
    c.openPlain();
    EXPECT_EQ(
        runLua(
            c,
            "fs.cp(\"//mnt/flashdrive0/data/logd.log\",\"//mnt/flashdrive0/data/ccci/scratchpad/logd.log\")")
            .err,
        "");
    EXPECT_TRUE(fs::exists(sim.data() + "/ccci/scratchpad/logd.log"));
    EXPECT_EQ(runLua(c, "fs.cd(\"/mnt/flashdrive0/data/ccci\") print(fs.pwd())").out,
              "/mnt/flashdrive0/data/ccci\n");
    std::string ls = runLua(c, "fs.ls(\"scratchpad/*.txt\")").out;
    EXPECT_NE(ls.find("file"), std::string::npos);
    EXPECT_NE(ls.find(" xml-versions.txt\n"), std::string::npos);
    EXPECT_EQ(ls.find("ferro_struct"), std::string::npos);
    EXPECT_EQ(runLua(c, "fs.rm(\"scratchpad/logd.log\")").err, "");
    EXPECT_FALSE(fs::exists(sim.data() + "/ccci/scratchpad/logd.log"));

    writeBytes(sim.data() + "/ccci/scratchpad/status.lua",
               Bytes{'p', 'r', 'i', 'n', 't', '(', '4', '2', ')'});
    EXPECT_EQ(runLua(c, "dofile\"/mnt/flashdrive0/data/ccci/scratchpad/status.lua\" ").out, "42\n");
}

TEST(SimLua, StatusScriptWritesStatTxtFromUtiStat) {
    Sim sim;
    RawClient c(sim.port());
    c.openPlain();
    // The status script as the status view sends it, lines joined by CR LF.
    const char* scriptLines[] = {
        "local function prntStat(offset, story, out)",
        "   if out then stat = io.open(out, \"w\") end",
        "   assert(stat, \"could not open/create output-file\")",
        "   for n,v in pairs(story) do",
        "      if type(v) == \"table\" then prntStat(offset..n..\".\", v, nil)",
        "      elseif n~=\"__name\" then stat:write(string.format(\"%-35s\", offset..n ), story[n], "
        "\"\\r\\n\")",
        "      end",
        "   end",
        "   if out then stat:close() end",
        "end",
        "function main(name, ...)",
        "   local arg = table.pack(...)",
        "   if arg[1] then path = arg[1] else path = \"/mnt/flashdrive0/data/ccci/scratchpad\" end",
        "   if uti.stat then",
        "      uti.mute()",
        "      local cwd = fs.pwd() -- store the current pwd",
        "      if arg[2] then ",
        "         prntStat(\"\", uti.stat(), path..\"/stat/stat.txt\")",
        "         log.getLog(path..\"/stat/logd.log\")",
        "         cfg.rd_all(path..\"/stat/config.xml\")",
        "         uti.gzip(path..\"/stat\", path..\"/stat.tgz\")",
        "         fs.rmdir(path..\"/stat\", \"-r\")",
        "      else ",
        "         prntStat(\"\", uti.stat(), path..\"/stat.txt\")",
        "      end",
        "      fs.cd(cwd) -- restore the cwd",
        "      uti.unmute()",
        "   else print(\"\\\"uti.stat()\\\"cmd is not available on this Firmware! STOP\")",
        "   end",
        "end",
        "main(name, ...)"};
    std::string script;
    for (const char* l : scriptLines)
        script += (script.empty() ? "" : "\r\n") + std::string(l);
    Frame ack = c.request(scratchWrite("status.lua", Bytes(script.begin(), script.end())));
    ASSERT_FALSE(ack.nak());
    LuaReply run = runLua(c, "dofile\"/mnt/flashdrive0/data/ccci/scratchpad/status.lua\" ");
    EXPECT_EQ(run.err, "");
    Frame stat = c.request(named(7, 1, "stat.txt"));
    // One line per leaf: the dotted key left-justified in 35 characters, the value, CR LF.
    std::map<std::string, std::string> values;
    std::istringstream lines(str(stat.bytes));
    std::string line;
    while (std::getline(lines, line)) {
        ASSERT_GE(line.size(), 36u) << line;
        ASSERT_EQ(line.back(), '\r');
        std::string key = line.substr(0, 35);
        key.erase(key.find_last_not_of(' ') + 1);
        values[key] = line.substr(35, line.size() - 36);
    }
    for (const char* key : {"time.utc.soc", "time.utc.fracsec.dst", "version.major", "version.minor",
                            "version.patch", "flashdrive0.free", "flashdrive0.total", "ramdrive0.total",
                            "sd0.used", "NTP.1.server", "upTime", "revision", "article"})
        EXPECT_TRUE(values.count(key)) << key;
    EXPECT_EQ(values["serial"], "5120042");
    EXPECT_EQ(values["plant"], "Umspannwerk Nord");
    EXPECT_EQ(values["fieldName"], "Feld 3");
    EXPECT_EQ(values["version.minor"], "2");
    EXPECT_EQ(values["NTP.1.server"], "127.0.0.1");
    // Muted while the script ran: nothing was printed.
    EXPECT_EQ(run.out, "");

    // The archive branch, as a call with arguments takes it.
    LuaReply full = runLua(c, "main(nil, '/mnt/flashdrive0/data/ccci/scratchpad', 'all')");
    EXPECT_EQ(full.err, "");
    std::map<std::string, Bytes> entries;
    for (auto& e : untar(fileBytes(sim.data() + "/ccci/scratchpad/stat.tgz")))
        entries[e.first] = e.second;
    EXPECT_TRUE(entries.count("stat/stat.txt"));
    EXPECT_TRUE(entries.count("stat/logd.log"));
    EXPECT_EQ(entries["stat/config.xml"], fileBytes(sim.data() + "/setup/setup.xml"));
    EXPECT_FALSE(fs::exists(sim.data() + "/ccci/scratchpad/stat"));
}

TEST(SimLua, DeviceModulesChangeTheInstrument) {
    Sim sim;
    RawClient c(sim.port());
    c.openPlain();
    EXPECT_EQ(runLua(c, "pq.triggerRec()").err, "");
    EXPECT_NE(str(c.request(plain(5, 0, 0)).bytes).find("rec/Hp-1-1-"), std::string::npos);
    EXPECT_EQ(runLua(c, "pq.getEvtOscHpCnt()").out, "Evt: 3 Osc: 1 Hp: 2\n");
    EXPECT_EQ(runLua(c, "uti.setDateTime(\"01.02.2030 13:00:00\")").err, "");
    Frame id = c.request(plain(2, 0, 1));
    // 13:00 local at UTC+1 is 12:00 UTC.
    EXPECT_NEAR(double(get32(id.bytes, 32)), 1896177600.0, 3.0);
    EXPECT_EQ(runLua(c, "ips.pcapStart(\"eth0\", \"/mnt/flashdrive0/data/cap.pcap\", 3)").err, "");
    Bytes pcap = fileBytes(sim.data() + "/cap.pcap");
    ASSERT_GE(pcap.size(), 24u);
    EXPECT_EQ(get32(pcap, 0), 0xa1b2c3d4u);
    EXPECT_EQ(get32(pcap, 20), 1u);
    EXPECT_EQ(runLua(c, "uti.gzip(\"/mnt/flashdrive0/data/setup\", \"/mnt/flashdrive0/data/s.tgz\")").err,
              "");
    bool found = false;
    for (auto& e : untar(fileBytes(sim.data() + "/s.tgz")))
        found |= e.first == "setup/setup.xml";
    EXPECT_TRUE(found);
    EXPECT_NE(runLua(c, "print(cfg.rd_all())").out.find("name=\"sys\""), std::string::npos);
}

TEST(SimLua, FirmwareUpdateRestartsWithTheNewRevision) {
    Sim sim;
    RawClient c(sim.port());
    c.openPlain();
    const std::string version = "product=FerroRecorder\nrevision=2.3.0.7\n";
    Bytes image = ferro::sim::Compression::tarGz(
        {{"VERSION", Bytes(version.begin(), version.end())}, {"rootfs.img", Bytes(5000, 0x42)}});
    ASSERT_FALSE(c.request(scratchWrite("update.tgz", image)).nak());
    LuaReply r = runLua(c, "print(uti.err2ascii(uti.fwUpdate(\"~/update.tgz\")))");
    EXPECT_EQ(r.out, "No Error\n");
    EXPECT_TRUE(r.ended);
    EXPECT_TRUE(c.closedWithin(3000));
    RawClient again(sim.port());
    again.openPlain();
    Frame id = again.request(plain(2, 0, 1));
    EXPECT_EQ(get32(id.bytes, 216), 0x02030007u);
}

TEST(SimLua, DamagedFirmwareImageIsRejectedAndTheLineStays) {
    Sim sim;
    RawClient c(sim.port());
    c.openPlain();
    ASSERT_FALSE(c.request(scratchWrite("update.tgz", Bytes(3000, 0x17))).nak());
    EXPECT_EQ(runLua(c, "print(uti.err2ascii(uti.fwUpdate(\"~/update.tgz\")))").out, "Invalid argument\n");
    EXPECT_EQ(get32(c.request(plain(2, 0, 1)).bytes, 216), 0x02020105u);
}

TEST(SimLua, CalibrationFaultFromTheProfileIsAnswered) {
    Sim sim("", [](const std::string& root) {
        Sim::setProfile(root, "calibrationFault", "\"Calibration quantity fluctuation\"");
    });
    RawClient c(sim.port());
    c.openPlain();
    EXPECT_EQ(runLua(c, "pq.calOpen(60.000)").out, "No Error\n");
    EXPECT_EQ(runLua(c, "pq.calU(0)").out, "Calibration quantity fluctuation\n");
    EXPECT_EQ(runLua(c, "print(pq.calI(0))").out, "Calibration quantity fluctuation\n7\n");
}

TEST(SimLua, HugeAllocationsFailAsLuaErrors) {
    Sim sim;
    RawClient c(sim.port());
    c.openPlain();
    LuaReply r = runLua(c, "local s = string.rep('x', 1 << 40)");
    EXPECT_TRUE(r.ended);
    EXPECT_NE(r.err, "");
    LuaReply t = runLua(c, "local t = {} for i = 1, 1e9 do t[i] = i end");
    EXPECT_TRUE(t.ended);
    EXPECT_NE(t.err, "");
    EXPECT_EQ(runLua(c, "print(1 + 1)").out, "2\n");
}

TEST(SimLua, SoftResetDropsEveryConnectionAfterTheEndFrame) {
    Sim sim;
    RawClient a(sim.port()), b(sim.port());
    a.openPlain();
    b.openPlain();
    LuaReply r = runLua(a, "uti.softreset()");
    EXPECT_TRUE(r.ended);
    EXPECT_TRUE(a.closedWithin(3000));
    EXPECT_TRUE(b.closedWithin(3000));
    RawClient c(sim.port());
    EXPECT_FALSE(c.openPlain().nak());
}
