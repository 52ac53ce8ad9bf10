// fs.*, io.open and dofile, all confined to the instrument tree.
#include "ferrosim/Instrument.h"
#include "ferrosim/LuaModules.h"

#include <QDateTime>

#include <filesystem>
#include <fstream>
#include <sstream>

namespace fs = std::filesystem;

namespace ferro::sim {

namespace {

constexpr uintmax_t kMaxScript = 4u << 20;

int failure(lua_State* L, const std::string& text) {
    lua_pushnil(L);
    lua_pushstring(L, text.c_str());
    return 2;
}

// "*.pcap", "data*": '*' and '?' only, as the instrument's shell knows them.
bool globMatch(const char* pat, const char* s) {
    if (*pat == '\0') return *s == '\0';
    if (*pat == '*') return globMatch(pat + 1, s) || (*s && globMatch(pat, s + 1));
    if (*s && (*pat == '?' || *pat == *s)) return globMatch(pat + 1, s + 1);
    return false;
}

std::string stamp(const fs::path& p) {
    std::error_code ec;
    auto t = fs::last_write_time(p, ec);
    auto sys = std::chrono::time_point_cast<std::chrono::seconds>(t - fs::file_time_type::clock::now() +
                                                                  std::chrono::system_clock::now());
    return QDateTime::fromSecsSinceEpoch(sys.time_since_epoch().count(), Qt::UTC)
        .toString("yyyy-MM-dd hh:mm:ss")
        .toStdString();
}

int fsPwd(lua_State* L) {
    lua_pushstring(L, LuaContext(L).cwd.c_str());
    return 1;
}

int fsCd(lua_State* L) {
    LuaEngine::Context& ctx = LuaContext(L);
    std::string host = LuaHostPath(L, LuaArg(L, 1));
    if (!fs::is_directory(host)) return failure(L, "No such directory");
    ctx.cwd = ctx.instrument->tree().instrumentPathOf(host);
    lua_pushboolean(L, 1);
    return 1;
}

int fsLs(lua_State* L) {
    std::string pattern = luaL_optstring(L, 1, "*");
    std::string dir = LuaHostPath(L, ".");
    if (pattern.find('/') != std::string::npos) {
        size_t slash = pattern.find_last_of('/');
        dir = LuaHostPath(L, pattern.substr(0, slash + 1));
        pattern = pattern.substr(slash + 1);
        if (pattern.empty()) pattern = "*";
    }
    std::vector<std::string> lines;
    std::error_code ec;
    for (const auto& e : fs::directory_iterator(dir, ec)) {
        std::string name = e.path().filename().string();
        if (!globMatch(pattern.c_str(), name.c_str())) continue;
        std::ostringstream line;
        if (e.is_directory(ec))
            line << "dir 0 " << stamp(e.path()) << ' ' << name;
        else
            line << "file " << e.file_size(ec) << ' ' << stamp(e.path()) << ' ' << name;
        lines.push_back(line.str());
    }
    std::sort(lines.begin(), lines.end());
    for (const std::string& l : lines)
        LuaEmit(L, l + "\n");
    lua_pushinteger(L, lua_Integer(lines.size()));
    return 1;
}

int fsDu(lua_State* L) {
    std::string given = luaL_optstring(L, 1, ".");
    std::string host = LuaHostPath(L, given);
    uintmax_t total = 0;
    std::error_code ec;
    if (fs::is_regular_file(host, ec)) {
        total = fs::file_size(host, ec);
    } else {
        for (auto it = fs::recursive_directory_iterator(host, ec);
             !ec && it != fs::recursive_directory_iterator(); it.increment(ec))
            if (it->is_regular_file(ec)) total += it->file_size(ec);
    }
    LuaEmit(L, std::to_string((total + 1023) / 1024) + "\t" + given + "\n");
    lua_pushinteger(L, lua_Integer(total));
    return 1;
}

int fsCp(lua_State* L) {
    std::string from = LuaHostPath(L, LuaArg(L, 1));
    std::string to = LuaHostPath(L, LuaArg(L, 2));
    std::error_code ec;
    if (!fs::is_regular_file(from, ec)) return failure(L, "No such file or directory");
    if (fs::is_directory(to, ec)) to += "/" + fs::path(from).filename().string();
    fs::create_directories(fs::path(to).parent_path(), ec);
    fs::copy_file(from, to, fs::copy_options::overwrite_existing, ec);
    if (ec) return failure(L, ec.message());
    lua_pushboolean(L, 1);
    return 1;
}

int fsRm(lua_State* L) {
    std::string host = LuaHostPath(L, LuaArg(L, 1));
    std::error_code ec;
    if (!fs::is_regular_file(host, ec) || !fs::remove(host, ec))
        return failure(L, "No such file or directory");
    lua_pushboolean(L, 1);
    return 1;
}

int fsRmdir(lua_State* L) {
    std::string host = LuaHostPath(L, LuaArg(L, 1));
    bool recursive = std::string(luaL_optstring(L, 2, "")) == "-r";
    LuaEngine::Context& ctx = LuaContext(L);
    if (host == ctx.instrument->tree().root()) return failure(L, "Permission denied");
    std::error_code ec;
    if (!fs::is_directory(host, ec)) return failure(L, "No such directory");
    bool ok = recursive ? fs::remove_all(host, ec) > 0 : fs::remove(host, ec);
    if (!ok || ec) return failure(L, ec ? ec.message() : "Directory not empty");
    lua_pushboolean(L, 1);
    return 1;
}

int fsMkdir(lua_State* L) {
    std::string host = LuaHostPath(L, LuaArg(L, 1));
    std::error_code ec;
    fs::create_directories(host, ec);
    if (ec) return failure(L, ec.message());
    lua_pushboolean(L, 1);
    return 1;
}

// io.open with the instrument's paths: the original io.open is the upvalue.
int confinedOpen(lua_State* L) {
    std::string host = LuaHostPath(L, LuaArg(L, 1));
    const char* mode = luaL_optstring(L, 2, "r");
    std::string m(mode);
    if (m.find('w') != std::string::npos || m.find('a') != std::string::npos) {
        std::error_code ec;
        fs::create_directories(fs::path(host).parent_path(), ec);
    }
    int base = lua_gettop(L);
    lua_pushvalue(L, lua_upvalueindex(1));
    lua_pushstring(L, host.c_str());
    lua_pushstring(L, mode);
    lua_call(L, 2, LUA_MULTRET);
    return lua_gettop(L) - base;
}

int confinedDofile(lua_State* L) {
    std::string given = LuaArg(L, 1);
    std::string host = LuaHostPath(L, given);
    std::error_code ec;
    uintmax_t size = fs::file_size(host, ec);
    if (ec || size > kMaxScript) return luaL_error(L, "cannot open %s", given.c_str());
    std::ifstream in(host, std::ios::binary);
    std::string text((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    std::string chunkName = "@" + given;
    if (luaL_loadbufferx(L, text.data(), text.size(), chunkName.c_str(), "t") != LUA_OK) return lua_error(L);
    int base = lua_gettop(L) - 1;
    lua_call(L, 0, LUA_MULTRET);
    return lua_gettop(L) - base;
}

} // namespace

void OpenLuaFsModule(lua_State* L) {
    static const luaL_Reg fsFuncs[] = {{"pwd", fsPwd},     {"cd", fsCd},       {"ls", fsLs},
                                       {"du", fsDu},       {"cp", fsCp},       {"rm", fsRm},
                                       {"rmdir", fsRmdir}, {"mkdir", fsMkdir}, {nullptr, nullptr}};
    luaL_newlib(L, fsFuncs);
    lua_setglobal(L, "fs");

    lua_getglobal(L, "io");
    lua_getfield(L, -1, "open");
    lua_pushcclosure(L, confinedOpen, 1);
    lua_setfield(L, -2, "open");
    lua_pop(L, 1);

    lua_register(L, "dofile", confinedDofile);
}

} // namespace ferro::sim
