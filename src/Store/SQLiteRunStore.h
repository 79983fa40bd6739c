#pragma once

#include "Platform/Clock.h"
#include "Scheduler/Model/RunPersistence.h"
#include "Store/SQLite/KeelhavenDatabase.h"

namespace Keelhaven {

/// Agents and runs in the database, scrollbacks and run folders beside it. A record's payload column holds
/// all of it; the other columns repeat what queries filter and sort on. Keeps no state; the database and the
/// clock outlive it.
class SQLiteRunStore : public RunPersistence
{
public:
    /// `runsDir` holds scrollbacks and run folders, `assetsDir` a folder of delivered files for each run.
    SQLiteRunStore(KeelhavenDatabase &database, const Clock &clock, QString runsDir, QString assetsDir);

    [[nodiscard]] QList<SchedulerSlot> loadSlots() override;
    /// All or nothing. Agents new to the table are ordered by the list; those already there keep their place.
    [[nodiscard]] Result<void, StorageError> saveSlots(const QList<SchedulerSlot> &slotList) override;
    [[nodiscard]] Result<void, StorageError> saveRecord(const RunRecord &record) override;
    [[nodiscard]] Result<void, StorageError> saveScrollback(const QString &text, const QUuid &id) override;
    [[nodiscard]] std::optional<QString> loadScrollback(const QUuid &id) override;
    /// The newest 200; older ones stay in the table.
    [[nodiscard]] QList<RunRecord> loadHistory() override;
    void deleteRecord(const QUuid &id) override;
    /// Removes scrollbacks only: the rows stay, so that their runs are still counted.
    void prune(const QList<RunRecord> &records) override;
    [[nodiscard]] QString runDir(const QUuid &id) const override;

    /// Insert or replace one row, inside whatever transaction the connection is in. `now` becomes the agent's
    /// `updated_at`, and for a new one its `created_at`, which is what agents are ordered by.
    static Result<int, SQLiteError> upsert(const SchedulerSlot &slot, Date now, SQLiteConnection &connection);
    static Result<int, SQLiteError> upsert(const RunRecord &record, SQLiteConnection &connection);

private:
    KeelhavenDatabase &m_database;
    const Clock &m_clock;
    QString m_runsDir;
    QString m_assetsDir;
};

} // namespace Keelhaven
