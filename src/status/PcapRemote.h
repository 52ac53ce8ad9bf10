#pragma once
// Captures on the instrument through its Lua shell and the scratchpad: start one, list them,
// fetch one, remove one. The capture page and ferroctl share it.

#include "status/PcapCommand.h"

#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace ferro {

class TComUnit;

class TPcapRemote {
public:
    using TListDone =
        std::function<void(bool Ok, const std::vector<TPcapListItem>& Items, const std::string& Error)>;
    // Ok with the local file, or the German reason.
    using TFileDone = std::function<void(bool Ok, const std::string& File, const std::string& Error)>;
    using TDone = std::function<void(bool Ok, const std::string& Error)>;

    explicit TPcapRemote(TComUnit& Link);
    ~TPcapRemote();
    TPcapRemote(const TPcapRemote&) = delete;
    TPcapRemote& operator=(const TPcapRemote&) = delete;

    // Sends the "ips.pcapStart" line; fails with the instrument's error text (a bad filter, a time it
    // does not understand).
    void Start(const std::string& Command, TDone Done);
    void List(TListDone Done);
    void Remove(const std::string& Name, TDone Done);
    // Copies the capture into the scratchpad and fetches it into the link's temporary folder; the
    // instrument removes the scratchpad copy once it has gone out.
    void Download(const std::string& Name, TFileDone Done);

private:
    TComUnit& FLink;
    std::shared_ptr<bool> FAlive = std::make_shared<bool>(true);
};

} // namespace ferro
