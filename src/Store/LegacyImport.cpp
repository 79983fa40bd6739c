#include "Store/LegacyImport.h"

#include "Platform/Files.h"
#include "Store/SQLiteRunStore.h"

#include <QFileInfo>

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

/// Whether the import is still to be done. A marker that cannot be looked for counts as there: importing
/// again would bring back old agents over the present ones.
bool isOpen(KeelhavenDatabase &database)
{
    const auto markers = database.sync([](SQLiteConnection &connection) {
        return connection.query(u"SELECT 1 FROM meta WHERE key = 'imported_at'"_s);
    });
    return markers && markers->isEmpty();
}

/// A failure leaves the import standing without a copy. Not QFile::copy: it would wait at a pipe for ever,
/// and leave a part behind for the whole.
void backUp(const QString &slotsFile)
{
    const QString backup = slotsFile + u".pre-sqlite.bak"_s;
    if (QFileInfo::exists(backup) || QFileInfo(backup).isSymLink())
        return;
    if (const auto bytes = readFile(slotsFile))
        static_cast<void>(writeFileAtomically(backup, *bytes));
}

} // namespace

std::optional<Report> runIfNeeded(KeelhavenDatabase &database, RunStore &legacy, const Clock &clock)
{
    if (!isOpen(database))
        return std::nullopt;
    const auto agents = legacy.loadSlots();
    const auto runs = legacy.loadHistory();
    const auto imported = database.sync([&](SQLiteConnection &connection) {
        return connection.transaction(
            [&] { return import(database, connection, agents, runs, clock.now()); });
    });
    if (!imported)
        return std::nullopt;
    backUp(legacy.slotsFile());
    return Report{.slots = agents.size(), .runs = runs.size()};
}

} // namespace Keelhaven::LegacyImport
