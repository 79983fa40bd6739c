#include "Scheduler/Model/ScheduleSpec.h"

#include <QLocale>
#include <algorithm>

namespace Keelhaven {

using namespace Qt::StringLiterals;

namespace {

/// The one place that turns an hourly rule into the times of its day.
QList<ScheduleSpec::HourMinute> timesOf(const ScheduleSpec::EveryHours &rule)
{
    const auto window = rule.window.value_or(ScheduleSpec::DayWindow{});
    QList<ScheduleSpec::HourMinute> times;
    if (rule.interval < 1 || window.startHour >= window.endHour)
        return times;
    // The steps count from the window's own start, also where no clock shows that hour.
    qint64 hour = window.startHour;
    if (hour < 0)
        hour += (-hour + rule.interval - 1) / rule.interval * rule.interval;
    for (; hour < std::min(window.endHour, 24); hour += rule.interval)
        times.append({static_cast<int>(hour), 0});
    return times;
}

/// Files may hold anything; a clock never shows 24:00 or 9:75, and one such time would spoil the whole wake
/// job.
bool exists(const ScheduleSpec::HourMinute &time)
{
    return time.hour >= 0 && time.hour < 24 && time.minute >= 0 && time.minute < 60;
}

/// Earliest moment after `after` on a day that `takesDay`, at one of the times.
template <typename TakesDay>
std::optional<Date> nextAt(const QList<ScheduleSpec::HourMinute> &times, Date after, const Calendar &calendar,
                           TakesDay takesDay)
{
    if (times.isEmpty())
        return std::nullopt;
    // Yesterday takes part because its last time may have been pushed over midnight by a gap; a week and a
    // day ahead holds every weekday at least once after `after`.
    const auto today = calendar.wallTime(after).day;
    for (auto day = today - std::chrono::days(1); day <= today + std::chrono::days(8);
         day += std::chrono::days(1)) {
        if (!takesDay(day))
            continue;
        std::optional<Date> best;
        for (const auto &time : times) {
            if (!exists(time))
                continue;
            const Date candidate = calendar.resolve(day, time.hour, time.minute);
            if (candidate > after && (!best || candidate < *best))
                best = candidate;
        }
        if (best)
            return best;
    }
    return std::nullopt;
}

bool everyDay(std::chrono::sys_days)
{
    return true;
}

struct NextFire
{
    Date after;
    const Calendar &calendar;

    std::optional<Date> operator()(const ScheduleSpec::Daily &rule) const
    {
        return nextAt(rule.times, after, calendar, everyDay);
    }
    std::optional<Date> operator()(const ScheduleSpec::Weekly &rule) const
    {
        return nextAt(rule.times, after, calendar, [&](std::chrono::sys_days day) {
            return rule.days.contains(static_cast<int>(std::chrono::weekday(day).c_encoding()) + 1);
        });
    }
    std::optional<Date> operator()(const ScheduleSpec::EveryHours &rule) const
    {
        return nextAt(timesOf(rule), after, calendar, everyDay);
    }
    std::optional<Date> operator()(const ScheduleSpec::Once &rule) const
    {
        return rule.date > after ? std::optional(rule.date) : std::nullopt;
    }
};

QString clockTexts(QList<ScheduleSpec::HourMinute> times)
{
    std::ranges::sort(times);
    QStringList texts;
    for (const auto &time : times)
        texts.append(clockText(time));
    return texts.join(u", "_s);
}

struct Summary
{
    const Calendar &calendar;

    QString operator()(const ScheduleSpec::Daily &rule) const
    {
        return u"daily at "_s + clockTexts(rule.times);
    }
    QString operator()(const ScheduleSpec::Weekly &rule) const
    {
        QStringList days;
        for (const int day : rule.days)
            days.append(weekdayText(day));
        return days.join(u", "_s) + u" at "_s + clockTexts(rule.times);
    }
    QString operator()(const ScheduleSpec::EveryHours &rule) const
    {
        const QString text = u"every %1h"_s.arg(rule.interval);
        return rule.window
                   ? text + u" between %1:00–%2:00"_s.arg(rule.window->startHour).arg(rule.window->endHour)
                   : text;
    }
    QString operator()(const ScheduleSpec::Once &rule) const
    {
        const QLocale english(QLocale::English, QLocale::UnitedStates);
        return u"once at "_s +
               english.toString(toQDateTime(rule.date).toTimeZone(calendar.zone()), u"ddd d MMM, h:mm AP"_s);
    }
};

QList<CalendarEntry> dailyEntries(const QList<ScheduleSpec::HourMinute> &times)
{
    QList<CalendarEntry> entries;
    for (const auto &time : times) {
        if (exists(time))
            entries.append({{u"Hour"_s, time.hour}, {u"Minute"_s, time.minute}});
    }
    return entries;
}

struct CalendarEntries
{
    const Calendar &calendar;

