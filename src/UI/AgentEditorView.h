#pragma once

#include "App/AppSelection.h"
#include "Contract/PluginCacheGuard.h"
#include "Scheduler/Model/PluginOption.h"
#include "Surfaces/AgentEditing.h"
#include "UI/PreflightTrial.h"
#include "UI/PromptEditorView.h"

namespace Keelhaven {

class AppModel;

/// The agent editor. It holds the draft of what the selection names, new or stored, and hands QML its fields,
/// its hints and what its controls offer; all of that is made by AgentDraft and AgentEditor. Edits are never
/// lost unasked: a selection that would lose them is taken back until the user has decided. The model
/// outlives it.
class AgentEditorView : public QObject
{
    Q_OBJECT
    QML_ANONYMOUS
    /// The fields by key, as their controls show them.
    Q_PROPERTY(QVariantMap form READ form NOTIFY changed)
    /// By key: objects with "label", "help", "least", "most" and "step".
    Q_PROPERTY(QVariantMap fields READ fields CONSTANT)
    /// "name", "subtitle", "isNew", "isCodex", "hasChanges", "hint", "canSave", "notice", "warning",
    /// "folderNote", "promptNote", "nextDates", "noDates", "summaries" by group, "defaultCap".
    Q_PROPERTY(QVariantMap facts READ facts NOTIFY changed)
    /// Empty for a new agent.
    Q_PROPERTY(QString slotID READ slotID NOTIFY changed)
    Q_PROPERTY(bool hasChanges READ hasChanges NOTIFY changed)
    /// Objects with "id", "name" and "prompt".
    Q_PROPERTY(QVariantList templates READ templates CONSTANT)
    /// The one that the new agent starts from; empty for none.
    Q_PROPERTY(QString templateID READ templateID NOTIFY changed)
    /// Of the chosen provider: objects with "value" and "text".
    Q_PROPERTY(QVariantList models READ models NOTIFY choicesChanged)
    /// Objects with "value" and "text", none first.
    Q_PROPERTY(QVariantList ships READ ships NOTIFY choicesChanged)
    /// Objects with "id", "name", "description" and "isInstalled".
    Q_PROPERTY(QVariantList plugins READ plugins NOTIFY choicesChanged)
    /// What the folder that is being typed may become.
    Q_PROPERTY(QStringList folderSuggestions READ folderSuggestions NOTIFY folderSuggestionsChanged)
    Q_PROPERTY(PreflightTrial *trial READ trial CONSTANT)
    Q_PROPERTY(PromptEditorView *prompt READ prompt CONSTANT)
    /// A new agent was asked for: where there is room for one thing, it is the editor.
    Q_PROPERTY(bool isWanted READ isWanted NOTIFY changed)

public:
    explicit AgentEditorView(AppModel &model, QObject *parent = nullptr);

    [[nodiscard]] QVariantMap form() const { return m_form; }
    [[nodiscard]] QVariantMap fields() const;
    [[nodiscard]] QVariantMap facts() const { return m_facts; }
    [[nodiscard]] QString slotID() const;
    [[nodiscard]] bool hasChanges() const { return m_draft.toSlot() != m_opened.toSlot(); }
    [[nodiscard]] QVariantList templates() const;
    [[nodiscard]] QString templateID() const { return m_target.templateID; }
    [[nodiscard]] QVariantList models() const;
    [[nodiscard]] QVariantList ships() const;
    [[nodiscard]] QVariantList plugins() const;
    [[nodiscard]] QStringList folderSuggestions() const { return m_folderSuggestions; }
    [[nodiscard]] PreflightTrial *trial() { return &m_trial; }
    [[nodiscard]] PromptEditorView *prompt() { return &m_prompt; }
    [[nodiscard]] bool isWanted() const { return m_isWanted; }
    [[nodiscard]] const AgentDraft &draft() const { return m_draft; }

    /// Ships to choose from; by default there are none.
    std::function<QList<AgentDraft::ShipChoice>()> shipChoices = [] {
        return QList<AgentDraft::ShipChoice>();
    };
    /// They are others now.
    void updateChoices();

    /// Sets a field from its control. A text that means nothing for its field leaves it and gives false.
    Q_INVOKABLE bool set(const QString &key, const QVariant &value);

