#pragma once

#include "App/Commands/CommandContext.h"

/// The commands on secrets. Nothing they print holds one.
namespace Keelhaven::SecretCommands {

/// Keeps what standard input holds.
[[nodiscard]] QCoro::Task<CommandReply> set(Arguments arguments, CommandContext context);
[[nodiscard]] QCoro::Task<CommandReply> delete_(Arguments arguments, CommandContext context);

/// The operand has to be the name of a service.
[[nodiscard]] std::optional<QString> checkService(const Arguments &arguments);

/// The services that Keelhaven itself asks for, for --help.
[[nodiscard]] QString servicesText();

} // namespace Keelhaven::SecretCommands
