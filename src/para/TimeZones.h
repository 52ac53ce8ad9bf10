#pragma once
// The zone table of the time page: every zone of the system's zone database as the record the
// instrument's time settings are made from (offset, daylight offset, the two change dates as
// "n-th weekday of a month"), and the way between such a record and the setup's time zone ids.

#include "foundation/TimeRecords.h" // WeekOfDayCode

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace ferro {

// A change date: month 0 means no change. In a rule `Day` 1 to 5 is the first to fifth (= last)
// `DayOfWeek` (0 Sunday to 6 Saturday) of the month; `Hour` is the wall clock before the change.
struct TSystemTime {
    uint16_t Year = 0, Month = 0, DayOfWeek = 0, Day = 0, Hour = 0, Minute = 0, Second = 0, Milliseconds = 0;
};

// A zone's rules: offsets in minutes, as UTC minus local time (Berlin: Bias -60, Daylightbias -60).
struct TTZI {
    int32_t Bias = 0, Standardbias = 0, Daylightbias = 0;
    TSystemTime Standarddate; // daylight saving ends
    TSystemTime daylightDate; // daylight saving begins
};

struct TTimeZoneSettings {
    std::string Name;    // the zone database's id ("Europe/Berlin")
    std::string Display; // "(UTC+01:00) Europe/Berlin - Mitteleuropäische Normalzeit"
    TTZI Settings;
};

// The setup ids of the time zone.
namespace tzid {
constexpr uint32_t Sign = 0xFE000306, Hours = 0xFE000307, Minutes = 0xFE000308, Dst = 0xFE000309;
constexpr uint32_t StartMonth = 0xFE00030A, StartDay = 0xFE00030B, StartHour = 0xFE00030C,
                   StartWeekday = 0xFE00030D;
constexpr uint32_t EndMonth = 0xFE00030E, EndDay = 0xFE00030F, EndHour = 0xFE000310, EndWeekday = 0xFE000311;
constexpr uint32_t All[] = {Sign,      Hours,        Minutes,  Dst,    StartMonth, StartDay,
                            StartHour, StartWeekday, EndMonth, EndDay, EndHour,    EndWeekday};
} // namespace tzid

// The rules of zone `Id` in `Year`; false for an id the database does not know.
bool ZoneToTZI(const std::string& Id, int Year, TTZI& Out);
// Every zone of the database in `Year` with its German display text, sorted by that text.
std::vector<TTimeZoneSettings> ReadTimeZones(int Year);

// The instrument's day code of a week of the month (1..5, 5 = last): 1, 7, 14, 21, or the month's
// days in 2018 minus 6. Week 0 (no rule) counts as the first.
uint32_t DayCodeOfWeek(int Week, int Month);

// What choosing a zone writes, id = value in this order; a month of 0 is left out, so that the
// instrument keeps its last dates when a zone has no daylight saving.
std::vector<std::pair<uint32_t, uint32_t>> ZoneSettingValues(const TTZI& Zone);
// The instrument's zone from its setup values (`Value` gives the value of an id): offset and, when
// daylight saving is on, the two dates; the dates are empty when it is off.
template <class F> TTZI ZoneFromSetting(F Value);
// The entry to select for the instrument's zone: the first with the same Bias, unless a later one
// also has the same change dates (month, weekday, week, hour). -1 when none has the Bias.
int FindZone(const std::vector<TTimeZoneSettings>& Zones, const TTZI& Device, bool* Full = nullptr);

template <class F> TTZI ZoneFromSetting(F Value) {
    TTZI z;
    const int32_t minutes = int32_t(Value(tzid::Hours)) * 60 + int32_t(Value(tzid::Minutes));
    z.Bias = Value(tzid::Sign) != 0 ? minutes : -minutes;
    if (Value(tzid::Dst) == 0) return z;
    auto date = [&](uint32_t Month, uint32_t Day, uint32_t Hour, uint32_t Weekday) {
        TSystemTime t;
        t.Month = uint16_t(Value(Month));
        t.Day = uint16_t(WeekOfDayCode(Value(Day)));
        t.Hour = uint16_t(Value(Hour));
        t.DayOfWeek = uint16_t(Value(Weekday) % 7);
        return t;
    };
    z.daylightDate = date(tzid::StartMonth, tzid::StartDay, tzid::StartHour, tzid::StartWeekday);
    z.Standarddate = date(tzid::EndMonth, tzid::EndDay, tzid::EndHour, tzid::EndWeekday);
    z.Daylightbias = -60;
    return z;
}

} // namespace ferro