    QList<CalendarEntry> operator()(const ScheduleSpec::Daily &rule) const
    {
        return dailyEntries(rule.times);
    }
    QList<CalendarEntry> operator()(const ScheduleSpec::EveryHours &rule) const
    {
        return dailyEntries(timesOf(rule));
    }
    QList<CalendarEntry> operator()(const ScheduleSpec::Weekly &rule) const
    {
        auto times = rule.times;
        std::ranges::sort(times);
        QList<CalendarEntry> entries;
        for (const int day : rule.days) {
            if (day < 1 || day > 7)
                continue;
            for (CalendarEntry entry : dailyEntries(times)) {
                entry.insert(u"Weekday"_s, day - 1);
                entries.append(entry);
            }
        }
        return entries;
    }
    QList<CalendarEntry> operator()(const ScheduleSpec::Once &rule) const
    {
        const auto wall = calendar.wallTime(rule.date);
        return {{{u"Month"_s, static_cast<int>(static_cast<unsigned>(wall.date().month()))},
                 {u"Day"_s, static_cast<int>(static_cast<unsigned>(wall.date().day()))},
                 {u"Hour"_s, wall.hour},
                 {u"Minute"_s, wall.minute}}};
    }
};

} // namespace

QString clockText(const ScheduleSpec::HourMinute &time)
{
    const int hour = time.hour % 12 == 0 ? 12 : time.hour % 12;
    return u"%1:%2 %3"_s.arg(hour)
        .arg(time.minute, 2, 10, QChar(u'0'))
        .arg(time.hour <= 11 ? u"am"_s : u"pm"_s);
}

QString weekdayText(int day)
{
    static constexpr std::array<QStringView, 7> names{u"Sun", u"Mon", u"Tue", u"Wed", u"Thu", u"Fri", u"Sat"};
    return day >= 1 && day <= 7 ? names[static_cast<size_t>(day - 1)].toString() : u"?"_s;
}

std::optional<Date> ScheduleSpec::nextFireDate(Date after, const Calendar &calendar) const
{
    return std::visit(NextFire{after, calendar}, rule);
}

QList<Date> ScheduleSpec::fireDates(Date from, Date to, const Calendar &calendar, int limit) const
{
    QList<Date> dates;
    Date cursor = from;
    while (dates.size() < limit) {
        const auto next = nextFireDate(cursor, calendar);
        if (!next || *next >= to)
            break;
        dates.append(*next);
        cursor = *next;
    }
    return dates;
}

QString ScheduleSpec::summary(const Calendar &calendar) const
{
    return std::visit(Summary{calendar}, rule);
}

QList<CalendarEntry> ScheduleSpec::launchdCalendarEntries(const Calendar &calendar) const
{
    return std::visit(CalendarEntries{calendar}, rule);
}

// The JSON of each case is one object with its "kind" beside the case's own fields.

template <>
struct RecordTable<ScheduleSpec::HourMinute>
{
    static auto fields()
    {
        using T = ScheduleSpec::HourMinute;
        return std::tuple{required(u"hour", &T::hour), required(u"minute", &T::minute)};
    }
};

template <>
struct RecordTable<ScheduleSpec::DayWindow>
{
    static auto fields()
    {
        using T = ScheduleSpec::DayWindow;
        return std::tuple{required(u"startHour", &T::startHour), required(u"endHour", &T::endHour)};
    }
};

template <>
struct JSONCodec<std::set<int>>
{
    static Decoded<std::set<int>> decode(const JSONValue &json)
    {
        const auto list = JSONCodec<QList<int>>::decode(json);
        if (!list)
            return failure(list.error());
        return std::set<int>(list->begin(), list->end());
    }
    static JSONValue encode(const std::set<int> &days)
    {
        return JSONCodec<QList<int>>::encode(QList<int>(days.begin(), days.end()));
    }
};

template <>
struct RecordTable<ScheduleSpec::Daily>
{
    static constexpr QStringView kind = u"daily";
    static auto fields() { return std::tuple{required(u"times", &ScheduleSpec::Daily::times)}; }
};

template <>
struct RecordTable<ScheduleSpec::Weekly>
{
    static constexpr QStringView kind = u"weekly";
    static auto fields()
    {
        return std::tuple{required(u"days", &ScheduleSpec::Weekly::days),
                          required(u"times", &ScheduleSpec::Weekly::times)};
    }
};

template <>
struct RecordTable<ScheduleSpec::EveryHours>
{
    static constexpr QStringView kind = u"everyHours";
    static auto fields()
    {
        return std::tuple{required(u"interval", &ScheduleSpec::EveryHours::interval),
                          optional(u"window", &ScheduleSpec::EveryHours::window)};
    }
};

template <>
struct RecordTable<ScheduleSpec::Once>
{
    static constexpr QStringView kind = u"once";
    static auto fields() { return std::tuple{required(u"date", &ScheduleSpec::Once::date)}; }
};

namespace {

template <typename Case>
Decoded<ScheduleSpec> decodeCase(const JSONValue &json)
{
    auto rule = decodeRecord<Case>(json);
    if (!rule)
        return failure(rule.error());
    return ScheduleSpec{*std::move(rule)};
}

} // namespace

Decoded<ScheduleSpec> JSONCodec<ScheduleSpec>::decode(const JSONValue &json)
{
    const JSONValue *kind = json[u"kind"];
    const QString text = kind ? kind->stringValue().value_or(QString()) : QString();
    if (text == RecordTable<ScheduleSpec::Daily>::kind)
        return decodeCase<ScheduleSpec::Daily>(json);
    if (text == RecordTable<ScheduleSpec::Weekly>::kind)
        return decodeCase<ScheduleSpec::Weekly>(json);
    if (text == RecordTable<ScheduleSpec::EveryHours>::kind)
        return decodeCase<ScheduleSpec::EveryHours>(json);
    if (text == RecordTable<ScheduleSpec::Once>::kind)
        return decodeCase<ScheduleSpec::Once>(json);
    return failure(DecodeError{u"kind"_s, text.isEmpty() ? u"missing"_s : u"unknown value: "_s + text});
}

JSONValue JSONCodec<ScheduleSpec>::encode(const ScheduleSpec &schedule)
{
    return std::visit(
        []<typename Case>(const Case &rule) -> JSONValue {
            JSONObject object;
            object.set(u"kind"_s, RecordTable<Case>::kind);
            const JSONObject fields = encodeRecord(rule);
            for (const QString &key : fields.keys())
                object.set(key, *fields.find(key));
            return object;
        },
        schedule.rule);
}

} // namespace Keelhaven
