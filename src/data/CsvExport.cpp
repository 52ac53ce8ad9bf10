#include "data/CsvExport.h"

#include "data/IsoTime.h"
#include "data/RecCursor.h"
#include "foundation/Format.h"

#include <charconv>
#include <cmath>

namespace ferro {

bool TCsvExport::SelectColumns(const TRecData& data, const std::vector<uint32_t>& ids,
                               std::vector<size_t>& columns, std::string& reason) {
    columns.clear();
    const auto& cols = data.RecDataLst;
    if (ids.empty()) {
        for (size_t i = 0; i < cols.size(); ++i)
            if (cols[i].ObjId != CTimeColumnId && cols[i].PaintStruc != psStamp) columns.push_back(i);
        return true;
    }
    for (uint32_t id : ids) {
        size_t i = 0;
        while (i < cols.size() && (cols[i].ObjId != id || cols[i].PaintStruc == psStamp))
            ++i;
        if (i == cols.size()) {
            reason = Fmt("Spalte %u (0x%X) gibt es in der Datei nicht", id, id);
            return false;
        }
        columns.push_back(i);
    }
    return true;
}

std::string TCsvExport::Field(const std::string& text) {
    if (text.find_first_of(",\"\r\n") == std::string::npos) return text;
    std::string out = "\"";
    for (char c : text) {
        if (c == '"') out += '"';
        out += c;
    }
    return out + "\"";
}

std::string TCsvExport::Number(double v, bool single) {
    if (std::isnan(v)) return "";
    char buf[64];
    auto r =
        single ? std::to_chars(buf, buf + sizeof buf, float(v)) : std::to_chars(buf, buf + sizeof buf, v);
    return std::string(buf, r.ptr);
}

void TCsvExport::Write(const TRecData& data, const std::vector<size_t>& columns, const TIdText& names,
                       std::ostream& out) {
    std::string line = "Zeit";
    for (size_t i : columns) {
        const TTblStrc& c = data.RecDataLst[i];
        std::string name = names ? names(c.ObjId) : std::string();
        if (name.empty()) name = Fmt("0x%08X", c.ObjId);
        line += "," + Field(c.UnitTxt.empty() ? name : name + " [" + c.UnitTxt + "]");
    }
    out << line << "\r\n";
    // Sampled recordings need the microseconds; the others are stamped to the millisecond.
    const int decimals = data.SampleRate > 1000 ? 6 : 3;
    TRecCursor cur(data);
    while (cur.Next()) {
        line = IsoTime(cur.TimeNs(), data.TimeZone, decimals);
        for (size_t i : columns) {
            const TTblStrc& c = data.RecDataLst[i];
            line += ',';
            line += Number(cur.Value(c), !(c.PaintStruc == psFloat && c.Size == 8));
        }
        out << line << "\r\n";
    }
}

} // namespace ferro
