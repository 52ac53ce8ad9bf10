// ferroctl lua, setup-get, setup-put.
#include "Commands.h"

#include "foundation/Format.h"
#include "foundation/MemStream.h"
#include "link/XmlNames.h"

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
    bool done = false;
    ferro::TReply reply;
    session->Link().Lua(opt.args[0], [&](const ferro::TReply& r) {
        reply = r;
        done = true;
    });
    if (!session->WaitFor([&] { return done; }, 30000)) {
        std::fprintf(stderr, "Das Gerät hat die Lua-Zeile nicht beendet.%s\n", LastReason(*session).c_str());
        return 1;
    }
    // A refusal has no output, only its reason; a Lua error is output with exit code 3.
    if (!reply.Ok && reply.Code != 0) {
        std::fprintf(stderr, "%s\n", reply.Text.c_str());
        session->CloseAndWait();
        return 1;
    }
    std::fputs(reply.Text.c_str(), stdout);
    if (!reply.Text.empty() && reply.Text.back() != '\n') std::fputc('\n', stdout);
    session->CloseAndWait();
    return reply.Ok ? 0 : 3;
}

int RunSetupGet(const CliOptions& opt) {
    if (opt.args.size() != 1) {
        std::fprintf(stderr, "setup-get erwartet den Namen der Zieldatei.\n");
        return 2;
    }
    auto session = OpenSession(opt, false);
    if (!session) return 1;
    bool done = false;
    ferro::TReply reply;
    session->Link().ReadSetup([&](const ferro::TReply& r) {
        reply = r;
        done = true;
    });
    if (!session->WaitFor([&] { return done; }, 30000) || !reply.Ok || reply.File.empty()) {
        const std::string why = done ? " " + reply.Text : LastReason(*session);
        std::fprintf(stderr, "Das Setup ist nicht angekommen.%s\n", why == " " ? "" : why.c_str());
        return 1;
    }
    const std::string arrived = reply.File;
    std::error_code ec;
    fs::copy_file(arrived, opt.args[0], fs::copy_options::overwrite_existing, ec);
    if (ec) {
        std::fprintf(stderr, "Die Datei %s kann nicht geschrieben werden: %s\n", opt.args[0].c_str(),
                     ec.message().c_str());
        return 1;
    }
    std::printf("%s\n", opt.args[0].c_str());
    session->CloseAndWait();
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
    return SendSetup(*session, copy);
}

int SendSetup(ferro::TDeviceSession& session, const std::string& file) {
    ferro::TComUnit& l = session.Link();
    bool done = false;
    ferro::TReply reply;
    // A refusal ends the wait at once, with the instrument's reason.
    l.WriteSetup(file, [&](const ferro::TReply& r) {
        reply = r;
        done = true;
    });
    l.ManualTimer(nullptr);
    const bool answered = session.WaitFor([&] { return done; }, 30000);
    // The file and the packed copies the upload made are temporary.
    std::error_code ec;
    for (const char* ext : {".gz", ".tgz"})
        fs::remove(ferro::ChangeFileExt(file, ext), ec);
    fs::remove(file, ec);
    if (!answered || !reply.Ok) {
        const std::string why = answered ? " " + reply.Text : LastReason(session);
        std::fprintf(stderr, "Das Gerät hat das Setup nicht bestätigt.%s\n", why.c_str());
        session.CloseAndWait();
        return 1;
    }
    std::printf("Setup übertragen und bestätigt.\n");
    session.CloseAndWait();
    return 0;
}

} // namespace ferroctl
