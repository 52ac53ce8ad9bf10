// gpio, pq, uti, ips, user, log and cfg: the instrument's own Lua functions, played against the
// simulated instrument.
#include "ferrosim/Compression.h"
#include "ferrosim/FirmwareImage.h"
#include "ferrosim/Instrument.h"
#include "ferrosim/LuaModules.h"
#include "ferrosim/PacketCapture.h"

#include <QDateTime>

#include <algorithm>

#include <filesystem>

#include <sys/statvfs.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <fstream>

namespace fs = std::filesystem;

namespace ferro::sim {

namespace {

constexpr uint64_t kMaxPack = 64u << 20;

Instrument& inst(lua_State* L) {
    return *LuaContext(L).instrument;
}

// The calibration functions print their word, as the firmware does, and return the code.
int calAnswer(lua_State* L, int code, const char* okWord = "No Error") {
    LuaEmit(L, std::string(code == 0 ? okWord : CalibrationWord(code)) + "\n");
    lua_pushinteger(L, code);
    return 1;
}

template <const char* Key> int gpioKey(lua_State* L) {
    inst(L).pressKey(Key);
    lua_pushinteger(L, 0);
    return 1;
}
constexpr char kLeft[] = "left", kRight[] = "right", kUp[] = "up", kDown[] = "down", kEnter[] = "enter";

int pqTriggerRec(lua_State* L) {
    inst(L).triggerRecording();
    lua_pushinteger(L, 0);
    return 1;
}
int pqCalOpen(lua_State* L) {
    return calAnswer(L, inst(L).calibration().open(luaL_checknumber(L, 1)));
}
int pqCalU(lua_State* L) {
    return calAnswer(L, inst(L).calibration().step('U', luaL_checknumber(L, 1)));
}
int pqCalI(lua_State* L) {
    return calAnswer(L, inst(L).calibration().step('I', luaL_checknumber(L, 1)));
}
int pqCalState(lua_State* L) {
    int ch = int(luaL_checkinteger(L, 1)), kind = int(luaL_optinteger(L, 2, 0));
    return calAnswer(L, inst(L).calibration().state(ch, kind), "Calibration ok");
}
int pqCalClose(lua_State* L) {
    Instrument& in = inst(L);
    const QString when = QDateTime::fromSecsSinceEpoch(in.now(), Qt::UTC).toString(Qt::ISODate);
    int code = in.calibration().close(int(luaL_optinteger(L, 1, 0)), when.toStdString());
    if (code == 0 && luaL_optinteger(L, 1, 0)) in.log("calibration stored");
    return calAnswer(L, code);
}

int countFiles(const std::string& dir, const std::string& contains) {
    int n = 0;
    std::error_code ec;
    for (auto it = fs::recursive_directory_iterator(dir, ec); !ec && it != fs::recursive_directory_iterator();
         it.increment(ec))
        if (it->is_regular_file(ec) && it->path().filename().string().find(contains) != std::string::npos)
            ++n;
    return n;
}

int pqGetEvtOscHpCnt(lua_State* L) {
    const InstrumentTree& tree = inst(L).tree();
    int evt = countFiles(tree.evtDir(), ""), osc = countFiles(tree.recDir(), "Osc"),
        hp = countFiles(tree.recDir(), "Hp");
    LuaEmit(L, "Evt: " + std::to_string(evt) + " Osc: " + std::to_string(osc) + " Hp: " + std::to_string(hp) +
                   "\n");
    lua_pushinteger(L, evt);
    lua_pushinteger(L, osc);
    lua_pushinteger(L, hp);
    return 3;
}

void setField(lua_State* L, const char* key, lua_Integer v) {
    lua_pushinteger(L, v);
    lua_setfield(L, -2, key);
}
void setField(lua_State* L, const char* key, const std::string& v) {
    lua_pushstring(L, v.c_str());
    lua_setfield(L, -2, key);
}

uintmax_t treeBytes(const std::string& dir) {
    uintmax_t total = 0;
    std::error_code ec;
    for (auto it = fs::recursive_directory_iterator(dir, ec); !ec && it != fs::recursive_directory_iterator();
         it.increment(ec))
        if (it->is_regular_file(ec)) total += it->file_size(ec);
    return total;
}

void driveTable(lua_State* L, const char* name, uintmax_t total, uintmax_t used) {
    lua_newtable(L);
    setField(L, "total", lua_Integer(total));
    setField(L, "used", lua_Integer(used));
    setField(L, "free", lua_Integer(total > used ? total - used : 0));
    setField(L, "bad", 0);
    lua_setfield(L, -2, name);
}

// The moment a rule names in a year, in local standard time: the day-th (5 = last) weekday `dow`
// of the month, at the hour.
QDateTime ruleMoment(int year, const time_rule_t& r) {
    const int mon = std::clamp(int(r.mon), 1, 12);
    QDate d(year, mon, 1);
    const int want = r.dow == 0 ? 7 : int(r.dow); // Qt counts Monday 1 .. Sunday 7
    while (d.dayOfWeek() != want)
        d = d.addDays(1);
    for (int k = 1; k < std::clamp(int(r.day), 1, 5); ++k)
        if (d.addDays(7).month() == mon) d = d.addDays(7);
    return QDateTime(d, QTime(std::min(int(r.hour), 23), 0), Qt::UTC);
}

// Whether the instrument's clock is in summer time now, by its zone's rules.
bool summerNow(const time_set_t& ts, uint32_t utc) {
    if (!(ts.dstmode & 1) || ts.ws.mon == 0 || ts.sw.mon == 0) return false;
    const QDateTime local = QDateTime::fromSecsSinceEpoch(qint64(utc) + ts.tz.offsetSeconds(), Qt::UTC);
    const QDateTime from = ruleMoment(local.date().year(), ts.ws),
                    to = ruleMoment(local.date().year(), ts.sw);
    return from < to ? (local >= from && local < to) : (local >= from || local < to);
}

// The process's share of one CPU since the last call (the first call: since the start).
double ownCpuPercent(uint64_t upSeconds) {
    static struct timespec lastCpu {
    }, lastWall{};
    static bool first = true;
    struct timespec cpu {
    }, wall{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &cpu);
    clock_gettime(CLOCK_MONOTONIC, &wall);
    auto secs = [](const timespec& t) { return double(t.tv_sec) + double(t.tv_nsec) / 1e9; };
    double used = secs(cpu), span = 0;
    if (first)
        span = double(std::max<uint64_t>(1, upSeconds));
    else {
        used -= secs(lastCpu);
        span = secs(wall) - secs(lastWall);
    }
    first = false;
    lastCpu = cpu;
    lastWall = wall;
    if (span <= 0.001) return 0.0;
    return std::min(100.0, std::max(0.0, used / span * 100.0));
}

std::string oneDecimal(double v) {
    char buf[32];
    std::snprintf(buf, sizeof buf, "%.1f", v);
    return buf;
}

// The host's load average over a minute, as a share of its processors.
double systemLoadPercent() {
    double avg[1] = {0};
    if (getloadavg(avg, 1) < 1) return 0;
    const long cpus = std::max(1L, sysconf(_SC_NPROCESSORS_ONLN));
    return std::min(100.0, avg[0] / double(cpus) * 100.0);
}

// The drive the instrument tree lies on, as df sees it: its free space is what a user may still write.
// The blocks reserved for root are left out of the total, as on the instrument, where used, free and
// bad add up to the whole drive (the status ring would show a gap otherwise).
void hostDrive(lua_State* L, const char* name, const std::string& folder) {
    struct statvfs v {};
    uintmax_t total = 0, free = 0, used = 0;
    if (statvfs(folder.c_str(), &v) == 0) {
        free = uintmax_t(v.f_bavail) * v.f_frsize;
        used = (uintmax_t(v.f_blocks) - uintmax_t(v.f_bfree)) * v.f_frsize;
        total = used + free;
    }
    lua_newtable(L);
    setField(L, "total", lua_Integer(total));
    setField(L, "used", lua_Integer(used));
    setField(L, "free", lua_Integer(free));
    setField(L, "bad", 0);
    lua_setfield(L, -2, name);
}

int utiStat(lua_State* L) {
    Instrument& in = inst(L);
    const Profile& p = in.profile();
    uint32_t now = in.now();
    lua_newtable(L);
    setField(L, "serial", p.serial);
    setField(L, "article", p.article);
    setField(L, "revision", p.firmware);
    setField(L, "plant", p.plant);
    setField(L, "fieldName", p.bay);
    setField(L, "deviceName", p.device);
    setField(L, "upTime", lua_Integer(in.upTimeSeconds()));
    lua_newtable(L);
    setField(L, "major", (p.firmware >> 24) & 0xFF);
    setField(L, "minor", (p.firmware >> 16) & 0xFF);
    setField(L, "patch", (p.firmware >> 8) & 0xFF);
    lua_setfield(L, -2, "version");

    int ntpServers = 0;
    for (int i = 0; i < 4; ++i)
        if (!p.timeSet.ntpip[i].empty()) ++ntpServers;
    lua_newtable(L); // time
    lua_newtable(L); // time.utc
    setField(L, "soc", now);
    lua_newtable(L);
    setField(L, "dst", lua_Integer(summerNow(p.timeSet, now) ? 1 : 0));
    lua_setfield(L, -2, "fracsec");
    lua_setfield(L, -2, "utc");
    setField(L, "syncSrc", ntpServers > 0 ? "NTP" : "RTC");
    setField(L, "lastsync", lua_Integer(now) - lua_Integer(now % std::max<uint32_t>(1, p.timeSet.ntpcycle)));
    setField(L, "quality", ntpServers > 0 ? 1200000 : 0);
    setField(L, "signal", ntpServers > 0 ? 1 : 0);
    lua_newtable(L); // what the NTP tunnel measured last
    setField(L, "offsetMs", lua_Integer(in.ntpOffsetMs()));
    setField(L, "replies", lua_Integer(in.ntpReplies()));
    lua_setfield(L, -2, "tunnel");
    lua_setfield(L, -2, "time");
    lua_newtable(L);
    setField(L, "date", in.calibration().storedDate());
    lua_setfield(L, -2, "calibration");

    hostDrive(L, "flashdrive0", in.tree().root());
    driveTable(L, "ramdrive0", 64ull << 20, treeBytes(in.tree().root() + "/ramdrive0"));
    if (p.sdCard)
        driveTable(L, "sd0", 8ull << 30, treeBytes(in.tree().recDir()) + treeBytes(in.tree().evtDir()));
    else
        setField(L, "sd0", "N/A");

    const std::vector<LinkInfo> links = in.links ? in.links() : std::vector<LinkInfo>();
    lua_newtable(L);
    setField(L, "ferrosim", oneDecimal(ownCpuPercent(uint64_t(in.upTimeSeconds()))));
    setField(L, "system", oneDecimal(systemLoadPercent()));
    setField(L, "ccci", oneDecimal(std::min<double>(100.0, 2.5 * double(links.size()))));
    lua_setfield(L, -2, "sysLoad");

    lua_newtable(L);
    setField(L, "files", countFiles(in.tree().recDir(), ""));
    setField(L, "events", countFiles(in.tree().evtDir(), ""));
    setField(L, "state", "running");
    lua_setfield(L, -2, "recording");

    lua_newtable(L);
    setField(L, "state", "listening");
    setField(L, "port", 502);
    setField(L, "connections", 0);
    setField(L, "requests", 0);
    lua_setfield(L, -2, "modbus");
    lua_newtable(L);
    for (int c = 1; c <= 2; ++c) {
        lua_newtable(L);
        setField(L, "state", c == 1 ? "listening" : "disabled");
        setField(L, "port", 2404);
        setField(L, "commonAddress", c);
        lua_setfield(L, -2, ("Client" + std::to_string(c)).c_str());
    }
    lua_setfield(L, -2, "iec104");

    lua_newtable(L);
    setField(L, "eth0", "127.0.0.1");
    setField(L, "mask", "255.0.0.0");
    setField(L, "gateway", "127.0.0.1");
    lua_setfield(L, -2, "ip");

    lua_newtable(L);
    for (int i = 0; i < 4; ++i) {
        lua_newtable(L);
        setField(L, "server", p.timeSet.ntpip[i].empty() ? std::string("-") : p.timeSet.ntpip[i]);
        setField(L, "port", p.timeSet.ntpport[i]);
        setField(L, "reach", p.timeSet.ntpip[i].empty() ? 0 : 377);
        setField(L, "offset", "0.000");
        lua_setfield(L, -2, std::to_string(i + 1).c_str());
    }
    lua_setfield(L, -2, "NTP");

    // One worker per open connection, this one included.
    lua_newtable(L);
    setField(L, "sessions", lua_Integer(links.size()));
    for (const LinkInfo& l : links) {
        lua_newtable(L);
        setField(L, "peer", l.peer);
        setField(L, "user", l.user.empty() ? std::string("-") : l.user);
        setField(L, "state", l.open ? "session" : "connected");
        lua_setfield(L, -2, std::to_string(l.id).c_str());
    }
    lua_setfield(L, -2, "ccciWorker");
    return 1;
}

int utiMute(lua_State* L) {
    LuaContext(L).muted = true;
    return 0;
}
int utiUnmute(lua_State* L) {
    LuaContext(L).muted = false;
    return 0;
}

int zero(lua_State* L) {
    lua_pushinteger(L, 0);
    return 1;
}

int utiFlushLog(lua_State* L) {
    inst(L).log("log flushed");
    return zero(L);
}

// The image is checked before anything changes: a refused one leaves the running firmware, the
// reason goes to the error output and the code is returned. An accepted one reboots the instrument
// once the command's end frame is out.
int utiFwUpdate(lua_State* L) {
    constexpr int kInvalidArgument = 11;
    Instrument& in = inst(L);
    std::string host = LuaHostPath(L, LuaArg(L, 1));
    std::vector<uint8_t> image;
    ImageCheck check;
    if (!InstrumentTree::readFile(host, image, 512u << 20)) {
        check.code = kInvalidArgument;
        check.reason = "cannot read " + LuaArg(L, 1);
    } else {
        check = CheckFirmwareImage(image, in.profile().firmware);
    }
    if (check.code != 0) {
        in.log("firmware image " + LuaArg(L, 1) + " rejected: " + check.reason);
        LuaEmitError(L,
                     std::string("fwUpdate: ") + CalibrationWord(check.code) + " (" + check.reason + ")\n");
        lua_pushinteger(L, check.code);
        return 1;
    }
    in.profile().firmware = check.word;
    in.log("firmware updated to " + std::to_string(check.word) + ", rebooting");
    in.requestReboot();
    lua_pushinteger(L, 0);
    return 1;
}

int utiErr2Ascii(lua_State* L) {
    lua_pushstring(L, CalibrationWord(int(luaL_optinteger(L, 1, 0))));
    return 1;
}

int utiSoftreset(lua_State* L) {
    inst(L).requestRestart();
    return zero(L);
}

// Instrument dates are local to its zone: "dd.mm.yyyy" and "hh:nn:ss".
int setClock(lua_State* L, const QString& text, const QString& format, bool keepDate, bool keepTime) {
    Instrument& in = inst(L);
    int offset = in.profile().timeSet.tz.offsetSeconds();
    QDateTime local = QDateTime::fromSecsSinceEpoch(qint64(in.now()) + offset, Qt::UTC);
    QDateTime parsed = QDateTime::fromString(text, format);
    if (!parsed.isValid()) {
        QTime t = QTime::fromString(text, format);
        QDate d = QDate::fromString(text, format);
        if (!t.isValid() && !d.isValid()) return luaL_error(L, "Invalid argument");
        parsed = QDateTime(d.isValid() ? d : local.date(), t.isValid() ? t : local.time(), Qt::UTC);
    }
    QDate date = keepDate ? local.date() : parsed.date();
    QTime time = keepTime ? local.time() : parsed.time();
    in.setNow(uint32_t(QDateTime(date, time, Qt::UTC).toSecsSinceEpoch() - offset));
    return zero(L);
}
int utiSetDateTime(lua_State* L) {
    return setClock(L, QString::fromStdString(LuaArg(L, 1)), "dd.MM.yyyy hh:mm:ss", false, false);
}
int utiSetDate(lua_State* L) {
    return setClock(L, QString::fromStdString(LuaArg(L, 1)), "dd.MM.yyyy", false, true);
}
int utiSetTime(lua_State* L) {
    return setClock(L, QString::fromStdString(LuaArg(L, 1)), "hh:mm:ss", true, false);
}

int setLog(lua_State* L) {
    inst(L).log("log target " + std::string(luaL_optstring(L, 1, "")) + " " + luaL_optstring(L, 2, ""));
    return zero(L);
}

// A folder becomes a tar.gz of its files, a single file a gzip.
int utiGzip(lua_State* L) {
    std::string from = LuaHostPath(L, LuaArg(L, 1));
    std::string to = LuaHostPath(L, LuaArg(L, 2));
    std::error_code ec;
    Bytes out;
    if (fs::is_directory(from, ec)) {
        std::vector<ArchiveEntry> entries;
        for (auto it = fs::recursive_directory_iterator(from, ec);
             !ec && it != fs::recursive_directory_iterator(); it.increment(ec)) {
            if (!it->is_regular_file(ec)) continue;
            ArchiveEntry e;
            e.name = fs::relative(it->path(), fs::path(from).parent_path(), ec).generic_string();
            if (InstrumentTree::readFile(it->path().string(), e.data, kMaxPack))
                entries.push_back(std::move(e));
        }
        out = Compression::tarGz(entries);
    } else {
        Bytes plain;
        if (!InstrumentTree::readFile(from, plain, kMaxPack))
            return luaL_error(L, "No such file or directory");
        out = Compression::gzip(plain);
    }
    if (!InstrumentTree::writeFile(to, out)) return luaL_error(L, "cannot write");
    return zero(L);
}

// ips.pcapStart(device, file, duration, filters...): a number is a packet count, a text such as
// "1h30s" a time; the capture runs on after the command has ended.
int ipsPcapStart(lua_State* L) {
    const std::string device = LuaArg(L, 1);
    const std::string host = LuaHostPath(L, LuaArg(L, 2));
    uint64_t packets = 0, seconds = 0;
    if (lua_type(L, 3) == LUA_TNUMBER) {
        const lua_Integer n = lua_tointeger(L, 3);
        if (n < 1) return luaL_error(L, "Invalid argument: packet count");
        packets = uint64_t(n);
    } else {
        const std::string text = luaL_optstring(L, 3, "");
        // An empty time is no limit of its own; the capture's hard limits still end it.
        if (!text.empty() && !ParseCaptureDuration(text, seconds))
            return luaL_error(L, "Invalid argument: duration %s", text.c_str());
    }
    std::vector<std::string> filters;
    for (int i = 4; i <= lua_gettop(L); ++i)
        filters.push_back(LuaArg(L, i));
    std::string error;
    if (!inst(L).capture().start(host, packets, seconds, filters, error))
        return luaL_error(L, "%s", error.c_str());
    inst(L).log("capture on " + device + " started");
    return zero(L);
}

int ipsFtpOpen(lua_State* L) {
    LuaEmit(L, "ftp server started\n");
    return zero(L);
}
int ipsFtpClose(lua_State* L) {
    LuaEmit(L, "ftp server stopped\n");
    return zero(L);
}

// user.authorized(x): the rights of user x; when x names no user (the shell asks with a right's
// name), the rights of the user this session logged in as.
int userAuthorized(lua_State* L) {
    const Profile& p = inst(L).profile();
    const SimUser* u = p.findUser(LuaArg(L, 1));
    if (!u) u = p.findUser(LuaContext(L).user);
    lua_newtable(L);
    for (const std::string& right : p.allRights) {
        lua_pushboolean(L, u && u->has(right));
        lua_setfield(L, -2, right.c_str());
    }
    return 1;
}

int logGetLog(lua_State* L) {
    std::string to = LuaHostPath(L, LuaArg(L, 1));
    std::error_code ec;
    fs::create_directories(fs::path(to).parent_path(), ec);
    fs::copy_file(inst(L).tree().logFile(), to, fs::copy_options::overwrite_existing, ec);
    if (ec) return luaL_error(L, "%s", ec.message().c_str());
    return zero(L);
}

// cfg.rd_all(): the setup as a string; cfg.rd_all(path): the setup written to that file.
int cfgRdAll(lua_State* L) {
    std::vector<uint8_t> xml;
    if (!InstrumentTree::readFile(inst(L).tree().setupFile(), xml, kMaxPack))
        return luaL_error(L, "no setup");
    if (lua_isstring(L, 1)) {
        if (!InstrumentTree::writeFile(LuaHostPath(L, LuaArg(L, 1)), xml))
            return luaL_error(L, "cannot write");
        return zero(L);
    }
    lua_pushlstring(L, reinterpret_cast<const char*>(xml.data()), xml.size());
    return 1;
}

void lib(lua_State* L, const char* name, const luaL_Reg* funcs) {
    lua_newtable(L);
    luaL_setfuncs(L, funcs, 0);
    lua_setglobal(L, name);
}

} // namespace

void OpenLuaDeviceModules(lua_State* L) {
    static const luaL_Reg gpio[] = {{"keyLeft", gpioKey<kLeft>},   {"keyRight", gpioKey<kRight>},
                                    {"keyUp", gpioKey<kUp>},       {"keyDown", gpioKey<kDown>},
                                    {"keyEnter", gpioKey<kEnter>}, {nullptr, nullptr}};
    static const luaL_Reg pq[] = {{"triggerRec", pqTriggerRec},
                                  {"calOpen", pqCalOpen},
                                  {"calU", pqCalU},
                                  {"calI", pqCalI},
                                  {"calState", pqCalState},
                                  {"calClose", pqCalClose},
                                  {"getEvtOscHpCnt", pqGetEvtOscHpCnt},
                                  {nullptr, nullptr}};
    static const luaL_Reg uti[] = {{"stat", utiStat},           {"mute", utiMute},
                                   {"unmute", utiUnmute},       {"flushLog", utiFlushLog},
                                   {"fwUpdate", utiFwUpdate},   {"err2ascii", utiErr2Ascii},
                                   {"softreset", utiSoftreset}, {"setTime", utiSetTime},
                                   {"setDate", utiSetDate},     {"setDateTime", utiSetDateTime},
                                   {"setLog", setLog},          {"gzip", utiGzip},
                                   {nullptr, nullptr}};
    static const luaL_Reg ips[] = {
        {"pcapStart", ipsPcapStart}, {"ftpOpen", ipsFtpOpen}, {"ftpClose", ipsFtpClose}, {nullptr, nullptr}};
    static const luaL_Reg user[] = {{"authorized", userAuthorized}, {nullptr, nullptr}};
    static const luaL_Reg logLib[] = {{"getLog", logGetLog}, {"setLog", setLog}, {nullptr, nullptr}};
    static const luaL_Reg cfg[] = {{"rd_all", cfgRdAll}, {nullptr, nullptr}};
    lib(L, "gpio", gpio);
    lib(L, "pq", pq);
    lib(L, "uti", uti);
    lib(L, "ips", ips);
    lib(L, "user", user);
    lib(L, "log", logLib);
    lib(L, "cfg", cfg);
}

} // namespace ferro::sim
