#pragma once

#include "App/Commands/CommandContext.h"

/// The command that lists what fires in the next days. With 200 agents a year has 73,000 lines, so whatever
/// can be done once for each agent is.
namespace Keelhaven::AgendaCommand {

[[nodiscard]] CommandReply agenda(const Arguments &arguments, const CommandContext &context);
/// The value check of --days.
[[nodiscard]] std::optional<QString> checkDays(QStringView text);

} // namespace Keelhaven::AgendaCommand
