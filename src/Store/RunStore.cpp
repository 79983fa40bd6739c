#include "Store/RunStore.h"

#include "Platform/Files.h"
#include "Store/Scrollback.h"

#include <QDir>
#include <QFile>
#include <algorithm>

namespace Keelhaven {

using namespace Qt::StringLiterals;

namespace {

/// slots.json.
struct SlotsFile
{
    TolerantList<SchedulerSlot> list;
    int version = 1;
};

Result<void, StorageError> stored(Result<void, FileError> result)
{
    if (!result)
        return failure(StorageError{result.error().message()});
    return {};
}

} // namespace

template <>
struct RecordTable<SlotsFile>
{
    static auto fields()
    {
        return std::tuple{required(u"slots", &SlotsFile::list), defaulted(u"version", &SlotsFile::version)};
    }
};

RunStore::RunStore(const KeelhavenPaths &paths)
    : m_slotsFile(paths.slotsFile())
    , m_runsDir(paths.schedulerDir() + u"/runs"_s)
{}

QList<SchedulerSlot> RunStore::loadSlots()
{
    const auto bytes = readFile(m_slotsFile);
    if (!bytes)
        return {};
    const auto file = decodeRecordBytes<SlotsFile>(*bytes);
    // An unwritable backup changes nothing for the load.
    if (!file || file->list.dropped > 0)
        static_cast<void>(writeFileAtomically(m_slotsFile + u".bak"_s, *bytes));
    return file ? file->list.items : QList<SchedulerSlot>();
}

Result<void, StorageError> RunStore::saveSlots(const QList<SchedulerSlot> &slotList)
{
    const SlotsFile file{.list = {.items = slotList}};
    return stored(writeFileAtomically(m_slotsFile, JSONValue(encodeRecord(file)).encodedPretty()));
}

Result<void, StorageError> RunStore::saveRecord(const RunRecord &record)
{
    return stored(
        writeFileAtomically(recordFile(record.id), JSONValue(encodeRecord(record)).encodedPretty()));
}

Result<void, StorageError> RunStore::saveScrollback(const QString &text, const QUuid &id)
{
    return stored(Scrollback::save(m_runsDir, id, text));
}

std::optional<QString> RunStore::loadScrollback(const QUuid &id)
{
    return Scrollback::load(m_runsDir, id);
}

QList<RunRecord> RunStore::loadHistory()
{
    // Somebody may have copied a file: a run counts once, as the file of its own name has it.
    QMap<QUuid, RunRecord> byID;
    const QDir folder(m_runsDir);
    for (const QString &name : folder.entryList({u"*.json"_s}, QDir::Files | QDir::Hidden)) {
        const auto bytes = readFile(folder.filePath(name));
        auto record = bytes ? decodeRecordBytes<RunRecord>(*bytes) : failure(DecodeError{});
        if (record && (!byID.contains(record->id) || recordFile(record->id).endsWith(u'/' + name)))
            byID.insert(record->id, *record);
    }
    QList<RunRecord> history = byID.values();
    std::ranges::sort(history, std::ranges::greater(), &RunRecord::startedAt);
    return history;
}

void RunStore::deleteRecord(const QUuid &id)
{
    QFile::remove(recordFile(id));
    Scrollback::remove(m_runsDir, id);
}

void RunStore::prune(const QList<RunRecord> &records)
{
    for (const RunRecord &record : records.mid(Scrollback::historyLimit))
        deleteRecord(record.id);
}

QString RunStore::runDir(const QUuid &id) const
{
    return m_runsDir + u'/' + uuidText(id);
}

QString RunStore::recordFile(const QUuid &id) const
{
    return runDir(id) + u".json"_s;
}

} // namespace Keelhaven
