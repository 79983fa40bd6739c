#pragma once

#include "App/Commands/CommandContext.h"

/// The commands that put the program where the user's desktop and shells find it, and take it away again.
namespace Keelhaven::InstallCommand {

[[nodiscard]] QCoro::Task<CommandReply> install(Arguments arguments, MachineContext context);
[[nodiscard]] QCoro::Task<CommandReply> uninstall(Arguments arguments, MachineContext context);

} // namespace Keelhaven::InstallCommand
