#include "ferrosim/SupplyConfig.h"

#include <QJsonArray>
#include <QJsonObject>

#include <algorithm>
#include <cmath>
#include <cstdlib>

namespace ferro::sim {

namespace {

bool readComponents(const QJsonObject& o, const char* key, double maxOrder, std::vector<SupplyComponent>& out,
                    std::string& error) {
    if (!o.contains(key)) return true;
    out.clear();
    for (const QJsonValue& v : o.value(key).toArray()) {
        QJsonObject c = v.toObject();
        SupplyComponent comp{c.value("order").toDouble(), c.value("percent").toDouble(),
                             c.value("phase").toDouble()};
        if (comp.order < 0 || comp.order > maxOrder || comp.percent < 0 || comp.percent > 100) {
            error = std::string("supply: bad entry in ") + key;
            return false;
        }
        out.push_back(comp);
    }
    return true;
}

bool readEvents(const QJsonObject& o, std::vector<SupplyEvent>& out, std::string& error) {
    if (!o.contains("events")) return true;
    out.clear();
    for (const QJsonValue& v : o.value("events").toArray()) {
        QJsonObject e = v.toObject();
        SupplyEvent ev;
        ev.swell = e.value("kind").toString() == "swell";
        ev.everySeconds = e.value("everySeconds").toDouble(ev.everySeconds);
        ev.atSecond = e.value("atSecond").toDouble(ev.atSecond);
        ev.durationMs = e.value("durationMs").toDouble(ev.durationMs);
        ev.percent = e.value("percent").toDouble(ev.swell ? 115 : 60);
        if (e.contains("phases")) {
            ev.phaseMask = 0;
            for (const QJsonValue& p : e.value("phases").toArray())
                if (p.toInt() >= 1 && p.toInt() <= 3) ev.phaseMask |= 1u << (p.toInt() - 1);
        }
        if (ev.everySeconds <= 0 || ev.durationMs < 0 || ev.percent < 0 || ev.percent > 200) {
            error = "supply: bad event";
            return false;
        }
        out.push_back(ev);
    }
    return true;
}

} // namespace

bool SupplyConfig::read(const QJsonObject& o, std::string& error) {
    voltage = o.value("voltage").toDouble(voltage);
    current = o.value("current").toDouble(current);
    frequency = o.value("frequency").toDouble(frequency);
    driftHz = o.value("driftHz").toDouble(driftHz);
    driftPeriodS = o.value("driftPeriodS").toDouble(driftPeriodS);
    powerFactor = o.value("powerFactor").toDouble(powerFactor);
    unbalancePercent = o.value("unbalancePercent").toDouble(unbalancePercent);
    neutralVolts = o.value("neutralVolts").toDouble(neutralVolts);
    residualAmps = o.value("residualAmps").toDouble(residualAmps);
    temperature = o.value("temperature").toDouble(temperature);
    plt = o.value("plt").toDouble(plt);
    sampleRate = uint32_t(o.value("sampleRate").toInt(int(sampleRate)));
    QJsonObject em = o.value("emission").toObject();
    emissionHz = em.value("hz").toDouble(emissionHz);
    emissionPercent = em.value("percent").toDouble(emissionPercent);
    if (voltage <= 0 || voltage > 100000 || current < 0 || current > 100000) {
        error = "supply: voltage or current out of range";
        return false;
    }
    if (frequency < 40 || frequency > 70 || driftHz < 0 || driftHz > 2 || driftPeriodS <= 0) {
        error = "supply: frequency out of range";
        return false;
    }
    if (plt < 0 || plt > 20) {
        error = "supply: plt must lie between 0 and 20";
        return false;
    }
    if (powerFactor <= 0 || powerFactor > 1 || unbalancePercent < 0 || unbalancePercent > 20) {
        error = "supply: power factor or unbalance out of range";
        return false;
    }
    // Below 10240/s the 2-9 kHz bands are not seen; above 51200/s a block gets needlessly large.
    if (sampleRate < 10240 || sampleRate > 51200) {
        error = "supply: sampleRate must lie between 10240 and 51200";
        return false;
    }
    return readComponents(o, "voltageHarmonics", 50, voltageHarmonics, error) &&
           readComponents(o, "currentHarmonics", 50, currentHarmonics, error) &&
           readComponents(o, "interharmonics", 49.9, interharmonics, error) && readEvents(o, events, error);
}

bool SupplyConfig::applyOverrides(const std::string& list, std::string& error) {
    size_t from = 0;
    while (from <= list.size() && !list.empty()) {
        size_t to = list.find(',', from);
        if (to == std::string::npos) to = list.size();
        const std::string item = list.substr(from, to - from);
        from = to + 1;
        const size_t eq = item.find('=');
        char* end = nullptr;
        const std::string key = item.substr(0, eq);
        const std::string text = eq == std::string::npos ? std::string() : item.substr(eq + 1);
        const double v = std::strtod(text.c_str(), &end);
        if (eq == std::string::npos || text.empty() || *end || !std::isfinite(v)) {
            error = "supply: bad item '" + item + "' (KEY=NUMBER)";
            return false;
        }
        if (key.size() > 1 && key[0] == 'h' && key.find_first_not_of("0123456789", 1) == std::string::npos) {
            const long order = std::strtol(key.c_str() + 1, nullptr, 10);
            if (order < 2 || order > 50 || v < 0 || v > 100) {
                error = "supply: " + item + ": order 2 to 50, 0 to 100 %";
                return false;
            }
            auto it = std::find_if(voltageHarmonics.begin(), voltageHarmonics.end(),
                                   [&](const SupplyComponent& c) { return c.order == double(order); });
            if (it == voltageHarmonics.end())
                voltageHarmonics.push_back({double(order), v, 0});
            else
                it->percent = v;
        } else if (key == "unbalance") {
            // The phases' amplitudes differ by +-x: the negative sequence comes to x / sqrt(3).
            if (v < 0 || v * std::sqrt(3.0) > 20) {
                error = "supply: unbalance must lie between 0 and 11.5 %";
                return false;
            }
            unbalancePercent = v * std::sqrt(3.0);
        } else if (key == "df") {
            if (frequency + v < 40 || frequency + v > 70) {
                error = "supply: df leaves the frequency outside 40 to 70 Hz";
                return false;
            }
            frequency += v;
        } else if (key == "plt") {
            if (v < 0 || v > 20) {
                error = "supply: plt must lie between 0 and 20";
                return false;
            }
            plt = v;
        } else {
            error = "supply: unknown key '" + key + "' (hN, unbalance, df, plt)";
            return false;
        }
    }
    return true;
}

} // namespace ferro::sim
