#pragma once

#include "Scheduler/Model/SchedulerSlot.h"

namespace Keelhaven {

/// The next fire date of every slot, computed once per change of a slot and not once per question. The dates
/// depend on the slots, the floor and the calendar alone, never on the present moment.
class DueTable
{
public:
    explicit DueTable(Date floor);

    /// Forgets all dates; the next question computes them anew.
    void invalidate() { m_isValid = false; }
    /// The slot at `index` changed and none moved: only its date is computed anew.
    void update(const QList<SchedulerSlot> &slotList, qsizetype index, const Calendar &calendar);

    /// Date of the slot at `index`; nothing when it never fires.
    [[nodiscard]] std::optional<Date> dueAt(const QList<SchedulerSlot> &slotList, qsizetype index,
                                            const Calendar &calendar);

    /// Index and date of the enabled slot that fires first; the first in list order on a tie.
    [[nodiscard]] std::optional<std::pair<qsizetype, Date>> earliest(const QList<SchedulerSlot> &slotList,
                                                                     const Calendar &calendar);

private:
    void refresh(const QList<SchedulerSlot> &slotList, const Calendar &calendar);

    Date m_floor;
    bool m_isValid = false;
    QByteArray m_zoneID;
    std::vector<std::optional<Date>> m_dates;
    std::optional<std::pair<qsizetype, Date>> m_earliest;
    bool m_earliestKnown = false;
};

} // namespace Keelhaven
