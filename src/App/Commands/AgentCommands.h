#pragma once

#include "App/Commands/CommandContext.h"

/// The commands on agents. Each is a function of its arguments and the instance's state that gives the whole
/// reply.
namespace Keelhaven::AgentCommands {

[[nodiscard]] CommandReply list(const Arguments &arguments, const CommandContext &context);
[[nodiscard]] CommandReply add(const Arguments &arguments, const CommandContext &context);
[[nodiscard]] CommandReply edit(const Arguments &arguments, const CommandContext &context);
[[nodiscard]] CommandReply enable(const Arguments &arguments, const CommandContext &context);
[[nodiscard]] CommandReply disable(const Arguments &arguments, const CommandContext &context);
[[nodiscard]] CommandReply remove(const Arguments &arguments, const CommandContext &context);
[[nodiscard]] CommandReply run(const Arguments &arguments, const CommandContext &context);

/// The options of `agents add`: those of an agent, and what it starts from.
[[nodiscard]] std::vector<OptionSpec> addOptions();
/// `agents add` without a schedule, or with two, is wrong usage.
[[nodiscard]] std::optional<QString> checkAdd(const Arguments &arguments);

} // namespace Keelhaven::AgentCommands
