#include "Store/SQLite/KeelhavenDatabase.h"

#include "Platform/Files.h"
#include "Store/SQLite/Migrations.h"

#include <QDeadlineTimer>
#include <QFileInfo>
#include <fcntl.h>
#include <sqlite3.h>
#include <sys/stat.h>
#include <unistd.h>

namespace Keelhaven {

using namespace Qt::StringLiterals;

namespace {

/// Takes away what others may do with the file, and gives its owner back what a copy from a backup or a
/// read-only medium lost.
void setPrivate(const QByteArray &name)
{
    struct stat status = {};
    if (::stat(name.constData(), &status) == 0 && S_ISREG(status.st_mode) && (status.st_mode & 0677) != 0600)
        ::chmod(name.constData(), (status.st_mode & 0700) | 0600);
}

/// The engine would make the file with the process's umask, and gives its log the file's mode. A file that
/// cannot be made or changed here is left to the engine, whose error says more.
void keepPrivate(const QString &path)
{
    const QByteArray name = QFile::encodeName(path);
    if (const int descriptor =
            ::open(name.constData(), O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600);
        descriptor >= 0) {
        ::close(descriptor);
        return;
    }
    for (const char *suffix : {"", "-wal", "-shm"})
        setPrivate(name + suffix);
}

} // namespace

KeelhavenDatabase::KeelhavenDatabase(QString path, std::unique_ptr<SQLiteConnection> connection)
    : m_path(std::move(path))
    , m_connection(std::move(connection))
{}

Result<std::unique_ptr<KeelhavenDatabase>, SQLiteError> KeelhavenDatabase::open(const QString &path)
{
    if (auto folder = makeFolder(QFileInfo(path).path()); !folder)
        return failure(SQLiteError{SQLITE_CANTOPEN, folder.error().message(), std::nullopt});
    keepPrivate(path);
    auto connection = SQLiteConnection::open(path);
    if (!connection)
        return failure(std::move(connection.error()));
    std::unique_ptr<KeelhavenDatabase> database(new KeelhavenDatabase(path, *std::move(connection)));
    if (auto prepared = database->prepare(); !prepared)
        return failure(std::move(prepared.error()));
    return database;
}

Result<std::unique_ptr<KeelhavenDatabase>, SQLiteError> KeelhavenDatabase::open(const KeelhavenPaths &paths)
{
    return open(paths.databaseFile());
}

namespace {

/// Of two programs that switch a new file to the log at once, the engine refuses one without the time-out's
/// wait.
Result<void, SQLiteError> setPragmas(SQLiteConnection &connection)
{
    const QDeadlineTimer end(std::chrono::seconds(5));
    while (true) {
        auto done = connection.execute(u"PRAGMA journal_mode = WAL;\n"
                                       "PRAGMA synchronous = NORMAL;\n"
                                       "PRAGMA busy_timeout = 5000;\n"
                                       "PRAGMA foreign_keys = ON;"_s);
        if (done || done.error().code != SQLITE_BUSY || end.hasExpired())
            return done;
        sqlite3_sleep(10);
    }
}

} // namespace

Result<void, SQLiteError> KeelhavenDatabase::prepare()
{
    return sync([](SQLiteConnection &connection) -> Result<void, SQLiteError> {
        const auto pragmas = setPragmas(connection);
        if (!pragmas)
            return pragmas;
        return Migrations::apply(connection);
    });
}

std::optional<QString> KeelhavenDatabase::damage(const QString &path)
{
    auto connection = SQLiteConnection::open(path);
    if (!connection)
        return std::nullopt;
    const auto rows = (*connection)->query(u"PRAGMA quick_check(1)"_s);
    if (!rows)
        return rows.error().code == SQLITE_CORRUPT ? std::optional(rows.error().text) : std::nullopt;
    const QString found =
        rows->isEmpty() ? QString() : rows->first().string(u"quick_check").value_or(QString());
    if (found.isEmpty() || found == u"ok")
        return std::nullopt;
    return found.section(u'\n', -1); // the line above it names the database
}

std::optional<QString> KeelhavenDatabase::meta(const QString &key)
{
    const auto rows = sync([&](SQLiteConnection &connection) {
        return connection.query(u"SELECT value FROM meta WHERE key = ?"_s, {SQLiteValue::text(key)});
    });
    return rows && !rows->isEmpty() ? rows->first().string(u"value") : std::nullopt;
}

Result<void, SQLiteError> KeelhavenDatabase::setMeta(const QString &key, const QString &value)
{
    const auto changed = sync([&](SQLiteConnection &connection) {
        return connection.run(
            u"INSERT INTO meta (key, value) VALUES (?, ?) ON CONFLICT(key) DO UPDATE SET value = excluded.value"_s,
            {SQLiteValue::text(key), SQLiteValue::text(value)});
    });
    if (!changed)
        return failure(changed.error());
    return {};
}

void KeelhavenDatabase::checkpoint()
{
    static_cast<void>(sync([](SQLiteConnection &connection) {
        return connection.execute(u"PRAGMA wal_checkpoint(TRUNCATE)"_s);
    }));
}

} // namespace Keelhaven
