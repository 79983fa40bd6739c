#pragma once

#include "Scheduler/Model/SchedulerSlot.h"

#include <span>

namespace Keelhaven {

/// A ready-made agent to start from.
struct SlotTemplate
{
    QString id;
    QString name;
    QString prompt;
    std::optional<QString> suggestedCwd = {};
    WorkspaceMode workspaceMode = WorkspaceMode::None;

    bool operator==(const SlotTemplate &) const = default;

    /// In the order in which they are offered.
    [[nodiscard]] static std::span<const SlotTemplate> all();
    /// Null for an unknown id.
    [[nodiscard]] static const SlotTemplate *named(const QString &id);

    /// A new, disabled agent for the user to complete. It is stored nowhere.
    [[nodiscard]] SchedulerSlot makeSlot() const;
};

} // namespace Keelhaven
