#pragma once

#include "Scheduler/ActiveRun.h"
#include "Surfaces/Confirmation.h"
#include "Surfaces/HistoryList.h"

namespace Keelhaven {

class SchedulerEngine;

/// The pane's lists.
namespace SchedulerListPane {

enum class Tab { Agents, Scheduled, Queue, History };

/// "Agents", "Scheduled", "Queue", "History"
[[nodiscard]] QString label(Tab tab);
/// "{n} failed" on the history's tab when there were any lately; nothing on the others.
[[nodiscard]] std::optional<QString> badge(Tab tab, const HistoryList &history);

/// What an empty list reads.
[[nodiscard]] QString emptyText(Tab tab);

inline constexpr QStringView agendaHeading = u"Next 10 days";
inline constexpr QStringView newAgent = u"New agent";
inline constexpr QStringView newAgentHelp = u"Set up a new agent";
inline constexpr QStringView dispatch = u"Dispatch…";
inline constexpr QStringView dispatchHelp = u"Dispatch a one-off task from the board";
inline constexpr QStringView runNow = u"Run now";
inline constexpr QStringView showHidden = u"Show hidden runs";
inline constexpr QStringView stopShowingHidden = u"Stop showing hidden runs";
inline constexpr QStringView clearHistory = u"Clear history…";
inline constexpr QStringView clearHistoryHelp = u"Clear history — delete every finished run";
/// Over the settings of the usage gate.
inline constexpr QStringView usageGatingDefaults = u"Usage gating defaults";
inline constexpr QStringView usageGatingScheduled = u"Usage gating — scheduled runs";

/// Asked before all finished runs go.
[[nodiscard]] Confirmation clearHistoryQuestion(qsizetype runs);
/// Asked before an agent goes.
[[nodiscard]] Confirmation deleteQuestion(const QString &agentName);

} // namespace SchedulerListPane

/// What the line of a live or waiting run says.
struct QueueRow
{
    QString id; ///< "active-{run id}", "queued-{run id}"
    QUuid runID;
    QString title;    ///< the agent's name
    QString subtitle; ///< the folder's name
    QString state;    ///< "working", "waiting for input", "you have control", "queued", "waiting on usage"
    std::optional<QString> stateHelp; ///< why the usage gate holds it
    bool isLive = false;
    bool isBlocked = false;        ///< a session waits for an answer
    std::optional<Date> startedAt; ///< of a live run
    bool operator==(const QueueRow &) const = default;
};

/// The words for what a live session does.
[[nodiscard]] QString stateText(AgentState state);
/// The same for a run, which a human may have taken over.
[[nodiscard]] QString stateText(const ActiveRun &run);

/// Live runs, then those being launched, then the waiting ones in the order of the queue.
[[nodiscard]] QList<QueueRow> queueRows(const QList<ActiveRunPtr> &active, const QList<RunRecord> &launching,
                                        const QList<QueuedRun> &queued);

/// The pane's commands. The engine outlives it.
class AgentsPane
{
public:
    explicit AgentsPane(SchedulerEngine &engine)
        : m_engine(engine)
    {}

    /// Both act on every run of the line. The ids are given, not the item: the first command changes the
    /// history that the item points into.
    void setHidden(const QList<QUuid> &runIDs, bool hidden);
    void remove(const QList<QUuid> &runIDs);

    /// Flips whether the agent fires on its schedule; nothing for one that cannot be scheduled.
    void toggle(const QUuid &slotID);
    /// Stores a copy named "{name} copy", with a workspace of its own, and gives its id, for the editor to
    /// open.
    std::optional<QUuid> duplicate(const QUuid &slotID);
    void delete_(const QUuid &slotID);
    /// Fires the agent at once, as a manual run; gives the ids of its runs.
    QList<QUuid> runNow(const QUuid &slotID);

private:
    SchedulerEngine &m_engine;
};

} // namespace Keelhaven
