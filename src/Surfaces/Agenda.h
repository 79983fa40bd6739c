#pragma once

#include "Scheduler/SchedulerCalendar.h"

namespace Keelhaven {

/// One firing on a day's card.
struct AgendaEntry
{
    QString id;
    QUuid slotID;
    QString time; ///< "7:05 PM"
    QString name;
    bool isOneShot = false;
    bool operator==(const AgendaEntry &) const = default;
};

/// One day of the agenda, with or without firings.
struct AgendaDayCard
{
    Date start;
    QString title; ///< "Today · Mon 23", "Tomorrow · Tue 24", "Wed 25"
    QList<AgendaEntry> entries;
    bool operator==(const AgendaDayCard &) const = default;
};

/// What will fire in the next days.
struct Agenda
{
    static constexpr int dayCount = 10;

    QString caption;
    QList<AgendaDayCard> days;
    bool isEmpty = true; ///< no firing on any day

    bool operator==(const Agenda &) const = default;

    [[nodiscard]] static Agenda build(const QList<SchedulerSlot> &slotList, Date now,
                                      const Calendar &calendar);
};

/// "2 runs a day · 3 today", "3 runs in 10 days · nothing today", "nothing scheduled"
[[nodiscard]] QString agendaCaption(qsizetype total, int days, qsizetype today);

} // namespace Keelhaven
