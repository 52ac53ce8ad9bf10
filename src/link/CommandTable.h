#pragma once
// The command table of the protocol: name, group, privilege, sub-command and frame form.

#include <cstdint>
#include <string>
#include <vector>

namespace ferro {

enum TSendCmd : uint8_t { scDefault, scWithTxt, scStream, scFile, scFileResume, scCCCIFile };

struct TCommandDef {
    const char* Name;
    uint8_t Cmd;
    uint8_t Priv;
    uint16_t ExtCmd;
    TSendCmd Form;
};

const std::vector<TCommandDef>& CommandTable();
// The row of `name`, or nullptr.
const TCommandDef* FindCommand(const std::string& name);
// The row of a group and sub-command, or nullptr.
const TCommandDef* FindCommand(uint8_t cmd, uint16_t extCmd);

// Command groups of the head's Cmd field.
enum : uint8_t {
    CmdSession = 1,
    CmdIdentify = 2,
    CmdSetup = 3,
    CmdStream = 4,
    CmdReadout = 5,
    CmdLua = 6,
    CmdScratchPad = 7,
    CmdNTP = 9,
    CmdFileStream = 10
};

} // namespace ferro
