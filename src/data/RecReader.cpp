// AnalyseRecData and ReadRecordSpan: the recording reader.
#include "data/DataFile.h"
#include "data/DataFileReader.h"
#include "data/RecCursor.h"

#include <algorithm>
#include <cctype>
#include <cmath>

namespace ferro {

namespace {

// Head, columns and groups of a recording, checked against each other and the record size.
bool readLayout(TDataFile& file, TRecData& out, std::string& reason) {
    TDataFileHead head;
    if (!file.ReadHead(TFileKind::Recording, head, reason)) return false;
    const uint64_t tables =
        uint64_t(head.Count1) * TDataFileHead::ColumnSize + uint64_t(head.Count2) * TDataFileHead::GroupSize;
    if (head.Count1 == 0 || head.Count1 > TDataFileHead::MaxColumns ||
        head.Count2 > TDataFileHead::MaxGroups || TDataFileHead::FixedSize + tables > head.HeadLen) {
        reason = std::to_string(head.Count1) + " Spalten und " + std::to_string(head.Count2) +
                 " Gruppen passen nicht in den Kopf von " + std::to_string(head.HeadLen) + " Bytes";
        return false;
    }
    const uint8_t* p = file.HeadBytes().data() + TDataFileHead::FixedSize;
    out.GrpLst.resize(head.Count2);
    const uint8_t* g = p + size_t(head.Count1) * TDataFileHead::ColumnSize;
    for (TVecIdxStruct& grp : out.GrpLst) {
        grp.Idx = MemStream::peekU32(g);
        grp.GrpId = MemStream::peekU32(g + 4);
        g += TDataFileHead::GroupSize;
    }
    out.RecDataLst.resize(head.Count1);
    for (size_t i = 0; i < out.RecDataLst.size(); ++i) {
        TTblStrc& c = out.RecDataLst[i];
        TDataFileHead::DecodeColumn(p + i * TDataFileHead::ColumnSize, c);
        if (!TDataFileHead::CheckColumn(c, head.EntrySize, reason)) {
            reason = "Spalte " + std::to_string(i) + ": " + reason;
            return false;
        }
        const uint32_t grp = c.getVecIdx() & 0xFF;
        if (std::none_of(out.GrpLst.begin(), out.GrpLst.end(),
                         [&](const TVecIdxStruct& v) { return v.Idx == grp; })) {
            reason = "Spalte " + std::to_string(i) + " verweist auf Gruppe " + std::to_string(grp) +
                     ", die es nicht gibt";
            return false;
        }
    }
    const uint8_t axis = out.RecDataLst.front().PaintStruc;
    if (axis != psStamp && axis != psTick && head.Context.SampleRate == 0) {
        reason = "Zeitachse aus der Abtastrate, aber die Abtastrate ist 0";
        return false;
    }
    out.RecMemSize = head.EntrySize;
    out.SampleRate = head.Context.SampleRate;
    out.Context = head.Context;
    out.TimeZone = head.Tz;
    out.Head = head.Env;
    return true;
}

} // namespace

bool ReaderFail(const TReaderLog& Log, const char* What, const std::string& Path, const std::string& Reason) {
    if (Log) Log(std::string(What) + ": " + Path + ": " + Reason);
    return false;
}

std::string ReaderReason(const std::string& Line, const std::string& Path) {
    const size_t at = Line.find(Path + ": ");
    return at == std::string::npos ? Line : Line.substr(at + Path.size() + 2);
}

std::string ClassWordOfName(const std::string& path) {
    const size_t slash = path.find_last_of("/\\");
    std::string base = slash == std::string::npos ? path : path.substr(slash + 1);
    return base.substr(0, base.find('-'));
}

TDataClass FerroClsFromNam(const std::string& classWord) {
    std::string w = classWord;
    std::transform(w.begin(), w.end(), w.begin(), [](unsigned char ch) { return char(std::tolower(ch)); });
    if (w == "bin") return dcBinIn;
    for (int c = 0; c < CDataClassCount; ++c) {
        std::string name = DataClassWord(TDataClass(c));
        std::transform(name.begin(), name.end(), name.begin(),
                       [](unsigned char ch) { return char(std::tolower(ch)); });
        if (w == name) return TDataClass(c);
    }
    return dcUnknown;
}

const char* DataClassWord(TDataClass c) {
    static const char* const words[] = {"10T",  "150T", "10min", "2h",    "1s",    "10s", "Ns",
                                        "Mmin", "Osc",  "Hp",    "BinIn", "Event", ""};
    return words[std::min<int>(c, dcUnknown)];
}

bool AnalyseRecData(const std::string& fileName, TDataClass dataClass, TRecData& out, const TReaderLog& log) {
    out = TRecData();
    TDataFile file;
    std::string reason;
    if (!file.Open(fileName, reason) || !readLayout(file, out, reason))
        return ReaderFail(log, "AnalyseRecData", fileName, reason);
    if (dataClass != dcUnknown && out.Context.DataClass != dataClass)
        return ReaderFail(log, "AnalyseRecData", fileName,
                          std::string("Datenklasse ") + DataClassWord(TDataClass(out.Context.DataClass)) +
                              " der Datei passt nicht zum Namen (" + DataClassWord(dataClass) + ")");
    // One read straight into the records stream: the count comes from the file's size.
    TDataFileHead layout;
    layout.HeadLen = uint32_t(file.HeadBytes().size());
    layout.EntrySize = out.RecMemSize;
    const uint64_t records = file.WholeEntries(layout);
    out.Stream.resize(size_t(records * out.RecMemSize));
    if (records && !file.ReadAt(layout.HeadLen, out.Stream.data(), out.Stream.size()))
        return ReaderFail(log, "AnalyseRecData", fileName, "Datensätze lassen sich nicht lesen");
    TRecCursor::Span(out, out.First, out.Last);
    return true;
}

bool ReadRecordSpan(const std::string& fileName, TRecData& out, const TReaderLog& log) {
    out = TRecData();
    TDataFile file;
    std::string reason;
    if (!file.Open(fileName, reason) || !readLayout(file, out, reason))
        return ReaderFail(log, "ReadRecordSpan", fileName, reason);
    TDataFileHead layout;
    layout.HeadLen = uint32_t(file.HeadBytes().size());
    layout.EntrySize = out.RecMemSize;
    const uint64_t records = file.WholeEntries(layout);
    if (records == 0) return true;
    if (out.RecDataLst.front().PaintStruc == psTick) return AnalyseRecData(fileName, dcUnknown, out, log);
    // The first and the last record stand in for all: a stream of two records spans the same times.
    out.Stream.resize(size_t(records > 1 ? 2 : 1) * out.RecMemSize);
    bool ok = file.ReadAt(layout.HeadLen, out.Stream.data(), out.RecMemSize);
    if (records > 1)
        ok = ok && file.ReadAt(layout.HeadLen + (records - 1) * out.RecMemSize,
                               out.Stream.data() + out.RecMemSize, out.RecMemSize);
    if (!ok) return ReaderFail(log, "ReadRecordSpan", fileName, "Datensätze lassen sich nicht lesen");
    if (out.RecDataLst.front().PaintStruc == psStamp) {
        TRecCursor::Span(out, out.First, out.Last);
    } else {
        out.First = out.Context.Start;
        const double rate = double(out.SampleRate);
        out.Last = LinearToTS(TStoLinear(out.Context.Start) +
                              uint64_t(std::llround(1e9 / rate * double(records - 1))));
    }
    return true;
}

} // namespace ferro
