#pragma once

#include <QList>
#include <QStringList>
#include <optional>

namespace Keelhaven {

/// What a plugin holds, read from the folder in which it is installed.
struct LocalPluginInfo
{
    /// A command, a skill or an agent.
    struct Entry
    {
        QString name;
        std::optional<QString> description;
        bool operator==(const Entry &) const = default;
    };

    QString root;
    std::optional<QString> manifestName;
    std::optional<QString> version;
    std::optional<QString> description;
    std::optional<QString> author;
    std::optional<QString> homepage;
    std::optional<QString> repository;
    std::optional<QString> license;
    QStringList keywords;
    QList<Entry> commands;
    QList<Entry> skills;
    QList<Entry> agents;
    bool hasHooks = false;
    QStringList mcpServers;
    std::optional<QString> readmeExcerpt;

    /// Reads what is there; a missing or broken file leaves its part empty. Blocking.
    [[nodiscard]] static LocalPluginInfo read(const QString &root);
    bool operator==(const LocalPluginInfo &) const = default;
};

/// The "description" in the front matter of a Markdown file's text; nothing when there is none.
[[nodiscard]] std::optional<QString> frontmatterDescription(const QString &text);

/// The first paragraph of a README's text, without headings, badges and HTML, at most 1,200 characters and
/// "…". Nothing when there is none.
[[nodiscard]] std::optional<QString> readmeExcerpt(const QString &text);

} // namespace Keelhaven
