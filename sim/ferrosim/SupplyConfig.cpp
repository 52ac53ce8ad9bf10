#include "ferrosim/SupplyConfig.h"

#include <QJsonArray>
#include <QJsonObject>

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

} // namespace ferro::sim
