#pragma once

#include "SessionHost/ProcessTree.h"

#include <QHash>

namespace Keelhaven {

/// Remembers for somebody who asks now and then whether processes have ended and files in folders have
/// changed since. The kernel does the remembering: what is watched wakes nobody up, and a question costs one
/// call, however much is watched.
class ChangeWatch
{
public:
    ChangeWatch();
    ChangeWatch(const ChangeWatch &) = delete;
    ChangeWatch &operator=(const ChangeWatch &) = delete;
    ~ChangeWatch();

    /// Until the process has ended. False when it cannot be watched. What is watched from now on is news: it
    /// may have changed since it was last looked at.
    bool watchProcess(ProcessID process);

    /// The same for files that come, go or are written in it. A folder that is missing cannot be watched.
    bool watchFolder(const QByteArray &path);

    /// Whether the process is watched and has not ended, as of the last call of look() or takeNews().
    [[nodiscard]] bool isRunning(ProcessID process) const
    {
        return m_processes.value(process.pid) == process.startTime;
    }

    /// Asks the kernel.
    void look();

    /// Whether there was a change since the last call.
    [[nodiscard]] bool takeNews();

private:
    void takeEnded(int descriptor);
    void takeFolderEvents();

    int m_poll = -1;    ///< has all others
    int m_folders = -1; ///< inotify
    bool m_hasNews = false;
    QHash<QByteArray, int> m_watches;  ///< of folders
    QHash<pid_t, quint64> m_processes; ///< start times
    QHash<int, pid_t> m_descriptors;   ///< of processes
};

} // namespace Keelhaven
