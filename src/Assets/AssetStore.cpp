#include "Assets/AssetStore.h"

#include "Assets/AssetFile.h"
#include "Contract/SettingsCatalog.h"

#include <QPointer>
#include <limits>

namespace Keelhaven {

using namespace Qt::StringLiterals;

namespace {

/// Nothing for a row of a kind or source that this version does not know.
std::optional<Asset> assetFrom(const SQLiteRow &row)
{
    const auto id = row.string(u"id");
    const auto runID = row.uuid(u"run_id");
    const auto path = row.string(u"path");
    const auto kind = enumFromText<AssetKind>(row.string(u"kind").value_or(QString()));
    const auto source = enumFromText<AssetSource>(row.string(u"source").value_or(QString()));
    const auto addedAt = row.date(u"added_at");
    if (!id || !runID || !path || !kind || !source || !addedAt)
        return std::nullopt;
    return Asset{.id = *id,
                 .runID = *runID,
                 .shipID = row.uuid(u"ship_id"),
                 .workItemID = row.string(u"work_item_id"),
                 .path = *path,
                 .storedPath = row.string(u"stored_path"),
                 .kind = *kind,
                 .mime = row.string(u"mime"),
                 .caption = row.string(u"caption"),
                 .bytes = row.int64(u"bytes"),
                 .thumbnailPath = row.string(u"thumbnail_path"),
                 .copied = row.bool_(u"copied").value_or(false),
                 .source = *source,
                 .addedAt = *addedAt};
}

} // namespace

AssetStore::AssetStore(AssetServices services)
    : m_services(std::move(services))
{}

AssetStore::~AssetStore()
{
    m_stop.request_stop();
}

std::optional<Asset> AssetStore::register_(const AssetReport &report)
{
    // A NUL ends a path for the system but not here: the row would name another file than the one opened.
    if (report.path.isEmpty() || report.path.contains(QChar::Null))
        return std::nullopt;
    const auto known = m_services.database.sync([&](SQLiteConnection &connection) {
        return connection.query(u"SELECT * FROM assets WHERE run_id = ? AND path = ?"_s,
                                {SQLiteValue::uuid(report.runID), SQLiteValue::text(report.path)});
    });
    if (!known || !known->isEmpty())
        return std::nullopt;
    Asset asset;
    asset.id = uuidText(QUuid::createUuid());
    asset.runID = report.runID;
    asset.shipID = report.shipID;
    asset.workItemID = report.workItemID;
    asset.path = report.path;
    asset.kind = inferAssetKind(report.path, report.kindHint);
    asset.caption = report.caption;
    asset.source = report.source;
    asset.addedAt = m_services.clock.now();
    if (!insert(asset))
        return std::nullopt;
    raiseVersion();
    m_waiting.append(asset);
    if (!m_isWorking)
        m_services.tasks.spawn(work({}), "AssetStore::work");
    return asset;
}

void AssetStore::resume()
{
    Q_ASSERT(!m_isWorking);
    constexpr auto oldest = std::chrono::days(30);
    // The size is told with the copy, so a row without one was cut off, or its file was not there.
    m_waiting = select(u"SELECT * FROM assets WHERE bytes IS NULL AND added_at >= ? ORDER BY added_at"_s,
                       {SQLiteValue::date(m_services.clock.now() - oldest)});
    QList<QUuid> runs;
    for (const Asset &asset : std::as_const(m_waiting)) {
        if (!runs.contains(asset.runID))
            runs.append(asset.runID);
    }
    if (!runs.isEmpty())
        m_services.tasks.spawn(work(runs), "AssetStore::resume");
}

void AssetStore::stop()
{
    m_stop.request_stop();
}

/// Processes what waits, one at a time: a run that delivers a thousand files starts no thousand children, and
/// two files of one name get theirs in the order in which they came. `interrupted` are the runs whose folders
/// may hold what an earlier process did not finish.
QCoro::Task<> AssetStore::work(QList<QUuid> interrupted)
{
    const QPointer<AssetStore> self(this);
    const Thumbnailer thumbnailer = m_services.thumbnailer;
    const std::stop_token stop = m_stop.get_token();
    m_isWorking = true;
    for (const QUuid &runID : std::as_const(interrupted)) {
        // Without the names every file would look like a leftover.
        const auto kept = storedNames(runID);
        if (!kept)
            continue;
        auto clean = [folder = folderOf(runID), names = *kept] {
            AssetFile::removeLeftovers(folder, names);
            return true;
        };
        co_await onPool(std::move(clean));
        if (!self)
            co_return;
    }
    while (!m_waiting.isEmpty() && !stop.stop_requested()) {
        const Asset waiting = m_waiting.takeFirst();
        const QString folder = folderOf(waiting.runID);
        const qint64 limit = copyLimitBytes();
        const Asset done = co_await AssetProcessor::process(waiting, folder, limit, thumbnailer, stop);
        // A row that got no more than half is left as it was, for the next start.
        const bool isCutOff = !self || stop.stop_requested();
        if (isCutOff || !update(done))
            AssetFile::discard(folder, done.storedPath, done.thumbnailPath);
        else
            raiseVersion();
        if (!self)
            co_return;
    }
    m_isWorking = false;
}

/// The files that the table names in the run's folder, relative to it. Nothing when the table cannot be read.
std::optional<QSet<QString>> AssetStore::storedNames(const QUuid &runID) const
{
    const auto rows = m_services.database.sync([&](SQLiteConnection &connection) {
        return connection.query(u"SELECT stored_path, thumbnail_path FROM assets WHERE run_id = ?"_s,
                                {SQLiteValue::uuid(runID)});
    });
    if (!rows)
        return std::nullopt;
    QSet<QString> names;
    // By name, for the folder may have moved with its home since.
    const auto nameOf = [](const QString &path) { return path.sliced(path.lastIndexOf(u'/') + 1); };
    for (const SQLiteRow &row : *rows) {
        if (const auto path = row.string(u"stored_path"))
            names.insert(nameOf(*path));
        if (const auto path = row.string(u"thumbnail_path"))
            names.insert(u"thumbs/"_s + nameOf(*path));
    }
    return names;
}

QString AssetStore::folderOf(const QUuid &runID) const
{
    return m_services.assetsDir + u'/' + uuidText(runID);
}

QList<Asset> AssetStore::assetsForRun(const QUuid &runID) const
{
    return select(u"SELECT * FROM assets WHERE run_id = ? ORDER BY added_at"_s, {SQLiteValue::uuid(runID)});
}

QList<Asset> AssetStore::assetsForShip(const QUuid &shipID, int limit) const
{
    return select(u"SELECT * FROM assets WHERE ship_id = ? ORDER BY added_at DESC LIMIT ?"_s,
                  {SQLiteValue::uuid(shipID), SQLiteValue::int_(limit)});
}

QList<Asset> AssetStore::recent(int limit) const
{
    return select(u"SELECT * FROM assets ORDER BY added_at DESC LIMIT ?"_s, {SQLiteValue::int_(limit)});
}

std::optional<Asset> AssetStore::asset(const QString &id) const
{
    const auto found = select(u"SELECT * FROM assets WHERE id = ?"_s, {SQLiteValue::text(id)});
    return found.isEmpty() ? std::nullopt : std::optional(found.first());
}

void AssetStore::delete_(const QUuid &runID)
{
    m_waiting.removeIf([&](const Asset &asset) { return asset.runID == runID; });
    // Rows that cannot be deleted stay; they are told of as before.
    static_cast<void>(m_services.database.sync([&](SQLiteConnection &connection) {
        return connection.run(u"DELETE FROM assets WHERE run_id = ?"_s, {SQLiteValue::uuid(runID)});
    }));
    // Also when there was none: the run store deletes a run's rows with the run, and nobody is told of that.
    raiseVersion();
}

qint64 AssetStore::copyLimitBytes() const
{
    constexpr qint64 mebibyte = 1024 * 1024;
    constexpr qint64 most = std::numeric_limits<qint64>::max() / mebibyte;
    const qint64 limit = Setting::read(m_services.settings, Setting::assetCopyLimitMB);
    return std::clamp(limit, qint64(-1), most) * mebibyte;
}

QList<Asset> AssetStore::select(const QString &sql, const SQLiteParameters &parameters) const
{
    const auto rows = m_services.database.sync(
        [&](SQLiteConnection &connection) { return connection.query(sql, parameters); });
    QList<Asset> assets;
    if (!rows)
        return assets;
    assets.reserve(rows->size());
    for (const SQLiteRow &row : *rows) {
        if (auto asset = assetFrom(row))
            assets.append(*std::move(asset));
    }
    return assets;
}

bool AssetStore::insert(const Asset &asset)
{
    using V = SQLiteValue;
    const auto inserted = m_services.database.sync([&](SQLiteConnection &connection) {
        return connection.run(
            u"INSERT INTO assets (id, run_id, ship_id, work_item_id, path, stored_path, kind, mime, caption, "
            u"bytes, thumbnail_path, copied, source, added_at) VALUES (?,?,?,?,?,?,?,?,?,?,?,?,?,?)"_s,
            {V::text(asset.id), V::uuid(asset.runID), V::optUUID(asset.shipID), V::optText(asset.workItemID),
             V::text(asset.path), V::optText(asset.storedPath), V::text(enumText(asset.kind)),
             V::optText(asset.mime), V::optText(asset.caption), V::optInt(asset.bytes),
             V::optText(asset.thumbnailPath), V::bool_(asset.copied), V::text(enumText(asset.source)),
             V::date(asset.addedAt)});
    });
    return inserted.has_value();
}

/// False when the row is gone: its run was deleted meanwhile.
bool AssetStore::update(const Asset &asset)
{
    using V = SQLiteValue;
    const auto updated = m_services.database.sync([&](SQLiteConnection &connection) {
        return connection.run(
            u"UPDATE assets SET stored_path = ?, thumbnail_path = ?, copied = ?, bytes = ?, mime = ? WHERE id = ?"_s,
            {V::optText(asset.storedPath), V::optText(asset.thumbnailPath), V::bool_(asset.copied),
             V::optInt(asset.bytes), V::optText(asset.mime), V::text(asset.id)});
    });
    return updated && *updated > 0;
}

void AssetStore::raiseVersion()
{
    ++m_version;
    Q_EMIT changed();
}

} // namespace Keelhaven
