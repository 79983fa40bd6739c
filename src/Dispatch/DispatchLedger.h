#pragma once

#include "Dispatch/DispatchStore.h"
#include "Scheduler/ActiveRun.h"

#include <QObject>

namespace Keelhaven {

/// The messages that reached the dispatcher and the tasks they became, newest first, kept in memory and in
/// the store's file. Main loop only.
class DispatchLedger : public QObject
{
    Q_OBJECT

public:
    /// Empty until load().
    explicit DispatchLedger(DispatchStore store);

    void load();
    [[nodiscard]] const DispatchStore &store() const { return m_store; }

    [[nodiscard]] const QList<DispatchRecord> &records() const { return m_records; }
    /// Raised with each change, so that a view can tell without comparing.
    [[nodiscard]] quint64 revision() const { return m_revision; }

    [[nodiscard]] std::optional<DispatchRecord> record(const QString &id) const;
    /// Puts a new record in front.
    void prepend(const DispatchRecord &record);
    /// Changes one record and saves; false for an unknown id. `edit` must not touch the record's id.
    bool update(const QString &id, const std::function<void(DispatchRecord &)> &edit);

    /// The record that the agent works for, as its task or as its dispatcher session; where the message went
    /// to another task, that task's. Null when there is none. Valid until the ledger changes. Looked up in an
    /// index: lists ask this for each run of the history.
    [[nodiscard]] const DispatchRecord *taskRecord(const QUuid &slotID) const;
    [[nodiscard]] const DispatchRecord *taskRecord(const RunRecord &run) const;

    /// All runs of the task, live ones included, oldest first; none when the record is no task.
    [[nodiscard]] static QList<RunRecord> taskRuns(const DispatchRecord &record,
                                                   const QList<RunRecord> &history,
                                                   const QList<ActiveRunPtr> &active);
    /// What the user asked for with this run of the task.
    [[nodiscard]] static QString turnMessage(const RunRecord &run, const DispatchRecord &record,
                                             bool isFirst);
    /// A prompt without what was added to it for the agent.
    [[nodiscard]] static QString stripResultContract(const QString &text);

Q_SIGNALS:
    /// records() changed.
    void changed();

private:
    void recordsChanged();
    [[nodiscard]] qsizetype indexOf(const QString &id) const;

    DispatchStore m_store;
    QList<DispatchRecord> m_records;
    QHash<QUuid, qsizetype> m_bySlot; ///< agent to the place of the record it works for
    quint64 m_revision = 0;
};

} // namespace Keelhaven
