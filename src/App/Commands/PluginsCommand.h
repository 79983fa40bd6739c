#pragma once

#include "App/Commands/CommandContext.h"

namespace Keelhaven::PluginsCommand {

/// Which plugins Claude Code has, as its own files tell.
[[nodiscard]] QCoro::Task<CommandReply> list(Arguments arguments, MachineContext context);

} // namespace Keelhaven::PluginsCommand
