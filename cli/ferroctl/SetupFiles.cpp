// Setup files on disk, without an instrument: the import comparison of two setups, the delta of
// their differences and the CSV listing, with the parameter form's core.
#include "Commands.h"

#include "para/SetupCompare.h"

#include <cstdio>
#include <fstream>

namespace ferroctl {

using namespace ferro;

namespace {

bool Load(const std::string& File, TSetupDocument& Doc) {
    if (Doc.LoadFromFile(File)) return true;
    std::fprintf(stderr, "%s\n", Doc.LastError().c_str());
    return false;
}

// B compared into A as the form's import does; false (message printed) when they do not fit.
bool Compare(const std::string& A, const std::string& B, TSetupDocument& DocA, TSetupCompare& Cmp,
             const TXMLLangu& Lang) {
    TSetupDocument docB;
    if (!Load(A, DocA) || !Load(B, docB)) return false;
    if (Cmp.Run(docB.Doc(), DocA, &Lang)) return true;
    std::fprintf(stderr, "%s\n", Cmp.Error().c_str());
    return false;
}

void PrintDiff(const std::vector<TCompareItem>& Items, const std::string& Path, const TSetupCompare& Cmp) {
    for (const TCompareItem& i : Items) {
        if (i.Key.empty()) {
            PrintDiff(i.Children, Path.empty() ? i.Text : Path + "/" + i.Text, Cmp);
            continue;
        }
        const TCompareRec& r = Cmp.FCompareDictOri.at(i.Key);
        std::printf("%s\t%s\t%s\t%s\t%s\n", Path.c_str(), r.ID.c_str(), r.Name.c_str(), r.OriVal.c_str(),
                    r.FileVal.c_str());
    }
}

} // namespace

int RunSetupDiff(const CliOptions& opt) {
    if (opt.args.size() != 2) {
        std::fprintf(stderr, "setup-diff braucht zwei Setup-Dateien: setup-diff A.xml B.xml\n");
        return 2;
    }
    const TXMLLangu lang = LoadLang(opt);
    TSetupDocument a;
    TSetupCompare cmp;
    if (!Compare(opt.args[0], opt.args[1], a, cmp, lang)) return 2;
    PrintDiff(cmp.FSWModulTVList, "", cmp);
    for (const std::string& l : cmp.FInvalidImportList)
        std::fprintf(stderr, "Ungültig in B: %s\n", l.c_str());
    return cmp.FCompareDictOri.empty() && cmp.FInvalidImportList.empty() ? 0 : 1;
}

int RunSetupDelta(const CliOptions& opt) {
    if (opt.args.size() != 3) {
        std::fprintf(
            stderr,
            "setup-delta braucht zwei Setup-Dateien und die Ausgabe: setup-delta A.xml B.xml OUT.xml\n");
        return 2;
    }
    const TXMLLangu lang = LoadLang(opt);
    TSetupDocument a;
    TSetupCompare cmp;
    if (!Compare(opt.args[0], opt.args[1], a, cmp, lang)) return 2;
    std::vector<std::string> log;
    cmp.Apply(cmp.AllKeys(), a, log);
    pugi::xml_document delta;
    try {
        if (!DeltaDocument(a, delta)) {
            std::fprintf(stderr, "Keine Änderungen\n");
            return 1;
        }
    } catch (const TParaError& e) {
        std::fprintf(stderr, "%s\n", e.what());
        return 2;
    }
    if (!delta.save_file(opt.args[2].c_str(), "  ", pugi::format_indent, pugi::encoding_utf8)) {
        std::fprintf(stderr, "Die Datei %s kann nicht geschrieben werden.\n", opt.args[2].c_str());
        return 2;
    }
    std::printf("%zu geänderte Werte in %s\n", a.ChangeList().size(), opt.args[2].c_str());
    return 0;
}

int RunSetupCsv(const CliOptions& opt) {
    if (opt.args.size() != 2) {
        std::fprintf(stderr, "setup-csv braucht eine Setup-Datei und die Ausgabe: setup-csv DATEI OUT.csv\n");
        return 2;
    }
    const TXMLLangu lang = LoadLang(opt);
    TSetupDocument doc;
    if (!Load(opt.args[0], doc)) return 2;
    std::string csv;
    try {
        csv = SetupCsv(doc, &lang, {}, '.');
    } catch (const TParaError& e) {
        std::fprintf(stderr, "%s\n", e.what());
        return 2;
    }
    std::ofstream out(opt.args[1], std::ios::binary | std::ios::trunc);
    if (!out || !out.write(csv.data(), std::streamsize(csv.size())) || !out.flush()) {
        std::fprintf(stderr, "Die Datei %s kann nicht geschrieben werden.\n", opt.args[1].c_str());
        return 2;
    }
    return 0;
}

} // namespace ferroctl
