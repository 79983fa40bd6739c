#pragma once

#include "Platform/Result.h"
#include "Scheduler/Model/RunRecord.h"
#include "Scheduler/Model/SchedulerSlot.h"

namespace Keelhaven {

/// A failed write of the run store.
struct StorageError
{
    QString text;
    [[nodiscard]] QString message() const { return text; }
};

/// The storage interface of the engine. Called on the main loop.
class RunPersistence
{
public:
    virtual ~RunPersistence() = default;

    /// Never fails: what cannot be read yields an empty list.
    [[nodiscard]] virtual QList<SchedulerSlot> loadSlots() = 0;
    /// Replaces the stored list.
    [[nodiscard]] virtual Result<void, StorageError> saveSlots(const QList<SchedulerSlot> &slotList) = 0;
    /// Inserts or replaces by id.
    [[nodiscard]] virtual Result<void, StorageError> saveRecord(const RunRecord &record) = 0;
    [[nodiscard]] virtual Result<void, StorageError> saveScrollback(const QString &text, const QUuid &id) = 0;
    [[nodiscard]] virtual std::optional<QString> loadScrollback(const QUuid &id) = 0;
    /// Newest first.
    [[nodiscard]] virtual QList<RunRecord> loadHistory() = 0;
    /// All traces of one run.
    virtual void deleteRecord(const QUuid &id) = 0;
    /// `records` is the list as the engine holds it, newest first; what lies past the limit loses its files.
    virtual void prune(const QList<RunRecord> &records) = 0;
    /// The run's own folder.
    [[nodiscard]] virtual QString runDir(const QUuid &id) const = 0;
};

} // namespace Keelhaven
