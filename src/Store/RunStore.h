#pragma once

#include "Contract/KeelhavenPaths.h"
#include "Scheduler/Model/RunPersistence.h"

namespace Keelhaven {

/// Agents and runs in plain JSON files below "scheduler": the store of last resort when the database cannot
/// be opened, and the source of the one-time import into it. Keeps no state but its paths.
class RunStore : public RunPersistence
{
public:
    explicit RunStore(const KeelhavenPaths &paths);

    [[nodiscard]] const QString &slotsFile() const { return m_slotsFile; }

    /// A slot that does not decode is stepped over. When one was, or the whole file did not decode, the
    /// file's bytes are copied to "slots.json.bak" first, because the next save writes only what could be
    /// read.
    [[nodiscard]] QList<SchedulerSlot> loadSlots() override;
    [[nodiscard]] Result<void, StorageError> saveSlots(const QList<SchedulerSlot> &slotList) override;
    [[nodiscard]] Result<void, StorageError> saveRecord(const RunRecord &record) override;
    [[nodiscard]] Result<void, StorageError> saveScrollback(const QString &text, const QUuid &id) override;
    [[nodiscard]] std::optional<QString> loadScrollback(const QUuid &id) override;
    [[nodiscard]] QList<RunRecord> loadHistory() override;
    void deleteRecord(const QUuid &id) override;
    /// Removes the record too, not only its scrollback.
    void prune(const QList<RunRecord> &records) override;
    [[nodiscard]] QString runDir(const QUuid &id) const override;

private:
    [[nodiscard]] QString recordFile(const QUuid &id) const;

    QString m_slotsFile;
    QString m_runsDir;
};

} // namespace Keelhaven
