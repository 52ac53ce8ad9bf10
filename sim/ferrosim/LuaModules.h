#pragma once
// Registration of the instrument's Lua modules; each function reaches the instrument through the
// engine context kept in the state's extra space.

#include "ferrosim/LuaEngine.h"

#include <lua.hpp>

#include <optional>
#include <string>

namespace ferro::sim {

LuaEngine::Context& LuaContext(lua_State* L);
// Maps an instrument path onto the tree; raises a Lua error for one that leaves the root.
std::string LuaHostPath(lua_State* L, const std::string& instrumentPath);
// Appends to the command's output as print does (honours mute and the output limit).
void LuaEmit(lua_State* L, const std::string& text);
// Appends to the command's error output (kind 2 frames) while the command goes on.
void LuaEmitError(lua_State* L, const std::string& text);
// String argument `i` (a Lua error when it is none), embedded zeros kept.
inline std::string LuaArg(lua_State* L, int i) {
    size_t len = 0;
    const char* s = luaL_checklstring(L, i, &len);
    return std::string(s, len);
}

// fs.*, io.open and dofile on the instrument tree.
void OpenLuaFsModule(lua_State* L);
// gpio, pq, uti, ips, user, log, cfg.
void OpenLuaDeviceModules(lua_State* L);

} // namespace ferro::sim
