#pragma once

#include <QProcessEnvironment>

namespace Keelhaven {

/// This process's environment as the tmux server and so every pane gets it: without the marks of a
/// surrounding terminal, session host or agent session, which would make an agent believe that it runs inside
/// another one.
[[nodiscard]] QProcessEnvironment paneEnvironment();

} // namespace Keelhaven
