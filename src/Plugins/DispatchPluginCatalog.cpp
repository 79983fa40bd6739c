#include "Plugins/DispatchPluginCatalog.h"

#include "Contract/ObjectReader.h"
#include "Plugins/PluginFiles.h"

namespace Keelhaven::DispatchPluginCatalog {

using namespace Qt::StringLiterals;

namespace {

QString manifestIn(const QString &root)
{
    return root + u"/.claude-plugin/plugin.json"_s;
}

QString commandsIn(const QString &root)
{
    return root + u"/commands"_s;
}

QString skillsIn(const QString &root)
{
    return root + u"/skills"_s;
}

PluginOption option(const PluginRecord &plugin, const QString &root)
{
    const ObjectReader manifest(PluginFiles::readObject(manifestIn(root)).value_or(JSONObject()));
    PluginOption option;
    option.id = plugin.id;
    option.name = manifest.string(u"name").value_or(plugin.name);
    const QString description = manifest.string(u"description").value_or(QString()).trimmed();
    if (!description.isEmpty())
        option.description = description;
    QStringList names =
        PluginFiles::markdownNames(commandsIn(root)) + PluginFiles::skillNames(skillsIn(root));
    names.removeDuplicates();
    names.sort();
    for (const QString &name : std::as_const(names))
        option.commands.append(u"/%1:%2"_s.arg(option.name, name));
    option.enabledUser = plugin.enabledUser;
    return option;
}

} // namespace

QList<PluginOption> options(const PluginInventory &inventory)
{
    QList<PluginOption> list;
    for (const auto &plugin : inventory.plugins) {
        if (const auto *install = plugin.presentInstall())
            list.append(option(plugin, *install->installPath));
    }
    return list;
}

QStringList paths(const PluginInventory &inventory)
{
    QStringList list;
    for (const auto &plugin : inventory.plugins) {
        if (const auto *install = plugin.presentInstall()) {
            const QString &root = *install->installPath;
            list += manifestIn(root);
            list += PluginFiles::markdownPaths(commandsIn(root));
            list += PluginFiles::skillPaths(skillsIn(root));
        }
    }
    return list;
}

} // namespace Keelhaven::DispatchPluginCatalog
