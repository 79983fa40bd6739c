#pragma once

#include "Store/SQLite/SQLiteConnection.h"

namespace Keelhaven::Migrations {

/// The version of the schema that this program writes.
inline constexpr int schemaVersion = 1;

/// Brings the schema up to `schemaVersion`, each step in a transaction of its own together with its
/// `user_version`. A file of a newer program is left as it is.
[[nodiscard]] Result<void, SQLiteError> apply(SQLiteConnection &connection);

} // namespace Keelhaven::Migrations
