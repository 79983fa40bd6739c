#include "Store/DatabaseOpening.h"

#include "Platform/SystemLog.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sqlite3.h>
#include <unistd.h>

namespace Keelhaven {

using namespace Qt::StringLiterals;

namespace {

/// Makes the empty file, and refuses one that somebody else put there: the temporary folder is everybody's.
Result<void, SQLiteError> claim(const QString &path)
{
    const int descriptor =
        ::open(QFile::encodeName(path).constData(), O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600);
    if (descriptor < 0)
        return failure(SQLiteError{
            SQLITE_CANTOPEN,
            u"cannot create %1: %2"_s.arg(path, QString::fromLocal8Bit(std::strerror(errno))), std::nullopt});
    ::close(descriptor);
    return {};
}

void removeDatabase(const QString &path)
{
    for (const QString &suffix : {u""_s, u"-wal"_s, u"-shm"_s, u"-journal"_s})
        QFile::remove(path + suffix);
}

} // namespace

TemporaryDatabase::~TemporaryDatabase()
{
    if (!path.isEmpty())
        removeDatabase(path);
}

QString NoDatabaseError::message() const
{
    return u"Keelhaven cannot open a database anywhere: "_s + reason.message();
}

Result<DatabaseOpening, NoDatabaseError> openDatabase(const KeelhavenPaths &paths)
{
    auto own = KeelhavenDatabase::open(paths);
    if (own)
        return DatabaseOpening{.database = *std::move(own), .error = std::nullopt};
    const QString reason = own.error().message();
    const QString path =
        QDir::tempPath() + u"/keelhaven-fallback-%1.sqlite"_s.arg(QCoreApplication::applicationPid());
    // A file of that name stems from a dead process with the same id, and so may its log, which the engine
    // would replay into the fresh file.
    removeDatabase(path);
    if (auto claimed = claim(path); !claimed)
        return failure(NoDatabaseError{claimed.error()});
    auto temporary = KeelhavenDatabase::open(path);
    if (!temporary)
        return failure(NoDatabaseError{temporary.error()});
    systemLog(u"Keelhaven: database at %1 failed to open (%2); using a temporary one"_s.arg(
        paths.databaseFile(), reason));
    return DatabaseOpening{.database = *std::move(temporary), .error = reason};
}

} // namespace Keelhaven
