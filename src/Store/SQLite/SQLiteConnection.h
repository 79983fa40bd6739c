#pragma once

#include "Platform/Result.h"
#include "Store/SQLite/SQLiteError.h"
#include "Store/SQLite/SQLiteRow.h"

#include <memory>
#include <type_traits>

struct sqlite3;
struct sqlite3_stmt;

namespace Keelhaven {

/// One open database file. It has no lock of its own: KeelhavenDatabase hands it to one caller at a time, and
/// nobody keeps it beyond that call. Statements live for one call; none are cached.
class SQLiteConnection
{
public:
    /// Opens the file for reading and writing, and creates it when it is missing. One that can only be read
    /// is an error.
    [[nodiscard]] static Result<std::unique_ptr<SQLiteConnection>, SQLiteError> open(const QString &path);

    SQLiteConnection(const SQLiteConnection &) = delete;
    SQLiteConnection &operator=(const SQLiteConnection &) = delete;
    ~SQLiteConnection();

    /// Runs one or several statements without parameters.
    Result<void, SQLiteError> execute(const QString &sql);

    /// Runs one statement, one step of it, and gives the number of changed rows.
    Result<int, SQLiteError> run(const QString &sql, const SQLiteParameters &parameters = {});

    /// Runs one statement to its end and gives all rows.
    [[nodiscard]] Result<QList<SQLiteRow>, SQLiteError> query(const QString &sql,
                                                              const SQLiteParameters &parameters = {});

    /// Runs `body` (no arguments, a Result with SQLiteError) between BEGIN IMMEDIATE and COMMIT. An error of
    /// the body or of the commit rolls everything back and is returned. Transactions do not nest.
    template <typename F>
    std::invoke_result_t<F> transaction(F &&body);

    [[nodiscard]] Result<int, SQLiteError> userVersion();
    [[nodiscard]] Result<void, SQLiteError> setUserVersion(int version);

private:
    class Statement;

    explicit SQLiteConnection(sqlite3 *handle)
        : m_db(handle)
    {}
    [[nodiscard]] SQLiteError lastError(int code, const QString &sql) const;
    Result<void, SQLiteError> begin();
    Result<void, SQLiteError> commit();
    void rollBack();

    sqlite3 *m_db;
};

template <typename F>
std::invoke_result_t<F> SQLiteConnection::transaction(F &&body)
{
    if (auto begun = begin(); !begun)
        return failure(std::move(begun.error()));
    auto result = std::forward<F>(body)();
    if (!result) {
        rollBack();
        return result;
    }
    if (auto committed = commit(); !committed) {
        rollBack();
        return failure(std::move(committed.error()));
    }
    return result;
}

} // namespace Keelhaven
