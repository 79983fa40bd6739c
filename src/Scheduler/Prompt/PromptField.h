#pragma once

#include "Platform/Clock.h"
#include "Scheduler/Prompt/PromptCompletionModel.h"
#include "Scheduler/Prompt/PromptTokenizer.h"

#include <QSet>

namespace Keelhaven {

class Tasks;

/// A line under a prompt field. None of them keeps a prompt from being saved.
struct PromptNotice
{
    QString text;
    std::optional<EnablementIssue> issue; ///< what the buttons act on; nothing for an unknown command
    bool offersAdd = false;               ///< shows the button addLabel
    QString enableLabel;                  ///< the other button; empty for none
    bool canEnable = false;
    QString enableHelp; ///< why it cannot be pressed; empty when it can
    QString help;       ///< under the row
    bool operator==(const PromptNotice &) const = default;
};

/// What accepting a suggestion does to the text.
struct PromptEdit
{
    qsizetype start = 0;
    qsizetype length = 0;
    QString insertion;
    [[nodiscard]] qsizetype caretAfter() const { return start + insertion.size(); }
    bool operator==(const PromptEdit &) const = default;
};

/// The behaviour of a field in which an agent's prompt is written: the list of suggestions, its keys and the
/// notices. A view tells it of edits and shows its values. Lives on the main loop; the clock and the tasks
/// outlive it.
class PromptField : public QObject
{
    Q_OBJECT

public:
    static constexpr QStringView addLabel = u"Add to this agent's plugins";

    PromptField(const KeelhavenPaths &paths, Clock &clock, Tasks &tasks);

    // Hooks, all optional.
    /// Adds a plugin to the agent's picked ones; without it no such button is offered.
    std::function<void(const QString &pluginID)> onAddPlugin;
    /// Whether the analysis service takes changes. Call serviceChanged() when that changes.
    std::function<bool()> canMutate;
    /// Switches a plugin on for a folder through the analysis service, to the end.
    std::function<QCoro::Task<>(QString pluginID, QString folder)> enableInFolder;

    [[nodiscard]] const PromptCompletionModel &model() const { return m_model; }

    /// Call when the field appears and whenever one of these has changed. The first folder is what "./"
    /// stands for.
    void setSurroundings(const QStringList &cwds, const PluginInventory &inventory);
    void setPickedPlugins(const QStringList &pluginIDs);
    void serviceChanged();

    /// The text that the field opens with: no list opens over it.
    void load(const QString &text);
    /// The text was edited; the caret counts UTF-16 units.
    void edited(const QString &text, qsizetype caret);
    void caretMoved(qsizetype caret);

    [[nodiscard]] bool isOpen() const { return m_isOpen && !m_suggestions.isEmpty(); }
    [[nodiscard]] const QList<PromptSuggestion> &suggestions() const { return m_suggestions; }
    [[nodiscard]] qsizetype selection() const { return m_selection; }
    [[nodiscard]] const QList<PromptNotice> &notices() const { return m_notices; }

    // The keys. With no open list each gives false or nothing, and the key belongs to the field.
    bool moveSelection(int by);
    /// Return, Tab, or a click on a row; apply the edit to the text, which comes back by edited(). Nothing,
    /// too, when the text already reads so, or when the last keystrokes have left the list behind.
    [[nodiscard]] std::optional<PromptEdit> accept(std::optional<qsizetype> row = std::nullopt);
    /// Escape: closed until the next edit.
    bool dismiss();

    /// The buttons of a notice. An issue that is under way cannot be pressed again.
    void addToAgent(const EnablementIssue &issue);
    void enable(const EnablementIssue &issue);

Q_SIGNALS:
    /// The list, its selection or whether it is open.
    void suggestionsChanged();
    void noticesChanged();

private:
    void scheduleRecompute();
    void recompute();
    QCoro::Task<> findPaths();
    void show(QList<PromptSuggestion> suggestions, const std::optional<PromptToken> &token);
    [[nodiscard]] bool stillCompletes(const PromptSuggestion &suggestion, const PromptToken &token) const;
    void updateNotices();
    [[nodiscard]] PromptNotice noticeOf(const EnablementIssue &issue) const;
    QCoro::Task<> runEnable(EnablementIssue issue);

    PromptCompletionModel m_model;
    Clock &m_clock;
    Tasks &m_tasks;
    QStringList m_cwds;
    QStringList m_pickedPlugins;
    QString m_text;
    qsizetype m_caret = 0;
    Timer m_pending;
    quint64 m_ticket = 0; ///< of the last recompute asked for; older results are dropped
    bool m_isOpen = true;
    bool m_isEdited = false; ///< since the text was loaded
    /// What the next listing is for, and its ticket. One listing runs at a time: a folder that does not
    /// answer would otherwise take a pool thread for each keystroke.
    std::optional<std::pair<PromptToken, quint64>> m_wantedPath;
    bool m_isListing = false;
    QList<PromptSuggestion> m_suggestions;
    std::optional<PromptToken> m_suggestedFor;
    qsizetype m_selection = 0;
    QList<PromptNotice> m_notices;
    QSet<QString> m_underWay; ///< ids of issues
};

} // namespace Keelhaven
