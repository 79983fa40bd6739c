#pragma once

#include "Platform/FileFootprint.h"
#include "Plugins/TaskWorkspace.h"
#include "Store/DirectoryWatcher.h"

#include <QCoroTask>
#include <QObject>

namespace Keelhaven {

class Tasks;

/// Lists the task workspaces that exist, for the screens. Lives on the main loop; folders are read on a pool
/// thread, one scan at a time, and only when something in them changed. The collaborators outlive it.
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

    /// Looks again. During a scan it asks for another look after it.
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
    FileFootprint m_footprint; ///< of what `m_all` was read from
    bool m_isScanning = false;
    bool m_scanAgain = false;
};

} // namespace Keelhaven
