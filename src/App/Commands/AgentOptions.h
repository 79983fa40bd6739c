#pragma once

#include "App/CommandLine.h"
#include "Platform/Calendar.h"
#include "Platform/Result.h"
#include "Scheduler/Model/SchedulerSlot.h"

namespace Keelhaven {

/// The options of `agents add` and `agents edit`, and what they do to an agent.
namespace AgentOptions {

/// The rows of the option table that both commands share.
[[nodiscard]] std::vector<OptionSpec> table();

/// What an agent is changed from, besides the options themselves.
struct Ground
{
    QString workingDirectory; ///< relative folders start here; empty when the caller has none
    Calendar calendar;        ///< a schedule without a zone means this one's
    Date now;
};

/// `slot` with the options laid over it; the error is the sentence for the user. Only form is looked at here:
/// whether the agent can be saved is its own question.
[[nodiscard]] Result<SchedulerSlot, QString> apply(SchedulerSlot slot, const Arguments &arguments,
                                                   const Ground &ground);

/// `path` as an absolute path; "~" is left to whoever knows the home folder.
[[nodiscard]] Result<QString, QString> absolutePath(const QString &path, const QString &workingDirectory);

} // namespace AgentOptions

} // namespace Keelhaven
