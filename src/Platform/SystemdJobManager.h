#pragma once

#include "Platform/JobManager.h"
#include "Platform/ServiceStatus.h"
#include "Platform/SystemdUserManager.h"

#include <QSet>

namespace Keelhaven {

/// JobManager as a systemd user timer with its service. The timer only calls the program, which looks itself
/// what is due: systemd skips a day on which the wall clock leaves the time out, the schedule does not. So no
/// occurrence that the machine slept through is made up for either. Main loop only; `processes` outlives it.
class SystemdJobManager : public JobManager
{
public:
    /// `command` is what the service runs: a program by its full path, and its arguments.
    SystemdJobManager(ProcessRunner &processes, const QString &configHome, QStringList command);

    /// Writes "{label}.timer" and "{label}.service" and has systemd take them over, when they changed or do
    /// not stand yet. Where no user manager runs nothing is written.
    [[nodiscard]] QCoro::Task<> schedule(QString label, QList<CalendarEntry> entries) override;

    [[nodiscard]] QCoro::Task<ServiceStatus> examine() const;

    [[nodiscard]] static QString timerText(const QList<CalendarEntry> &entries);
    [[nodiscard]] static QString serviceText(const QStringList &command);
    /// One entry as systemd writes a calendar moment: "Mon *-*-* 09:30:00".
    [[nodiscard]] static QString onCalendar(const CalendarEntry &entry);

private:
    [[nodiscard]] QCoro::Task<> install(QString label, QString timerText, QString serviceText);
    [[nodiscard]] QCoro::Task<> remove(QString label);

    SystemdUserManager m_manager;
    QStringList m_command;
    QSet<QString> m_standing; ///< labels whose timers this process has seen running from the files on disk
};

} // namespace Keelhaven
