#pragma once

#include "App/Commands/CommandContext.h"

/// The commands that show sessions: what they wrote, and the live ones themselves.
namespace Keelhaven::SessionCommands {

/// Why the text is no value for --limit.
[[nodiscard]] std::optional<QString> checkLimit(QStringView text);
/// The screen of a run, then the last of what it put into its journal.
[[nodiscard]] QCoro::Task<CommandReply> logs(Arguments arguments, CommandContext context);
/// Has the caller's terminal join the session host, at a run's session where one is named.
[[nodiscard]] QCoro::Task<CommandReply> attach(Arguments arguments, CommandContext context);

} // namespace Keelhaven::SessionCommands
