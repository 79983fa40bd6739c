#include "App/Commands/ScheduleOptions.h"

#include <QRegularExpression>

namespace Keelhaven::ScheduleOptions {

using namespace Qt::StringLiterals;

namespace {

constexpr std::array<QStringView, 7> dayNames{u"sunday",   u"monday", u"tuesday", u"wednesday",
                                              u"thursday", u"friday", u"saturday"};
constexpr std::array<QStringView, 4> kinds{u"daily", u"weekly", u"every-hours", u"once"};

std::optional<ScheduleSpec::HourMinute> timeFrom(const QString &text)
{
    static const QRegularExpression form(u"^(\\d{1,2}):(\\d{2})$"_s);
    const auto match = form.match(text);
    const ScheduleSpec::HourMinute time{match.captured(1).toInt(), match.captured(2).toInt()};
    return match.hasMatch() && time.hour < 24 && time.minute < 60 ? std::optional(time) : std::nullopt;
}

std::optional<QList<ScheduleSpec::HourMinute>> timesFrom(const QString &text)
{
    QList<ScheduleSpec::HourMinute> times;
    for (const QString &part : text.split(u',')) {
        const auto time = timeFrom(part);
        if (!time)
            return std::nullopt;
        if (!times.contains(*time))
            times.append(*time);
    }
    return times;
}

/// 1 = Sunday … 7 = Saturday, by the whole English name or its first three letters.
std::optional<int> dayFrom(const QString &text)
{
    const QString name = text.toLower();
    for (size_t i = 0; i < dayNames.size(); ++i) {
        if (name == dayNames[i] || name == dayNames[i].left(3))
            return static_cast<int>(i) + 1;
    }
    return std::nullopt;
}

std::optional<ScheduleSpec::Weekly> weeklyFrom(const QString &text)
{
    ScheduleSpec::Weekly weekly;
    const qsizetype at = text.indexOf(u'@');
    const auto times = at > 0 ? timesFrom(text.mid(at + 1)) : std::nullopt;
    if (!times)
        return std::nullopt;
    for (const QString &part : text.left(at).split(u',')) {
        const auto day = dayFrom(part);
        if (!day)
            return std::nullopt;
        weekly.days.insert(*day);
    }
    weekly.times = *times;
    return weekly;
}

std::optional<ScheduleSpec::EveryHours> everyHoursFrom(const QString &text)
{
    static const QRegularExpression form(u"^(\\d{1,2})(?:@(\\d{1,2})-(\\d{1,2}))?$"_s);
    const auto match = form.match(text);
    ScheduleSpec::EveryHours rule{match.captured(1).toInt(), std::nullopt};
    if (!match.hasMatch() || rule.interval < 1 || rule.interval > 24)
        return std::nullopt;
    if (match.hasCaptured(2)) {
        rule.window = ScheduleSpec::DayWindow{match.captured(2).toInt(), match.captured(3).toInt()};
        if (rule.window->startHour >= rule.window->endHour || rule.window->endHour > 24)
            return std::nullopt;
    }
    return rule;
}

std::optional<Date> dateFrom(const QString &text, const Calendar &calendar)
{
    // People leave the seconds out; the reader of files does not.
    static const QRegularExpression noSeconds(
        u"^(\\d{4}-\\d{2}-\\d{2}T\\d{2}:\\d{2})(Z|[+-]\\d{2}:\\d{2})$"_s);
    if (const auto date = dateFromLooseISOText(QString(text).replace(noSeconds, u"\\1:00\\2"_s)))
        return date;
    for (const auto &form : {u"yyyy-MM-dd'T'HH:mm:ss"_s, u"yyyy-MM-dd'T'HH:mm"_s, u"yyyy-MM-dd HH:mm"_s}) {
        const auto wall = QDateTime::fromString(text, form);
        if (!wall.date().isValid() || !wall.time().isValid())
            continue;
        const std::chrono::sys_days day(
            std::chrono::days(wall.date().toJulianDay() - QDate(1970, 1, 1).toJulianDay()));
        return calendar.resolve(day, wall.time().hour(), wall.time().minute()) +
               std::chrono::seconds(wall.time().second());
    }
    return std::nullopt;
}

} // namespace

std::optional<QString> checkTimes(QStringView text)
{
    return timesFrom(text.toString()) ? std::nullopt : std::optional(u"is no time of day (HH:MM)"_s);
}

std::optional<QString> checkWeekly(QStringView text)
{
    return weeklyFrom(text.toString()) ? std::nullopt : std::optional(u"is not of the form mon,fri@HH:MM"_s);
}

std::optional<QString> checkEveryHours(QStringView text)
{
    return everyHoursFrom(text.toString())
               ? std::nullopt
               : std::optional(u"is not of the form N or N@FROM-TO (hours, N from 1 to 24)"_s);
}

std::optional<QString> checkOnce(QStringView text)
{
    // Whether it is a date does not depend on the zone.
    return dateFrom(text.toString(), Calendar(QTimeZone::utc()))
               ? std::nullopt
               : std::optional(u"is no ISO date and time (2026-03-04T09:30)"_s);
}

std::optional<QString> checkTogether(const Arguments &arguments)
{
    const auto given = std::ranges::count_if(kinds, [&](QStringView kind) { return arguments.has(kind); });
    return given > 1 ? std::optional(u"give one of --daily, --weekly, --every-hours and --once"_s)
                     : std::nullopt;
}

std::optional<ScheduleSpec> read(const Arguments &arguments, const Calendar &calendar)
{
    if (arguments.has(u"daily"))
        return ScheduleSpec{ScheduleSpec::Daily{*timesFrom(arguments.values(u"daily").join(u','))}};
    if (const auto text = arguments.value(u"weekly"))
        return ScheduleSpec{*weeklyFrom(*text)};
    if (const auto text = arguments.value(u"every-hours"))
        return ScheduleSpec{*everyHoursFrom(*text)};
    if (const auto text = arguments.value(u"once"))
        return ScheduleSpec{ScheduleSpec::Once{*dateFrom(*text, calendar)}};
    return std::nullopt;
}

} // namespace Keelhaven::ScheduleOptions
