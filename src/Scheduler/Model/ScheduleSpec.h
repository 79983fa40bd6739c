#pragma once

#include "Contract/RecordMapper.h"
#include "Platform/Calendar.h"
#include "Platform/JobManager.h"

#include <set>

namespace Keelhaven {

/// When an agent fires. A tagged value with four cases.
struct ScheduleSpec
{
    /// A wall-clock time, ordered by hour, then minute.
    struct HourMinute
    {
        int hour = 0;
        int minute = 0;
        auto operator<=>(const HourMinute &) const = default;
    };

    /// From `startHour` up to, not including, `endHour`.
    struct DayWindow
    {
        int startHour = 0;
        int endHour = 24;
        bool operator==(const DayWindow &) const = default;
    };

    /// Every day at each time.
    struct Daily
    {
        QList<HourMinute> times;
        bool operator==(const Daily &) const = default;
    };

    /// On each weekday (1 = Sunday … 7 = Saturday) at each time.
    struct Weekly
    {
        std::set<int> days;
        QList<HourMinute> times;
        bool operator==(const Weekly &) const = default;
    };

    /// Every `interval` hours on the hour, inside the window.
    struct EveryHours
    {
        int interval = 1;
        std::optional<DayWindow> window;
        bool operator==(const EveryHours &) const = default;
    };

    /// At one instant.
    struct Once
    {
        Date date;
        bool operator==(const Once &) const = default;
    };

    std::variant<Daily, Weekly, EveryHours, Once> rule;

    bool operator==(const ScheduleSpec &) const = default;
    [[nodiscard]] bool isOnce() const { return std::holds_alternative<Once>(rule); }

    /// The next firing strictly after `after`, or nothing when there is none. A time inside a daylight-saving
    /// gap fires at the first moment after it; a time that occurs twice fires at its first occurrence.
    [[nodiscard]] std::optional<Date> nextFireDate(Date after, const Calendar &calendar) const;

    /// At most `limit` firings from `from` (exclusive) up to `to` (exclusive).
    [[nodiscard]] QList<Date> fireDates(Date from, Date to, const Calendar &calendar, int limit) const;

    /// The text shown for the schedule: "daily at 9:00 am", "Mon, Fri at 8:30 am", "every 2h between
    /// 9:00–17:00".
    [[nodiscard]] QString summary(const Calendar &calendar) const;

    /// The same moments for a per-user job manager.
    [[nodiscard]] QList<CalendarEntry> launchdCalendarEntries(const Calendar &calendar) const;
};

/// "9:05 am", "12:00 pm"
[[nodiscard]] QString clockText(const ScheduleSpec::HourMinute &time);
/// "Sun" for 1 to "Sat" for 7, "?" for any other number.
[[nodiscard]] QString weekdayText(int day);

template <>
struct JSONCodec<ScheduleSpec>
{
    static Decoded<ScheduleSpec> decode(const JSONValue &json);
    static JSONValue encode(const ScheduleSpec &schedule);
};

} // namespace Keelhaven
