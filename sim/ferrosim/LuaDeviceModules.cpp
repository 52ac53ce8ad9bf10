// gpio, pq, uti, ips, user, log and cfg: the instrument's own Lua functions, played against the
// simulated instrument.
#include "ferrosim/Compression.h"
#include "ferrosim/Instrument.h"
#include "ferrosim/LuaModules.h"

#include <QDateTime>

#include <filesystem>
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
    lua_newtable(L); // time
    lua_newtable(L); // time.utc
    setField(L, "soc", now);
    lua_newtable(L);
    setField(L, "dst", lua_Integer(p.timeSet.dstmode & 1));
    lua_setfield(L, -2, "fracsec");
    lua_setfield(L, -2, "utc");
    setField(L, "syncSrc", "NTP");
    setField(L, "lastsync", lua_Integer(now) - 17);
    setField(L, "quality", 1200000);
    setField(L, "signal", 1);
    lua_newtable(L); // what the NTP tunnel measured last
    setField(L, "offsetMs", lua_Integer(in.ntpOffsetMs()));
    setField(L, "replies", lua_Integer(in.ntpReplies()));
    lua_setfield(L, -2, "tunnel");
    lua_setfield(L, -2, "time");
    lua_newtable(L);
    setField(L, "date", in.calibration().storedDate());
    lua_setfield(L, -2, "calibration");
    uintmax_t used = treeBytes(in.tree().root() + "/flashdrive0");
    driveTable(L, "flashdrive0", 512ull << 20, used);
    driveTable(L, "ramdrive0", 64ull << 20, treeBytes(in.tree().root() + "/ramdrive0"));
    driveTable(L, "sd0", 8ull << 30, treeBytes(in.tree().recDir()) + treeBytes(in.tree().evtDir()));
    lua_newtable(L);
    setField(L, "cpu", "12.5");
    setField(L, "mem", "41.0");
    setField(L, "io", "3.2");
    lua_setfield(L, -2, "sysLoad");
    lua_newtable(L);
    setField(L, "state", "running");
    setField(L, "files", countFiles(in.tree().recDir(), ""));
    lua_setfield(L, -2, "recording");
    lua_newtable(L);
    setField(L, "connections", 0);
    setField(L, "requests", 0);
    lua_setfield(L, -2, "modbus");
    lua_newtable(L);
    lua_newtable(L);
    setField(L, "state", "listening");
    setField(L, "port", 2404);
    lua_setfield(L, -2, "Client1");
    lua_setfield(L, -2, "iec104");
    lua_newtable(L);
    setField(L, "eth0", "127.0.0.1");
    setField(L, "mask", "255.0.0.0");
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
    lua_newtable(L);
    lua_newtable(L);
    setField(L, "state", "idle");
    lua_setfield(L, -2, "1");
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

// A firmware image is a tar.gz; a "revision=..." line in its VERSION entry names the new firmware word,
// without one the word goes up by one. A file that does not unpack is refused as an invalid argument.
int utiFwUpdate(lua_State* L) {
    constexpr int kInvalidArgument = 11;
    Instrument& in = inst(L);
    std::string host = LuaHostPath(L, LuaArg(L, 1));
    std::vector<uint8_t> image;
    std::vector<ArchiveEntry> entries;
    if (!InstrumentTree::readFile(host, image, 512u << 20) ||
        !Compression::untarGz(image, entries, 1u << 30) || entries.empty()) {
        in.log("firmware image " + LuaArg(L, 1) + " rejected");
        lua_pushinteger(L, kInvalidArgument);
        return 1;
    }
    uint32_t rev = in.profile().firmware + 1;
    for (const ArchiveEntry& e : entries) {
        if (fs::path(e.name).filename() != "VERSION") continue;
        std::string text(e.data.begin(), e.data.end());
        size_t at = text.find("revision=");
        if (at == std::string::npos) continue;
        size_t stop = text.find_first_of("\r\n", at);
        std::string word = text.substr(at + 9, stop == std::string::npos ? std::string::npos : stop - at - 9);
        if (uint32_t parsed = ParseFirmwareWord(word)) rev = parsed;
    }
    in.profile().firmware = rev;
    in.log("firmware updated to " + std::to_string(rev) + ", restarting");
    in.requestRestart();
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

void putLE(std::vector<uint8_t>& b, uint32_t v, int bytes) {
    for (int i = 0; i < bytes; ++i)
        b.push_back(uint8_t(v >> (8 * i)));
}

// ips.pcapStart(device, file, seconds[, filter]): writes a real capture file, a few UDP packets.
int ipsPcapStart(lua_State* L) {
    std::string device = LuaArg(L, 1);
    std::string host = LuaHostPath(L, LuaArg(L, 2));
    int seconds = int(luaL_optinteger(L, 3, 1));
    std::vector<uint8_t> b;
    putLE(b, 0xa1b2c3d4, 4);
    putLE(b, 2, 2);
    putLE(b, 4, 2);
    putLE(b, 0, 4);
    putLE(b, 0, 4);
    putLE(b, 65535, 4);
    putLE(b, 1, 4); // Ethernet
    uint32_t t0 = inst(L).now();
    int packets = std::max(1, std::min(seconds, 20));
    for (int i = 0; i < packets; ++i) {
        std::vector<uint8_t> frame = {0x00, 0x11, 0x22, 0x33, 0x44, 0x55, 0x66, 0x77, 0x88, 0x99, 0xaa,
                                      0xbb, 0x08, 0x00, 0x45, 0x00, 0x00, 0x24, 0x00, 0x00, 0x40, 0x00,
                                      0x40, 0x11, 0x00, 0x00, 127,  0,    0,    1,    127,  0,    0,
                                      1,    0x00, 0x7b, 0x00, 0x7b, 0x00, 0x10, 0x00, 0x00};
        for (int k = 0; k < 8; ++k)
            frame.push_back(uint8_t(i + k));
        putLE(b, t0 + uint32_t(i), 4);
        putLE(b, 0, 4);
        putLE(b, uint32_t(frame.size()), 4);
        putLE(b, uint32_t(frame.size()), 4);
        b.insert(b.end(), frame.begin(), frame.end());
    }
    if (!InstrumentTree::writeFile(host, b)) return luaL_error(L, "cannot write capture");
    inst(L).log("capture on " + device + " written");
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
