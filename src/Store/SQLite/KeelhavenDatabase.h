#pragma once

#include "Contract/KeelhavenPaths.h"
#include "Store/SQLite/SQLiteConnection.h"

#include <mutex>

namespace Keelhaven {

/// The application's database: one connection, used by one caller at a time. All stores go through sync().
///
/// The confinement is the database's own re-entrant lock and no thread: callers of several threads take
/// turns, a caller that is inside already runs in place, and no call pays for a change of thread. Callers
/// wait for their turn, the main loop too, so bodies are short.
class KeelhavenDatabase
{
public:
    /// Opens the file, making it and its folder as needed (folder 0700, file 0600), and brings the schema up
    /// to date.
    [[nodiscard]] static Result<std::unique_ptr<KeelhavenDatabase>, SQLiteError> open(const QString &path);
    /// The same at the program's own place.
    [[nodiscard]] static Result<std::unique_ptr<KeelhavenDatabase>, SQLiteError>
    open(const KeelhavenPaths &paths);

    /// What is broken in the file, in the engine's words; nothing when it is whole or nobody can tell. Such a
    /// file opens, and then only what lies in its broken pages cannot be read or changed. Reads all of it:
    /// for a pool thread. It may be open elsewhere.
    [[nodiscard]] static std::optional<QString> damage(const QString &path);

    [[nodiscard]] const QString &path() const { return m_path; }

    /// Runs `body(SQLiteConnection &)` and gives its result. May be called from inside a body. The connection
    /// must not leave the body.
    template <typename F>
    std::invoke_result_t<F, SQLiteConnection &> sync(F &&body)
    {
        const std::lock_guard turn(m_turn);
        return std::forward<F>(body)(*m_connection);
    }

    /// Nothing when the key is not there, and on any failure.
    [[nodiscard]] std::optional<QString> meta(const QString &key);
    [[nodiscard]] Result<void, SQLiteError> setMeta(const QString &key, const QString &value);

    /// Moves the write-ahead log into the file and empties it. Failure is ignored: the log is read at the
    /// next open.
    void checkpoint();

private:
    KeelhavenDatabase(QString path, std::unique_ptr<SQLiteConnection> connection);
    [[nodiscard]] Result<void, SQLiteError> prepare();

    QString m_path;
    std::unique_ptr<SQLiteConnection> m_connection;
    std::recursive_mutex m_turn;
};

} // namespace Keelhaven
