#pragma once

#include <QString>
#include <QStringList>
#include <QUuid>
#include <optional>

namespace Keelhaven {

/// The one place that names folders and files. Built once from the environment; tests build it on a folder of
/// their own. The names below `appSupportDir` and `cacheDir` are shared with the plugin's service.
struct KeelhavenPaths
{
    QString home;          ///< the user's home folder
    QString appSupportDir; ///< $XDG_DATA_HOME/keelhaven, default ~/.local/share/keelhaven
    QString configDir;     ///< $XDG_CONFIG_HOME/keelhaven, default ~/.config/keelhaven
    QString runtimeDir;    ///< $XDG_RUNTIME_DIR/keelhaven, default "run" in appSupportDir
    QString cacheDir;      ///< ~/.cache/keelhaven, whatever $XDG_CACHE_HOME says: the plugin writes there
    QString resourcesDir;  ///< what the program was installed with: plugin, Guard, the bundled host

    /// Reads HOME, XDG_DATA_HOME, XDG_CONFIG_HOME, XDG_RUNTIME_DIR and KEELHAVEN_RESOURCES of this process.
    [[nodiscard]] static KeelhavenPaths fromEnvironment();

    /// Everything below one folder, with the defaults of an empty environment.
    [[nodiscard]] static KeelhavenPaths forHome(const QString &home);

    [[nodiscard]] QString stateFile() const;
    [[nodiscard]] QString aiFile() const;
    [[nodiscard]] QString contextFile() const;
    [[nodiscard]] QString credentialsFile() const;
    [[nodiscard]] QString eventsFile() const;
    [[nodiscard]] QStringList allFiles() const; ///< the five above, in that order
    [[nodiscard]] QString codexRunsDir() const;

    [[nodiscard]] QString schedulerDir() const;
    [[nodiscard]] QString slotsFile() const;
    [[nodiscard]] QString runsDir() const;
    [[nodiscard]] QString runDir(const QUuid &id) const;
    [[nodiscard]] QString databaseFile() const;
    [[nodiscard]] QString assetsDir() const;
    [[nodiscard]] QString shipsDir() const;
    [[nodiscard]] QString shipDir(const QUuid &id) const;
    [[nodiscard]] QString dispatchDir() const;
    [[nodiscard]] QString herdrRoot() const;
    [[nodiscard]] QString settingsFile() const;
    [[nodiscard]] QString secretsFile() const; ///< where there is no keyring
    [[nodiscard]] QString controlSocket() const;
    [[nodiscard]] QString claudeJSON() const;       ///< ~/.claude.json
    [[nodiscard]] QString claudeDir() const;        ///< ~/.claude, Claude Code's own
    [[nodiscard]] QString claudeSignInFile() const; ///< ~/.claude/.credentials.json, Claude Code's own

    /// The plugin folder among the resources, when `keelhaven/app.py` exists in it.
    [[nodiscard]] std::optional<QString> bundledPluginRoot() const;

    /// ~/Library/LaunchAgents/com.keelhaven.scheduler.plist: the job file where a launchd runs.
    [[nodiscard]] QString launchAgentPlist() const;
};

} // namespace Keelhaven
