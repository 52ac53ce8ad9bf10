// ferroctl show and export: recording, event and binary-input files on the local disk.
#include "Commands.h"

#include "data/ComtradeExport.h"
#include "data/CsvExport.h"
#include "data/DataFile.h"
#include "data/DataFileHead.h"
#include "data/DataFileReader.h"
#include "data/IsoTime.h"
#include "foundation/Format.h"
#include "foundation/records/Units.h"
#include "link/XmlNames.h"
#include "para/XMLLangu.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <algorithm>
#include <cstdio>
#include <fstream>

namespace ferroctl {

namespace {

using namespace ferro;

// A single as JSON number with its own shortest digits (0.2, not 0.200000003).
double single(float v) {
    return std::strtod(TCsvExport::Number(v, true).c_str(), nullptr);
}

QString q(const std::string& s) {
    return QString::fromStdString(s);
}

// The kind of a file by its first bytes; false with the reason for a file that cannot be opened
// or is not in the recording format.
bool kindOf(const std::string& path, TFileKind& kind, std::string& why) {
    char magic[8] = {};
    TDataFile file;
    if (!file.Open(path, why)) return false;
    why = "keine Datei im Aufzeichnungsformat";
    if (!file.ReadAt(0, magic, 8)) return false;
    for (TFileKind k : {TFileKind::Recording, TFileKind::Events, TFileKind::BinaryInputs})
        if (std::equal(magic, magic + 8, TDataFileHead::Magic(k))) {
            kind = k;
            return true;
        }
    return false;
}

// ferroctl names the file itself and shows the reader's reason.
struct Reason {
    std::string path, text;
    TReaderLog log() {
        return [this](const std::string& l) { text = ReaderReason(l, path); };
    }
};

std::vector<std::string> split(const std::string& s, char sep) {
    std::vector<std::string> out(1);
    for (char c : s) {
        if (c == sep)
            out.emplace_back();
        else
            out.back() += c;
    }
    return out;
}

int failed(const std::string& path, const std::string& reason) {
    std::fprintf(stderr, "Datei %s lässt sich nicht lesen: %s\n", path.c_str(), reason.c_str());
    return 1;
}

QJsonObject headJson(const envMan_usrDat_t& env, const pq_context_t& ctx, const time_tz_t& tz) {
    QJsonObject o;
    o["class"] = DataClassWord(TDataClass(ctx.DataClass));
    o["plant"] = q(env.Anlage);
    o["field"] = q(env.Feld);
    o["device"] = q(env.Geraet);
    o["serial"] = double(env.SN);
    o["wiring"] = env.LeiterSys == ls3P3W ? "3L" : env.LeiterSys == ls1P2W ? "1L+N" : "3L+N";
    o["timeZone"] = q(UtcOffsetText(tz.offsetSeconds()));
    o["nominalVoltage"] = single(ctx.Nennspannung);
    o["voltageFactor"] = ctx.VoltageFactor();
    o["nominalFrequency"] = single(ctx.Nennfrequenz);
    if (ctx.Trigger.sec) o["trigger"] = q(IsoTime(ctx.Trigger, tz, 6));
    return o;
}

} // namespace

int RunShow(const CliOptions& opt) {
    if (opt.args.size() != 1) {
        std::fprintf(stderr, "Aufruf: ferroctl show DATEI\n");
        return 2;
    }
    const std::string& path = opt.args[0];
    TFileKind kind;
    std::string why;
    if (!kindOf(path, kind, why)) return failed(path, why);
    const TXMLLangu lang = LoadLang(opt);
    Reason reason{path, {}};
    QJsonObject o;
    if (kind == TFileKind::Recording) {
        TRecData d;
        if (!AnalyseRecData(path, dcUnknown, d, reason.log())) return failed(path, reason.text);
        o = headJson(d.Head, d.Context, d.TimeZone);
        o["kind"] = "recording";
        o["start"] = q(IsoTime(d.First, d.TimeZone, 3));
        o["end"] = q(IsoTime(d.Last, d.TimeZone, 3));
        o["records"] = double(d.Records());
        o["recordSize"] = double(d.RecMemSize);
        o["sampleRate"] = double(d.SampleRate);
        QJsonArray cols;
        for (const TTblStrc& c : d.RecDataLst) {
            QJsonObject col;
            col["id"] = double(c.ObjId);
            col["idHex"] = q(Fmt("0x%08X", c.ObjId));
            col["name"] = q(lang.IdToText(c.ObjId));
            col["unit"] = q(c.UnitTxt);
            const uint32_t grp = c.getVecIdx() & 0xFF;
            col["group"] = double(grp);
            for (const TVecIdxStruct& g : d.GrpLst)
                if (g.Idx == grp) col["groupName"] = q(lang.IdToText(g.GrpId));
            col["kind"] = c.PaintStruc;
            col["offset"] = double(c.Offset);
            col["size"] = double(c.Size);
            cols.append(col);
        }
        o["columns"] = cols;
    } else if (kind == TFileKind::Events) {
        TEvtData d;
        if (!AnalyseEventData(path, d, reason.log())) return failed(path, reason.text);
        o = headJson(d.Head, d.Context, d.TimeZone);
        o["kind"] = "events";
        o["records"] = double(d.EvtLst.size());
        QJsonArray events;
        for (const TEvtStrc& e : d.EvtLst) {
            QJsonObject ev;
            ev["type"] = e.EvtType;
            ev["objId"] = double(e.ObjId);
            ev["start"] = q(IsoTime(e.Stamp, d.TimeZone, 3));
            ev["duration"] = single(e.Duration);
            ev["extreme"] = single(e.MaxVal);
            ev["unit"] = q(e.UnitTxt);
            ev["harmonic"] = e.Harm;
            ev["phase"] = e.Phase ? q(CPhaseTxt[std::clamp<int>(e.Phase, 1, 7)]) : QString();
            ev["text"] = q(lang.IdToText(uint32_t(std::strtoul(e.IdTxt.c_str(), nullptr, 10))));
            events.append(ev);
        }
        o["events"] = events;
    } else {
        std::vector<TAsyncRecord> entries;
        std::vector<uint32_t> ids;
        tmStamp_t first;
        if (!AnalyseAsyncData(path, entries, ids, false, first, reason.log()))
            return failed(path, reason.text);
        time_tz_t tz;
        envMan_usrDat_t env;
        tmStamp_t start;
        ReadOfflineSysEnvHead(path, tz, env, false, start, nullptr);
        pq_context_t ctx;
        ctx.DataClass = dcBinIn;
        o = headJson(env, ctx, tz);
        o["kind"] = "binary-inputs";
        o["records"] = double(entries.size());
        o["start"] = q(IsoTime(first, tz, 3));
        if (!entries.empty()) o["end"] = q(IsoTime(entries.back().Stamp, tz, 3));
        QJsonArray cols;
        for (uint32_t id : ids)
            cols.append(QJsonObject{{"id", double(id)}, {"name", q(lang.IdToText(id))}});
        o["columns"] = cols;
    }
    std::printf("%s\n", QJsonDocument(o).toJson(QJsonDocument::Indented).constData());
    return 0;
}

int RunExport(const CliOptions& opt) {
    std::string path, csv, comtrade, columns;
    for (size_t i = 0; i < opt.args.size(); ++i) {
        const std::string& a = opt.args[i];
        const bool hasValue = i + 1 < opt.args.size();
        if ((a == "--csv" || a == "--comtrade" || a == "--columns") && !hasValue) {
            std::fprintf(stderr, "Option %s erwartet einen Wert.\n", a.c_str());
            return 2;
        }
        if (a == "--csv")
            csv = opt.args[++i];
        else if (a == "--comtrade")
            comtrade = opt.args[++i];
        else if (a == "--columns")
            columns = opt.args[++i];
        else if (path.empty())
            path = a;
        else {
            std::fprintf(stderr, "Unerwartetes Argument: %s\n", a.c_str());
            return 2;
        }
    }
    if (path.empty() || csv.empty() == comtrade.empty()) {
        std::fprintf(stderr,
                     "Aufruf: ferroctl export DATEI --csv AUSGABE [--columns ID,...] | --comtrade BASIS\n");
        return 2;
    }
    std::vector<uint32_t> ids;
    for (const std::string& piece : split(columns, ',')) {
        const std::string t = Trim(piece);
        if (t.empty()) continue;
        char* end = nullptr;
        const unsigned long v = std::strtoul(t.c_str(), &end, 0);
        if (*end || v > 0xFFFFFFFFul) {
            std::fprintf(stderr, "Ungültige Spalten-ID: %s\n", t.c_str());
            return 2;
        }
        ids.push_back(uint32_t(v));
    }
    TFileKind kind;
    std::string why;
    if (!kindOf(path, kind, why)) return failed(path, why);
    if (kind != TFileKind::Recording) return failed(path, "exportieren lassen sich nur Aufzeichnungen");
    Reason reason{path, {}};
    TRecData d;
    if (!AnalyseRecData(path, dcUnknown, d, reason.log())) return failed(path, reason.text);
    const TXMLLangu lang = LoadLang(opt);
    const TIdText names = [&lang](uint32_t id) { return lang.IdToText(id); };
    if (!comtrade.empty()) {
        if (!TComtradeExport::Write(d, comtrade, names, why)) {
            std::fprintf(stderr, "%s\n", why.c_str());
            return 1;
        }
        std::printf("%s.cfg und %s.dat geschrieben (%llu Datensätze)\n", comtrade.c_str(), comtrade.c_str(),
                    static_cast<unsigned long long>(d.Records()));
        return 0;
    }
    std::vector<size_t> selected;
    if (!TCsvExport::SelectColumns(d, ids, selected, why)) {
        std::fprintf(stderr, "%s\n", why.c_str());
        return 2;
    }
    std::ofstream out(csv, std::ios::binary | std::ios::trunc);
    if (out) TCsvExport::Write(d, selected, names, out);
    if (!out) {
        std::fprintf(stderr, "CSV-Datei %s lässt sich nicht schreiben.\n", csv.c_str());
        return 1;
    }
    std::printf("%s geschrieben (%llu Datensätze, %zu Spalten)\n", csv.c_str(),
                static_cast<unsigned long long>(d.Records()), selected.size());
    return 0;
}

// The language file: --lang, else the German one in the ini folder, as the link stores it.
TXMLLangu LoadLang(const CliOptions& opt) {
    TXMLLangu lang;
    std::vector<std::string> candidates;
    if (!opt.langFile.empty()) candidates.push_back(opt.langFile);
    candidates.push_back(opt.link.Folders.Ini + ChangeFileExt(CLanguXML[0], ".XML"));
    candidates.push_back(opt.link.Folders.Ini + CLanguXML[0]);
    for (const std::string& c : candidates)
        if (lang.SetLangFile(c)) break;
    if (!opt.langFile.empty() && lang.Count() == 0)
        std::fprintf(stderr, "%s Namen bleiben Nummern.\n", lang.LastError().c_str());
    return lang;
}

} // namespace ferroctl
