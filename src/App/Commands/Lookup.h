#pragma once

#include "App/Commands/CommandContext.h"
#include "Scheduler/ActiveRun.h"

namespace Keelhaven {

/// Where a run stands.
enum class RunPlace { Queued, Launching, Live, Ending, Finished };

/// "waiting", "launching", "live", "ending", "finished"
[[nodiscard]] QString placeText(RunPlace place);

struct FoundRun
{
    RunRecord record;
    RunPlace place = RunPlace::Finished;
};

/// The agent that a full id, a unique prefix of at least 4 characters or an exact unique name means; the
/// error is the sentence for the user.
[[nodiscard]] Result<SchedulerSlot, QString> findAgent(const QList<SchedulerSlot> &agents,
                                                       const QString &text);

/// The run that a full id or a unique prefix of at least 4 characters means, wherever it stands.
[[nodiscard]] Result<FoundRun, QString> findRun(const CommandContext &context, const QString &text);

/// Every run that the instance knows: waiting, passing and live ones, then history.
[[nodiscard]] QList<FoundRun> allRuns(const CommandContext &context);

/// The first eight characters of an id: what lists show and lookups take.
[[nodiscard]] QString shortID(const QUuid &id);

} // namespace Keelhaven
