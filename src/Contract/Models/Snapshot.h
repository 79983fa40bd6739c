#pragma once

#include "Contract/Models/EventList.h"

namespace Keelhaven {

/// What the shared files in the cache folder hold at one moment. A value: a subscriber never sees half an
/// update.
struct Snapshot
{
    struct Health
    {
        bool cacheDirExists = false;
        std::optional<qint64> unknownSchemaVersion; ///< of the state file, when it is not one we know
        bool operator==(const Health &) const = default;
    };

    JSONObject state;       ///< state.json, empty while there is none
    JSONObject ai;          ///< ai.json
    JSONObject context;     ///< context.json: one member per project
    JSONObject credentials; ///< credentials.json; holds secrets, so no value of it may be shown or logged
    EventList events;       ///< of the last 30 days, in file order
    EventList newEvents;    ///< those of `events` that are new in this snapshot
    Health health;
    Date at{};

    /// Nothing known yet.
    [[nodiscard]] static Snapshot empty(Date now);

    bool operator==(const Snapshot &) const = default;
};

/// The version of state.json that this program reads.
inline constexpr qint64 knownSchemaVersion = 3;

/// The state file's `schema_version` when it is there and is another than ours. Absent counts as understood.
[[nodiscard]] std::optional<qint64> unknownSchemaVersion(const JSONObject &state);

} // namespace Keelhaven
