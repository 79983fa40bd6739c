#pragma once

#include "Scheduler/Prompt/PromptSuggestion.h"
#include "Scheduler/Prompt/SlashCommand.h"

#include <QHash>

namespace Keelhaven {

/// The commands that a prompt may begin with, ordered and folded once so that each keystroke only compares.
/// A value; copies share their content.
class SlashCommandCatalog
{
public:
    SlashCommandCatalog() = default;
    explicit SlashCommandCatalog(QList<SlashCommand> commands);

    /// In the order in which they were found.
    [[nodiscard]] const QList<SlashCommand> &commands() const { return m_commands; }

    /// The first `limit` commands that match, by name. A name shows once for each place it comes from.
    [[nodiscard]] QList<PromptSuggestion> suggestions(const QString &prefix, qsizetype limit) const;

    /// The command of that name in whatever case, else the one with that alias. Null when there is none;
    /// belongs to the catalogue.
    [[nodiscard]] const SlashCommand *exactMatch(const QString &name) const;

private:
    /// What is compared, one for each command, by the command's name.
    struct Row
    {
        qsizetype index = 0;
        QString name;        ///< lower case
        QStringList aliases; ///< lower case
        QString tag;
    };

    QList<SlashCommand> m_commands;
    QList<Row> m_rows;
    QHash<QString, qsizetype> m_byName;
    QHash<QString, qsizetype> m_byAlias;
};

} // namespace Keelhaven
