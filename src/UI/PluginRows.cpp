#include "UI/PluginRows.h"

#include "Contract/BundledPlugin.h"
#include "UI/PluginTexts.h"
#include "UI/ShownText.h"

#include <algorithm>

namespace Keelhaven {

using namespace Qt::StringLiterals;

QVariant PluginListModel::data(const QModelIndex &index, int role) const
{
    const PluginRow *row = at(index.row());
    if (!row)
        return {};
    switch (role) {
    case Key:
        return row->key;
    case Group:
        return row->group;
    case Name:
        return row->name;
    case Subtitle:
        return row->subtitle;
    case State:
        return row->state;
    case Tone:
        return row->tone;
    default:
        return {};
    }
}

QHash<int, QByteArray> PluginListModel::roleNames() const
{
    return {{Key, "key"},           {Group, "group"},       {Name, "name"},
            {Subtitle, "subtitle"}, {State, "pluginState"}, {Tone, "tone"}};
}

namespace PluginRows {

PluginRow installed(const PluginRecord &plugin, const LocalPluginInfo *info)
{
    PluginRow row;
    row.key = installedKey.toString() + plugin.id;
    row.group = u"Installed"_s;
    row.name = ShownText::line(plugin.name);
    row.subtitle =
        PluginTexts::joined({ShownText::line(plugin.marketplace), PluginTexts::version(plugin, info),
                             info ? PluginTexts::counts(*info) : QString()});
    if (!plugin.presentInstall()) {
        row.state = u"Folder gone"_s;
        row.tone = u"warn"_s;
    } else {
        row.state = plugin.enabledUser ? u"On"_s : u"Off"_s;
        row.tone = plugin.enabledUser ? u"good"_s : QString();
    }
    return row;
}

PluginRow orphan(const QString &id)
{
    return {.key = orphanKey.toString() + id,
            .group = u"Switched on, not installed"_s,
            .name = ShownText::line(id.section(u'@', 0, -2).isEmpty() ? id : id.section(u'@', 0, -2)),
            .subtitle = id.contains(u'@') ? ShownText::line(id.section(u'@', -1)) : QString(),
            .state = u"Not installed"_s,
            .tone = u"warn"_s};
}

PluginRow bundled(const LocalPluginInfo *info)
{
    return {.key = bundledKey.toString() + BundledPlugin::bundledID.toString(),
            .group = u"Built in"_s,
            .name = BundledPlugin::name.toString(),
            .subtitle =
                PluginTexts::joined({u"Comes with Keelhaven"_s,
                                     info ? ShownText::line(info->version.value_or(QString())) : QString(),
                                     info ? PluginTexts::counts(*info) : QString()}),
            .state = u"In every run"_s,
            .tone = u"accent"_s};
}

bool matches(const PluginRow &row, const LocalPluginInfo *info, const QString &searchText)
{
    const auto has = [&](const QString &text) { return text.contains(searchText, Qt::CaseInsensitive); };
    const auto names = [&](const auto &entries) {
        return std::ranges::any_of(entries, [&](const auto &entry) { return has(entry.name); });
    };
    if (searchText.isEmpty() || has(row.name) || has(row.subtitle))
        return true;
    return info && (has(info->description.value_or(QString())) || names(info->commands) ||
                    names(info->agents) || names(info->skills) || std::ranges::any_of(info->mcpServers, has));
}

} // namespace PluginRows

} // namespace Keelhaven
