#pragma once
// The host's list of instruments: checks entries, keeps them in QSettings, reads the --demo option.
// No widgets here, so the tests use it directly.

#include "Instrument.h"

#include <string>
#include <vector>

class QSettings;

namespace ferro {

class TInstrumentStore {
public:
    // "" when the entry is usable, otherwise the German reason.
    static std::string Validate(const TInstrument& Entry);

    bool Add(const TInstrument& Entry, std::string& Error);
    bool Update(size_t Index, const TInstrument& Entry, std::string& Error);
    bool Remove(size_t Index);
    // An entry of the same name is replaced, otherwise the entry is appended (the demo's entries).
    void AddOrReplace(const TInstrument& Entry);

    const std::vector<TInstrument>& Items() const { return FItems; }
    size_t Count() const { return FItems.size(); }
    const TInstrument& At(size_t Index) const { return FItems.at(Index); }

    // Entries that do not pass Validate are skipped on loading.
    void Load(QSettings& Settings);
    void Save(QSettings& Settings) const;

    // "HOST:PORT[,ssh=PORT][,serial=DEVICE][,user=NAME][,password=TEXT]", HOST may be "[v6]".
    // Gives one entry per transport named in it.
    static bool ParseDemo(const std::string& Arg, std::vector<TInstrument>& Out, std::string& Error);

private:
    std::vector<TInstrument> FItems;
};

} // namespace ferro
