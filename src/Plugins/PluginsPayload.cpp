#include "Plugins/PluginsPayload.h"

#include "Contract/ObjectReader.h"

namespace Keelhaven {

using namespace Qt::StringLiterals;

bool PluginJob::isLive() const
{
    return state == u"queued" || state == u"running";
}

std::optional<PluginJob> PluginJob::fromJSON(const JSONValue &json)
{
    const ObjectReader reader(json);
    const auto id = reader.string(u"id");
    if (!id || id->isEmpty())
        return std::nullopt;
    return PluginJob{.id = *id,
                     .action = reader.string(u"action").value_or(QString()),
                     .plugin = reader.string(u"plugin").value_or(QString()),
                     .cwd = reader.string(u"cwd"),
                     .state = reader.string(u"state").value_or(QString()),
                     .output = reader.string(u"output").value_or(QString()),
                     .createdAt = reader.string(u"created_at")};
}

PluginsPayload PluginsPayload::fromJSON(const JSONValue &json)
{
    const ObjectReader reader(json);
    const ObjectReader cli(reader.raw(u"claude_cli"));
    const auto workspace = [](const JSONValue &element) { return TaskWorkspace::fromJSON(element); };
    const JSONValue *inventory = reader.raw(u"inventory");
    PluginsPayload payload;
    payload.claudeCLIFound = cli.bool_(u"found").value_or(false);
    payload.claudeCLIPath = cli.string(u"path");
    payload.inventory = inventory ? PluginInventory::fromJSON(*inventory) : PluginInventory::empty();
    payload.workspaces = reader.array(u"workspaces", workspace).value_or(QList<TaskWorkspace>());
    payload.jobs = reader.array(u"jobs", PluginJob::fromJSON).value_or(QList<PluginJob>());
    payload.knownPaths = reader.stringArray(u"known_paths").value_or(QStringList());
    payload.projects = reader.stringArray(u"projects").value_or(QStringList());
    return payload;
}

std::optional<PopularPlugin> PopularPlugin::fromJSON(const JSONValue &json)
{
    const ObjectReader reader(json);
    const ObjectReader card(reader.raw(u"card"));
    const QString name = reader.string(u"name").value_or(QString());
    const QString slug = reader.string(u"slug").value_or(QString());
    if (name.isEmpty() || slug.isEmpty())
        return std::nullopt;
    PopularPlugin plugin;
    plugin.name = name;
    plugin.slug = slug;
    plugin.owner = reader.string(u"owner");
    plugin.stars = reader.integer(u"stars");
    plugin.kind = reader.string(u"kind");
    plugin.summary = card.string(u"summary");
    plugin.category = card.string(u"category");
    plugin.marketplaceRepo = card.string(u"marketplaceRepo");
    if (!plugin.marketplaceRepo)
        plugin.marketplaceRepo = card.string(u"marketplace_repo");
    plugin.url = card.string(u"url");
    return plugin;
}

PopularPayload PopularPayload::fromJSON(const JSONValue &json)
{
    const ObjectReader reader(json);
    const ObjectReader inner(reader.raw(u"payload"));
    PopularPayload payload;
    payload.fetchedAt = reader.string(u"fetched_at");
    payload.stale = reader.bool_(u"stale").value_or(false);
    payload.error = reader.string(u"error");
    payload.hasPayload = reader.raw(u"payload") && reader.raw(u"payload")->objectValue();
    payload.plugins = inner.array(u"plugins", PopularPlugin::fromJSON).value_or(QList<PopularPlugin>());
    return payload;
}

} // namespace Keelhaven
