#pragma once

#include "Plugins/TaskWorkspace.h"
#include "Store/DirectoryWatcher.h"

#include <QCoroTask>
#include <QObject>

namespace Keelhaven {

class Tasks;

/// Lists the task workspaces that exist, for the screens. Lives on the main loop; folders are read on a pool
/// thread, one scan at a time. The collaborators outlive it.
class WorkspaceStore : public QObject
{
    Q_OBJECT

public:
    /// `root` is the folder that holds all workspaces.
    WorkspaceStore(QString root, Clock &clock, DirectoryWatchFactory &factory, Tasks &tasks);

    [[nodiscard]] const QList<TaskWorkspace> &all() const { return m_all; }
    [[nodiscard]] QString root() const { return m_root; }

    /// Loads once and watches from then on.
    void start();
    void stop();

    /// Scans again. During a scan it asks for another one after it.
    void reload();

    /// The workspaces exactly two levels below `root`, by project, then task. A folder whose workspace.json
    /// is missing, broken or without an id is passed over; a workspace that all folders of an agent share
    /// lies one level below the root and is not listed. Blocking.
    [[nodiscard]] static QList<TaskWorkspace> scan(const QString &root);

Q_SIGNALS:
    /// `all` is another list than before.
    void changed();

private:
    QCoro::Task<> runScans();

    QString m_root;
    Tasks &m_tasks;
    DirectoryWatcher m_watcher;
    QList<TaskWorkspace> m_all;
    bool m_isScanning = false;
    bool m_scanAgain = false;
};

} // namespace Keelhaven
