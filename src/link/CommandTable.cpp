#include "link/CommandTable.h"

namespace ferro {

const std::vector<TCommandDef>& CommandTable() {
    static const std::vector<TCommandDef> table = {
        {"CCC_SESSION_STR_ADV", 1, 1, 2, scDefault},      {"CCC_SESSION_STR_SUP", 1, 2, 3, scDefault},
        {"CCC_SESSION_STP", 1, 0, 0xFFFF, scDefault},     {"CCC_IDENTIFY_BASIC", 2, 0, 0, scDefault},
        {"CCC_IDENTIFY_ALL", 2, 0, 1, scDefault},         {"CCC_SETUP_RD_ALL", 3, 0, 1, scDefault},
        {"CCC_SETUP_RD_ONE", 3, 0, 2, scWithTxt},         {"CCC_SETUP_WR", 3, 1, 3, scFile},
        {"CCC_STREAM_START", 4, 0, 1, scStream},          {"CCC_STREAM_GET_NXT", 4, 0, 2, scStream},
        {"CCC_STREAM_STOP", 4, 0, 0xFFFF, scStream},      {"CCC_READOUT_REC_LS", 5, 0, 0, scDefault},
        {"CCC_READOUT_REC_RD", 5, 0, 1, scFileResume},    {"CCC_READOUT_REC_RM", 5, 0, 2, scWithTxt},
        {"CCC_READOUT_REC_RMALL", 5, 0, 3, scDefault},    {"CCC_READOUT_EVT_LS", 5, 0, 0x10, scDefault},
        {"CCC_READOUT_EVT_RD", 5, 0, 0x11, scFileResume}, {"CCC_READOUT_EVT_RM", 5, 0, 0x12, scWithTxt},
        {"CCC_READOUT_EVT_RMALL", 5, 0, 0x13, scDefault}, {"CCC_READOUT_DISP_RD", 5, 0, 0x21, scDefault},
        {"CCC_READOUT_LOGD_RD", 5, 0, 0x22, scDefault},   {"CCC_LUA_COMMAND", 6, 1, 0, scWithTxt},
        {"CCC_SCRATCH_PAD_RD", 7, 0, 1, scWithTxt},       {"CCC_SCRATCH_PAD_WR", 7, 0, 2, scCCCIFile},
        {"CCC_SCRATCH_PAD_RM", 7, 0, 3, scWithTxt},       {"CCC_TUNNEL_NTP_OPEN", 9, 1, 0, scDefault},
        {"CCC_TUNNEL_NTP_CLOSE", 9, 1, 1, scDefault},     {"CCC_TUNNEL_NTP_REPLY", 9, 1, 3, scDefault},
    };
    return table;
}

const TCommandDef* FindCommand(const std::string& name) {
    for (const auto& row : CommandTable())
        if (name == row.Name) return &row;
    return nullptr;
}

const TCommandDef* FindCommand(uint8_t cmd, uint16_t extCmd) {
    for (const auto& row : CommandTable())
        if (row.Cmd == cmd && row.ExtCmd == extCmd) return &row;
    return nullptr;
}

} // namespace ferro
