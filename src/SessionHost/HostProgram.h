#pragma once

#include "SessionHost/HostPaths.h"

#include <sys/types.h>

namespace Keelhaven {

/// Runs the server until SIGTERM, SIGINT, SIGHUP or `server.stop`; gives the program's exit status. Needs a
/// QCoreApplication. `paneMask` is the umask that the user's own programs get in the panes.
[[nodiscard]] int runHost(const HostPaths &paths, mode_t paneMask);

} // namespace Keelhaven
