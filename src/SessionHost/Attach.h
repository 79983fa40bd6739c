#pragma once

#include "SessionHost/HostPaths.h"

namespace Keelhaven {

/// Shows the session in this terminal until the person leaves it; gives the exit status for the program. It
/// stays as the parent of tmux's client, so that a look at the processes finds who is attached by this
/// program's own command line. The error is a sentence.
[[nodiscard]] Result<int, QString> attachHere(const HostPaths &paths);

} // namespace Keelhaven
