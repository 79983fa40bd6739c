#include "Scheduler/Prompt/PromptCompletionModel.h"

#include "Contract/BundledPlugin.h"
#include "Platform/Tasks.h"
#include "Scheduler/Prompt/PathCompleter.h"
#include "Scheduler/Prompt/PromptTokenizer.h"

#include <QPointer>

namespace Keelhaven {

using namespace Qt::StringLiterals;

PromptCompletionModel::PromptCompletionModel(KeelhavenPaths paths)
    : m_paths(std::move(paths))
{}

QCoro::Task<> PromptCompletionModel::rescan(QStringList cwds, PluginInventory inventory)
{
    const QPointer<PromptCompletionModel> self(this);
    const quint64 scan = ++m_lastScan;
    const quint64 enablement = ++m_lastEnablement;
    auto work = [cwds, inventory, paths = m_paths] {
        return PromptCatalogScan::scan(cwds, inventory, paths);
    };
    auto found = co_await onPool(std::move(work));
    if (!self || scan != m_lastScan)
        co_return;
    m_catalog = std::move(found.catalog);
    // What was read after this scan had begun is newer than what it read.
    if (enablement == m_lastEnablement)
        m_enablement = std::move(found.enablement);
    Q_EMIT changed();
}

QCoro::Task<> PromptCompletionModel::refreshEnablement(QStringList cwds)
{
    const QPointer<PromptCompletionModel> self(this);
    const quint64 enablement = ++m_lastEnablement;
    auto work = [cwds, paths = m_paths] {
        return PluginEnablementResolver::snapshot(cwds, paths.claudeDir(), paths.home);
    };
    auto found = co_await onPool(std::move(work));
    if (!self || enablement != m_lastEnablement)
        co_return;
    m_enablement = std::move(found);
    Q_EMIT changed();
}

QList<PromptSuggestion> PromptCompletionModel::commandSuggestions(const QString &prefix,
                                                                  qsizetype limit) const
{
    return m_catalog.suggestions(prefix, limit);
}

QCoro::Task<QList<PromptSuggestion>>
PromptCompletionModel::pathSuggestions(QString partial, QString primaryCwd, qsizetype limit) const
{
    auto work = [partial, primaryCwd, home = m_paths.home, limit] {
        return PathCompleter::completions(partial, primaryCwd, home, PathCompleter::defaultLister, limit);
    };
    const auto paths = co_await onPool(std::move(work));
    QList<PromptSuggestion> suggestions;
    for (const QString &path : paths)
        suggestions.append({path, path, path.endsWith(u'/') ? u"dir"_s : u"file"_s});
    co_return suggestions;
}

std::optional<SlashCommand> PromptCompletionModel::resolvedLeadingCommand(const QString &text) const
{
    const auto leading = PromptTokenizer::leadingSlashCommand(text);
    const SlashCommand *command = leading ? m_catalog.exactMatch(leading->name) : nullptr;
    return command ? std::optional(*command) : std::nullopt;
}

QList<EnablementIssue> PromptCompletionModel::enablementIssues(const QString &text, const QStringList &cwds,
                                                               const QStringList &pickedPlugins) const
{
    const auto command = resolvedLeadingCommand(text);
    const auto id = command ? command->pluginID() : std::nullopt;
    // The program loads the bundled plugin itself, and the agent's runs its picked ones.
    if (!id || *id == BundledPlugin::bundledID || pickedPlugins.contains(*id))
        return {};
    QList<EnablementIssue> issues;
    for (const QString &folder : cwds) {
        if (!m_enablement.isEnabled(*id, folder))
            issues.append({command->name, *id, command->source.pluginName, folder});
    }
    return issues;
}

std::optional<QString> PromptCompletionModel::unknownLeadingCommand(const QString &text) const
{
    const auto leading = PromptTokenizer::leadingSlashCommand(text);
    if (!leading || !leading->terminated || leading->name.isEmpty() || m_catalog.exactMatch(leading->name))
        return std::nullopt;
    return leading->name;
}

} // namespace Keelhaven
