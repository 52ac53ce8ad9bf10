#pragma once
// One Lua 5.4 state per session, confined to the instrument tree, with the instrument's modules.

#include <memory>
#include <string>

struct lua_State;

namespace ferro::sim {

class Instrument;

class LuaEngine {
public:
    struct Result {
        std::string output; // everything print wrote, in order
        std::string error;  // the error message, empty on success
    };

    LuaEngine(Instrument& instrument, std::string user);
    ~LuaEngine();
    LuaEngine(const LuaEngine&) = delete;
    LuaEngine& operator=(const LuaEngine&) = delete;

    Result run(const std::string& chunk);

    // Shared with the module functions through the state's extra space.
    struct Context {
        Instrument* instrument = nullptr;
        std::string user;
        std::string cwd = "/mnt/flashdrive0/data";
        std::string output;
        std::string errors; // what a module function reports on the error output without raising
        bool muted = false;
        bool outputFull = false;
        long long steps = 0;
    };

    // Longest output one command may produce; more is cut with a note.
    static constexpr size_t CMaxOutput = 8u << 20;

private:
    std::unique_ptr<Context> ctx_;
    lua_State* L_ = nullptr;
};

} // namespace ferro::sim
