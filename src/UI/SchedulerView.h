#pragma once

#include "App/AppModel.h"
#include "UI/SchedulerModels.h"

#include <QTimer>

namespace Keelhaven {

/// What the agents panel shows, and its commands. It follows the engine: what changed there shows within a
/// frame. All it shows is made by the plain functions of Surfaces. The model outlives it.
class SchedulerView : public QObject
{
    Q_OBJECT
    QML_ANONYMOUS
    Q_PROPERTY(SlotListModel *agents READ agents CONSTANT)
    Q_PROPERTY(AgendaModel *agenda READ agenda CONSTANT)
    Q_PROPERTY(QueueModel *queue READ queue CONSTANT)
    Q_PROPERTY(HistoryModel *history READ history CONSTANT)
    Q_PROPERTY(QVariantList tabs READ tabs NOTIFY tabsChanged)
    Q_PROPERTY(QString agendaCaption READ agendaCaption NOTIFY changed)
    Q_PROPERTY(bool agendaIsEmpty READ agendaIsEmpty NOTIFY changed)
    Q_PROPERTY(int liveCount READ liveCount NOTIFY changed)
    Q_PROPERTY(int waitingCount READ waitingCount NOTIFY changed)
    Q_PROPERTY(int hiddenCount READ hiddenCount NOTIFY changed)
    Q_PROPERTY(int runCount READ runCount NOTIFY changed)
    Q_PROPERTY(bool showsHidden READ showsHidden WRITE setShowsHidden NOTIFY filterChanged)
    Q_PROPERTY(bool showsFailedOnly READ showsFailedOnly WRITE setShowsFailedOnly NOTIFY filterChanged)
    Q_PROPERTY(QString searchText READ searchText WRITE setSearchText NOTIFY filterChanged)
    Q_PROPERTY(QString selectedSlotID READ selectedSlotID NOTIFY selectionChanged)
    Q_PROPERTY(QString selectedRunID READ selectedRunID NOTIFY selectionChanged)

public:
    explicit SchedulerView(AppModel &model, QObject *parent = nullptr);

    [[nodiscard]] SlotListModel *agents() { return &m_agents; }
    [[nodiscard]] AgendaModel *agenda() { return &m_agenda; }
    [[nodiscard]] QueueModel *queue() { return &m_queue; }
    [[nodiscard]] HistoryModel *history() { return &m_history; }
    /// Objects with "text", "badge" and "tone".
    [[nodiscard]] QVariantList tabs() const { return m_tabs; }
    [[nodiscard]] QString agendaCaption() const { return m_agendaCaption; }
    [[nodiscard]] bool agendaIsEmpty() const { return m_agendaIsEmpty; }
    [[nodiscard]] int liveCount() const;
    [[nodiscard]] int waitingCount() const;
    [[nodiscard]] int hiddenCount() const { return static_cast<int>(m_historyList.hiddenCount()); }
    [[nodiscard]] int runCount() const { return static_cast<int>(m_historyList.runCount()); }
    [[nodiscard]] bool showsHidden() const { return m_showsHidden; }
    void setShowsHidden(bool shows);
    [[nodiscard]] bool showsFailedOnly() const { return m_showsFailedOnly; }
    void setShowsFailedOnly(bool only);
    [[nodiscard]] QString searchText() const { return m_searchText; }
    void setSearchText(const QString &text);
    /// Empty when none is.
    [[nodiscard]] QString selectedSlotID() const;
    [[nodiscard]] QString selectedRunID() const;

    /// Reads everything again, soon and once.
    void updateSoon();

    Q_INVOKABLE QString emptyText(int tab) const;
    /// While the panel can be seen, times are kept up to date.
    Q_INVOKABLE void setWatched(bool watched);
    /// While a live run can be seen, its seconds count.
    Q_INVOKABLE void refreshElapsed() { m_queue.refreshElapsed(); }

    Q_INVOKABLE void selectRun(const QString &runID);
    Q_INVOKABLE void selectSlot(const QString &slotID);
    Q_INVOKABLE void newAgent();
    /// Opens the settings on the page with the limits that hold scheduled runs back.
    Q_INVOKABLE void showUsageGating();

    Q_INVOKABLE void toggle(const QString &slotID);
    Q_INVOKABLE void duplicate(const QString &slotID);
    Q_INVOKABLE void deleteSlot(const QString &slotID);
    Q_INVOKABLE void runNow(const QString &slotID);
    Q_INVOKABLE void stop(const QString &runID);
    Q_INVOKABLE void dequeue(const QString &runID);
    /// Of a line of the history, with every run in it.
    Q_INVOKABLE void setHidden(const QString &itemID, bool hidden);
    Q_INVOKABLE void remove(const QString &itemID);
    Q_INVOKABLE void clearHistory();

    /// Objects with "title", "text" and "button".
    Q_INVOKABLE QVariantMap deleteQuestion(const QString &slotID) const;
    Q_INVOKABLE QVariantMap clearHistoryQuestion() const;

Q_SIGNALS:
    void changed();
    void tabsChanged();
    void filterChanged();
    void selectionChanged();
    /// The user asked for one more agent, also where a new one is open already.
    void newAgentWanted();

private:
    void update();
    void updateTimes();
    void updateHistory();
    void updateTabs();
    [[nodiscard]] bool isShown(const HistoryItem &item, const HistoryRow &row) const;
    [[nodiscard]] HistoryEntry entryOf(const HistoryItem &item, const HistoryRow &row, Date now,
                                       const Calendar &calendar) const;
    [[nodiscard]] QList<QUuid> runIDsOf(const QString &itemID) const;

    AppModel &m_model;
    AgentsPane m_pane;
    SlotListModel m_agents;
    AgendaModel m_agenda;
    QueueModel m_queue;
    HistoryModel m_history;
    HistoryList m_historyList;
    QVariantList m_tabs;
    QString m_today; ///< as the history was divided last
    QString m_agendaCaption;
    QString m_searchText;
    bool m_agendaIsEmpty = true;
    bool m_showsHidden = false;
    bool m_showsFailedOnly = false;
    QTimer m_updateTimer;
    QTimer m_timesTimer;
};

} // namespace Keelhaven
