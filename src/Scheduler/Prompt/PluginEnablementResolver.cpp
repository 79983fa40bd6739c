#include "Scheduler/Prompt/PluginEnablementResolver.h"

#include "Contract/ObjectReader.h"
#include "Platform/Files.h"
#include "Plugins/PluginFiles.h"

namespace Keelhaven::PluginEnablementResolver {

using namespace Qt::StringLiterals;

bool Snapshot::isEnabled(const QString &pluginID, const QString &folder) const
{
    const FolderMaps maps = folders.value(folder);
    return PluginEnablementResolver::isEnabled(pluginID, userMap, maps.project, maps.local);
}

bool isEnabled(const QString &pluginID, const EnablementMap &userMap, const EnablementMap &projectMap,
               const EnablementMap &localMap)
{
    for (const auto *map : {&localMap, &projectMap, &userMap}) {
        const auto entry = map->constFind(pluginID);
        if (entry != map->cend())
            return *entry;
    }
    return false;
}

EnablementMap enabledPlugins(const QString &file)
{
    EnablementMap map;
    const ObjectReader settings(PluginFiles::readObject(file).value_or(JSONObject()));
    const ObjectReader plugins(settings.raw(u"enabledPlugins"));
    for (const auto &[id, value] : plugins.object()) {
        if (const auto isOn = value.boolValue())
            map.insert(id, *isOn);
    }
    return map;
}

FolderMaps folderMaps(const QString &cwd, const QString &home)
{
    const QString folder = expandTilde(cwd, home) + u"/.claude"_s;
    return {enabledPlugins(folder + u"/settings.json"_s), enabledPlugins(folder + u"/settings.local.json"_s)};
}

EnablementMap userMap(const QString &claudeDir)
{
    return enabledPlugins(claudeDir + u"/settings.json"_s);
}

Snapshot snapshot(const QStringList &cwds, const QString &claudeDir, const QString &home)
{
    Snapshot snapshot;
    for (const QString &cwd : cwds)
        snapshot.folders.insert(cwd, folderMaps(cwd, home));
    snapshot.userMap = userMap(claudeDir);
    return snapshot;
}

} // namespace Keelhaven::PluginEnablementResolver
