#pragma once

#include <QMap>
#include <QStringList>

/// Whether a plugin is on in a folder, by the settings files that Claude Code reads.
namespace Keelhaven::PluginEnablementResolver {

using EnablementMap = QMap<QString, bool>; ///< by plugin id

/// What a folder's own settings say.
struct FolderMaps
{
    EnablementMap project; ///< .claude/settings.json
    EnablementMap local;   ///< .claude/settings.local.json
    bool operator==(const FolderMaps &) const = default;
};

struct Snapshot
{
    EnablementMap userMap;
    QMap<QString, FolderMaps> folders; ///< by folder, as the agent names it

    /// An unknown folder says nothing of its own.
    [[nodiscard]] bool isEnabled(const QString &pluginID, const QString &folder) const;
    bool operator==(const Snapshot &) const = default;
};

/// The first of local, project and user map that knows the plugin decides; else it is off.
[[nodiscard]] bool isEnabled(const QString &pluginID, const EnablementMap &userMap,
                             const EnablementMap &projectMap, const EnablementMap &localMap);

/// "enabledPlugins" of a settings file, booleans only; empty when it cannot be read. Blocking.
[[nodiscard]] EnablementMap enabledPlugins(const QString &file);

/// A leading "~" of `cwd` is `home`. Blocking.
[[nodiscard]] FolderMaps folderMaps(const QString &cwd, const QString &home);
[[nodiscard]] EnablementMap userMap(const QString &claudeDir);
[[nodiscard]] Snapshot snapshot(const QStringList &cwds, const QString &claudeDir, const QString &home);

} // namespace Keelhaven::PluginEnablementResolver
