#pragma once

#include "App/Commands/CommandContext.h"

/// The commands on runs, and the instance's state as a whole.
namespace Keelhaven::RunCommands {

[[nodiscard]] CommandReply list(const Arguments &arguments, const CommandContext &context);
[[nodiscard]] CommandReply show(const Arguments &arguments, const CommandContext &context);
[[nodiscard]] CommandReply stop(const Arguments &arguments, const CommandContext &context);
[[nodiscard]] QCoro::Task<CommandReply> resume(Arguments arguments, CommandContext context);
[[nodiscard]] CommandReply takeOver(const Arguments &arguments, const CommandContext &context);
[[nodiscard]] CommandReply hide(const Arguments &arguments, const CommandContext &context);
[[nodiscard]] CommandReply unhide(const Arguments &arguments, const CommandContext &context);
[[nodiscard]] CommandReply remove(const Arguments &arguments, const CommandContext &context);
[[nodiscard]] CommandReply status(const Arguments &arguments, const CommandContext &context);
[[nodiscard]] CommandReply open(const Arguments &arguments, const CommandContext &context);

/// The value check of --limit.
[[nodiscard]] std::optional<QString> checkLimit(QStringView text);

} // namespace Keelhaven::RunCommands
