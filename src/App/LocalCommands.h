#pragma once

#include <QStringList>

namespace Keelhaven {

struct CommandReply;

/// Writes the reply to this process's own output and gives its exit status.
[[nodiscard]] int print(const CommandReply &reply);

/// Answers what can be answered while no instance runs: help, wrong usage, and the commands that need none.
/// Gives the exit status; may become another program.
[[nodiscard]] int runWithoutInstance(const QStringList &words);

} // namespace Keelhaven
