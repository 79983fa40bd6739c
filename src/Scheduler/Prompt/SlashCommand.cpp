#include "Scheduler/Prompt/SlashCommand.h"

#include "Plugins/PluginFiles.h"

#include <algorithm>

namespace Keelhaven {

using namespace Qt::StringLiterals;

std::optional<QString> SlashCommand::pluginID() const
{
    return source.isPlugin() ? std::optional(source.pluginID) : std::nullopt;
}

std::optional<QString> SlashCommand::pluginDisplayName() const
{
    return source.isPlugin() ? std::optional(source.pluginName) : std::nullopt;
}

QString SlashCommand::sourceTag() const
{
    switch (source.kind) {
    case Source::Kind::Project:
        return u"project"_s;
    case Source::Kind::Plugin:
    case Source::Kind::PluginSkill:
        return source.pluginName;
    case Source::Kind::User:
        break;
    }
    return u"user"_s;
}

bool SlashCommand::matches(const QString &prefix) const
{
    const QString lower = prefix.toLower();
    return name.toLower().startsWith(lower) || std::ranges::any_of(aliases, [&](const QString &alias) {
               return alias.toLower().startsWith(lower);
           });
}

namespace SlashCommandDeriver {

std::optional<QString> name(const QString &relativePath)
{
    if (!relativePath.endsWith(u".md"_s))
        return std::nullopt;
    const QString name = relativePath.chopped(3).split(u'/', Qt::SkipEmptyParts).join(u':');
    return name.isEmpty() ? std::nullopt : std::optional(name);
}

QString skillName(const std::optional<QString> &frontmatter, const QString &directory)
{
    const auto lines = frontmatter ? PluginFiles::frontMatter(*frontmatter) : std::nullopt;
    for (const QString &line : lines.value_or(QStringList())) {
        const qsizetype colon = line.indexOf(u':');
        if (colon < 0 || line.first(colon).trimmed() != u"name")
            continue;
        const QString value = PluginFiles::unquoted(line.sliced(colon + 1));
        if (!value.isEmpty())
            return value;
    }
    return directory;
}

QList<SlashCommand> commands(const QString &pluginID, const QString &pluginName, const QString &installPath,
                             const QStringList &commandFiles, const QList<SkillEntry> &skills)
{
    QList<SlashCommand> list;
    for (const QString &file : commandFiles) {
        if (const auto own = name(file))
            list.append({u"%1:%2"_s.arg(pluginName, *own),
                         {*own},
                         SlashCommand::Source::plugin(pluginID, pluginName),
                         u"%1/commands/%2"_s.arg(installPath, file)});
    }
    for (const auto &skill : skills) {
        const QString own = skillName(skill.frontmatter, skill.directory);
        list.append({u"%1:%2"_s.arg(pluginName, own),
                     {own},
                     SlashCommand::Source::pluginSkill(pluginID, pluginName),
                     u"%1/skills/%2/SKILL.md"_s.arg(installPath, skill.directory)});
    }
    return list;
}

} // namespace SlashCommandDeriver

} // namespace Keelhaven
