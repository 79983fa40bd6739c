#pragma once

#include "Scheduler/Model/RunRecord.h"
#include "Scheduler/Model/SchedulerSlot.h"

namespace Keelhaven {

/// What it takes to pick up a finished run's conversation in a new session.
namespace RunResume {

/// Whether the run itself continued an earlier conversation.
[[nodiscard]] bool isResumed(const RunRecord &record);

/// Why the run's conversation cannot be picked up, as a sentence for the user; nothing when it can.
[[nodiscard]] std::optional<QString> blockedReason(const RunRecord &record);

/// An agent for one run that opens `record`'s conversation for a person and stays open. It is never saved.
/// `original` is the agent that made the run, where it still exists.
[[nodiscard]] SchedulerSlot slot(const RunRecord &record, const std::optional<SchedulerSlot> &original,
                                 Date now);

/// The process that has the conversation open, by the notes that sessions keep of themselves in
/// `claudeFolder`; nothing when none is alive. Releases that keep no notes are not found.
[[nodiscard]] std::optional<qint64> openIn(const QString &conversation, const QString &claudeFolder);

} // namespace RunResume

} // namespace Keelhaven
