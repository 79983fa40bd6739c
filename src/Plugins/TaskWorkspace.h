#pragma once

#include "Contract/JSONValue.h"
#include "Scheduler/Model/ScheduleSpec.h"

namespace Keelhaven {

/// The agent that works in a workspace, as the analysis service describes it.
struct WorkspaceSlot
{
    JSONObject raw;
    std::optional<QString> id;
    std::optional<QString> name;
    std::optional<QString> prompt;
    std::optional<qint64> timeoutMinutes;
    bool enabled = false;
    std::optional<QString> summary;
    std::optional<QString> nextFire;

    [[nodiscard]] static WorkspaceSlot fromJSON(const JSONValue &json);

    /// When the agent fires, if the object says it in the form of our own agents.
    [[nodiscard]] std::optional<ScheduleSpec> schedule() const;

    bool operator==(const WorkspaceSlot &) const = default;
};

/// One task workspace that was found on disk, or that the service told of.
struct TaskWorkspace
{
    JSONObject raw;
    QString id;
    QString project; ///< the agent's slug
    QString task;
    std::optional<QString> createdAt;
    QStringList plugins;
    QString brief;
    std::optional<QString> slotID;
    QString path;
    std::optional<WorkspaceSlot> slot;

    /// `folder` is where the record was found; its own `path` goes before it. Nothing without an id or
    /// without a path.
    [[nodiscard]] static std::optional<TaskWorkspace> fromJSON(const JSONValue &json,
                                                               const QString &folder = {});

    bool operator==(const TaskWorkspace &) const = default;
};

} // namespace Keelhaven
