#pragma once

#include "Assets/AssetProcessor.h"
#include "Platform/Clock.h"
#include "Platform/SettingsStore.h"
#include "Platform/Tasks.h"
#include "Store/SQLite/KeelhavenDatabase.h"

#include <QObject>
#include <QSet>

namespace Keelhaven {

/// What the asset store is built on; all of it outlives the store.
struct AssetServices
{
    KeelhavenDatabase &database;
    const Clock &clock;
    const SettingsStore &settings;
    Tasks &tasks;
    Thumbnailer thumbnailer;
    QString assetsDir; ///< "{assetsDir}/{run id}/{file}" and "{assetsDir}/{run id}/thumbs/{file}.jpg"
};

/// One file as a run reports it.
struct AssetReport
{
    QUuid runID;
    std::optional<QUuid> shipID;
    std::optional<QString> workItemID;
    QString path; ///< absolute
    std::optional<QString> kindHint;
    std::optional<QString> caption;
    Asset::Source source = Asset::Source::MCP;
};

/// The files that runs made for a human: a row for each, a copy of what is small enough, a thumbnail of what
/// can be shown. Nothing here is ever reported as a failure. Main loop only.
class AssetStore : public QObject
{
    Q_OBJECT

public:
    explicit AssetStore(AssetServices services);
    ~AssetStore() override;

    /// Once, before anything is registered: goes on with what an earlier process registered in the last 30
    /// days and did not finish, and removes what that one left half done.
    void resume();
    /// Ends copying soon. What is not done waits for the next resume().
    void stop();

    /// Makes the row and gives it at once; copy and thumbnail follow in the background, one file at a time.
    /// Nothing when the run has reported this path before, or the row cannot be made.
    std::optional<Asset> register_(const AssetReport &report);

    /// In the order in which they were added.
    [[nodiscard]] QList<Asset> assetsForRun(const QUuid &runID) const;
    /// The newest `limit`, newest first.
    [[nodiscard]] QList<Asset> assetsForShip(const QUuid &shipID, int limit) const;
    [[nodiscard]] QList<Asset> recent(int limit) const;
    [[nodiscard]] std::optional<Asset> asset(const QString &id) const;

    /// Forgets a run's assets, those included that wait for their copy. Their files stay. Also to be called
    /// when somebody else removed the run's rows, before or after.
    void delete_(const QUuid &runID);

    /// Files of more bytes are not copied. Read from the settings at each use.
    [[nodiscard]] qint64 copyLimitBytes() const;

    /// Raised with each change of the table.
    [[nodiscard]] int version() const { return m_version; }
    /// Whether copies or thumbnails are still to be made.
    [[nodiscard]] bool isWorking() const { return m_isWorking; }

Q_SIGNALS:
    /// version() was raised.
    void changed();

private:
    [[nodiscard]] QList<Asset> select(const QString &sql, const SQLiteParameters &parameters) const;
    [[nodiscard]] bool insert(const Asset &asset);
    [[nodiscard]] bool update(const Asset &asset);
    [[nodiscard]] std::optional<QSet<QString>> storedNames(const QUuid &runID) const;
    [[nodiscard]] QString folderOf(const QUuid &runID) const;
    void raiseVersion();
    QCoro::Task<> work(QList<QUuid> interrupted);

    AssetServices m_services;
    QList<Asset> m_waiting; ///< registered, not yet processed
    int m_version = 0;
    bool m_isWorking = false;
    std::stop_source m_stop;
};

} // namespace Keelhaven
