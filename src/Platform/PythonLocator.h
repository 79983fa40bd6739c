#pragma once

#include "Platform/ClaudeLocator.h"

namespace Keelhaven {

class Desktop;

/// Finds the python3 that the plugin's programs run on. The collaborators outlive it.
class PythonLocator
{
public:
    /// The system's own python3 counts only when it runs: a broken upgrade leaves one that does not.
    static constexpr QStringView systemPython = u"/usr/bin/python3";

    PythonLocator(ProcessRunner &processes, const ClaudeLocator &locator, Desktop &desktop,
                  QString system = systemPython.toString());

    /// The first usable python3 on the login shell's PATH, else on the system's. Nothing when there is none.
    [[nodiscard]] QCoro::Task<std::optional<QString>> resolve(bool refreshPATH) const;

    /// Whether the system's python3 is there and runs.
    [[nodiscard]] QCoro::Task<bool> developerToolsInstalled() const;

    /// Opens a terminal in which the system's package manager asks to install Python and git; it is not
    /// waited for. False without a terminal or a package manager this knows.
    [[nodiscard]] bool installDeveloperTools() const;

    /// The command for that, as a person types it; empty where the package manager is none this knows.
    [[nodiscard]] static QString installCommand();

private:
    ProcessRunner &m_processes;
    const ClaudeLocator &m_locator;
    Desktop &m_desktop;
    QString m_system;
};

} // namespace Keelhaven
