#pragma once

#include "Scheduler/Model/SchedulerSlot.h"

namespace Keelhaven {

/// What the line of an agent says.
struct SlotRow
{
    QUuid id;
    QString name;
    QString provider; ///< "Claude", "Codex"
    QString schedule; ///< scheduleText, or how else the agent comes to run
    QString nextRun;
    bool isEnabled = false;
    /// Why the enabling switch does not apply, as its help; nothing when it does.
    std::optional<QString> toggleHelp;
    bool operator==(const SlotRow &) const = default;

    [[nodiscard]] static SlotRow of(const SchedulerSlot &slot, Date now, const Calendar &calendar);

    /// "Daily at 9:00 am", "Weekly Mon, Fri 8:30 am", "Every 2 h · 9:00 am–5:00 pm", "Once Mar 4, 7:05 PM"
    [[nodiscard]] static QString scheduleText(const ScheduleSpec &spec, const Calendar &calendar);
    [[nodiscard]] static QString nextRunText(const SchedulerSlot &slot, Date now, const Calendar &calendar);
    /// "now", "in 12 min", "Tonight 1:00 AM": a fire before six in the morning counts as part of the night
    /// before it.
    [[nodiscard]] static QString relative(Date date, Date now, const Calendar &calendar);
};

/// The agents that the list shows: all but the program's own.
[[nodiscard]] QList<SchedulerSlot> managedSlots(const QList<SchedulerSlot> &slotList);

} // namespace Keelhaven
