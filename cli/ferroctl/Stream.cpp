// ferroctl stream: live blocks of one data class, decoded field by field, one CSV line per block.
#include "Commands.h"

#include "foundation/Format.h"
#include "foundation/records/FerroTypes.h"
#include "foundation/records/FieldTable.h"
#include "foundation/records/RecordCodec.h"
#include "foundation/records/Units.h"

#include <QDateTime>

#include <cstdio>
#include <cstdlib>

namespace ferroctl {

namespace {

bool dataObjFromArg(const std::string& arg, ferro::TDataObj& out) {
    for (int i = 0; i < ferro::CDataObjCount - 1; ++i) {
        auto d = ferro::TDataObj(i);
        std::string label = ferro::DataObjLabel(d);
        if ((!label.empty() && ferro::EqualsNoCase(label, arg)) || ferro::Fmt("%d", i) == arg) {
            out = d;
            return true;
        }
    }
    if (ferro::EqualsNoCase(arg, "osc")) {
        out = ferro::doOsc;
        return true;
    }
    return false;
}

// The class words `stream` takes, for the messages: the data class labels and "osc".
std::string dataObjChoices() {
    std::string out;
    for (int i = 0; i < ferro::CDataObjCount - 1; ++i) {
        std::string label = ferro::DataObjLabel(ferro::TDataObj(i));
        if (!label.empty()) out += label + ", ";
    }
    return out + ferro::Fmt("osc (oder die Nummer 0 bis %d)", ferro::CDataObjCount - 2);
}

std::string csvEscape(const std::string& s) {
    if (s.find_first_of(",\"") == std::string::npos) return s;
    std::string q = "\"";
    for (char c : s)
        q += c == '"' ? std::string("\"\"") : std::string(1, c);
    return q + "\"";
}

// The object header (id, stamp) is the line's time already; the values start behind it.
bool isHeader(const ferro::TMemberDef& m) {
    return m.Type->TypeName.rfind("hdr", 0) == 0;
}

// The caption of element `i` of a field, with its unit in brackets: "U1E [V]", "H U1E[5] [%]".
// A polar pair is magnitude and angle; a stamp is printed as Unix seconds.
std::string columnName(const ferro::TFieldDef& f, uint32_t i) {
    std::string name = f.Name, unit = f.Unit;
    if (f.StrucTyp == ferro::stPolarkoordinaten && f.Count == 2) {
        const std::string suffix = " polar";
        if (name.size() > suffix.size() &&
            name.compare(name.size() - suffix.size(), suffix.size(), suffix) == 0)
            name.erase(name.size() - suffix.size());
        name += i == 0 ? " Betrag" : " Winkel";
        if (i == 1) unit = ferro::CGrad;
    } else if (f.Count > 1) {
        name += ferro::Fmt("[%u]", i);
        // Voltage harmonics are in % of the fundamental, which order 1 carries itself, in V.
        if (f.StrucTyp == ferro::stHarmonische && unit == ferro::CPercent && i == 1) unit = ferro::CVolt;
    }
    if (f.Kind == ferro::fkStamp) unit = "Unix-s";
    return unit.empty() ? name : name + " [" + unit + "]";
}

void printHeader(const ferro::TRecordDef& def) {
    std::string line = "time";
    for (const auto& m : def.Members)
        if (!isHeader(m))
            for (const auto& f : m.Type->Fields)
                for (uint32_t i = 0; i < f.Count; ++i)
                    line += "," + csvEscape(columnName(f, i));
    std::printf("%s\n", line.c_str());
    std::fflush(stdout);
}

// A count of blocks: digits only, 0 and up.
bool countFromArg(const std::string& s, int& out) {
    char* end = nullptr;
    const long v = std::strtol(s.c_str(), &end, 10);
    if (s.empty() || *end || v < 0 || v > 1000000) return false;
    out = int(v);
    return true;
}

void printValues(const ferro::TRecordValues& v, const ferro::tmStamp_t& ts) {
    std::string line = QDateTime::fromMSecsSinceEpoch(qint64(ts.sec) * 1000 + ts.frac / 1000000, Qt::UTC)
                           .toString("yyyy-MM-ddTHH:mm:ss.zzz")
                           .toStdString();
    const auto& def = v.Def();
    for (size_t m = 0; m < def.Members.size(); ++m)
        if (!isHeader(def.Members[m]))
            for (size_t f = 0; f < def.Members[m].Type->Fields.size(); ++f) {
                // A stamp column gives its seconds; its value word is not used.
                const bool stamp = def.Members[m].Type->Fields[f].Kind == ferro::fkStamp;
                for (const auto& e : v.FieldAt(m, f))
                    line += stamp ? ferro::Fmt(",%u", e.ts.sec) : ferro::Fmt(",%.6g", e.val);
            }
    std::printf("%s\n", line.c_str());
}

} // namespace

int RunStream(const CliOptions& opt) {
    if (opt.args.empty()) {
        std::fprintf(stderr, "stream erwartet eine Datenklasse: %s.\n", dataObjChoices().c_str());
        return 2;
    }
    ferro::TDataObj obj;
    if (!dataObjFromArg(opt.args[0], obj)) {
        std::fprintf(stderr, "Unbekannte Datenklasse: %s. Möglich sind %s.\n", opt.args[0].c_str(),
                     dataObjChoices().c_str());
        return 2;
    }
    int count = 10;
    for (size_t i = 1; i < opt.args.size(); ++i) {
        if (opt.args[i] == "--count") {
            if (i + 1 >= opt.args.size() || !countFromArg(opt.args[i + 1], count)) {
                std::fprintf(stderr, "--count erwartet eine Anzahl von Blöcken (0 bis 1000000)%s%s.\n",
                             i + 1 < opt.args.size() ? ", nicht " : "",
                             i + 1 < opt.args.size() ? opt.args[i + 1].c_str() : "");
                return 2;
            }
            ++i;
        } else if (opt.args[i] != "--csv") {
            std::fprintf(stderr, "Unbekannte Angabe: %s\n", opt.args[i].c_str());
            return 2;
        }
    }
    auto session = OpenSession(opt, false);
    if (!session) return 1;
    ferro::TComUnit& l = session->Link();
    const ferro::TRecordDef* def = ferro::TFieldTable::Instance().RecordFor(obj, l.Identity().Rev.Gen);
    if (!def) {
        std::fprintf(stderr, "Für diese Datenklasse gibt es keine Feldtabelle.\n");
        return 1;
    }
    // The columns follow from the instrument's layout alone: they stand before the first block,
    // also when no block is asked for.
    printHeader(*def);
    if (count == 0) {
        session->Close();
        return 0;
    }
    int blocks = 0, skipped = 0;
    l.FUpdateGrid = [&](ferro::TSender) {
        const auto& bytes = l.FBytes.FBytes;
        auto values = ferro::TRecordCodec::Decode(bytes, *def);
        if (!values) {
            ++skipped; // a block of the wrong length is not decoded
            return;
        }
        printValues(*values, l.FBytes.TS_Mess);
        std::fflush(stdout);
        ++blocks;
    };
    l.SendCommand("CCC_STREAM_START", ferro::CmdStream, 0, 1, ferro::CDataObj[obj]);
    l.ManualTimer(nullptr);
    // A block comes about once a second; give each a generous allowance.
    // A refused stream ends the wait at once.
    bool ok = session->WaitFor([&] { return blocks >= count; }, 5000 + count * 3000, ferro::CmdStream);
    l.FUpdateGrid = nullptr;
    // The session's end stops the stream first.
    session->CloseAndWait();
    if (!ok) {
        std::fprintf(stderr, "Nur %d von %d Blöcken angekommen (%d nicht lesbar).%s\n", blocks, count,
                     skipped, LastReason(*session).c_str());
        return 1;
    }
    return 0;
}

} // namespace ferroctl
