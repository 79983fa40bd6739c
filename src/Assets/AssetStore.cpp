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
        m_services.tasks.spawn(work(), "AssetStore::work");
    return asset;
}

/// Processes what waits, one at a time: a run that delivers a thousand files starts no thousand children, and
/// two files of one name get theirs in the order in which they came.
QCoro::Task<> AssetStore::work()
{
    const QPointer<AssetStore> self(this);
    const Thumbnailer thumbnailer = m_services.thumbnailer;
    m_isWorking = true;
    while (!m_waiting.isEmpty()) {
        const Asset waiting = m_waiting.takeFirst();
        const QString folder = m_services.assetsDir + u'/' + uuidText(waiting.runID);
        const qint64 limit = copyLimitBytes();
        const Asset done = co_await AssetProcessor::process(waiting, folder, limit, thumbnailer);
        if (!self)
            co_return;
        if (update(done))
            raiseVersion();
        else
            AssetFile::discard(folder, done.storedPath, done.thumbnailPath);
    }
    m_isWorking = false;
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
    const auto deleted = m_services.database.sync([&](SQLiteConnection &connection) {
        return connection.run(u"DELETE FROM assets WHERE run_id = ?"_s, {SQLiteValue::uuid(runID)});
    });
    if (deleted && *deleted > 0)
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
