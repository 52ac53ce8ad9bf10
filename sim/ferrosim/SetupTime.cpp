#include "ferrosim/SetupTime.h"

#include "foundation/TimeRecords.h"

#include <pugixml.hpp>

#include <cstdlib>
#include <cstring>
#include <map>
#include <string>

namespace ferro::sim {

bool ApplySetupTime(const std::vector<uint8_t>& Xml, time_set_t& Ts) {
    pugi::xml_document doc;
    if (!doc.load_buffer(Xml.data(), Xml.size())) return false;
    std::map<uint32_t, uint32_t> v;
    for (uint32_t id = 0xFE000306; id <= 0xFE000311; ++id) {
        const std::string want = std::to_string(id);
        const pugi::xml_node p = doc.find_node([&](const pugi::xml_node& n) {
            return std::strcmp(n.name(), "parameter") == 0 && want == n.attribute("id").value();
        });
        const char* text = p.child("value").text().get();
        char* end = nullptr;
        const unsigned long n = std::strtoul(text, &end, 10);
        if (!p || !*text || *end || n > 1000) return false;
        v[id] = uint32_t(n);
    }
    const uint32_t hours = v[0xFE000307], minutes = v[0xFE000308];
    if (hours > 14 || minutes > 59) return false;
    const int east = (v[0xFE000306] ? -1 : 1) * int(hours * 60 + minutes);
    Ts.tz = Ts.Stdtz = time_tz_t::fromOffsetMinutes(east);
    Ts.dstmode = v[0xFE000309] ? 1 : 0;
    auto rule = [&](uint32_t Month, uint32_t Day, uint32_t Hour, uint32_t Weekday) {
        time_rule_t r;
        r.mon = uint8_t(v[Month] % 13);
        r.day = uint8_t(WeekOfDayCode(v[Day]));
        r.hour = uint8_t(v[Hour] % 24);
        r.dow = uint8_t(v[Weekday] % 7); // the setup's Sunday is 7, the clock's 0
        return r;
    };
    if (Ts.dstmode) {
        Ts.ws = rule(0xFE00030A, 0xFE00030B, 0xFE00030C, 0xFE00030D);
        Ts.sw = rule(0xFE00030E, 0xFE00030F, 0xFE000310, 0xFE000311);
    } else {
        Ts.ws = Ts.sw = time_rule_t();
    }
    return true;
}

} // namespace ferro::sim
