#include "Store/SQLiteRunStore.h"

#include "Store/Scrollback.h"

#include <QDir>
#include <QFileInfo>

namespace Keelhaven {

using namespace Qt::StringLiterals;

namespace {

const QString upsertSlotStatement =
    u"INSERT INTO agents (id, ship_id, kind, name, enabled, provider, model, last_fired_at, payload, "
    u"created_at, updated_at) "
    "VALUES (?,?,?,?,?,?,?,?,?,?,?) ON CONFLICT(id) DO UPDATE SET ship_id = excluded.ship_id, kind = "
    "excluded.kind, "
    "name = excluded.name, enabled = excluded.enabled, provider = excluded.provider, model = excluded.model, "
    "last_fired_at = excluded.last_fired_at, payload = excluded.payload, updated_at = excluded.updated_at"_s;

const QString upsertRunStatement =
    u"INSERT INTO runs (id, agent_id, agent_name, agent_kind, ship_id, work_item_id, dispatch_id, trigger, "
    u"provider, model, cwd, "
    "project_dir, started_at, ended_at, outcome, is_failure, session_id, launch_run_id, summary, "
    "completion_message, minutes, "
    "input_tokens, output_tokens, cache_creation_tokens, cache_read_tokens, work_tokens, hidden, payload) "
    "VALUES (?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?) ON CONFLICT(id) DO UPDATE SET "
    "agent_id = excluded.agent_id, agent_name = excluded.agent_name, agent_kind = excluded.agent_kind, "
    "ship_id = excluded.ship_id, "
    "work_item_id = excluded.work_item_id, dispatch_id = excluded.dispatch_id, trigger = excluded.trigger, "
    "provider = excluded.provider, model = excluded.model, cwd = excluded.cwd, project_dir = "
    "excluded.project_dir, "
    "started_at = excluded.started_at, ended_at = excluded.ended_at, outcome = excluded.outcome, is_failure "
    "= excluded.is_failure, "
    "session_id = excluded.session_id, launch_run_id = excluded.launch_run_id, summary = excluded.summary, "
    "completion_message = excluded.completion_message, minutes = excluded.minutes, input_tokens = "
    "excluded.input_tokens, "
    "output_tokens = excluded.output_tokens, cache_creation_tokens = excluded.cache_creation_tokens, "
    "cache_read_tokens = excluded.cache_read_tokens, work_tokens = excluded.work_tokens, hidden = "
    "excluded.hidden, "
    "payload = excluded.payload"_s;

template <typename T>
SQLiteValue payload(const T &record)
{
    return SQLiteValue::utf8Text(JSONValue(encodeRecord(record)).encodedPretty());
}

/// The records of a query's `payload` column; a row that does not decode is dropped, a failed query gives
/// none.
template <typename T>
QList<T> loadPayloads(KeelhavenDatabase &database, const QString &sql, const SQLiteParameters &parameters)
{
    const auto rows =
        database.sync([&](SQLiteConnection &connection) { return connection.query(sql, parameters); });
    QList<T> records;
    if (!rows)
        return records;
    records.reserve(rows->size());
    for (const SQLiteRow &row : *rows) {
        const auto json = row.utf8(u"payload");
        if (auto record = decodeRecordBytes<T>(json.value_or(QByteArray())))
            records.append(*std::move(record));
    }
    return records;
}

template <typename T>
Result<void, StorageError> stored(const Result<T, SQLiteError> &result)
{
    if (!result)
        return failure(StorageError{result.error().message()});
    return {};
}

/// Lets the owner delete what lies in the folder and below: tools leave folders without the right to write,
/// such as their caches.
void allowDeletion(const QDir &folder)
{
    QFile::setPermissions(folder.path(), QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    for (const QString &name :
         folder.entryList(QDir::Dirs | QDir::Hidden | QDir::NoSymLinks | QDir::NoDotAndDotDot))
        allowDeletion(QDir(folder.filePath(name)));
}

/// Removes a folder with all it holds. A file or symbolic link in its place goes alone: a link's target is
/// not ours.
void removeTree(const QString &path)
{
    const QFileInfo info(path);
    if (info.isSymLink() || !info.isDir()) {
        QFile::remove(path);
        return;
    }
    QDir folder(path);
    if (folder.removeRecursively())
        return;
    allowDeletion(folder);
    folder.removeRecursively();
}

} // namespace

SQLiteRunStore::SQLiteRunStore(KeelhavenDatabase &database, const Clock &clock, QString runsDir,
                               QString assetsDir)
    : m_database(database)
    , m_clock(clock)
    , m_runsDir(std::move(runsDir))
    , m_assetsDir(std::move(assetsDir))
{}

QList<SchedulerSlot> SQLiteRunStore::loadSlots()
{
    return loadPayloads<SchedulerSlot>(m_database, u"SELECT payload FROM agents ORDER BY created_at, id"_s,
                                       {});
}

Result<void, StorageError> SQLiteRunStore::saveSlots(const QList<SchedulerSlot> &slotList)
{
    const auto replaceAll = [&](SQLiteConnection &connection) -> Result<void, SQLiteError> {
        QSet<QString> kept;
        Date time = m_clock.now();
        for (const SchedulerSlot &slot : slotList) {
            if (const auto changed = upsert(slot, time, connection); !changed)
                return failure(changed.error());
            kept.insert(uuidText(slot.id));
            time += std::chrono::milliseconds(1);
        }
        const auto rows = connection.query(u"SELECT id FROM agents"_s);
        if (!rows)
            return failure(rows.error());
        for (const SQLiteRow &row : *rows) {
            const QString id = row.string(u"id").value_or(QString());
            if (kept.contains(id))
                continue;
            if (const auto gone =
                    connection.run(u"DELETE FROM agents WHERE id = ?"_s, {SQLiteValue::text(id)});
                !gone)
                return failure(gone.error());
        }
        return {};
    };
    return stored(m_database.sync([&](SQLiteConnection &connection) {
        return connection.transaction([&] { return replaceAll(connection); });
    }));
}

Result<int, SQLiteError> SQLiteRunStore::upsert(const SchedulerSlot &slot, Date now,
                                                SQLiteConnection &connection)
{
    using V = SQLiteValue;
    return connection.run(upsertSlotStatement,
                          {V::uuid(slot.id), V::optUUID(slot.shipID), V::text(enumText(slot.kind)),
                           V::text(slot.name), V::bool_(slot.enabled), V::text(enumText(slot.provider)),
                           V::optText(slot.model), V::optDate(slot.lastFiredAt), payload(slot), V::date(now),
                           V::date(now)});
}

Result<int, SQLiteError> SQLiteRunStore::upsert(const RunRecord &record, SQLiteConnection &connection)
{
    using V = SQLiteValue;
    const auto tokens = [&](auto number) {
        return record.usage ? V::int_(std::invoke(number, *record.usage)) : V::null();
    };
    const bool isFailure = record.outcome && record.outcome->isFailure();
    return connection.run(upsertRunStatement,
                          {V::uuid(record.id),
                           V::uuid(record.slotID),
                           V::text(record.slotName),
                           V::text(enumText(record.agentKind.value_or(SlotKind::Scheduled))),
                           V::optUUID(record.shipID),
                           V::optText(record.workItemID),
                           V::optText(record.dispatchID),
                           V::text(enumText(record.trigger)),
                           V::text(enumText(record.resolvedProvider())),
                           V::optText(record.model),
                           V::text(record.cwd),
                           V::optText(record.projectDir),
                           V::date(record.startedAt),
                           V::optDate(record.endedAt),
                           record.outcome ? V::text(record.outcome->key()) : V::null(),
                           V::bool_(isFailure),
                           V::optText(record.sessionID),
                           V::optUUID(record.launchRunID),
                           V::optText(record.summary),
                           V::optText(record.completionMessage),
                           V::optDouble(record.minutes()),
                           tokens(&RunUsage::input),
                           tokens(&RunUsage::output),
                           tokens(&RunUsage::cacheCreation),
                           tokens(&RunUsage::cacheRead),
                           tokens(&RunUsage::workTokens),
                           V::bool_(record.isHidden()),
                           payload(record)});
}

Result<void, StorageError> SQLiteRunStore::saveRecord(const RunRecord &record)
{
    return stored(m_database.sync([&](SQLiteConnection &connection) { return upsert(record, connection); }));
}

Result<void, StorageError> SQLiteRunStore::saveScrollback(const QString &text, const QUuid &id)
{
    if (const auto saved = Scrollback::save(m_runsDir, id, text); !saved)
        return failure(StorageError{saved.error().message()});
    return {};
}

std::optional<QString> SQLiteRunStore::loadScrollback(const QUuid &id)
{
    return Scrollback::load(m_runsDir, id);
}

QList<RunRecord> SQLiteRunStore::loadHistory()
{
    return loadPayloads<RunRecord>(m_database, u"SELECT payload FROM runs ORDER BY started_at DESC LIMIT ?"_s,
                                   {SQLiteValue::int_(Scrollback::historyLimit)});
}

void SQLiteRunStore::deleteRecord(const QUuid &id)
{
    const auto deleteRows = [&](SQLiteConnection &connection) -> Result<void, SQLiteError> {
        for (const QString &sql :
             {u"DELETE FROM runs WHERE id = ?"_s, u"DELETE FROM assets WHERE run_id = ?"_s,
              u"DELETE FROM journal WHERE run_id = ?"_s, u"DELETE FROM usage_samples WHERE run_id = ?"_s}) {
            if (const auto gone = connection.run(sql, {SQLiteValue::uuid(id)}); !gone)
                return failure(gone.error());
        }
        return {};
    };
    // Rows that could not be deleted stay; the files go all the same.
    static_cast<void>(m_database.sync([&](SQLiteConnection &connection) {
        return connection.transaction([&] { return deleteRows(connection); });
    }));
    Scrollback::remove(m_runsDir, id);
    removeTree(runDir(id));
    removeTree(m_assetsDir + u'/' + uuidText(id));
}

void SQLiteRunStore::prune(const QList<RunRecord> &records)
{
    for (const RunRecord &record : records.mid(Scrollback::historyLimit))
        Scrollback::remove(m_runsDir, record.id);
}

QString SQLiteRunStore::runDir(const QUuid &id) const
{
    return m_runsDir + u'/' + uuidText(id);
}

} // namespace Keelhaven
