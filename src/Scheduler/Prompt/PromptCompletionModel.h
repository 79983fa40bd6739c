#pragma once

#include "Scheduler/Prompt/PromptCatalogScan.h"

#include <QCoroTask>
#include <QObject>

namespace Keelhaven {

/// A command whose plugin is off in a folder in which the agent runs: the run would do nothing.
struct EnablementIssue
{
    QString command; ///< its name
    QString pluginID;
    QString pluginName;
    QString folder;

    [[nodiscard]] QString id() const { return pluginID + u'|' + folder; }
    bool operator==(const EnablementIssue &) const = default;
};

/// What one prompt field knows of commands, plugins and paths. Lives on the main loop; files are read on pool
/// threads, and what was found last stays until something newer was found completely.
class PromptCompletionModel : public QObject
{
    Q_OBJECT

public:
    using FolderEnablement = PluginEnablementResolver::FolderMaps;

    explicit PromptCompletionModel(KeelhavenPaths paths);

    [[nodiscard]] const QList<SlashCommand> &commands() const { return m_catalog.commands(); }
    [[nodiscard]] const PluginEnablementResolver::EnablementMap &userMap() const
    {
        return m_enablement.userMap;
    }
    [[nodiscard]] const QMap<QString, FolderEnablement> &folders() const { return m_enablement.folders; }
    [[nodiscard]] QString claudeDir() const { return m_paths.claudeDir(); }

    /// Finds the commands anew, for the folders in which the agent runs. A newer call supersedes this one.
    [[nodiscard]] QCoro::Task<> rescan(QStringList cwds, PluginInventory inventory);
    /// Reads only which plugins are on: what follows a change of enablement.
    [[nodiscard]] QCoro::Task<> refreshEnablement(QStringList cwds);

    /// Touches no disk.
    [[nodiscard]] QList<PromptSuggestion> commandSuggestions(const QString &prefix,
                                                             qsizetype limit = promptSuggestionLimit) const;
    /// Lists one folder, on a pool thread.
    [[nodiscard]] QCoro::Task<QList<PromptSuggestion>>
    pathSuggestions(QString partial, QString primaryCwd, qsizetype limit = promptSuggestionLimit) const;

    [[nodiscard]] std::optional<SlashCommand> resolvedLeadingCommand(const QString &text) const;
    /// The folders, in order, in which the text's command will not be there. `pickedPlugins` are those that
    /// the agent's own settings switch on for its runs.
    [[nodiscard]] QList<EnablementIssue> enablementIssues(const QString &text, const QStringList &cwds,
                                                          const QStringList &pickedPlugins) const;
    /// The name of a command that nobody defines; nothing while it is still being typed.
    [[nodiscard]] std::optional<QString> unknownLeadingCommand(const QString &text) const;

Q_SIGNALS:
    /// Commands or enablement were published.
    void changed();

private:
    KeelhavenPaths m_paths;
    SlashCommandCatalog m_catalog;
    PluginEnablementResolver::Snapshot m_enablement;
    quint64 m_lastScan = 0;       ///< counts what was asked for, so that older finds are known
    quint64 m_lastEnablement = 0; ///< likewise
};

} // namespace Keelhaven
