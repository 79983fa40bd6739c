#pragma once

#include "Platform/Calendar.h"
#include "Platform/JobManager.h"
#include "Scheduler/Model/SchedulerSlot.h"

#include <QObject>

namespace Keelhaven {

/// Keeps the per-user job that wakes the application at every firing time, so that schedules survive a
/// machine that sleeps and an application that was closed. On the main loop; the job manager outlives it.
class LaunchdManager : public QObject
{
    Q_OBJECT

public:
    explicit LaunchdManager(JobManager &jobs, QString label = QStringLiteral("com.keelhaven.scheduler"),
                            std::function<Calendar()> calendar = Calendar::current);

    /// Makes the job mirror the agents; no schedulable agent means no job. While one sync runs, a later one
    /// only leaves its agents behind for the running one to carry out, so the last call stands.
    [[nodiscard]] QCoro::Task<> sync(QList<SchedulerSlot> slotList);

    /// The calendar moments of all agents that fire by themselves, each once, in order of appearance.
    [[nodiscard]] static QList<CalendarEntry> calendarEntries(const QList<SchedulerSlot> &slotList,
                                                              const Calendar &calendar);

    /// The job as an XML property list, for a machine whose job manager takes one. Nothing without entries.
    [[nodiscard]] static std::optional<QByteArray> plistData(const QString &label,
                                                             const QList<CalendarEntry> &entries);

    [[nodiscard]] QString label() const { return m_label; }

private:
    JobManager &m_jobs;
    QString m_label;
    std::function<Calendar()> m_calendar;
    std::optional<QList<CalendarEntry>> m_wanted; ///< not yet given to the job manager
    bool m_running = false;
};

} // namespace Keelhaven
