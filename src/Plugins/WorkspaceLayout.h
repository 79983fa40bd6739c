#pragma once

#include "Scheduler/Model/SchedulerSlot.h"

namespace Keelhaven {

/// Names and places of task workspaces. Pure functions.
namespace WorkspaceLayout {

/// Where an agent works for one of its project folders.
struct Target
{
    QString projectDir;
    QString workspaceDir;
    QString task; ///< the workspace's name within the agent
    bool operator==(const Target &) const = default;
};

/// Lower-case letters a–z, digits, "-" and "_"; each run of anything else inside becomes one "-". May be
/// empty.
[[nodiscard]] QString slug(const QString &text);

/// The name's slug, cut to what a folder can be called, or "agent-" and the first 8 characters of the id in
/// lower case when that is empty.
[[nodiscard]] QString slugForAgentNamed(const QString &name, const QUuid &fallback);

/// The folder name for the workspace of an agent that has none yet: the one after its name, made unlike that
/// of every other agent in `all`. Two agents in one workspace would overwrite each other's brief and plugins
/// at each launch.
[[nodiscard]] QString ownSlug(const SchedulerSlot &slot, const QList<SchedulerSlot> &all);

/// The agent's `workspaceSlug` when it can be a folder's name, else slugForAgentNamed.
[[nodiscard]] QString slugOf(const SchedulerSlot &slot);

/// One folder name for each project folder, in order. Folders of one name are told apart by their parents,
/// and where those have one name too, all but the first by their paths.
[[nodiscard]] QStringList folderNames(const QStringList &folders);

/// One target for each project folder; none for an agent without workspaces. `root` holds all workspaces.
[[nodiscard]] QList<Target> targets(const SchedulerSlot &slot, const QString &root);

/// Where a run for `folder` starts: its workspace, or the folder itself when it has none.
[[nodiscard]] QString launchDir(const QString &folder, const SchedulerSlot &slot, const QString &root);

} // namespace WorkspaceLayout

} // namespace Keelhaven
