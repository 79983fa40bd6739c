#pragma once

#include "Plugins/PluginInventory.h"
#include "Plugins/TaskWorkspace.h"

namespace Keelhaven {

/// One install or removal that the analysis service has taken on.
struct PluginJob
{
    QString id;
    QString action;
    QString plugin;
    std::optional<QString> cwd;
    QString state;
    QString output;
    std::optional<QString> createdAt;

    /// It waits or runs.
    [[nodiscard]] bool isLive() const;
    /// Nothing without an id.
    [[nodiscard]] static std::optional<PluginJob> fromJSON(const JSONValue &json);
    bool operator==(const PluginJob &) const = default;
};

/// What the analysis service answers to "plugins_view".
struct PluginsPayload
{
    bool claudeCLIFound = false;
    std::optional<QString> claudeCLIPath;
    PluginInventory inventory;
    QList<TaskWorkspace> workspaces;
    QList<PluginJob> jobs;
    QStringList knownPaths;
    QStringList projects;

    [[nodiscard]] static PluginsPayload fromJSON(const JSONValue &json);
    bool operator==(const PluginsPayload &) const = default;
};

/// One plugin that others use.
struct PopularPlugin
{
    QString name;
    QString slug; ///< its id
    std::optional<QString> owner;
    std::optional<qint64> stars;
    std::optional<QString> kind;
    std::optional<QString> summary;
    std::optional<QString> category;
    std::optional<QString> marketplaceRepo;
    std::optional<QString> url;

    [[nodiscard]] const QString &id() const { return slug; }
    /// Nothing without a name or a slug.
    [[nodiscard]] static std::optional<PopularPlugin> fromJSON(const JSONValue &json);
    bool operator==(const PopularPlugin &) const = default;
};

/// What the analysis service answers to "popular_plugins".
struct PopularPayload
{
    std::optional<QString> fetchedAt;
    bool stale = false;
    std::optional<QString> error;
    bool hasPayload = false; ///< there is a list, be it an empty one
    QList<PopularPlugin> plugins;

    [[nodiscard]] static PopularPayload fromJSON(const JSONValue &json);
    bool operator==(const PopularPayload &) const = default;
};

} // namespace Keelhaven
