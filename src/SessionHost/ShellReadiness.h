#pragma once

#include "SessionHost/ProcessTree.h"

namespace Keelhaven {

/// Whether the shell waits at its prompt for a line, so that what is typed is run and not lost or given to
/// somebody else. `shell` is the pane's first process, `terminal` its /dev/pts path.
[[nodiscard]] bool isShellReady(pid_t shell, const QByteArray &terminal);

} // namespace Keelhaven
