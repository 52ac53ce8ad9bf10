#pragma once
// The readers of recording, event and binary-input files (docs/recording-format.md). Each returns
// false on a file it cannot take and logs the German reason as one line; it never reads outside
// the file and never allocates by a count that the file announces: tables are bounded by the head
// length, which is bounded by the file's size, and entries are counted from the size itself. A file
// that is still being written is read up to its last whole entry.

#include "data/DataFileTypes.h"
#include "foundation/MemStream.h"

#include <functional>
#include <string>
#include <vector>

namespace ferro {

using TReaderLog = std::function<void(const std::string&)>;
// Text of a language id; empty when the language file has none.
using TIdText = std::function<std::string(uint32_t)>;

struct TRecData {
    MemStream Stream; // the records, RecMemSize bytes each
    std::vector<TTblStrc> RecDataLst;
    std::vector<TVecIdxStruct> GrpLst;
    uint32_t RecMemSize = 0;
    uint32_t SampleRate = 0;
    pq_context_t Context;
    time_tz_t TimeZone;
    tmStamp_t First{}, Last{}; // UTC times of the first and the last record
    envMan_usrDat_t Head;

    uint64_t Records() const { return RecMemSize ? Stream.size() / RecMemSize : 0; }
};

struct TEvtData {
    std::vector<TEvtStrc> EvtLst;
    pq_context_t Context;
    time_tz_t TimeZone;
    envMan_usrDat_t Head;
};

// A reader's refusal: logs "<reader>: <path>: <reason>" and gives false.
bool ReaderFail(const TReaderLog& Log, const char* What, const std::string& Path, const std::string& Reason);
// The reason alone of such a line (the whole line when it is not of that form), for a message that
// names the file itself.
std::string ReaderReason(const std::string& Line, const std::string& Path);

// The class of a file from the class word of its name ("10min", "Osc", "Bin" ...), any case.
TDataClass FerroClsFromNam(const std::string& classWord);
// The class word of a file name: its base name up to the first dash.
std::string ClassWordOfName(const std::string& path);

// A recording. `dataClass` from the name (dcUnknown: take the file's) must agree with the head.
bool AnalyseRecData(const std::string& fileName, TDataClass dataClass, TRecData& out, const TReaderLog& log);
// Only the head and the times of the first and last record, without the records.
bool ReadRecordSpan(const std::string& fileName, TRecData& out, const TReaderLog& log);

// The events of an event file, in the order of the file.
bool AnalyseEventData(const std::string& fileName, TEvtData& out, const TReaderLog& log);
// The lines of the detail dialog of event `index`; `objId` takes the event's object id.
bool ReadEventDetail(const std::string& fileName, size_t index, uint32_t& objId,
                     std::vector<std::string>& lines, const TIdText& names, const TReaderLog& log);

// Binary-input entries and the data-point id of each input column. With `headOnly` the entries
// are skipped. `stamp` takes the first entry's time (the file's start when it has none).
bool AnalyseAsyncData(const std::string& fileName, std::vector<TAsyncRecord>& asyncLst,
                      std::vector<uint32_t>& dpLst, bool headOnly, tmStamp_t& stamp, const TReaderLog& log);

// Head of any of the three kinds: zone, plant data and the start (`atEnd`: the end) of the file.
bool ReadOfflineSysEnvHead(const std::string& fileName, time_tz_t& timeZone, envMan_usrDat_t& userData,
                           bool atEnd, tmStamp_t& stamp, const TReaderLog& log);
// A caption for an "Osc", "Hp" or binary-input file: its class word as `name`, a German line about
// it as `text`, the trigger (or the start) as `stamp`.
bool ReadOfflineContextHeader(const std::string& fileName, time_tz_t& timeZone, const TIdText& names,
                              std::string& name, std::string& text, tmStamp_t& stamp, const TReaderLog& log);

} // namespace ferro
