#include "ferrosim/LuaEngine.h"

#include "ferrosim/Instrument.h"
#include "ferrosim/LuaModules.h"

#include <cstdlib>
#include <cstring>

namespace ferro::sim {

namespace {

// A runaway command (while true do end) is stopped after this many VM instructions.
constexpr long long kMaxSteps = 50'000'000;
constexpr int kHookEvery = 10'000;
constexpr size_t kMaxMemory = 256u << 20;

struct Budget {
    size_t used = 0;
};

void* limitedAlloc(void* ud, void* ptr, size_t osize, size_t nsize) {
    auto* budget = static_cast<Budget*>(ud);
    if (ptr == nullptr) osize = 0;
    if (nsize == 0) {
        std::free(ptr);
        budget->used -= osize;
        return nullptr;
    }
    if (nsize > osize && budget->used + (nsize - osize) > kMaxMemory) return nullptr;
    void* p = std::realloc(ptr, nsize);
    if (p) budget->used = budget->used - osize + nsize;
    return p;
}

Budget& budgetOf() {
    // One budget per thread of Lua states is enough: the simulator runs Lua on its main thread.
    static thread_local Budget b;
    return b;
}

void stepHook(lua_State* L, lua_Debug*) {
    LuaEngine::Context& ctx = LuaContext(L);
    ctx.steps += kHookEvery;
    if (ctx.steps > kMaxSteps) luaL_error(L, "command takes too long, stopped");
}

int luaPrint(lua_State* L) {
    int n = lua_gettop(L);
    std::string line;
    for (int i = 1; i <= n; ++i) {
        size_t len = 0;
        const char* s = luaL_tolstring(L, i, &len);
        if (i > 1) line += '\t';
        line.append(s, len);
        lua_pop(L, 1);
    }
    line += '\n';
    LuaEmit(L, line);
    return 0;
}

int ioWrite(lua_State* L) {
    int n = lua_gettop(L);
    for (int i = 1; i <= n; ++i) {
        size_t len = 0;
        const char* s = luaL_checklstring(L, i, &len);
        LuaEmit(L, std::string(s, len));
    }
    return 0;
}

// load() with text chunks only: binary chunks can crash the VM.
int safeLoad(lua_State* L) {
    size_t len = 0;
    const char* s = luaL_checklstring(L, 1, &len);
    const char* name = luaL_optstring(L, 2, "=(load)");
    if (luaL_loadbufferx(L, s, len, name, "t") != LUA_OK) {
        lua_pushnil(L);
        lua_insert(L, -2);
        return 2;
    }
    if (!lua_isnoneornil(L, 4)) {
        lua_pushvalue(L, 4);
        if (!lua_setupvalue(L, -2, 1)) lua_pop(L, 1);
    }
    return 1;
}

void clearFields(lua_State* L, const char* table, std::initializer_list<const char*> names) {
    lua_getglobal(L, table);
    if (lua_istable(L, -1)) {
        for (const char* n : names) {
            lua_pushnil(L);
            lua_setfield(L, -2, n);
        }
    }
    lua_pop(L, 1);
}

} // namespace

LuaEngine::Context& LuaContext(lua_State* L) {
    return **static_cast<LuaEngine::Context**>(lua_getextraspace(L));
}

void LuaEmit(lua_State* L, const std::string& text) {
    LuaEngine::Context& ctx = LuaContext(L);
    if (ctx.muted || ctx.outputFull) return;
    if (ctx.output.size() + text.size() > LuaEngine::CMaxOutput) {
        ctx.output += "\n[output cut]\n";
        ctx.outputFull = true;
        return;
    }
    ctx.output += text;
}

void LuaEmitError(lua_State* L, const std::string& text) {
    LuaEngine::Context& ctx = LuaContext(L);
    if (ctx.errors.size() + text.size() <= 64u << 10) ctx.errors += text;
}

std::string LuaHostPath(lua_State* L, const std::string& instrumentPath) {
    LuaEngine::Context& ctx = LuaContext(L);
    auto path = ctx.instrument->tree().resolveInstrumentPath(instrumentPath, ctx.cwd);
    if (!path) luaL_error(L, "%s: Permission denied", instrumentPath.c_str());
    return *path;
}

LuaEngine::LuaEngine(Instrument& instrument, std::string user) : ctx_(std::make_unique<Context>()) {
    ctx_->instrument = &instrument;
    ctx_->user = std::move(user);
    L_ = lua_newstate(limitedAlloc, &budgetOf());
    *static_cast<Context**>(lua_getextraspace(L_)) = ctx_.get();
    luaL_requiref(L_, LUA_GNAME, luaopen_base, 1);
    luaL_requiref(L_, LUA_TABLIBNAME, luaopen_table, 1);
    luaL_requiref(L_, LUA_STRLIBNAME, luaopen_string, 1);
    luaL_requiref(L_, LUA_MATHLIBNAME, luaopen_math, 1);
    luaL_requiref(L_, LUA_UTF8LIBNAME, luaopen_utf8, 1);
    luaL_requiref(L_, LUA_COLIBNAME, luaopen_coroutine, 1);
    luaL_requiref(L_, LUA_IOLIBNAME, luaopen_io, 1);
    luaL_requiref(L_, LUA_OSLIBNAME, luaopen_os, 1);
    lua_settop(L_, 0);

    // Nothing that reaches the host outside the tree survives: no processes, no environment, no
    // native modules, no path that does not go through the tree's resolver.
    for (const char* g : {"dofile", "loadfile", "require", "package", "debug"}) {
        lua_pushnil(L_);
        lua_setglobal(L_, g);
    }
    clearFields(L_, "os", {"execute", "exit", "getenv", "remove", "rename", "tmpname", "setlocale"});
    clearFields(L_, "io",
                {"popen", "lines", "input", "output", "read", "stdin", "stdout", "stderr", "tmpfile"});
    clearFields(L_, "string", {"dump"});
    lua_register(L_, "print", luaPrint);
    lua_register(L_, "load", safeLoad);
    lua_getglobal(L_, "io");
    lua_pushcfunction(L_, ioWrite);
    lua_setfield(L_, -2, "write");
    lua_pop(L_, 1);

    OpenLuaFsModule(L_);
    OpenLuaDeviceModules(L_);
    lua_sethook(L_, stepHook, LUA_MASKCOUNT, kHookEvery);
}

LuaEngine::~LuaEngine() {
    if (L_) lua_close(L_);
}

LuaEngine::Result LuaEngine::run(const std::string& chunk) {
    Result r;
    ctx_->output.clear();
    ctx_->errors.clear();
    ctx_->outputFull = false;
    ctx_->steps = 0;
    lua_settop(L_, 0);
    int rc = luaL_loadbufferx(L_, chunk.data(), chunk.size(), "=stdin", "t");
    if (rc == LUA_OK) rc = lua_pcall(L_, 0, 0, 0);
    if (rc != LUA_OK) {
        const char* msg = lua_tostring(L_, -1);
        r.error = msg ? msg : "error object is not a string";
        r.error += "\n";
    }
    lua_settop(L_, 0);
    r.error = ctx_->errors + r.error;
    ctx_->errors.clear();
    r.output = std::move(ctx_->output);
    ctx_->output.clear();
    return r;
}

} // namespace ferro::sim
