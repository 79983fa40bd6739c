#pragma once

#include "Dispatch/DispatchRecord.h"
#include "Platform/Calendar.h"
#include "Scheduler/Model/RunRecord.h"

#include <QVarLengthArray>

namespace Keelhaven {

/// The task that an agent's runs belong to; null when they stand for themselves. A list asks this for each
/// run, so it must be a look-up. Usually DispatchLedger::taskRecord.
using TaskLookup = std::function<const DispatchRecord *(const QUuid &slotID)>;

/// One line of the history list: a single run, or all finished runs of a dispatched task. Its runs belong to
/// the HistoryList that made it and stay valid until that one is updated or destroyed.
struct HistoryItem
{
    std::shared_ptr<const DispatchRecord> task; ///< nothing for a single run
    /// Newest first, never empty.
    QVarLengthArray<const RunRecord *, 1> runs;

    /// "history-{run id}", "dispatch-{record id}"
    [[nodiscard]] QString id() const;
    [[nodiscard]] const RunRecord &newest() const { return *runs.front(); }
    [[nodiscard]] bool isHidden() const { return newest().isHidden(); }
    [[nodiscard]] QList<QUuid> runIDs() const;
};

/// What a line of the history list says.
struct HistoryRow
{
    QString id;
    QUuid runID; ///< the newest run's: what a click selects
    QString title;
    QString subtitle; ///< how it ended, when, how many turns
    bool isTask = false;
    bool isFailure = false;
    bool isHidden = false;
    bool operator==(const HistoryRow &) const = default;

    [[nodiscard]] static HistoryRow of(const HistoryItem &item, const Calendar &calendar);
};

/// The lines of the run history, with the turns of a task gathered in one line at the place of its newest
/// run. It keeps the history it was made from (a shared copy), so that an update without a change costs
/// nothing and a changed one a single pass.
class HistoryList
{
public:
    /// How many of the latest records count for recentFailures().
    static constexpr qsizetype recentCount = 20;

    /// Takes over `history`, newest first. `taskRevision` changes whenever the answers of `taskOf` do. False
    /// when nothing changed; items() are then the same ones as before.
    bool update(const QList<RunRecord> &history, const TaskLookup &taskOf, quint64 taskRevision);

    [[nodiscard]] const QList<HistoryItem> &historyItems() const { return m_items; }
    /// Without the hidden ones unless they are being shown.
    [[nodiscard]] QList<HistoryItem> visibleItems(bool showsHidden) const;
    [[nodiscard]] qsizetype hiddenCount() const { return m_hiddenCount; }
    /// Failed runs among the latest 20 records, without hidden ones.
    [[nodiscard]] int recentFailures() const;
    /// All finished runs, hidden ones included: what clearing the history deletes.
    [[nodiscard]] qsizetype runCount() const { return m_history.size(); }

private:
    QList<RunRecord> m_history;
    quint64 m_taskRevision = 0;
    bool m_isFresh = true;
    QList<HistoryItem> m_items;
    qsizetype m_hiddenCount = 0;
};

} // namespace Keelhaven
