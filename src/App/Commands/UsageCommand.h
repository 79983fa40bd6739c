#pragma once

#include "App/Commands/CommandContext.h"

/// The usage meters of the Claude account, and whether they hold scheduled runs back.
namespace Keelhaven::UsageCommand {

/// With --refresh the account is asked first; when that brings nothing, the last numbers are shown and the
/// exit status is 1.
[[nodiscard]] QCoro::Task<CommandReply> usage(Arguments arguments, CommandContext context);

} // namespace Keelhaven::UsageCommand
