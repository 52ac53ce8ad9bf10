#include "status/StatusCollector.h"

#include "foundation/Format.h"
#include "link/ComUnit.h"
#include "status/StatusScript.h"

namespace ferro {

TStatusCollector::TStatusCollector(TComUnit& Link) : FLink(Link) {}

TStatusCollector::~TStatusCollector() {
    *FAlive = false;
}

std::string TStatusCollector::ScriptFN() const {
    return FLink.FTmpDir + CStatusFN;
}

void TStatusCollector::Finish(const TDone& Done, bool Ok, bool Refused, const std::string& Error) {
    FBusy = false;
    if (Done) Done(Ok, Refused, Error);
}

void TStatusCollector::Collect(TDone Done) {
    if (FBusy) return;
    const std::string script = ScriptFN();
    if (!WriteStatusScript(script)) {
        Finish(Done, false, false, "Das Statusskript kann nicht geschrieben werden: " + script);
        return;
    }
    FBusy = true;
    FLink.WriteLog(Fmt("SendTo=%s", CStatusFN));
    std::weak_ptr<bool> alive = FAlive;
    FLink.ScratchpadPut(script, CStatusFN, [this, alive, Done](const TReply& r) {
        if (alive.expired()) return;
        if (!r.Ok) {
            Finish(Done, false, true, "Das Gerät hat das Statusskript nicht angenommen. " + r.Text);
            return;
        }
        Run(Done);
    });
}

void TStatusCollector::Run(TDone Done) {
    std::weak_ptr<bool> alive = FAlive;
    FLink.Lua(StatusDofileLine(), [this, alive, Done](const TReply& r) {
        if (alive.expired()) return;
        // Firmware without uti.stat says so and writes nothing: an old stat.txt must not pass for news.
        if (ContainsNoCase(r.Text, "is not available on this Firmware")) {
            Finish(Done, false, false, "Die Firmware des Geräts liefert keinen Status (uti.stat fehlt).");
            return;
        }
        if (!r.Ok && r.Code != 0) {
            Finish(Done, false, false, "Das Statusskript wurde nicht ausgeführt. " + r.Text);
            return;
        }
        Read(Done);
    });
}

void TStatusCollector::Read(TDone Done) {
    std::weak_ptr<bool> alive = FAlive;
    FLink.FCCCISratchpad = spStatus;
    FLink.ScratchpadGet(CStatusTxt, [this, alive, Done](const TReply& r) {
        if (alive.expired()) return;
        if (!r.Ok || r.File.empty()) {
            Finish(Done, false, false,
                   "File not found: " + std::string(CStatusTxt) + (r.Text.empty() ? "" : " " + r.Text));
            return;
        }
        const bool ok = FReport.ParseFile(r.File);
        Finish(Done, ok, false, FReport.Error());
    });
}

} // namespace ferro
