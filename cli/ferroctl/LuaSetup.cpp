// ferroctl lua, setup-get, setup-put.
#include "Commands.h"

#include "foundation/Format.h"
#include "foundation/MemStream.h"

#include <cstdio>
#include <filesystem>

namespace ferroctl {

namespace fs = std::filesystem;

int RunLua(const CliOptions& opt) {
    if (opt.args.size() != 1) {
        std::fprintf(stderr, "lua erwartet genau eine Zeile Lua.\n");
        return 2;
    }
    auto session = OpenSession(opt, false);
    if (!session) return 1;
    ferro::TComUnit& l = session->Link();
    bool done = false;
    bool success = true;
    std::string output;
    l.FTmpLUACallBack = [&](const std::string& s) {
        output = s;
        done = true;
    };
    l.FFlashDone = [&](ferro::TSender, bool ok) { success = ok; };
    l.SendCommand("CCC_LUA_COMMAND", ferro::CmdLua, 1, 0, opt.args[0], true);
    if (!session->WaitFor([&] { return done; }, 30000)) {
        std::fprintf(stderr, "Das Gerät hat die Lua-Zeile nicht beendet.\n");
        return 1;
    }
    std::fputs(output.c_str(), stdout);
    if (!output.empty() && output.back() != '\n') std::fputc('\n', stdout);
    session->Close();
    return success ? 0 : 3;
}

int RunSetupGet(const CliOptions& opt) {
    if (opt.args.size() != 1) {
        std::fprintf(stderr, "setup-get erwartet den Namen der Zieldatei.\n");
        return 2;
    }
    auto session = OpenSession(opt, false);
    if (!session) return 1;
    ferro::TComUnit& l = session->Link();
    std::string arrived;
    l.FOnNewXMLFile = [&](ferro::TSender, const std::string& file, int type) {
        if (type == 1) arrived = file;
    };
    l.SendNamed("CCC_SETUP_RD_ALL");
    if (!session->WaitFor([&] { return !arrived.empty(); }, 30000)) {
        std::fprintf(stderr, "Das Setup ist nicht angekommen.%s%s\n", session->Messages().empty() ? "" : " ",
                     session->Messages().empty() ? "" : session->Messages().back().c_str());
        return 1;
    }
    std::error_code ec;
    fs::copy_file(arrived, opt.args[0], fs::copy_options::overwrite_existing, ec);
    if (ec) {
        std::fprintf(stderr, "Die Datei %s kann nicht geschrieben werden: %s\n", opt.args[0].c_str(),
                     ec.message().c_str());
        return 1;
    }
    std::printf("%s\n", opt.args[0].c_str());
    session->Close();
    return 0;
}

int RunSetupPut(const CliOptions& opt) {
    if (opt.args.size() != 1 || !fs::exists(opt.args[0])) {
        std::fprintf(stderr, "setup-put erwartet eine vorhandene Setup-Datei.\n");
        return 2;
    }
    auto session = OpenSession(opt, false);
    if (!session) return 1;
    ferro::TComUnit& l = session->Link();
    // The upload packs a copy, never the user's file.
    std::string copy = l.FTmpDir + ferro::Fmt("%u_Setup_WR.xml", l.FSN);
    std::error_code ec;
    fs::copy_file(opt.args[0], copy, fs::copy_options::overwrite_existing, ec);
    if (ec) {
        std::fprintf(stderr, "%s kann nicht gelesen werden: %s\n", opt.args[0].c_str(), ec.message().c_str());
        return 1;
    }
    bool acknowledged = false;
    l.FSendParaDone = [&](ferro::TSender) { acknowledged = true; };
    l.SendCommand("CCC_SETUP_WR", ferro::CmdSetup, 1, 3, copy);
    l.ManualTimer(nullptr);
    if (!session->WaitFor([&] { return acknowledged; }, 30000)) {
        std::fprintf(stderr, "Das Gerät hat das Setup nicht bestätigt.%s%s\n",
                     session->Messages().empty() ? "" : " ",
                     session->Messages().empty() ? "" : session->Messages().back().c_str());
        return 1;
    }
    std::printf("Setup übertragen und bestätigt.\n");
    session->Close();
    return 0;
}

} // namespace ferroctl
