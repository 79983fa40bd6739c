#pragma once

#include "App/Commands/CommandContext.h"

/// The sweep: starting one, reading its report, and going on with its conversation.
namespace Keelhaven::SweepCommand {

[[nodiscard]] QCoro::Task<CommandReply> sweep(Arguments arguments, CommandContext context);
[[nodiscard]] std::optional<QString> check(const Arguments &arguments);

} // namespace Keelhaven::SweepCommand
