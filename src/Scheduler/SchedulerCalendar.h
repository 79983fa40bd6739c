#pragma once

#include "Scheduler/Model/SchedulerSlot.h"

namespace Keelhaven {

/// The agenda: the firings of the next days, day by day. A value.
struct SchedulerCalendar
{
    struct Entry
    {
        QUuid slotID;
        QString name;
        Date date;
        bool isOneShot = false;

        /// Slot id and date joined by "-".
        [[nodiscard]] QString id() const;
        bool operator==(const Entry &) const = default;
    };

    struct Day
    {
        Date start; ///< also its identity
        QList<Entry> entries;
        bool operator==(const Day &) const = default;
    };

    /// Firings kept of one agent.
    static constexpr int firingsPerAgent = 400;

    QList<Day> days;

    bool operator==(const SchedulerCalendar &) const = default;

    /// `dayCount` days from today, each with the firings from `now` on, also when it has none. An agent that
    /// its captain runs keeps its place here: its schedule is still shown.
    [[nodiscard]] static SchedulerCalendar build(const QList<SchedulerSlot> &slotList, Date now, int dayCount,
                                                 const Calendar &calendar);
};

} // namespace Keelhaven
