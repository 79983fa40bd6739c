#pragma once

#include "Platform/Clock.h"
#include "Store/RunStore.h"
#include "Store/SQLite/KeelhavenDatabase.h"

namespace Keelhaven::LegacyImport {

/// How many records came over.
struct Report
{
    qsizetype slots = 0;
    qsizetype runs = 0;
    bool operator==(const Report &) const = default;
};

/// Copies the plain-file store's agents and runs into the database: once in the life of a database, all or
/// nothing. Nothing is deleted; slots.json gets a copy "slots.json.pre-sqlite.bak". Gives nothing when it was
/// done before or failed, and then the next start tries again.
[[nodiscard]] std::optional<Report> runIfNeeded(KeelhavenDatabase &database, RunStore &legacy,
                                                const Clock &clock);

} // namespace Keelhaven::LegacyImport
