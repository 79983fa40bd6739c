#pragma once

#include "App/Commands/CommandContext.h"

namespace Keelhaven {

class CodexUsageMonitor;

/// The rate limits of the Codex account, for "keelhaven usage --codex".
namespace CodexUsageCommand {

/// Asks Codex, which takes up to 20 s. When that brings nothing, the last numbers are shown and the exit
/// status is 1. `monitor` may go before the task ends; `clock` and what `context` names outlive it.
[[nodiscard]] QCoro::Task<CommandReply> usage(bool asJSON, CodexUsageMonitor *monitor, const Clock *clock,
                                              CommandContext context);

} // namespace CodexUsageCommand

} // namespace Keelhaven
