#pragma once
// The Lua script that makes the instrument write its status into the scratchpad, and the line
// that runs it there.

#include <string>

namespace ferro {

// Its name in the temporary folder and in the scratchpad.
constexpr const char* CStatusFN = "status.lua";
// What the script writes, read back from the scratchpad.
constexpr const char* CStatusTxt = "stat.txt";

// The script's text: lines joined with CR LF, none after the last.
std::string StatusScript();
// "dofile" of the script in the scratchpad, without arguments (so it writes stat.txt there).
std::string StatusDofileLine();
// Writes the script to `Path`; false when the file cannot be written.
bool WriteStatusScript(const std::string& Path);

} // namespace ferro
