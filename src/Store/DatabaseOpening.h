#pragma once

#include "Store/SQLite/KeelhavenDatabase.h"

namespace Keelhaven {

/// The database the program starts with.
struct DatabaseOpening
{
    std::unique_ptr<KeelhavenDatabase> database;
    /// Why the program's own database did not open. `database` is then an empty temporary one that goes with
    /// the process, and agents and history belong into the plain-file RunStore.
    std::optional<QString> error;
};

/// Nothing can run without a database.
struct NoDatabaseError
{
    SQLiteError reason; ///< of the temporary database

    /// "Keelhaven cannot open a database anywhere: {reason}", with which the process stops.
    [[nodiscard]] QString message() const;
};

/// Removes the files of a temporary database when it goes. It outlives the database.
struct TemporaryDatabase
{
    QString path; ///< empty: none

    TemporaryDatabase() = default;
    TemporaryDatabase(const TemporaryDatabase &) = delete;
    TemporaryDatabase &operator=(const TemporaryDatabase &) = delete;
    ~TemporaryDatabase();
};

/// Opens the program's database, else a fresh temporary one, which is told in the system log.
[[nodiscard]] Result<DatabaseOpening, NoDatabaseError> openDatabase(const KeelhavenPaths &paths);

} // namespace Keelhaven
