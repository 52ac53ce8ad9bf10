#include "ferrosim/FaultPlan.h"

#include <cstdlib>

namespace ferro::sim {

namespace {

std::vector<std::string> split(const std::string& s, char sep, size_t maxParts) {
    std::vector<std::string> out;
    size_t start = 0;
    while (out.size() + 1 < maxParts) {
        size_t p = s.find(sep, start);
        if (p == std::string::npos) break;
        out.push_back(s.substr(start, p - start));
        start = p + 1;
    }
    out.push_back(s.substr(start));
    return out;
}

// Decimal or 0x-hex; false on anything else or out of range.
bool number(const std::string& s, long long maxValue, long long& out) {
    if (s.empty()) return false;
    char* end = nullptr;
    long long v = std::strtoll(s.c_str(), &end, 0);
    if (*end != '\0' || v < 0 || v > maxValue) return false;
    out = v;
    return true;
}

bool extField(const std::string& s, int& out) {
    if (s == "*") {
        out = -1;
        return true;
    }
    long long v;
    if (!number(s, 0xFFFF, v)) return false;
    out = int(v);
    return true;
}

} // namespace

bool FaultPlan::parse(const std::string& list, std::string& error) {
    for (const std::string& item : split(list, ',', 1000)) {
        if (item.empty()) continue;
        std::vector<std::string> f = split(item, ':', 5);
        const std::string& kind = f[0];
        long long a = 0, b = 0;
        bool ok = false;
        if (kind == "refuse" && f.size() == 5) {
            Refusal r;
            ok = number(f[1], 255, a) && extField(f[2], r.ext) && number(f[3], 0xFFFFFFFFLL, b);
            r.cmd = uint8_t(a);
            r.code = uint32_t(b);
            r.text = f[4];
            if (ok) refusals_.push_back(r);
        } else if (kind == "drop" && f.size() == 3) {
            Match m{0, -1};
            ok = number(f[1], 255, a) && extField(f[2], m.ext);
            m.cmd = uint8_t(a);
            if (ok) drops_.push_back(m);
        } else if (kind == "delay" && f.size() == 2) {
            ok = number(f[1], 600000, a);
            delayMs_ = int(a);
        } else if (kind == "cut" && f.size() == 2) {
            ok = number(f[1], 1LL << 40, a);
            cutBytes_ = a;
        } else if (kind == "drip" && f.size() == 2) {
            ok = number(f[1], 600000, a) && a > 0;
            dripMs_ = int(a);
        } else if (kind == "garbage" && f.size() == 1) {
            ok = garbage_ = true;
        } else if (kind == "badsize" && f.size() == 1) {
            ok = badSize_ = true;
        } else if (kind == "cutup" && f.size() == 2) {
            ok = number(f[1], 1LL << 40, a);
            cutUpload_ = a;
        } else if (kind == "flipup" && f.size() == 1) {
            ok = flipUpload_ = true;
        } else if (kind == "reboot-hang" && f.size() == 1) {
            ok = rebootHang_ = true;
        } else if (kind.rfind("cal-", 0) == 0 && f.size() == 1) {
            ok = kind == "cal-freq" || kind == "cal-fluct" || kind == "cal-range" || kind == "cal-busy";
            if (ok) calFaults_.push_back(kind.substr(4));
        } else if (kind == "strayhead" && f.size() == 2) {
            ok = number(f[1], 255, a);
            strayHead_ = int(a);
        } else if (kind == "limit" && f.size() == 2) {
            ok = number(f[1], 1000, a);
            limit_ = int(a);
        }
        if (!ok) {
            error = "bad fault '" + item + "'";
            return false;
        }
    }
    return true;
}

const FaultPlan::Refusal* FaultPlan::refusalFor(uint8_t cmd, uint16_t ext) const {
    for (const Refusal& r : refusals_)
        if (r.cmd == cmd && (r.ext < 0 || r.ext == ext)) return &r;
    return nullptr;
}

bool FaultPlan::drops(uint8_t cmd, uint16_t ext) const {
    for (const Match& m : drops_)
        if (m.cmd == cmd && (m.ext < 0 || m.ext == ext)) return true;
    return false;
}

} // namespace ferro::sim
