#pragma once

#include "Platform/Desktop.h"
#include "Platform/ProcessRunner.h"
#include "Platform/SettingsStore.h"

namespace Keelhaven {

/// Desktop on X11 and Wayland. The collaborators outlive it.
class XdgDesktop : public Desktop
{
public:
    /// The user's own terminal emulator: a program with its options, as in "kitty --single-instance".
    static constexpr QStringView terminalKey = u"terminalCommand";

    XdgDesktop(ProcessRunner &processes, SettingsStore &settings);

    /// Tries, in this order, the setting `terminalKey`, $TERMINAL, what the system says is the default, and
    /// the emulators it knows by name, until one can be started. It is not waited for.
    [[nodiscard]] bool openTerminal(const QStringList &command) override;

    /// `emulator` with its own options, then `command` in the way that emulator takes one. Empty when
    /// `emulator` is.
    [[nodiscard]] static QStringList terminalArguments(const QStringList &emulator,
                                                       const QStringList &command);

private:
    ProcessRunner &m_processes;
    SettingsStore &m_settings;
};

} // namespace Keelhaven
