#pragma once
// An Osc or Hp recording as IEEE C37.111-2013 COMTRADE: BASE.cfg (text) and BASE.dat (BINARY,
// 16-bit samples), so that any COMTRADE viewer opens it. Every value column becomes an analog
// channel scaled to its own range; binary-state columns become digital channels.

#include "data/DataFileReader.h"

#include <string>

namespace ferro {

class TComtradeExport {
public:
    // False with a German reason (wrong class, a file that cannot be written).
    static bool Write(const TRecData& data, const std::string& base, const TIdText& names,
                      std::string& reason);
    // "+1", "-5h30": a zone offset as the configuration file writes it.
    static std::string ZoneCode(int offsetSeconds);
};

} // namespace ferro
