// AnalyseAsyncData and the two head readers of the offline archive.
#include "data/DataFile.h"
#include "data/DataFileReader.h"
#include "data/IsoTime.h"
#include "foundation/Format.h"

#include <algorithm>

namespace ferro {

namespace {

// Any of the three kinds: the magic tells which.
bool anyHead(TDataFile& file, TDataFileHead& head, std::string& reason) {
    uint8_t magic[8] = {};
    if (file.Size() >= 8 && file.ReadAt(0, magic, 8)) {
        for (TFileKind k : {TFileKind::Recording, TFileKind::Events, TFileKind::BinaryInputs})
            if (std::equal(magic, magic + 8, reinterpret_cast<const uint8_t*>(TDataFileHead::Magic(k))))
                return file.ReadHead(k, head, reason);
    }
    return file.ReadHead(TFileKind::Recording, head, reason);
}

} // namespace

bool AnalyseAsyncData(const std::string& fileName, std::vector<TAsyncRecord>& asyncLst,
                      std::vector<uint32_t>& dpLst, bool headOnly, tmStamp_t& stamp, const TReaderLog& log) {
    asyncLst.clear();
    dpLst.clear();
    TDataFile file;
    TDataFileHead head;
    std::string reason;
    if (!file.Open(fileName, reason) || !file.ReadHead(TFileKind::BinaryInputs, head, reason))
        return ReaderFail(log, "AnalyseAsyncData", fileName, reason);
    if (head.EntrySize < TDataFileHead::AsyncEntrySize)
        return ReaderFail(log, "AnalyseAsyncData", fileName,
                          "Eintrag von " + std::to_string(head.EntrySize) + " Bytes ist zu kurz");
    const uint8_t* ids = file.HeadBytes().data() + TDataFileHead::FixedSize;
    for (uint32_t i = 0; i < head.Count1; ++i)
        dpLst.push_back(MemStream::peekU32(ids + 4 * i));
    stamp = head.Context.Start;
    const uint64_t n = file.WholeEntries(head);
    if (headOnly || n == 0) return true;
    // The whole entries in one read; their count comes from the file's size.
    std::vector<uint8_t> bytes(size_t(n * head.EntrySize));
    if (!file.ReadAt(head.HeadLen, bytes.data(), bytes.size()))
        return ReaderFail(log, "AnalyseAsyncData", fileName, "Einträge lassen sich nicht lesen");
    asyncLst.resize(size_t(n));
    for (size_t i = 0; i < asyncLst.size(); ++i) {
        const uint8_t* p = bytes.data() + i * head.EntrySize;
        asyncLst[i].Stamp = {MemStream::peekU32(p), MemStream::peekU32(p + 4)};
        asyncLst[i].Bits = MemStream::peekU16(p + 8);
        if (asyncLst[i].Stamp.frac >= 1000000000u) {
            asyncLst.clear();
            return ReaderFail(log, "AnalyseAsyncData", fileName,
                              "Eintrag " + std::to_string(i) + " hat einen ungültigen Zeitstempel");
        }
    }
    stamp = asyncLst.front().Stamp;
    return true;
}

bool ReadOfflineSysEnvHead(const std::string& fileName, time_tz_t& timeZone, envMan_usrDat_t& userData,
                           bool atEnd, tmStamp_t& stamp, const TReaderLog& log) {
    TDataFile file;
    TDataFileHead head;
    std::string reason;
    if (!file.Open(fileName, reason) || !anyHead(file, head, reason))
        return ReaderFail(log, "ReadOfflineSysEnvHead", fileName, reason);
    timeZone = head.Tz;
    userData = head.Env;
    stamp = head.Context.Start;
    if (!atEnd) return true;
    if (head.Kind == TFileKind::Recording) {
        TRecData span;
        if (!ReadRecordSpan(fileName, span, log)) return false;
        stamp = span.Last;
    } else if (head.Kind == TFileKind::Events) {
        TEvtData events;
        if (!AnalyseEventData(fileName, events, log)) return false;
        for (const TEvtStrc& e : events.EvtLst) {
            // A duration read from the file is bounded (no event lasts years; NaN counts as 0), so
            // the conversion to nanoseconds stays defined.
            const double secs = std::min(std::max(0.0, double(e.Duration)), 1e8);
            const uint64_t end = TStoLinear(e.Stamp) + uint64_t(secs * 1e9);
            if (end > TStoLinear(stamp)) stamp = LinearToTS(end);
        }
    } else {
        std::vector<TAsyncRecord> entries;
        std::vector<uint32_t> ids;
        tmStamp_t first;
        if (!AnalyseAsyncData(fileName, entries, ids, false, first, log)) return false;
        if (!entries.empty()) stamp = entries.back().Stamp;
    }
    return true;
}

bool ReadOfflineContextHeader(const std::string& fileName, time_tz_t& timeZone, const TIdText& names,
                              std::string& name, std::string& text, tmStamp_t& stamp, const TReaderLog& log) {
    TDataFile file;
    TDataFileHead head;
    std::string reason;
    if (!file.Open(fileName, reason) || !anyHead(file, head, reason))
        return ReaderFail(log, "ReadOfflineContextHeader", fileName, reason);
    timeZone = head.Tz;
    name = DataClassWord(TDataClass(head.Context.DataClass));
    stamp = head.Context.Trigger.sec ? head.Context.Trigger : head.Context.Start;
    const uint64_t entries = file.WholeEntries(head);
    if (head.Kind == TFileKind::BinaryInputs) {
        std::string inputs;
        const uint8_t* ids = file.HeadBytes().data() + TDataFileHead::FixedSize;
        for (uint32_t i = 0; i < head.Count1; ++i) {
            const uint32_t id = MemStream::peekU32(ids + 4 * i);
            std::string t = names ? names(id) : std::string();
            inputs += (inputs.empty() ? "" : ", ") + (t.empty() ? std::to_string(id) : t);
        }
        text = "Binäreingänge (" + inputs + "), " + std::to_string(entries) + " Wechsel";
        return true;
    }
    text = Fmt("%s, %llu Datensätze",
               name == "Osc"  ? "Oszilloskop-Rekorder"
               : name == "Hp" ? "10-ms-Rekorder"
                              : name.c_str(),
               static_cast<unsigned long long>(entries));
    if (head.Context.SampleRate) text += Fmt(", %u Hz", head.Context.SampleRate);
    if (head.Context.Trigger.sec) text += ", Trigger " + IsoTime(head.Context.Trigger, head.Tz, 3);
    return true;
}

} // namespace ferro
