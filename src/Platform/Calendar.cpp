#include "Platform/Calendar.h"

#include <algorithm>

namespace Keelhaven {

namespace {

using Seconds = std::chrono::sys_seconds;

constexpr Seconds tableStart = std::chrono::sys_days(std::chrono::year(1970) / 1 / 1);
constexpr Seconds tableEnd = std::chrono::sys_days(std::chrono::year(2100) / 1 / 1);

QDateTime utc(Seconds moment)
{
    return QDateTime::fromSecsSinceEpoch(moment.time_since_epoch().count(), Qt::UTC);
}

} // namespace

struct Calendar::Zone
{
    struct Period
    {
        Seconds start;
        std::chrono::seconds offset; ///< east of UTC
    };

    explicit Zone(const QTimeZone &zone)
        : timeZone(zone)
        , id(zone.id())
    {
        periods.push_back({tableStart, std::chrono::seconds(zone.offsetFromUtc(utc(tableStart)))});
        for (const auto &transition : zone.transitions(utc(tableStart), utc(tableEnd))) {
            const std::chrono::seconds offset(transition.offsetFromUtc);
            if (offset != periods.back().offset)
                periods.push_back(
                    {Seconds(std::chrono::seconds(transition.atUtc.toSecsSinceEpoch())), offset});
        }
    }

    [[nodiscard]] size_t periodAt(Seconds moment) const
    {
        const auto next =
            std::upper_bound(periods.begin(), periods.end(), moment,
                             [](Seconds at, const Period &period) { return at < period.start; });
        return next == periods.begin() ? 0 : static_cast<size_t>(next - periods.begin()) - 1;
    }

    [[nodiscard]] std::chrono::seconds offsetAt(Seconds moment) const
    {
        if (moment >= tableStart && moment < tableEnd)
            return periods[periodAt(moment)].offset;
        return std::chrono::seconds(timeZone.offsetFromUtc(utc(moment)));
    }

    QTimeZone timeZone;
    QByteArray id;
    std::vector<Period> periods;
};

int Calendar::WallTime::weekday() const
{
    return static_cast<int>(std::chrono::weekday(day).c_encoding()) + 1;
}

Calendar::Calendar(const QTimeZone &zone)
    : m_zone(std::make_shared<const Zone>(zone.isValid() ? zone : QTimeZone::utc()))
{}

Calendar Calendar::current()
{
    static Calendar last{QTimeZone::systemTimeZone()};
    if (last.zoneID() != QTimeZone::systemTimeZoneId())
        last = Calendar(QTimeZone::systemTimeZone());
    return last;
}

Calendar::WallTime Calendar::wallTime(Date moment) const
{
    const auto utcSecond = std::chrono::floor<std::chrono::seconds>(moment);
    const auto local = utcSecond + m_zone->offsetAt(utcSecond);
    const auto day = std::chrono::floor<std::chrono::days>(local);
    const std::chrono::hh_mm_ss time(local - day);
    return {day, static_cast<int>(time.hours().count()), static_cast<int>(time.minutes().count()),
            static_cast<int>(time.seconds().count())};
}

Date Calendar::resolve(std::chrono::sys_days day, int hour, int minute) const
{
    const Seconds wall = Seconds(day) + std::chrono::hours(hour) + std::chrono::minutes(minute);
    // No zone is further than 26 hours from any other, so the answer lies in a period that is running
    // somewhere in the two days around.
    constexpr auto reach = std::chrono::hours(27);
    if (wall - reach < tableStart || wall + reach >= tableEnd)
        return wall - m_zone->offsetAt(wall - m_zone->offsetAt(wall));
    for (size_t i = m_zone->periodAt(wall - reach); i < m_zone->periods.size(); ++i) {
        const auto &period = m_zone->periods[i];
        const Seconds candidate = std::max(wall - period.offset, period.start);
        const bool last = i + 1 == m_zone->periods.size();
        if (last || candidate < m_zone->periods[i + 1].start)
            return candidate;
    }
    return wall;
}

Date Calendar::startOfDay(Date moment) const
{
    return resolve(wallTime(moment).day, 0, 0);
}

QByteArray Calendar::zoneID() const
{
    return m_zone->id;
}

QTimeZone Calendar::zone() const
{
    return m_zone->timeZone;
}

} // namespace Keelhaven
