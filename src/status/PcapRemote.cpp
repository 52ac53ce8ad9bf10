#include "status/PcapRemote.h"

#include "foundation/Format.h"
#include "link/ComUnit.h"

#include <sstream>

namespace ferro {

TPcapRemote::TPcapRemote(TComUnit& Link) : FLink(Link) {}

TPcapRemote::~TPcapRemote() {
    *FAlive = false;
}

void TPcapRemote::Start(const std::string& Command, TDone Done) {
    std::weak_ptr<bool> alive = FAlive;
    FLink.Lua(Command, [alive, Done](const TReply& r) {
        if (alive.expired() || !Done) return;
        Done(r.Ok, r.Ok ? std::string() : Trim(r.Text));
    });
}

void TPcapRemote::List(TListDone Done) {
    std::weak_ptr<bool> alive = FAlive;
    FLink.Lua(PcapCdLine(), [this, alive, Done](const TReply& cd) {
        if (alive.expired()) return;
        if (!cd.Ok && cd.Code != 0) {
            if (Done) Done(false, {}, cd.Text);
            return;
        }
        FLink.Lua(PcapLsLine(), [alive, Done](const TReply& ls) {
            if (alive.expired() || !Done) return;
            std::vector<TPcapListItem> items;
            std::istringstream in(ls.Text);
            std::string line;
            while (std::getline(in, line)) {
                TPcapListItem item;
                if (ParsePcapListLine(line, item)) items.push_back(std::move(item));
            }
            Done(ls.Ok || ls.Code == 0, items, ls.Ok ? std::string() : ls.Text);
        });
    });
}

void TPcapRemote::Remove(const std::string& Name, TDone Done) {
    std::weak_ptr<bool> alive = FAlive;
    FLink.Lua(PcapCdLine(), [this, alive, Name, Done](const TReply&) {
        if (alive.expired()) return;
        FLink.Lua(PcapRmLine(Name), [alive, Done](const TReply& rm) {
            if (alive.expired() || !Done) return;
            // fs.rm answers nil and a reason on failure; the output tells nothing more.
            Done(rm.Ok, rm.Ok ? std::string() : rm.Text);
        });
    });
}

void TPcapRemote::Download(const std::string& Name, TFileDone Done) {
    if (LocalFileName(Name) != Name) {
        if (Done) Done(false, std::string(), "Ungültiger Dateiname: " + Name);
        return;
    }
    std::weak_ptr<bool> alive = FAlive;
    FLink.Lua(PcapCopyToScratchpadLine(Name), [this, alive, Name, Done](const TReply& cp) {
        if (alive.expired()) return;
        if (!cp.Ok) {
            if (Done)
                Done(false, std::string(), "Die Aufzeichnung kann nicht bereitgestellt werden. " + cp.Text);
            return;
        }
        FLink.FCCCISratchpad = spPCAP;
        FLink.FScratchpadFleLst = {Name};
        FLink.ScratchpadGet(Name, [alive, Done](const TReply& r) {
            if (alive.expired() || !Done) return;
            if (!r.Ok || r.File.empty())
                Done(false, std::string(), "Die Aufzeichnung ist nicht angekommen. " + r.Text);
            else
                Done(true, r.File, std::string());
        });
    });
}

} // namespace ferro
