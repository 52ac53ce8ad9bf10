#pragma once
// The status read over one link: the script goes to the scratchpad, runs there, and the stat.txt
// it writes comes back and is parsed. The view and ferroctl run the same cycle.

#include "status/StatusReport.h"

#include <functional>
#include <memory>
#include <string>

namespace ferro {

class TComUnit;

class TStatusCollector {
public:
    // Ok, or the German reason; `Refused` when the instrument would not take the script.
    using TDone = std::function<void(bool Ok, bool Refused, const std::string& Error)>;

    explicit TStatusCollector(TComUnit& Link);
    ~TStatusCollector();
    TStatusCollector(const TStatusCollector&) = delete;
    TStatusCollector& operator=(const TStatusCollector&) = delete;

    // Writes the script to the link's temporary folder, sends it, runs it and reads the result.
    // Done is called once (not after the collector is gone).
    void Collect(TDone Done);
    bool Busy() const { return FBusy; }
    const TStatusReport& Report() const { return FReport; }
    // The local copy of the script.
    std::string ScriptFN() const;

private:
    void Run(TDone Done);
    void Read(TDone Done);
    void Finish(const TDone& Done, bool Ok, bool Refused, const std::string& Error);

    TComUnit& FLink;
    TStatusReport FReport;
    bool FBusy = false;
    std::shared_ptr<bool> FAlive = std::make_shared<bool>(true);
};

} // namespace ferro
