#include "para/TimeZones.h"

#include <QByteArray>
#include <QDate>
#include <QDateTime>
#include <QLocale>
#include <QTimeZone>

#include <algorithm>
#include <cstdlib>
#include <limits>

namespace ferro {

namespace {

// The zone database's regions; other ids are aliases of these ("US/Eastern") or fixed offsets.
bool IsRegionZone(const QByteArray& Id) {
    static const char* const regions[] = {"Africa/",   "America/",   "Antarctica/", "Arctic/", "Asia/",
                                          "Atlantic/", "Australia/", "Europe/",     "Indian/", "Pacific/"};
    for (const char* r : regions)
        if (Id.startsWith(r)) return true;
    return Id == "UTC";
}

// A transition as a change date: the wall clock just before it, with the week of its weekday.
TSystemTime ChangeDate(const QDateTime& AtUtc, int OffsetBefore) {
    const QDateTime wall = AtUtc.addSecs(OffsetBefore).toTimeSpec(Qt::UTC);
    const QDate d = wall.date();
    TSystemTime t;
    t.Month = uint16_t(d.month());
    t.DayOfWeek = uint16_t(d.dayOfWeek() % 7);
    // A date in the last seven days of its month is the "last" weekday: that is how rules are made.
    t.Day = uint16_t(d.day() + 7 > d.daysInMonth() ? 5 : (d.day() - 1) / 7 + 1);
    t.Hour = uint16_t(wall.time().hour());
    t.Minute = uint16_t(wall.time().minute());
    return t;
}

std::string OffsetText(int32_t Bias) {
    if (Bias == 0) return "(UTC)";
    const int east = -Bias;
    char buf[24];
    std::snprintf(buf, sizeof buf, "(UTC%c%02d:%02d)", east < 0 ? '-' : '+', std::abs(east) / 60,
                  std::abs(east) % 60);
    return buf;
}

} // namespace

bool ZoneToTZI(const std::string& Id, int Year, TTZI& Out) {
    const QTimeZone zone(QByteArray::fromStdString(Id));
    if (!zone.isValid()) return false;
    Out = TTZI();
    const QDateTime from(QDate(Year, 1, 1), QTime(0, 0), Qt::UTC),
        to(QDate(Year + 1, 1, 1), QTime(0, 0), Qt::UTC);
    // The offset the zone keeps outside daylight saving in that year.
    const QTimeZone::OffsetData mid = zone.offsetData(QDateTime(QDate(Year, 7, 1), QTime(0, 0), Qt::UTC));
    // A zone without data for that year tells an offset of INT_MIN: nothing to offer.
    if (mid.standardTimeOffset == std::numeric_limits<int>::min()) return false;
    Out.Bias = -mid.standardTimeOffset / 60;
    // Only one daylight period of a year can be told: the first begin and the last end. A zone whose
    // "daylight" lies below its standard offset (negative saving) is taken as without it.
    bool haveStart = false;
    for (const QTimeZone::OffsetData& t : zone.transitions(from, to)) {
        if (t.daylightTimeOffset > 0 && !haveStart) {
            haveStart = true;
            Out.daylightDate = ChangeDate(t.atUtc, t.standardTimeOffset);
            Out.Daylightbias = -t.daylightTimeOffset / 60;
        } else if (t.daylightTimeOffset == 0 && haveStart) {
            // The offset before the end is the daylight one of the period that ends here.
            Out.Standarddate = ChangeDate(t.atUtc, t.standardTimeOffset - Out.Daylightbias * 60);
        }
    }
    // A zone in daylight saving at the turn of the year (south) has its end before its begin.
    if (haveStart && Out.Standarddate.Month == 0) {
        for (const QTimeZone::OffsetData& t : zone.transitions(from, to))
            if (t.daylightTimeOffset == 0) {
                Out.Standarddate = ChangeDate(t.atUtc, t.standardTimeOffset - Out.Daylightbias * 60);
                break;
            }
    }
    if (!haveStart || Out.Standarddate.Month == 0) {
        Out.daylightDate = Out.Standarddate = TSystemTime();
        Out.Daylightbias = 0;
    }
    return true;
}

std::vector<TTimeZoneSettings> ReadTimeZones(int Year) {
    const QLocale german(QLocale::German, QLocale::Germany);
    std::vector<TTimeZoneSettings> out;
    for (const QByteArray& id : QTimeZone::availableTimeZoneIds()) {
        if (!IsRegionZone(id)) continue;
        TTimeZoneSettings z;
        z.Name = id.toStdString();
        if (!ZoneToTZI(z.Name, Year, z.Settings)) continue;
        const QTimeZone zone(id);
        const QString name = zone.displayName(QTimeZone::StandardTime, QTimeZone::LongName, german);
        z.Display = OffsetText(z.Settings.Bias) + " " + z.Name;
        if (!name.isEmpty() && name.toStdString() != z.Name) z.Display += " - " + name.toStdString();
        out.push_back(std::move(z));
    }
    std::stable_sort(out.begin(), out.end(), [](const TTimeZoneSettings& a, const TTimeZoneSettings& b) {
        return QString::fromStdString(a.Display).compare(QString::fromStdString(b.Display),
                                                         Qt::CaseInsensitive) < 0;
    });
    return out;
}

uint32_t DayCodeOfWeek(int Week, int Month) {
    switch (Week) {
    case 0:
    case 1:
        return 1;
    case 2:
        return 7;
    case 3:
        return 14;
    case 4:
        return 21;
    default:
        // The instrument counts the last week from a fixed year: February has 28 days there.
        return uint32_t(QDate(2018, std::clamp(Month, 1, 12), 1).daysInMonth() - 6);
    }
}

std::vector<std::pair<uint32_t, uint32_t>> ZoneSettingValues(const TTZI& Zone) {
    std::vector<std::pair<uint32_t, uint32_t>> v;
    auto weekday = [](uint16_t D) { return D == 0 ? 7u : uint32_t(D); };
    const TSystemTime& s = Zone.Standarddate;
    if (s.Month >= 1) v.emplace_back(tzid::EndMonth, s.Month);
    v.emplace_back(tzid::Dst, s.Month >= 1 ? 1 : 0);
    v.emplace_back(tzid::EndWeekday, weekday(s.DayOfWeek));
    v.emplace_back(tzid::EndDay, DayCodeOfWeek(s.Day, s.Month));
    v.emplace_back(tzid::EndHour, s.Hour);
    const TSystemTime& d = Zone.daylightDate;
    if (d.Month > 0) v.emplace_back(tzid::StartMonth, d.Month);
    v.emplace_back(tzid::StartWeekday, weekday(d.DayOfWeek));
    v.emplace_back(tzid::StartDay, DayCodeOfWeek(d.Day, d.Month));
    v.emplace_back(tzid::StartHour, d.Hour);
    v.emplace_back(tzid::Sign, Zone.Bias > 0 ? 1 : 0);
    v.emplace_back(tzid::Hours, uint32_t(std::abs(Zone.Bias) / 60));
    v.emplace_back(tzid::Minutes, uint32_t(std::abs(Zone.Bias) % 60));
    return v;
}

int FindZone(const std::vector<TTimeZoneSettings>& Zones, const TTZI& Device, bool* Full) {
    auto same = [](const TSystemTime& a, const TSystemTime& b) {
        return a.Month == b.Month && a.DayOfWeek == b.DayOfWeek && a.Day == b.Day && a.Hour == b.Hour;
    };
    int found = -1;
    if (Full) *Full = false;
    for (size_t i = 0; i < Zones.size(); ++i) {
        const TTZI& z = Zones[i].Settings;
        if (z.Bias != Device.Bias) continue;
        if (found < 0) found = int(i);
        if (same(z.Standarddate, Device.Standarddate) && same(z.daylightDate, Device.daylightDate)) {
            if (Full) *Full = true;
            return int(i);
        }
    }
    return found;
}

} // namespace ferro
