#include "data/ComtradeExport.h"

#include "data/RecCursor.h"
#include "foundation/Format.h"

#include <algorithm>
#include <cmath>
#include <fstream>
#include <sstream>

namespace ferro {

namespace {

constexpr double kFull = 32767.0; // -32768 marks a missing value in 16-bit data

// "dd/mm/yyyy,hh:mm:ss.ssssss" of a linear time shifted into the zone.
std::string comtradeTime(uint64_t utcNs, int offsetSeconds) {
    const int64_t local = int64_t(utcNs / 1000000000ull) + offsetSeconds;
    const int64_t days = local >= 0 ? local / 86400 : -((-local + 86399) / 86400);
    const int64_t sod = local - days * 86400;
    const TCivilDate d = CivilFromDays(days);
    return Fmt("%02u/%02u/%04lld,%02d:%02d:%02d.%06u", d.Day, d.Month, static_cast<long long>(d.Year),
               int(sod / 3600), int(sod / 60 % 60), int(sod % 60), unsigned(utcNs % 1000000000ull / 1000));
}

// A text field of the configuration: no commas or line ends, at most 64 characters.
std::string cfgText(std::string n) {
    for (char& ch : n)
        if (ch == ',' || ch == '\r' || ch == '\n') ch = ' ';
    return n.substr(0, 64);
}

std::string channelName(const TTblStrc& c, const TIdText& names) {
    std::string n = names ? names(c.ObjId) : std::string();
    return cfgText(n.empty() ? Fmt("0x%08X", c.ObjId) : n);
}

// Phase letter of a channel name: L1/1 A, L2/2 B, L3/3 C, N.
std::string phaseOf(const std::string& name) {
    if (name.find("12") != std::string::npos || name.find("23") != std::string::npos ||
        name.find("31") != std::string::npos)
        return "";
    if (name.find('1') != std::string::npos) return "A";
    if (name.find('2') != std::string::npos) return "B";
    if (name.find('3') != std::string::npos) return "C";
    if (name.find('N') != std::string::npos) return "N";
    return "";
}

void putU32(std::string& s, uint32_t v) {
    for (int i = 0; i < 4; ++i)
        s += char(uint8_t(v >> (8 * i)));
}
void putU16(std::string& s, uint16_t v) {
    s += char(uint8_t(v));
    s += char(uint8_t(v >> 8));
}

} // namespace

std::string TComtradeExport::ZoneCode(int offsetSeconds) {
    const int m = offsetSeconds / 60, a = m < 0 ? -m : m;
    std::string s = Fmt("%s%d", m < 0 ? "-" : "", a / 60);
    if (a % 60) s += Fmt("h%02d", a % 60);
    return s;
}

bool TComtradeExport::Write(const TRecData& data, const std::string& base, const TIdText& names,
                            std::string& reason) {
    const uint32_t cls = data.Context.DataClass;
    if (cls != dcOsc && cls != dcHp) {
        reason = std::string("COMTRADE gibt es nur für Osc- und Hp-Aufzeichnungen, nicht für ") +
                 DataClassWord(TDataClass(cls));
        return false;
    }
    std::vector<size_t> analog, digital;
    for (size_t i = 0; i < data.RecDataLst.size(); ++i) {
        const TTblStrc& c = data.RecDataLst[i];
        if (c.ObjId == CTimeColumnId || c.PaintStruc == psStamp) continue;
        (c.ObjId == CBinaryStateId ? digital : analog).push_back(i);
    }
    // Each channel's factor from its largest magnitude, so that the 16 bits span the recording.
    std::vector<double> peak(analog.size(), 0.0);
    {
        TRecCursor cur(data);
        while (cur.Next())
            for (size_t k = 0; k < analog.size(); ++k) {
                const double v = cur.Value(data.RecDataLst[analog[k]]);
                if (std::isfinite(v)) peak[k] = std::max(peak[k], std::fabs(v));
            }
    }
    const uint64_t n = data.Records();
    const int offset = data.TimeZone.offsetSeconds();
    std::ostringstream cfg;
    cfg << cfgText(data.Head.Anlage + " " + data.Head.Feld) << ','
        << cfgText(data.Head.Geraet + " " + std::to_string(data.Head.SN)) << ",2013\r\n";
    cfg << analog.size() + digital.size() << ',' << analog.size() << "A," << digital.size() << "D\r\n";
    std::vector<double> factor(analog.size());
    for (size_t k = 0; k < analog.size(); ++k) {
        const TTblStrc& c = data.RecDataLst[analog[k]];
        factor[k] = peak[k] > 0 ? peak[k] / kFull : 1.0;
        const std::string name = channelName(c, names);
        cfg << k + 1 << ',' << name << ',' << phaseOf(name) << ",," << c.UnitTxt << ','
            << Fmt("%.9g", factor[k]) << ",0,0,-32767,32767," << Fmt("%g", double(data.Context.WandlerVerh))
            << ",1,S\r\n";
    }
    for (size_t k = 0; k < digital.size(); ++k)
        cfg << k + 1 << ',' << channelName(data.RecDataLst[digital[k]], names) << ",,,0\r\n";
    cfg << Fmt("%g", double(data.Context.Nennfrequenz)) << "\r\n";
    // Hp records follow the half periods of the supply: no fixed rate, the time stamps count.
    if (cls == dcOsc && data.SampleRate)
        cfg << "1\r\n" << data.SampleRate << ',' << n << "\r\n";
    else
        cfg << "0\r\n0," << n << "\r\n";
    TRecCursor first(data);
    const uint64_t t0 = first.Next() ? first.TimeNs() : TStoLinear(data.Context.Start);
    const uint64_t trig = data.Context.Trigger.sec ? TStoLinear(data.Context.Trigger) : t0;
    cfg << comtradeTime(t0, offset) << "\r\n" << comtradeTime(trig, offset) << "\r\n";
    cfg << "BINARY\r\n1\r\n" << ZoneCode(offset) << ',' << ZoneCode(offset) << "\r\n0,0\r\n";

    std::string dat;
    const size_t words = (digital.size() + 15) / 16;
    dat.reserve(size_t(n) * (8 + 2 * analog.size() + 2 * words));
    TRecCursor cur(data);
    while (cur.Next()) {
        putU32(dat, uint32_t(cur.Row() + 1));
        putU32(dat, uint32_t((cur.TimeNs() - t0) / 1000));
        for (size_t k = 0; k < analog.size(); ++k) {
            const double v = cur.Value(data.RecDataLst[analog[k]]);
            const double raw =
                std::isfinite(v) ? std::clamp(std::round(v / factor[k]), -kFull, kFull) : -32768.0;
            putU16(dat, uint16_t(int16_t(raw)));
        }
        for (size_t w = 0; w < words; ++w) {
            uint16_t bits = 0;
            for (size_t b = 0; b < 16 && w * 16 + b < digital.size(); ++b)
                if (cur.Value(data.RecDataLst[digital[w * 16 + b]]) != 0) bits |= uint16_t(1u << b);
            putU16(dat, bits);
        }
    }
    std::ofstream c(base + ".cfg", std::ios::binary | std::ios::trunc);
    c << cfg.str();
    std::ofstream d(base + ".dat", std::ios::binary | std::ios::trunc);
    d.write(dat.data(), std::streamsize(dat.size()));
    if (!c || !d) {
        reason = "COMTRADE-Dateien " + base + ".cfg/.dat lassen sich nicht schreiben";
        return false;
    }
    return true;
}

} // namespace ferro
