#pragma once

#include "Platform/ProcessRunner.h"
#include "Platform/SettingsStore.h"

namespace Keelhaven {

/// The one way to reach outside tools: an application started by the desktop has a short PATH, the tools lie
/// where the user's login shell finds them. Both collaborators outlive it.
class ClaudeLocator
{
public:
    /// How long a login shell may take over its start-up files and the command.
    static constexpr std::chrono::milliseconds shellLimit = std::chrono::seconds(5);

    ClaudeLocator(ProcessRunner &processes, SettingsStore &settings, QString home,
                  std::chrono::milliseconds limit = shellLimit);

    /// What `command`, a line for /bin/sh, prints with the environment of the user's login shell, trimmed.
    /// Nothing when the shell cannot start, takes longer than 5 s or does not come to the command; what its
    /// profile prints is left out. The exit status is not looked at.
    [[nodiscard]] QCoro::Task<std::optional<QString>> loginShell(QString command) const;

    /// The login shell's PATH with the user tool folders added. Cached in the setting "loginShellPATH".
    [[nodiscard]] QCoro::Task<std::optional<QString>> loginShellPATH(bool forceRefresh) const;

    /// loginShellPATH, asked afresh when the cached one does not hold `tool`.
    [[nodiscard]] QCoro::Task<std::optional<QString>> loginShellPATH(QString containing) const;

    /// Whether the login shell told its PATH when it was last asked; true before that.
    [[nodiscard]] bool shellAnswered() const { return m_shellAnswered; }

    /// The cached PATH with the user tool folders, without ever starting a shell.
    [[nodiscard]] std::optional<QString> cachedPATH() const;

    /// Whether some folder of `path` holds an executable `tool`.
    [[nodiscard]] static bool contains(const QString &path, const QString &tool);

    /// First executable `tool` on `path`, or empty.
    [[nodiscard]] static QString find(const QString &path, const QString &tool);

    /// `path` followed by ~/.local/bin, /opt/homebrew/bin and /usr/local/bin where they exist and are not in
    /// it.
    [[nodiscard]] QString withUserToolDirs(const QString &path) const;

private:
    ProcessRunner &m_processes;
    SettingsStore &m_settings;
    QString m_home;
    std::chrono::milliseconds m_limit;
    mutable bool m_shellAnswered = true;
};

} // namespace Keelhaven
