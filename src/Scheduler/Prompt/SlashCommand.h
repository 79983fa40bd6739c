#pragma once

#include <QList>
#include <QStringList>
#include <optional>

namespace Keelhaven {

/// One command that a Claude session knows.
struct SlashCommand
{
    struct Source
    {
        enum class Kind { Project, Plugin, PluginSkill, User };

        Kind kind = Kind::User;
        QString cwd;        ///< of a project
        QString pluginID;   ///< of a plugin
        QString pluginName; ///< of a plugin

        [[nodiscard]] static Source project(const QString &cwd) { return {Kind::Project, cwd, {}, {}}; }
        [[nodiscard]] static Source plugin(const QString &id, const QString &name)
        {
            return {Kind::Plugin, {}, id, name};
        }
        [[nodiscard]] static Source pluginSkill(const QString &id, const QString &name)
        {
            return {Kind::PluginSkill, {}, id, name};
        }
        [[nodiscard]] static Source user() { return {}; }
        [[nodiscard]] bool isPlugin() const { return kind == Kind::Plugin || kind == Kind::PluginSkill; }
        bool operator==(const Source &) const = default;
    };

    QString name;        ///< as typed behind the "/": "review", "tools:lint"
    QStringList aliases; ///< other names that reach the same command
    Source source;
    QString filePath; ///< the file that defines it

    [[nodiscard]] QString id() const { return name + filePath; }
    [[nodiscard]] std::optional<QString> pluginID() const;
    [[nodiscard]] std::optional<QString> pluginDisplayName() const;
    /// "project", the plugin's name, or "user".
    [[nodiscard]] QString sourceTag() const;
    /// Whether the name or an alias begins with `prefix`, in whatever case.
    [[nodiscard]] bool matches(const QString &prefix) const;
    bool operator==(const SlashCommand &) const = default;
};

/// Derives commands from the files that define them. Pure functions.
namespace SlashCommandDeriver {

/// A skill's folder with the text of its SKILL.md, where that can be read.
struct SkillEntry
{
    QString directory; ///< the folder's name
    std::optional<QString> frontmatter;
    bool operator==(const SkillEntry &) const = default;
};

/// "git:commit" for "git/commit.md"; nothing for anything but a ".md" file with a name.
[[nodiscard]] std::optional<QString> name(const QString &relativePath);

/// The front matter's "name", else the folder's.
[[nodiscard]] QString skillName(const std::optional<QString> &frontmatter, const QString &directory);

/// A plugin's commands; `commandFiles` are relative to its "commands" folder.
[[nodiscard]] QList<SlashCommand> commands(const QString &pluginID, const QString &pluginName,
                                           const QString &installPath, const QStringList &commandFiles,
                                           const QList<SkillEntry> &skills);

} // namespace SlashCommandDeriver

} // namespace Keelhaven
