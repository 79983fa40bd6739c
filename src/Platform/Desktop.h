#pragma once

#include <QStringList>

namespace Keelhaven {

/// The user's desktop.
class Desktop
{
public:
    virtual ~Desktop() = default;

    /// Opens a terminal window that runs `command`, one element an argument. False when there is no desktop
    /// or no terminal emulator.
    [[nodiscard]] virtual bool openTerminal(const QStringList &command) = 0;
};

} // namespace Keelhaven
