#include "SessionHost/ShellReadiness.h"

#include <fcntl.h>
#include <termios.h>
#include <unistd.h>

namespace Keelhaven {

namespace {

/// A line editor at its prompt has taken the terminal out of line mode; while profiles and commands run it is
/// in.
bool isInLineMode(const QByteArray &terminal)
{
    const int file = ::open(terminal.constData(), O_RDONLY | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
    termios settings{};
    const bool known = file >= 0 && ::tcgetattr(file, &settings) == 0;
    if (file >= 0)
        ::close(file);
    return !known || (settings.c_lflag & ICANON) != 0;
}

/// Shells without a line editor read in line mode.
bool hasNoLineEditor(const QByteArray &name)
{
    return name == "sh" || name == "-sh" || name == "dash" || name == "-dash" || name == "ash" ||
           name == "-ash" || name == "busybox";
}

} // namespace

bool isShellReady(pid_t shell, const QByteArray &terminal)
{
    const auto info = processInfo(shell);
    if (!info || info->state != 'S' || info->terminalGroup != info->group)
        return false;
    if (!isInLineMode(terminal))
        return true;
    return hasNoLineEditor(info->name) && childrenOf(shell).isEmpty();
}

} // namespace Keelhaven
