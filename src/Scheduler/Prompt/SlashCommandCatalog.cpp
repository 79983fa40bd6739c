#include "Scheduler/Prompt/SlashCommandCatalog.h"

#include <algorithm>

namespace Keelhaven {

using namespace Qt::StringLiterals;

SlashCommandCatalog::SlashCommandCatalog(QList<SlashCommand> commands)
    : m_commands(std::move(commands))
{
    m_rows.reserve(m_commands.size());
    m_byName.reserve(m_commands.size());
    for (qsizetype index = 0; index < m_commands.size(); ++index) {
        const SlashCommand &command = m_commands.at(index);
        Row row{index, command.name.toLower(), {}, command.sourceTag()};
        for (const QString &alias : command.aliases)
            row.aliases.append(alias.toLower());
        // The first of a name wins.
        if (!m_byName.contains(row.name))
            m_byName.insert(row.name, index);
        for (const QString &alias : std::as_const(row.aliases)) {
            if (!m_byAlias.contains(alias))
                m_byAlias.insert(alias, index);
        }
        m_rows.append(std::move(row));
    }
    std::ranges::stable_sort(m_rows, {}, [this](const Row &row) { return m_commands.at(row.index).name; });
}

QList<PromptSuggestion> SlashCommandCatalog::suggestions(const QString &prefix, qsizetype limit) const
{
    const QString lower = prefix.toLower();
    QList<PromptSuggestion> found;
    for (const Row &row : m_rows) {
        if (found.size() >= limit)
            break;
        const bool matches =
            row.name.startsWith(lower) ||
            std::ranges::any_of(row.aliases, [&](const QString &alias) { return alias.startsWith(lower); });
        if (!matches)
            continue;
        const QString label = u'/' + m_commands.at(row.index).name;
        const bool isKnown = std::ranges::any_of(found, [&](const PromptSuggestion &earlier) {
            return earlier.label == label && earlier.detail == row.tag;
        });
        if (!isKnown)
            found.append({label + u' ', label, row.tag});
    }
    return found;
}

const SlashCommand *SlashCommandCatalog::exactMatch(const QString &name) const
{
    const QString lower = name.toLower();
    for (const auto *index : {&m_byName, &m_byAlias}) {
        const auto found = index->constFind(lower);
        if (found != index->cend())
            return &m_commands.at(*found);
    }
    return nullptr;
}

} // namespace Keelhaven
