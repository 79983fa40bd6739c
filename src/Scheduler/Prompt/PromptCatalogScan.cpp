#include "Scheduler/Prompt/PromptCatalogScan.h"

#include "Contract/BundledPlugin.h"
#include "Platform/Files.h"
#include "Plugins/PluginFiles.h"

#include <QDir>
#include <QDirIterator>
#include <algorithm>

namespace Keelhaven::PromptCatalogScan {

using namespace Qt::StringLiterals;

namespace {

/// A "commands" folder that by mistake leads to somewhere huge must not keep the scan busy for ever.
constexpr int mostEntries = 100'000;

QList<SlashCommand> plainCommands(const QString &folder, const SlashCommand::Source &source)
{
    QList<SlashCommand> commands;
    for (const QString &file : markdownFiles(folder)) {
        if (const auto name = SlashCommandDeriver::name(file))
            commands.append({*name, {}, source, folder + u'/' + file});
    }
    return commands;
}

QList<SlashCommand> pluginCommands(QStringView id, QStringView name, const QString &root)
{
    return SlashCommandDeriver::commands(id.toString(), name.toString(), root,
                                         markdownFiles(root + u"/commands"_s),
                                         skillEntries(root + u"/skills"_s));
}

/// Where a plugin lies, its record's own idea of what is missing aside.
std::optional<QString> rootOf(const PluginRecord &plugin, const QString &home)
{
    for (const auto &install : plugin.installs) {
        const QString path = expandTilde(install.installPath.value_or(QString()), home);
        if (!path.isEmpty() && QFileInfo::exists(path))
            return path;
    }
    return std::nullopt;
}

} // namespace

QStringList markdownFiles(const QString &folder)
{
    const QString root = QDir::cleanPath(folder);
    QDirIterator entries(root, QDir::Files | QDir::Hidden, QDirIterator::Subdirectories);
    QStringList files;
    for (int seen = 0; entries.hasNext() && seen < mostEntries; ++seen) {
        const QString relative = entries.next().sliced(root.size() + 1);
        const bool isPrintable = std::ranges::none_of(
            relative, [](QChar character) { return character.category() == QChar::Other_Control; });
        if (isPrintable && relative.endsWith(u".md"_s))
            files.append(relative);
    }
    files.sort();
    return files;
}

QList<SlashCommandDeriver::SkillEntry> skillEntries(const QString &folder)
{
    QList<SlashCommandDeriver::SkillEntry> skills;
    for (const QString &name : PluginFiles::folderNames(folder))
        skills.append({name, PluginFiles::readText(folder + u'/' + name + u"/SKILL.md"_s)});
    return skills;
}

Found scan(const QStringList &cwds, const PluginInventory &inventory, const KeelhavenPaths &paths)
{
    QList<SlashCommand> commands =
        plainCommands(paths.claudeDir() + u"/commands"_s, SlashCommand::Source::user());
    for (const QString &cwd : cwds)
        commands += plainCommands(expandTilde(cwd, paths.home) + u"/.claude/commands"_s,
                                  SlashCommand::Source::project(cwd));
    const auto bundledRoot = paths.bundledPluginRoot();
    if (bundledRoot)
        commands += pluginCommands(BundledPlugin::bundledID, BundledPlugin::name, *bundledRoot);
    for (const auto &plugin : inventory.plugins) {
        // The user's own copy would list the built-in commands twice.
        if (bundledRoot && BundledPlugin::userScopeIDs().contains(plugin.id))
            continue;
        if (const auto root = rootOf(plugin, paths.home))
            commands += pluginCommands(plugin.id, plugin.name, *root);
    }
    return {SlashCommandCatalog(std::move(commands)),
            PluginEnablementResolver::snapshot(cwds, paths.claudeDir(), paths.home)};
}

} // namespace Keelhaven::PromptCatalogScan