    Q_INVOKABLE bool setTime(int index, const QString &text);
    Q_INVOKABLE void addTime();
    Q_INVOKABLE void removeTime(int index);
    Q_INVOKABLE void toggleDay(int day);
    /// `key` is "cwds" or "addDirs".
    Q_INVOKABLE void addFolder(const QString &key, const QString &path);
    Q_INVOKABLE void setFolder(const QString &key, int index, const QString &path);
    Q_INVOKABLE void removeFolder(const QString &key, int index);
    /// The field is left: an empty one goes, and a path loses what says nothing, such as a "/" at its end.
    Q_INVOKABLE void leaveFolder(const QString &key, int index);
    /// Looks for folderSuggestions; an empty text ends that.
    Q_INVOKABLE void completeFolder(const QString &text);
    Q_INVOKABLE void moveFolder(const QString &key, int from, int to);
    Q_INVOKABLE void setPlugin(const QString &id, bool picked);

    /// The user wants to set up an agent, here and now.
    Q_INVOKABLE void openNew();
    /// Opens a template, or a blank agent for an empty id.
    Q_INVOKABLE void startFrom(const QString &templateID);
    /// Stores the agent; false with a hint.
    Q_INVOKABLE bool save();
    /// Leaves the agent for a blank one; false when there is nothing to leave.
    Q_INVOKABLE bool close();
    /// Back to the agent as it is stored.
    Q_INVOKABLE void revert();
    /// Whether nothing would be lost. Otherwise the user is asked, and quitAllowed() tells of a yes.
    Q_INVOKABLE bool mayQuit();
    /// The user has decided to lose the edits.
    Q_INVOKABLE void discard();
    /// The user stays with the edits.
    Q_INVOKABLE void keep();
    Q_INVOKABLE void duplicate();
    Q_INVOKABLE void remove();
    Q_INVOKABLE void runNow();

    /// The field that keeps the agent from being saved, by its key; empty for none.
    Q_INVOKABLE QString hintedField() const;
    /// Objects with "title", "text" and "button".
    Q_INVOKABLE QVariantMap discardQuestion() const;
    Q_INVOKABLE QVariantMap deleteQuestion() const;
    /// "~" for the home folder.
    Q_INVOKABLE QString shownPath(const QString &path) const;
    Q_INVOKABLE QUrl folderToStartAt() const;
    Q_INVOKABLE QString localPath(const QUrl &url) const { return url.toLocalFile(); }
    /// The six weeks that hold a month: objects with "text", "day", "isOther", "isToday" and "isChosen".
    Q_INVOKABLE QVariantMap month(int monthsFromChosen) const;
    /// While the editor can be seen, its dates are kept up to date.
    Q_INVOKABLE void setWatched(bool watched);

Q_SIGNALS:
    void changed();
    void choicesChanged();
    void folderSuggestionsChanged();
    /// Another agent is open.
    void loaded();
    /// The edits stand in the way of what the user wants.
    void discardWanted();
    void quitAllowed();
    /// The keyboard is to come to the first field.
    void focusWanted();

private:
    void targetChanged();
    void askSoon(const SlotEditorTarget &wanted);
    void ask();
    void load(const SlotEditorTarget &target);
    void engineChanged();
    void followPrompt();
    void rescanPrompt();
    void lookForFolders();
    void show();
    void showForm();
    void showFacts();
    [[nodiscard]] bool take(const QString &key, const QVariant &value);
    [[nodiscard]] bool takeNumber(const QString &key, const QString &text);
    [[nodiscard]] bool takeOnce(const QString &text, bool isDay);
    [[nodiscard]] QStringList *folders(const QString &key);
    void suggestFolders(const QStringList &folders);
    [[nodiscard]] QString expanded(const QString &path) const;
    [[nodiscard]] Date now() const;
    [[nodiscard]] QString subtitle(const SchedulerSlot &slot) const;
    [[nodiscard]] std::optional<QString> hint() const;
    [[nodiscard]] bool isNew() const { return m_target.kind != SlotEditorTarget::Kind::Slot; }

    AppModel &m_model;
    PluginCacheGuard m_guard;
    PreflightTrial m_trial;
    PromptEditorView m_prompt;
    QStringList m_promptFolders;  ///< that it knows
    QStringList m_missingFolders; ///< of those
    QStringList m_folderSuggestions;
    QString m_typedFolder; ///< that the suggestions are for
    SlotEditorTarget m_target;
    std::optional<SlotEditorTarget> m_wanted; ///< where the edits keep from going
    bool m_isQuitting = false;                ///< what they keep from is quitting
    bool m_isWanted = false;
    bool m_isGone = false; ///< deleted by others while it was edited
    AgentDraft m_draft;
    AgentDraft m_opened; ///< the draft as it was opened
    QVariantMap m_form;
    QVariantMap m_facts;
    QTimer m_question;
    QTimer m_rescan;
    QTimer m_minute;
};

} // namespace Keelhaven
