#include "UI/PluginTexts.h"

#include "UI/ShownText.h"

namespace Keelhaven::PluginTexts {

using namespace Qt::StringLiterals;

namespace {

/// More than anybody reads; a folder can hold any number of files.
constexpr qsizetype entryLimit = 100;

QString counted(qsizetype count, const QString &one, const QString &many)
{
    return count == 0 ? QString() : u"%1 %2"_s.arg(count).arg(count == 1 ? one : many);
}

QString shown(const std::optional<QString> &text)
{
    return ShownText::line(text.value_or(QString()).trimmed());
}

void addFact(QVariantList &list, const QString &label, const QString &value, bool isCode = false)
{
    if (!value.isEmpty())
        list.append(fact(label, value, isCode));
}

void addGroup(QVariantList &list, const QString &title, const QList<LocalPluginInfo::Entry> &entries,
              const QString &prefix)
{
    if (entries.isEmpty())
        return;
    QVariantList shownEntries;
    for (const auto &entry : entries.first(std::min(entries.size(), entryLimit)))
        shownEntries.append(QVariantMap{{u"name"_s, ShownText::line(prefix + entry.name)},
                                        {u"description"_s, shown(entry.description)}});
    const qsizetype more = entries.size() - shownEntries.size();
    list.append(QVariantMap{{u"title"_s, title},
                            {u"entries"_s, shownEntries},
                            {u"more"_s, more > 0 ? u"and %1 more"_s.arg(more) : QString()}});
}

QString place(const PluginInstall &install, const QString &home)
{
    const QString folder = install.projectPath ? ShownText::path(*install.projectPath, home) : QString();
    if (install.scope == u"user"_s)
        return u"For all folders"_s;
    if (!folder.isEmpty())
        return install.scope == u"local"_s ? u"In %1, for you alone"_s.arg(folder) : u"In "_s + folder;
    return shown(install.scope);
}

} // namespace

QString counts(const LocalPluginInfo &info)
{
    QStringList parts{counted(info.commands.size(), u"command"_s, u"commands"_s),
                      counted(info.agents.size(), u"agent"_s, u"agents"_s),
                      counted(info.skills.size(), u"skill"_s, u"skills"_s),
                      counted(info.mcpServers.size(), u"MCP server"_s, u"MCP servers"_s),
                      info.hasHooks ? u"hooks"_s : QString()};
    parts.removeAll(QString());
    return parts.join(u", "_s);
}

QString joined(const QStringList &parts)
{
    QStringList there = parts;
    there.removeAll(QString());
    return there.join(u" · "_s);
}

QString version(const PluginRecord &plugin, const LocalPluginInfo *info)
{
    if (const auto *install = plugin.presentInstall(); install && install->version)
        return shown(install->version);
    for (const PluginInstall &install : plugin.installs) {
        if (install.version)
            return shown(install.version);
    }
    return info ? shown(info->version) : QString();
}

QVariantList groups(const LocalPluginInfo &info, const QString &prefix)
{
    QVariantList list;
    addGroup(list, u"COMMANDS"_s, info.commands, u"/%1:"_s.arg(prefix));
    addGroup(list, u"AGENTS"_s, info.agents, {});
    addGroup(list, u"SKILLS"_s, info.skills, {});
    QList<LocalPluginInfo::Entry> servers;
    for (const QString &name : info.mcpServers)
        servers.append({name, std::nullopt});
    addGroup(list, u"MCP SERVERS"_s, servers, {});
    return list;
}

QVariantMap fact(const QString &label, const QString &value, bool isCode)
{
    return {{u"label"_s, label}, {u"value"_s, value}, {u"isCode"_s, isCode}};
}

QVariantList manifestFacts(const LocalPluginInfo &info)
{
    QVariantList list;
    addFact(list, u"Author"_s, shown(info.author));
    addFact(list, u"License"_s, shown(info.license));
    addFact(list, u"Homepage"_s, shown(info.homepage ? info.homepage : info.repository));
    addFact(list, u"Keywords"_s, ShownText::line(info.keywords.join(u", "_s)));
    if (info.hasHooks)
        list.append(fact(u"Hooks"_s, u"Runs commands of its own during sessions"_s));
    return list;
}

QVariantList facts(const PluginRecord &plugin, const MarketplaceRecord *marketplace,
                   const LocalPluginInfo *info, const QString &home)
{
    QVariantList list;
    addFact(list, u"Version"_s, version(plugin, info));
    QString source;
    if (marketplace && marketplace->sourceText)
        source = marketplace->sourceKind == u"directory"_s ? ShownText::path(*marketplace->sourceText, home)
                                                           : shown(marketplace->sourceText);
    addFact(list, u"Marketplace"_s, joined({ShownText::line(plugin.marketplace), source}));
    addFact(list, u"Settings"_s,
            plugin.enabledUser ? u"On in yours; a folder's own may switch it off"_s
                               : u"Not on in yours; a folder's own may switch it on"_s);
    for (const PluginInstall &install : plugin.installs) {
        addFact(list, u"Installed"_s, place(install, home));
        if (install.installPath)
            addFact(list, install.missing ? u"Folder gone"_s : u"Folder"_s,
                    ShownText::path(*install.installPath, home), true);
    }
    return info ? list + manifestFacts(*info) : list;
}

QString warning(const PluginRecord &plugin, const MarketplaceRecord *marketplace)
{
    if (!plugin.presentInstall())
        return u"Its folder is gone, so sessions go without it. Installing it again brings it back."_s;
    if (marketplace && marketplace->missing)
        return u"The folder of its marketplace is gone, so it gets no updates."_s;
    return {};
}

} // namespace Keelhaven::PluginTexts
