#include "ferrosim/Profile.h"

#include "foundation/TimeRecords.h"

#include <QDateTime>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QStringList>

#include <algorithm>

namespace ferro::sim {

namespace {

uint32_t readDate(const QJsonValue& v, uint32_t fallback) {
    if (v.isDouble()) return uint32_t(v.toDouble());
    if (v.isString()) {
        QDateTime d = QDateTime::fromString(v.toString(), Qt::ISODate);
        if (!d.isValid()) return fallback;
        if (d.timeSpec() == Qt::LocalTime) d.setTimeSpec(Qt::UTC);
        return uint32_t(d.toSecsSinceEpoch());
    }
    return fallback;
}

time_rule_t readRule(const QJsonObject& o) {
    time_rule_t r;
    r.mon = uint8_t(o.value("mon").toInt());
    r.day = uint8_t(o.value("day").toInt());
    r.hour = uint8_t(o.value("hour").toInt());
    r.dow = uint8_t(o.value("dow").toInt());
    return r;
}

void readTime(const QJsonObject& o, time_set_t& t) {
    t.Std = uint32_t(o.value("std").toInt(int(t.Std)));
    t.Stdtz = time_tz_t::fromOffsetMinutes(o.value("stdOffsetMinutes").toInt(60));
    t.tz = time_tz_t::fromOffsetMinutes(o.value("offsetMinutes").toInt(60));
    t.dstmode = uint32_t(o.value("dstmode").toInt(1));
    t.ws = readRule(o.value("summerStart").toObject());
    t.sw = readRule(o.value("summerEnd").toObject());
    QJsonObject ls = o.value("leap").toObject();
    t.ls = {uint8_t(ls.value("year").toInt()), uint8_t(ls.value("mon").toInt()),
            uint8_t(ls.value("day").toInt()), uint8_t(ls.value("sgn").toInt())};
    t.ntpcycle = uint32_t(o.value("ntpcycle").toInt(64));
    QJsonArray servers = o.value("ntp").toArray();
    for (int i = 0; i < 4; ++i) {
        QJsonObject s = i < servers.size() ? servers.at(i).toObject() : QJsonObject();
        t.ntpip[i] = s.value("ip").toString().toStdString();
        t.ntpport[i] = uint16_t(s.value("port").toInt(s.isEmpty() ? 0 : 123));
    }
    t.bdnmea = uint32_t(o.value("bdnmea").toInt());
    t.rsnmea = uint32_t(o.value("rsnmea").toInt());
    t.rspcm = uint32_t(o.value("rspcm").toInt());
}

std::vector<std::string> toStrings(const QJsonArray& a) {
    std::vector<std::string> out;
    for (const QJsonValue& v : a)
        out.push_back(v.toString().toStdString());
    return out;
}

} // namespace

bool SimUser::has(const std::string& right) const {
    return std::find(rights.begin(), rights.end(), right) != rights.end();
}

uint32_t ParseFirmwareWord(const std::string& text) {
    QStringList parts = QString::fromStdString(text).split('.');
    if (parts.size() == 1) return parts[0].toUInt();
    uint32_t word = 0;
    for (int i = 0; i < 4; ++i)
        word = (word << 8) | (i < parts.size() ? (parts[i].toUInt() & 0xFF) : 0);
    return word;
}

uint32_t FirmwareOfGeneration(int gen, uint32_t current) {
    TFerroFW fw;
    fw.Rev = current;
    fw.CalcVer();
    if (fw.Gen == gen) return current;
    static const char* const releases[] = {"1.9.4.0", "2.1.3.0", "2.2.1.5"};
    return ParseFirmwareWord(releases[gen < 0 ? 0 : gen > 2 ? 2 : gen]);
}

bool Profile::load(const std::string& path, std::string& error) {
    QFile f(QString::fromStdString(path));
    if (!f.open(QIODevice::ReadOnly)) {
        error = "cannot open " + path;
        return false;
    }
    QJsonParseError pe;
    QJsonDocument doc = QJsonDocument::fromJson(f.read(4 * 1024 * 1024), &pe);
    if (doc.isNull() || !doc.isObject()) {
        error = path + ": " + pe.errorString().toStdString();
        return false;
    }
    QJsonObject o = doc.object();
    serial = uint32_t(o.value("serial").toDouble(serial));
    article = uint32_t(o.value("article").toDouble(article));
    productionDate = readDate(o.value("productionDate"), productionDate);
    QJsonValue fw = o.value("firmware");
    if (fw.isString())
        firmware = ParseFirmwareWord(fw.toString().toStdString());
    else if (fw.isDouble())
        firmware = uint32_t(fw.toDouble());
    plant = o.value("plant").toString(QString::fromStdString(plant)).toStdString();
    bay = o.value("bay").toString(QString::fromStdString(bay)).toStdString();
    device = o.value("device").toString(QString::fromStdString(device)).toStdString();
    readTime(o.value("time").toObject(), timeSet);
    allRights = toStrings(o.value("rights").toArray());
    users.clear();
    for (const QJsonValue& v : o.value("users").toArray()) {
        QJsonObject u = v.toObject();
        SimUser user{
            u.value("name").toString().toStdString(), u.value("password").toString().toStdString(), {}};
        if (u.value("rights").isString() && u.value("rights").toString() == "all")
            user.rights = allRights;
        else
            user.rights = toStrings(u.value("rights").toArray());
        users.push_back(std::move(user));
    }
    protocolVersion = uint16_t(o.value("protocolVersion").toInt(protocolVersion));
    connectionLimit = o.value("connectionLimit").toInt(connectionLimit);
    ntpRequestMs = o.value("ntpRequestMs").toInt(ntpRequestMs);
    calibrationFault = o.value("calibrationFault").toString().toStdString();
    sdCard = o.value("sdCard").toBool(sdCard);
    if (!supply.read(o.value("supply").toObject(), error)) {
        error = path + ": " + error;
        return false;
    }
    return true;
}

const SimUser* Profile::findUser(const std::string& name) const {
    for (const SimUser& u : users)
        if (u.name == name) return &u;
    return nullptr;
}

const SimUser* Profile::sessionUser() const {
    return users.empty() ? nullptr : &users.front();
}

} // namespace ferro::sim
