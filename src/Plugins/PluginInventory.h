#pragma once

#include "Contract/JSONValue.h"
#include "Platform/Calendar.h"

#include <QMap>

namespace Keelhaven {

/// Where Claude Code takes plugins from.
struct MarketplaceRecord
{
    std::optional<QString> sourceKind; ///< such as "github" or "directory"
    std::optional<QString> sourceText; ///< the repository, or the folder of a directory
    std::optional<QString> installLocation;
    bool autoUpdate = false;
    bool missing = false; ///< the install location is no folder on disk

    [[nodiscard]] static MarketplaceRecord fromJSON(const JSONValue &json);
    bool operator==(const MarketplaceRecord &) const = default;
};

/// One place in which a plugin is installed.
struct PluginInstall
{
    std::optional<QString> scope;
    std::optional<QString> projectPath;
    bool missing = false; ///< the install path is no folder on disk
    std::optional<QString> installPath;
    std::optional<QString> version;
    std::optional<QString> installedAt;

    [[nodiscard]] static PluginInstall fromJSON(const JSONValue &json);
    bool operator==(const PluginInstall &) const = default;
};

/// A workspace or folder whose own settings switch a plugin on or off. Only the analysis service tells these.
struct PluginEnablement
{
    std::optional<QString> kind;
    std::optional<QString> name;
    std::optional<QString> path;
    std::optional<QString> scope;
    std::optional<QString> workspaceID;

    [[nodiscard]] static PluginEnablement fromJSON(const JSONValue &json);
    bool operator==(const PluginEnablement &) const = default;
};

/// One plugin that is, or was, installed.
struct PluginRecord
{
    QString id; ///< "name@marketplace"
    QString name;
    QString marketplace; ///< empty for an id without "@"
    QList<PluginInstall> installs;
    bool enabledUser = false; ///< switched on in the user's own settings
    QList<PluginEnablement> enabledIn;
    QList<PluginEnablement> disabledIn;

    /// Nothing without an id.
    [[nodiscard]] static std::optional<PluginRecord> fromJSON(const JSONValue &json);
    /// The first install that lies on disk; null when there is none. Belongs to the record.
    [[nodiscard]] const PluginInstall *presentInstall() const;
    bool operator==(const PluginRecord &) const = default;
};

/// What is installed, in one form for what was read here and what the analysis service tells.
struct PluginInventory
{
    QMap<QString, MarketplaceRecord> marketplaces;
    QList<PluginRecord> plugins; ///< a scan orders them by id
    QStringList orphans;         ///< ids that are switched on and not installed
    QStringList notices;
    std::optional<QString> scannedAt; ///< local time, "2026-03-04T05:06:07"

    /// Reads Claude Code's files below `claudeDir` (~/.claude). What cannot be read shows less. Blocking.
    [[nodiscard]] static PluginInventory scan(const QString &claudeDir, Date now, const Calendar &calendar);
    /// The same as JSON, in the shape that the analysis service answers with. Blocking.
    [[nodiscard]] static JSONObject scanShape(const QString &claudeDir, Date now, const Calendar &calendar);
    [[nodiscard]] static PluginInventory fromJSON(const JSONValue &json);
    [[nodiscard]] static PluginInventory empty() { return {}; }

    /// Where the scan that gave this has looked.
    [[nodiscard]] QStringList pathsBelow(const QString &claudeDir) const;
    /// `now` as `scannedAt` tells it.
    [[nodiscard]] static QString momentText(Date now, const Calendar &calendar);

    /// Null when there is none. Belongs to the inventory.
    [[nodiscard]] const PluginRecord *plugin(QStringView id) const;
    /// The same but for the moment of the scan.
    [[nodiscard]] bool saysTheSameAs(const PluginInventory &other) const;
    bool operator==(const PluginInventory &) const = default;
};

} // namespace Keelhaven
