#include "status/StatusReport.h"

#include "charts/NumFormat.h"
#include "foundation/Format.h"
#include "foundation/records/PQTimeProgs.h"

#include <QByteArray>
#include <QDateTime>
#include <QString>

#include <algorithm>
#include <cmath>
#include <fstream>
#include <regex>
#include <sstream>

namespace ferro {

namespace {

// Key parts the pages sort by; "contains" ignores case and looks anywhere in the key.
constexpr const char* CCCCIWorker = "ccciWorker";
constexpr const char* CRecording = "recording.";
constexpr const char* CSysLoad = "sysLoad.";
constexpr const char* CModBus = "modbus.";
constexpr const char* CIEC104 = "iec104.";
constexpr const char* CIP = "ip.";
constexpr const char* Ctime = "time.";
constexpr const char* CNTP[4] = {"NTP.1", "NTP.2", "NTP.3", "NTP.4"};
constexpr const char* CNA = "N/A";

// The key without its first `n` dotted elements.
std::string DropElements(const std::string& key, int n) {
    size_t at = 0;
    for (int i = 0; i < n; ++i) {
        size_t dot = key.find('.', at);
        if (dot == std::string::npos) return std::string();
        at = dot + 1;
    }
    return key.substr(at);
}

bool Printable(const std::string& line) {
    return std::none_of(line.begin(), line.end(), [](char c) {
        const auto u = static_cast<unsigned char>(c);
        return u < 0x20 && c != '\t';
    });
}

std::optional<uint64_t> Unsigned(const std::string& text) {
    bool ok = false;
    const qulonglong v = QByteArray::fromStdString(Trim(text)).toULongLong(&ok);
    if (!ok) return std::nullopt;
    return uint64_t(v);
}

std::string JsonString(const std::string& s) {
    std::string out = "\"";
    for (char c : s) {
        const auto u = static_cast<unsigned char>(c);
        if (c == '"' || c == '\\') {
            out += '\\';
            out += c;
        } else if (u < 0x20) {
            out += Fmt("\\u%04x", u);
        } else {
            out += c;
        }
    }
    return out + "\"";
}

} // namespace

bool TStatusReport::Parse(const std::string& Text) {
    FValList.clear();
    FIndex.clear();
    FError.clear();
    if (Text.size() > CMaxBytes) {
        FError = Fmt("Der Gerätestatus ist zu groß (%zu Bytes); er wird nicht gelesen.", Text.size());
        return false;
    }
    std::istringstream in(Text);
    std::string line;
    size_t lines = 0;
    while (std::getline(in, line)) {
        if (++lines > CMaxLines) {
            FValList.clear();
            FIndex.clear();
            FError = Fmt("Der Gerätestatus hat mehr als %zu Zeilen; er wird nicht gelesen.", CMaxLines);
            return false;
        }
        if (!line.empty() && line.back() == '\r') line.pop_back();
        if (!Printable(line)) continue;
        // The key ends at the first blank; the value is the trimmed rest.
        const size_t blank = line.find(' ');
        std::string key = line.substr(0, blank);
        std::string value = blank == std::string::npos ? std::string() : Trim(line.substr(blank + 1));
        if (Trim(key).empty()) continue;
        FIndex.emplace(key, FValList.size());
        FValList.emplace_back(std::move(key), std::move(value));
    }
    if (FValList.empty()) {
        FError = "Der Gerätestatus enthält keine lesbaren Werte.";
        return false;
    }
    return true;
}

bool TStatusReport::ParseFile(const std::string& Path) {
    std::ifstream f(Path, std::ios::binary);
    if (!f) {
        FValList.clear();
        FIndex.clear();
        FError = "File not found: " + Path;
        return false;
    }
    std::string text;
    char buf[65536];
    while (f.read(buf, sizeof buf) || f.gcount() > 0) {
        text.append(buf, size_t(f.gcount()));
        if (text.size() > CMaxBytes) break; // enough to tell that it is too large
    }
    return Parse(text);
}

std::string TStatusReport::Value(const std::string& Key) const {
    auto it = FIndex.find(Key);
    return it == FIndex.end() ? std::string() : FValList[it->second].second;
}

TDriveValues TStatusReport::Drive(const std::string& Name) const {
    TDriveValues d;
    auto total = Unsigned(Value(Name + ".total")), used = Unsigned(Value(Name + ".used")),
         free = Unsigned(Value(Name + ".free")), bad = Unsigned(Value(Name + ".bad"));
    d.Present = total && used && free && bad;
    d.Total = total.value_or(0);
    d.Used = used.value_or(0);
    d.Free = free.value_or(0);
    d.Bad = bad.value_or(0);
    return d;
}

TStatusOverview TStatusReport::Overview(const time_tz_t& Tz) const {
    TStatusOverview o;
    const std::string soc = Value("time.utc.soc"), dst = Value("time.utc.fracsec.dst");
    o.Summer = Unsigned(dst).value_or(0) == 1;
    if (auto sec = Unsigned(soc); sec && !dst.empty()) {
        tmStamp_t utc{uint32_t(*sec), o.Summer ? CSummerTimeFlag : 0u}, local;
        TM.UTCtoLocal(utc, Tz, local);
        // Instrument time and PC time may differ: the text says which zone it is in.
        const int32_t shift = Tz.offsetSeconds() + (o.Summer ? 3600 : 0);
        const int32_t mag = shift < 0 ? -shift : shift;
        o.Time = TM.FerroTS_to_Str(local) +
                 Fmt(" (UTC%c%02d:%02d)", shift < 0 ? '-' : '+', int(mag / 3600), int(mag / 60 % 60));
    }
    o.Anlage = Value("plant");
    o.Feld = Value("fieldName");
    o.Geraet = Value("deviceName");
    if (Has("version.major"))
        o.Firmware = Value("version.major") + "." + Value("version.minor") + "." + Value("version.patch");
    o.RevNum = Value("revision");
    o.ArtikelNum = Value("article");
    o.Serial = Value("serial");
    if (auto up = Unsigned(Value("upTime"))) o.Laufzeit = MilliSecToDuration(*up * 1000);
    // A real instrument always reports a total; a zero one gives no share rather than a division by 0.
    const TDriveValues flash = Drive("flashdrive0");
    if (Has("flashdrive0.free") && flash.Total > 0)
        o.SystemPercent = int(std::lround(double(flash.Free) * 100.0 / double(flash.Total)));
    const std::string sd = Value("sd0");
    const TDriveValues card = Drive("sd0");
    if (!EqualsNoCase(sd, CNA) && card.Present && card.Total > 0) {
        o.CardShown = true;
        o.CardPercent = int(std::lround(double(card.Free) * 100.0 / double(card.Total)));
        o.CardText = Fmt("%d%%", o.CardPercent);
    } else {
        o.CardText = sd;
    }
    return o;
}

TStatusLists TStatusReport::Lists(const time_tz_t& Tz) const {
    TStatusLists l;
    for (const auto& [key, value] : FValList) {
        if (ContainsNoCase(key, CCCCIWorker)) {
            l.CCCILst.emplace_back(key, value);
        } else if (ContainsNoCase(key, CRecording)) {
            l.Log.emplace_back(DropElements(key, 1), value);
        } else if (ContainsNoCase(key, CSysLoad)) {
            l.SysLoad.push_back({DropElements(key, 1), float(StatusNumber(value).value_or(0.0))});
        } else if (ContainsNoCase(key, CModBus)) {
            l.ModBus.emplace_back(DropElements(key, 1), value);
        } else if (ContainsNoCase(key.substr(0, std::string(CIEC104).size() + 8),
                                  std::string(CIEC104) + "Client1.")) {
            // Only the first client is shown; the instrument's others stay unshown on purpose.
            l.IEC104.emplace_back(DropElements(key, 1), value);
        } else if (ContainsNoCase(key, CIP)) {
            l.Network.emplace_back(DropElements(key, 1), value);
        } else {
            bool ntp = false;
            for (int i = 0; i < 4 && !ntp; ++i)
                if (ContainsNoCase(key, CNTP[i])) {
                    l.NTP[i].emplace_back(DropElements(key, 2), value);
                    ntp = true;
                }
            if (!ntp && ContainsNoCase(key, Ctime)) l.Time[DropElements(key, 1)] = value;
        }
    }
    std::stable_sort(l.SysLoad.begin(), l.SysLoad.end(),
                     [](const TSysloadRec& a, const TSysloadRec& b) { return a.Load < b.Load; });
    QString zone = QString::number(double(TM.UTCTimeShiftSoc(Tz, false)) / 3600.0);
    l.Time["Zeitzone"] = zone.replace('.', ',').toStdString();
    l.Time["Sommerzeit"] = Unsigned(Value("time.utc.fracsec.dst")).value_or(0) == 1 ? "Ja" : "Nein";
    return l;
}

std::string TStatusReport::ToJson() const {
    static const std::regex number(R"(-?(0|[1-9][0-9]*)(\.[0-9]+)?([eE][+-]?[0-9]+)?)");
    std::string out = "{";
    bool first = true;
    for (size_t i = 0; i < FValList.size(); ++i) {
        const auto& [key, value] = FValList[i];
        // Only the first of a repeated key counts, as the pages read it.
        if (FIndex.at(key) != i) continue;
        if (!first) out += ",";
        first = false;
        out += "\n  " + JsonString(key) + ": ";
        out += std::regex_match(value, number) ? value : JsonString(value);
    }
    return out + "\n}\n";
}

std::string MegaBytes(uint64_t Bytes) {
    return std::to_string(uint64_t(std::llround(double(Bytes) / 1024.0 / 1024.0)));
}

std::optional<double> StatusNumber(const std::string& Text) {
    bool ok = false;
    const double v = QByteArray::fromStdString(Text).toDouble(&ok);
    if (!ok || !std::isfinite(v)) return std::nullopt;
    return v;
}

std::string DCFQualityWord(uint64_t Quality) {
    if (Quality == 0) return "Ungültig";
    if (Quality <= 4000000) return "Sehr gut";
    if (Quality <= 7000000) return "Gut";
    if (Quality <= 15000000) return "Mittel";
    if (Quality <= 25000000) return "Schlecht";
    return "Sehr schlecht";
}

void CheckDCF(std::map<std::string, std::string>& Time) {
    auto src = Time.find("syncSrc");
    auto signal = Time.find("signal");
    if (src == Time.end() || src->second != "DCF77" || signal == Time.end()) return;
    bool ok = false;
    const int level = QString::fromStdString(signal->second).trimmed().toInt(&ok);
    if (!ok || level == 0) {
        Time["quality"] = "Kein Signal";
        return;
    }
    auto quality = Time.find("quality");
    if (quality == Time.end()) return;
    if (auto q = Unsigned(quality->second)) quality->second = DCFQualityWord(*q);
}

std::string UnixSecondsText(const std::string& Seconds) {
    auto s = Unsigned(Seconds);
    if (!s || *s > 0xFFFFFFFFull) return Seconds;
    return TM.FerroTS_to_Str(tmStamp_t{uint32_t(*s), 0});
}

} // namespace ferro
