#pragma once

#include "Platform/JobManager.h"
#include "Platform/ProcessRunner.h"

namespace Keelhaven {

/// JobManager for macOS: a property list in the user's folder of agents, loaded by launchctl. Main loop only;
/// `processes` outlives it.
class LaunchctlJobManager : public JobManager
{
public:
    /// `folder` is where launchd looks for the user's jobs: "Library/LaunchAgents" in the home folder.
    LaunchctlJobManager(ProcessRunner &processes, QString folder);

    /// Writes "{label}.plist" and loads it anew. A file that cannot be written ends that; what launchctl says
    /// is not looked at: unloading a job that is not loaded fails, and nothing follows from it.
    [[nodiscard]] QCoro::Task<> schedule(QString label, QList<CalendarEntry> entries) override;

private:
    [[nodiscard]] QCoro::Task<> call(QStringList words) const;

    ProcessRunner &m_processes;
    QString m_folder;
};

} // namespace Keelhaven
