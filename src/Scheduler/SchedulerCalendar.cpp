#include "Scheduler/SchedulerCalendar.h"

#include <algorithm>
#include <tuple>
#include <vector>

namespace Keelhaven {

QString SchedulerCalendar::Entry::id() const
{
    return uuidText(slotID) + u'-' + isoText(date);
}

namespace {

/// One firing while the agenda is put into order: sorting these is far cheaper than sorting entries.
struct Firing
{
    Date date;
    qsizetype rank; ///< of its agent among all by name, then id

    auto operator<=>(const Firing &) const = default;
};

/// The agents that the agenda shows, by name, then id.
std::vector<const SchedulerSlot *> shownAgents(const QList<SchedulerSlot> &slotList)
{
    std::vector<const SchedulerSlot *> shown;
    for (const auto &slot : slotList) {
        if (slot.enabled && slot.provider == AgentProvider::Claude)
            shown.push_back(&slot);
    }
    std::ranges::sort(shown, {}, [](const SchedulerSlot *slot) { return std::tie(slot->name, slot->id); });
    return shown;
}

} // namespace

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

    const auto agents = shownAgents(slotList);
    std::vector<std::vector<Firing>> firings(static_cast<size_t>(dayCount));
    for (qsizetype rank = 0; rank < std::ssize(agents); ++rank) {
        for (const Date date : agents[rank]->schedule.fireDates(now, end, calendar, firingsPerAgent))
            firings[(calendar.wallTime(date).day - today).count()].push_back({date, rank});
    }
    agenda.days.reserve(dayCount);
    for (int i = 0; i < dayCount; ++i) {
        auto &ofDay = firings[i];
        std::ranges::sort(ofDay);
        Day day{calendar.resolve(today + std::chrono::days(i), 0, 0), {}};
        day.entries.reserve(std::ssize(ofDay));
        for (const auto &firing : ofDay) {
            const auto &slot = *agents[firing.rank];
            day.entries.append({slot.id, slot.name, firing.date, slot.schedule.isOnce()});
        }
        agenda.days.append(std::move(day));
    }
    return agenda;
}

} // namespace Keelhaven
