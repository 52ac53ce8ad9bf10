#pragma once
// A read recording as CSV (RFC 4180): a header line with names and units, then one line per
// record, the time first in ISO 8601 with the zone's offset, "." as the decimal point whatever the
// locale, CR LF line ends.

#include "data/DataFileReader.h"

#include <ostream>
#include <string>
#include <vector>

namespace ferro {

class TCsvExport {
public:
    // The value columns of `data`: all but the time columns, or those of `ids` in that order. False
    // with a German reason for an id the file does not have.
    static bool SelectColumns(const TRecData& data, const std::vector<uint32_t>& ids,
                              std::vector<size_t>& columns, std::string& reason);
    static void Write(const TRecData& data, const std::vector<size_t>& columns, const TIdText& names,
                      std::ostream& out);
    // A field as RFC 4180 wants it: quoted when it holds a comma, a quote or a line end.
    static std::string Field(const std::string& text);
    // Shortest text that reads back to the same single (or double) value.
    static std::string Number(double v, bool single);
};

} // namespace ferro
