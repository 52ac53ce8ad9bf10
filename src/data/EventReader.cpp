// AnalyseEventData and ReadEventDetail: the event-file reader.
#include "data/DataFile.h"
#include "data/DataFileReader.h"
#include "data/IsoTime.h"
#include "foundation/Format.h"
#include "foundation/records/Units.h"

#include <algorithm>
#include <cstring>

namespace ferro {

namespace {

// The detail fields behind the ones that TEvtStrc carries.
struct TEvtDetail {
    float MinVal = 0, Reference = 0;
    uint32_t Channels = 0;
    tmStamp_t End{};
    uint32_t OscTime = 0, HpTime = 0;
};

bool decodeEvent(const uint8_t* p, TEvtStrc& e, TEvtDetail& d) {
    e.ObjId = MemStream::peekU32(p);
    e.Stamp = {MemStream::peekU32(p + 4), MemStream::peekU32(p + 8)};
    e.EvtType = p[12];
    e.Phase = p[13];
    e.Harm = MemStream::peekU16(p + 14);
    e.Duration = MemStream::peekF32(p + 16);
    e.MaxVal = MemStream::peekF32(p + 20);
    const char* unit = reinterpret_cast<const char*>(p + 24);
    e.UnitTxt.assign(unit, strnlen(unit, 12));
    e.IdTxt = std::to_string(MemStream::peekU32(p + 36));
    d.MinVal = MemStream::peekF32(p + 40);
    d.Reference = MemStream::peekF32(p + 44);
    d.Channels = MemStream::peekU32(p + 48);
    d.End = {MemStream::peekU32(p + 52), MemStream::peekU32(p + 56)};
    d.OscTime = MemStream::peekU32(p + 60);
    d.HpTime = MemStream::peekU32(p + 64);
    return e.Stamp.frac < 1000000000u && d.End.frac < 1000000000u;
}

// Reads the head and walks the entries; `each` gets every decoded entry with its index.
template <typename F>
bool walkEvents(const std::string& fileName, const char* what, TEvtData& out, const TReaderLog& log, F each) {
    TDataFile file;
    TDataFileHead head;
    std::string reason;
    if (!file.Open(fileName, reason) || !file.ReadHead(TFileKind::Events, head, reason))
        return ReaderFail(log, what, fileName, reason);
    if (head.EntrySize < TDataFileHead::EventEntrySize)
        return ReaderFail(log, what, fileName,
                          "Ereigniseintrag von " + std::to_string(head.EntrySize) + " Bytes ist zu kurz");
    out.Context = head.Context;
    out.TimeZone = head.Tz;
    out.Head = head.Env;
    // Entries are read in blocks; their count comes from the file's size.
    const uint64_t n = file.WholeEntries(head);
    std::vector<uint8_t> block(size_t(std::min<uint64_t>(n, 256)) * head.EntrySize);
    for (uint64_t i = 0; i < n;) {
        const uint64_t take = std::min<uint64_t>(n - i, 256);
        if (!file.ReadAt(head.HeadLen + i * head.EntrySize, block.data(), size_t(take * head.EntrySize)))
            return ReaderFail(log, what, fileName, "Ereignisse lassen sich nicht lesen");
        for (uint64_t k = 0; k < take; ++k, ++i) {
            TEvtStrc e;
            TEvtDetail d;
            if (!decodeEvent(block.data() + k * head.EntrySize, e, d))
                return ReaderFail(log, what, fileName,
                                  "Ereignis " + std::to_string(i) + " hat einen ungültigen Zeitstempel");
            if (!each(i, e, d)) return true;
        }
    }
    return true;
}

std::string number(double v, int decimals) {
    return Fmt("%.*f", decimals, v);
}

} // namespace

bool AnalyseEventData(const std::string& fileName, TEvtData& out, const TReaderLog& log) {
    out = TEvtData();
    return walkEvents(fileName, "AnalyseEventData", out, log, [&](uint64_t, TEvtStrc& e, const TEvtDetail&) {
        out.EvtLst.push_back(std::move(e));
        return true;
    });
}

bool ReadEventDetail(const std::string& fileName, size_t index, uint32_t& objId,
                     std::vector<std::string>& lines, const TIdText& names, const TReaderLog& log) {
    lines.clear();
    TEvtData data;
    bool found = false;
    const bool ok = walkEvents(
        fileName, "ReadEventDetail", data, log, [&](uint64_t i, const TEvtStrc& e, const TEvtDetail& d) {
            if (i != index) return true;
            found = true;
            objId = e.ObjId;
            const uint32_t textId = uint32_t(std::strtoul(e.IdTxt.c_str(), nullptr, 10));
            std::string text = names ? names(textId) : std::string();
            if (text.empty()) text = "Ereignis " + e.IdTxt;
            if (e.Phase) text += std::string(" ") + CPhaseTxt[std::clamp<int>(e.Phase, 1, 7)];
            const time_tz_t& tz = data.TimeZone;
            lines.push_back("Ereignis: " + text + " (Typ " + std::to_string(e.EvtType) + ")");
            lines.push_back("Beginn: " + IsoTime(e.Stamp, tz, 3));
            if (d.End.sec) lines.push_back("Ende: " + IsoTime(d.End, tz, 3));
            lines.push_back("Dauer: " + number(e.Duration, 4) + " s");
            std::string extreme = "Extremwert: " + number(e.MaxVal, 2) + " " + e.UnitTxt;
            if (e.ObjId == CVoltPercentId && data.Context.Valid)
                extreme += " (" + number(e.MaxVal * data.Context.VoltageFactor() / 100.0, 2) + " V)";
            lines.push_back(extreme);
            lines.push_back("Gegenextrem: " + number(d.MinVal, 2) + " " + e.UnitTxt);
            if (d.Reference != 0) lines.push_back("Bezugswert: " + number(d.Reference, 2) + " V");
            if (e.Harm) lines.push_back("Harmonische: " + std::to_string(e.Harm));
            static const char* const channels[] = {"U1E", "U2E", "U3E", "UNE", "U12", "U23", "U31"};
            std::string touched;
            for (int b = 0; b < 7; ++b)
                if (d.Channels & (1u << b)) touched += std::string(touched.empty() ? "" : " ") + channels[b];
            if (!touched.empty()) lines.push_back("Betroffene Kanäle: " + touched);
            if (d.OscTime)
                lines.push_back("Oszilloskop-Rekorder: " + IsoTime(tmStamp_t{d.OscTime, 0}, tz, 0));
            if (d.HpTime) lines.push_back("10-ms-Rekorder: " + IsoTime(tmStamp_t{d.HpTime, 0}, tz, 0));
            return false;
        });
    if (!ok) return false;
    if (!found)
        return ReaderFail(log, "ReadEventDetail", fileName,
                          "Ereignis " + std::to_string(index) + " gibt es nicht (" +
                              std::to_string(data.EvtLst.size()) + " gelesen)");
    return true;
}

} // namespace ferro
