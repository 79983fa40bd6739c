#include "Scheduler/SchedulerCalendar.h"

#include <algorithm>
#include <tuple>

namespace Keelhaven {

QString SchedulerCalendar::Entry::id() const
{
    return uuidText(slotID) + u'-' + isoText(date);
}

SchedulerCalendar SchedulerCalendar::build(const QList<SchedulerSlot> &slotList, Date now, int dayCount,
                                           const Calendar &calendar)
{
    constexpr int farthest = 36500; // a century; beyond it dates would overflow sooner or later
    SchedulerCalendar agenda;
    if (dayCount < 1 || dayCount > farthest)
        return agenda;
    const auto today = calendar.wallTime(now).day;
    const Date end = calendar.resolve(today + std::chrono::days(dayCount), 0, 0);
    if (end <= now)
        return agenda;
    for (int i = 0; i < dayCount; ++i)
        agenda.days.append({calendar.resolve(today + std::chrono::days(i), 0, 0), {}});

    for (const auto &slot : slotList) {
        if (!slot.enabled || slot.provider != AgentProvider::Claude)
            continue;
        for (const Date date : slot.schedule.fireDates(now, end, calendar, firingsPerAgent)) {
            const auto index = (calendar.wallTime(date).day - today).count();
            agenda.days[index].entries.append({slot.id, slot.name, date, slot.schedule.isOnce()});
        }
    }
    for (auto &day : agenda.days) {
        std::ranges::sort(day.entries, {},
                          [](const Entry &entry) { return std::tie(entry.date, entry.name, entry.slotID); });
    }
    return agenda;
}

} // namespace Keelhaven
