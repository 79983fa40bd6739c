#include "Store/LegacyImport.h"

#include "Store/SQLiteRunStore.h"

#include <QFile>

namespace Keelhaven::LegacyImport {

using namespace Qt::StringLiterals;

namespace {

Result<void, SQLiteError> import(KeelhavenDatabase &database, SQLiteConnection &connection,
                                 const QList<SchedulerSlot> &agents, const QList<RunRecord> &runs, Date now)
{
    Date time = now;
    for (const auto &slot : agents) {
        if (const auto changed = SQLiteRunStore::upsert(slot, time, connection); !changed)
            return failure(changed.error());
        // Agents are ordered by their time of creation; the steps keep the file's order.
        time += std::chrono::milliseconds(1);
    }
    for (const auto &run : runs) {
        if (const auto changed = SQLiteRunStore::upsert(run, connection); !changed)
            return failure(changed.error());
    }
    if (auto marked = database.setMeta(u"imported_at"_s, isoText(now)); !marked)
        return marked;
    return database.setMeta(u"imported_counts"_s, u"slots=%1 runs=%2"_s.arg(agents.size()).arg(runs.size()));
}

} // namespace

std::optional<Report> runIfNeeded(KeelhavenDatabase &database, RunStore &legacy, const Clock &clock)
{
    if (database.meta(u"imported_at"_s))
        return std::nullopt;
    const auto agents = legacy.loadSlots();
    const auto runs = legacy.loadHistory();
    const auto imported = database.sync([&](SQLiteConnection &connection) {
        return connection.transaction(
            [&] { return import(database, connection, agents, runs, clock.now()); });
    });
    if (!imported)
        return std::nullopt;
    // It refuses to overwrite; any other failure leaves the import standing without a copy.
    QFile::copy(legacy.slotsFile(), legacy.slotsFile() + u".pre-sqlite.bak"_s);
    return Report{.slots = agents.size(), .runs = runs.size()};
}

} // namespace Keelhaven::LegacyImport
