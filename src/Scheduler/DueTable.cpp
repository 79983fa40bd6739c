#include "Scheduler/DueTable.h"

namespace Keelhaven {

DueTable::DueTable(Date floor)
    : m_floor(floor)
{}

void DueTable::refresh(const QList<SchedulerSlot> &slotList, const Calendar &calendar)
{
    if (m_isValid && m_zoneID == calendar.zoneID())
        return;
    m_dates.clear();
    m_dates.reserve(static_cast<size_t>(slotList.size()));
    for (const auto &slot : slotList)
        m_dates.push_back(slot.nextFireDate(m_floor, calendar));
    m_zoneID = calendar.zoneID();
    m_isValid = true;
    m_earliestKnown = false;
}

void DueTable::update(const QList<SchedulerSlot> &slotList, qsizetype index, const Calendar &calendar)
{
    if (!m_isValid)
        return;
    m_dates[static_cast<size_t>(index)] = slotList[index].nextFireDate(m_floor, calendar);
    m_earliestKnown = false;
}

std::optional<Date> DueTable::dueAt(const QList<SchedulerSlot> &slotList, qsizetype index,
                                    const Calendar &calendar)
{
    refresh(slotList, calendar);
    return m_dates[static_cast<size_t>(index)];
}

std::optional<std::pair<qsizetype, Date>> DueTable::earliest(const QList<SchedulerSlot> &slotList,
                                                             const Calendar &calendar)
{
    refresh(slotList, calendar);
    if (m_earliestKnown)
        return m_earliest;
    m_earliest.reset();
    for (qsizetype i = 0; i < slotList.size(); ++i) {
        const auto date = m_dates[static_cast<size_t>(i)];
        if (slotList[i].enabled && date && (!m_earliest || *date < m_earliest->second))
            m_earliest.emplace(i, *date);
    }
    m_earliestKnown = true;
    return m_earliest;
}

} // namespace Keelhaven
