// ferroctl params and param-set: the setup's rows as the grid shows them, and values set through the
// same validator as the grid's.
#include "Commands.h"

#include "data/CsvExport.h"
#include "foundation/Format.h"
#include "link/XmlNames.h"
#include "para/SetupDocument.h"
#include "para/XMLLangu.h"

#include <cstdio>
#include <filesystem>

namespace ferroctl {

namespace fs = std::filesystem;
using namespace ferro;

namespace {

struct ParaArgs {
    std::string setup;
    int level = -1;
    bool csv = false, send = false;
    std::vector<std::string> rest;
};

bool parseArgs(const std::vector<std::string>& args, ParaArgs& out) {
    for (size_t i = 0; i < args.size(); ++i) {
        const std::string& a = args[i];
        if (a == "--csv") {
            out.csv = true;
        } else if (a == "--send") {
            out.send = true;
        } else if (a == "--setup" && i + 1 < args.size()) {
            out.setup = args[++i];
        } else if (a == "--level" && i + 1 < args.size()) {
            const std::string& v = args[++i];
            if (v != "0" && v != "1" && v != "2") {
                std::fprintf(stderr, "Ungültige Stufe: %s (0 Basisansicht, 1 Expertenansicht, 2 Service)\n",
                             v.c_str());
                return false;
            }
            out.level = v[0] - '0';
        } else if (a.rfind("--", 0) == 0) {
            std::fprintf(stderr, "Unbekannte Option oder fehlender Wert: %s\n", a.c_str());
            return false;
        } else {
            out.rest.push_back(a);
        }
    }
    return true;
}

// The setup from --setup or from the instrument; the session stays open for a sending.
bool loadSetup(const CliOptions& opt, const ParaArgs& pa, TSetupDocument& doc,
               std::unique_ptr<TDeviceSession>& session) {
    std::string file = pa.setup;
    if (file.empty()) {
        session = OpenSession(opt, false);
        if (!session) return false;
        bool done = false;
        TReply reply;
        session->Link().ReadSetup([&](const TReply& r) {
            reply = r;
            done = true;
        });
        if (!session->WaitFor([&] { return done; }, 30000) || !reply.Ok || reply.File.empty()) {
            const std::string why = done ? " " + reply.Text : LastReason(*session);
            std::fprintf(stderr, "Das Setup ist nicht angekommen.%s\n", why == " " ? "" : why.c_str());
            return false;
        }
        file = reply.File;
    }
    if (!doc.LoadFromFile(file)) {
        std::fprintf(stderr, "%s\n", doc.LastError().c_str());
        return false;
    }
    return true;
}

void collect(const TSetupDocument& doc, const std::vector<TParaTreeItem>& items, const std::string& path,
             int level, const TXMLLangu& lang, std::vector<std::pair<std::string, TGridRow>>& rows) {
    for (const TParaTreeItem& item : items) {
        const std::string here = path.empty() ? item.Text : path + "/" + item.Text;
        for (TGridRow& r : doc.Rows(item.Node, level, &lang))
            rows.emplace_back(here, std::move(r));
        collect(doc, item.Children, here, level, lang, rows);
    }
}

// The name without the service level's "(id/hex)" in front.
std::string plainName(const TGridRow& r, const TXMLLangu& lang) {
    const std::string t = lang.IdToText(r.ID);
    return t.empty() ? r.IDStr : t;
}

// The value column as the grid shows it: a choice by its text, a switch as ja/nein, a number with
// its unit, an empty text as such.
std::string shown(const TGridRow& r, const TVarValue& v, const TXMLLangu& lang) {
    if (r.IsList) return r.ListText(v.AsString());
    if (r.RowTyp == grtBoolean || r.RowTyp == grtDatapoint) return v.AsInt() ? "ja" : "nein";
    const std::string t = v.AsString('.');
    if (t.empty()) return "(leer)";
    const std::string unit = r.RowTyp == grtText || r.RowTyp == grtProperty ? "" : lang.IdToShort(r.ID);
    return unit.empty() ? t : t + " " + unit;
}

} // namespace

int RunParams(const CliOptions& opt) {
    ParaArgs pa;
    if (!parseArgs(opt.args, pa) || !pa.rest.empty() || pa.send) {
        std::fprintf(stderr, "Aufruf: ferroctl params [--setup DATEI] [--level 0|1|2] [--csv]\n");
        return 2;
    }
    const int level = pa.level < 0 ? 1 : pa.level;
    const TXMLLangu lang = LoadLang(opt);
    TSetupDocument doc;
    std::unique_ptr<TDeviceSession> session;
    if (!loadSetup(opt, pa, doc, session)) return 1;
    if (session) session->CloseAndWait();
    std::vector<std::pair<std::string, TGridRow>> rows;
    try {
        TModulList moduls;
        collect(doc, doc.BuildTree(level, &lang, moduls), "", level, lang, rows);
    } catch (const TParaError& e) {
        std::fprintf(stderr, "Das Setup lässt sich nicht lesen: %s\n", e.what());
        return 1;
    }
    if (!doc.Sys()) std::fprintf(stderr, "Das Setup hat keinen Knoten \"sys\": keine Parameter.\n");
    if (pa.csv) {
        std::printf("path,id,name,value,default,min,max,type,editable\r\n");
        for (const auto& [path, r] : rows) {
            const bool limits = r.RowTyp != grtProperty;
            std::printf("%s,%s,%s,%s,%s,%s,%s,%s,%d\r\n", TCsvExport::Field(path).c_str(), r.IDStr.c_str(),
                        TCsvExport::Field(plainName(r, lang)).c_str(), TCsvExport::Field(r.ValText()).c_str(),
                        TCsvExport::Field(limits ? r.DefText() : "").c_str(),
                        limits ? r.MinText().c_str() : "", limits ? r.MaxText().c_str() : "",
                        GridRowTypName(r.RowTyp), r.Editable ? 1 : 0);
        }
        return 0;
    }
    std::string last;
    for (const auto& [path, r] : rows) {
        if (path != last) std::printf("%s%s\n", last.empty() ? "" : "\n", path.c_str());
        last = path;
        std::string line = "  " + r.RowCap + " = " + shown(r, r.RowVal, lang);
        if (r.RowTyp != grtProperty) line += "  (Werkseinstellung " + shown(r, r.RowDef, lang);
        // The grid shows the limits from the service level on.
        if (r.RowTyp != grtProperty && level >= 2)
            line += ", Minimum " + r.MinText() + ", Maximum " + r.MaxText();
        if (r.RowTyp != grtProperty) line += r.Editable ? ")" : ", gesperrt)";
        std::printf("%s\n", line.c_str());
    }
    return 0;
}

int RunParamSet(const CliOptions& opt) {
    ParaArgs pa;
    if (!parseArgs(opt.args, pa) || pa.rest.empty() || pa.csv || (pa.setup.empty() && !pa.send)) {
        std::fprintf(stderr,
                     "Aufruf: ferroctl param-set ID=WERT ... [--setup DATEI] [--send]\n"
                     "(ohne --setup wird das Setup des Geräts geändert und mit --send zurückgeschickt)\n");
        return 2;
    }
    const int level = pa.level < 0 ? 2 : pa.level;
    const TXMLLangu lang = LoadLang(opt);
    TSetupDocument doc;
    std::unique_ptr<TDeviceSession> session;
    if (!loadSetup(opt, pa, doc, session)) return 1;
    bool anyCorrected = false;
    for (const std::string& a : pa.rest) {
        const size_t eq = a.find('=');
        const std::string idText = a.substr(0, eq);
        char* end = nullptr;
        const unsigned long long id =
            std::strtoull(idText.c_str(), &end, idText.rfind("0x", 0) == 0 ? 16 : 10);
        if (eq == std::string::npos || idText.empty() || *end || id > 0xFFFFFFFFull) {
            std::fprintf(stderr, "Erwartet ID=WERT (ID dezimal oder 0x hexadezimal): %s\n", a.c_str());
            return 2;
        }
        pugi::xml_node node;
        std::string parentId;
        TGridRow row;
        bool found = doc.GetNode(uint32_t(id), node, parentId);
        try {
            found = found && GetGridRow(level, parentId, node, row, &lang, doc.ChangeList());
        } catch (const TParaError& e) {
            std::fprintf(stderr, "%s\n", e.what());
            return 1;
        }
        if (!found) {
            std::fprintf(
                stderr,
                "Parameter %llu gibt es im Setup nicht (oder nicht auf Stufe %d); nichts geschrieben.\n", id,
                level);
            return 1;
        }
        if (row.RowTyp == grtProperty || !row.Editable) {
            std::fprintf(stderr, "%s ist auf Stufe %d nicht änderbar; nichts geschrieben.\n",
                         plainName(row, lang).c_str(), level);
            return 1;
        }
        bool corrected = false;
        std::string out;
        row.CheckValue(
            a.substr(eq + 1),
            [&](const std::string&, const std::string& mi, const std::string& ma, const std::string& de,
                const std::string& o, const std::string&) {
                std::fprintf(stderr, "%s\n", RangeMessage(plainName(row, lang), mi, ma, de, o).c_str());
            },
            corrected, out);
        anyCorrected = anyCorrected || corrected;
        doc.ChangeCell(row.Node, out, row.Equal, row.RowTyp);
        std::printf("%s = %s\n", plainName(row, lang).c_str(), out.c_str());
    }
    if (pa.send) {
        if (!session) session = OpenSession(opt, false);
        if (!session) return 1;
        TComUnit& l = session->Link();
        TModulList moduls;
        try {
            doc.BuildTree(level, &lang, moduls);
        } catch (const TParaError& e) {
            std::fprintf(stderr, "Das Setup lässt sich nicht lesen: %s\n", e.what());
            return 1;
        }
        const std::string temp = l.FTmpDir + Fmt("%u_TempPara.XML", l.FSN);
        if (!doc.SaveForSend(temp, moduls, &lang)) {
            std::fprintf(stderr, "%s kann nicht geschrieben werden. %s\n", temp.c_str(),
                         doc.LastError().c_str());
            return 1;
        }
        if (const int rc = SendSetup(*session, temp); rc != 0) return rc;
    }
    if (!pa.setup.empty() && !doc.SaveToFile(pa.setup)) {
        std::fprintf(stderr, "%s kann nicht geschrieben werden. %s\n", pa.setup.c_str(),
                     doc.LastError().c_str());
        return 1;
    }
    return anyCorrected ? 3 : 0;
}

} // namespace ferroctl
