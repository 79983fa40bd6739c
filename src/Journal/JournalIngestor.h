#pragma once

#include "Assets/AssetStore.h"
#include "Journal/JournalEvent.h"
#include "Journal/RunJournalTailer.h"
#include "Scheduler/Model/RunRecord.h"
#include "Scheduler/Model/TaskResult.h"
#include "Ships/WorkItemStore.h"
#include "Store/SQLite/KeelhavenDatabase.h"

#include <QObject>
#include <map>

namespace Keelhaven {

/// Follows the journals of live runs: stores each event, keeps the latest progress and summary for the
/// screens, and hands files and questions on. Nothing here fails a run: what cannot be read or stored is
/// dropped. Main loop only.
class JournalIngestor : public QObject
{
    Q_OBJECT

public:
    /// All outlive the ingestor. `home` is where ~ points and ~/.claude lies. Without `assets` files, without
    /// `workItems` questions go no further than the journal table.
    JournalIngestor(KeelhavenDatabase &database, Clock &clock, Tasks &tasks, QString home,
                    AssetStore *assets = nullptr, WorkItemStore *workItems = nullptr);

    /// A run asks its human. By now the question hangs on a work item. Not called for a run that has a
    /// hundred open questions: further ones reach the journal table only.
    std::function<void(const RunRecord &run, const HumanQuestion &question)> onQuestion;
    /// New progress of a run, by the run's own id.
    std::function<void(const QUuid &runID, const QString &text)> onProgress;

    /// Starts following `journalPath` for the run and forgets its progress. `skipExisting` is for a run
    /// picked up after a restart, whose old lines were handled before.
    void begin(const RunRecord &run, const QString &journalPath, bool skipExisting);
    /// Handles the new lines, in order. Nothing for a run that is not followed.
    void poll(const RunRecord &run);
    /// Reads what is left, of very much the end, stops following, and gives the summary.
    std::optional<QString> finish(const RunRecord &run);

    /// The last summary; it stays after finish() until the process ends.
    [[nodiscard]] std::optional<QString> summary(const QUuid &runID) const;
    /// The last progress of a run that is being followed.
    [[nodiscard]] std::optional<QString> progress(const QUuid &runID) const;

    /// Takes the artifacts of a result file as if the journal had named them.
    void ingest(const TaskResult &result, const RunRecord &run);

    /// The work item for the run's questions: its own, the one made for it before, or a new one of its ship.
    /// Nothing for a run that has neither item nor ship.
    [[nodiscard]] std::optional<QString> autoItem(const RunRecord &run);

    /// The stored events of a run, oldest first: the last `limit` of them, and fewer when they are very long.
    [[nodiscard]] QList<JournalEvent> events(const QUuid &runID, qsizetype limit = 1000) const;
    /// How many are stored.
    [[nodiscard]] qint64 eventCount(const QUuid &runID) const;

    /// Reads the token use of a Claude run from its transcript, on a pool thread, stores a sample and calls
    /// `then` on the main loop. `then` is not called when there is nothing to read.
    void recordUsage(const RunRecord &run, std::function<void(const RunUsage &)> then);

Q_SIGNALS:
    /// The run's progress, summary or stored events changed.
    void changed(const QUuid &runID);

private:
    bool readOnce(const RunRecord &run);
    [[nodiscard]] QList<SQLiteRow> rowsBefore(const QUuid &runID, double ts, qint64 id,
                                              qsizetype limit) const;
    void take(const QList<JournalEvent> &events, const RunRecord &run);
    void record(const QList<JournalEvent> &events, const RunRecord &run);
    void handle(const JournalEvent &event, const RunRecord &run);
    void handleQuestion(const JournalEvent &event, const RunRecord &run);
    [[nodiscard]] QString freeQuestionID(const QString &wanted) const;
    void addAsset(const RunRecord &run, const QString &path, const std::optional<QString> &kind,
                  const std::optional<QString> &caption, Asset::Source source);
    QCoro::Task<> readUsage(RunRecord run, std::function<void(const RunUsage &)> then);
    void storeSample(const RunRecord &run, const RunUsage &usage);

    KeelhavenDatabase &m_database;
    Clock &m_clock;
    Tasks &m_tasks;
    QString m_home;
    AssetStore *m_assets;
    WorkItemStore *m_workItems;
    std::map<QUuid, RunJournalTailer> m_tailers; ///< by run id, as the maps below
    QHash<QUuid, QString> m_summaries;
    QHash<QUuid, QString> m_progress;
};

} // namespace Keelhaven
