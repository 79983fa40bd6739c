#pragma once

#include "Contract/Models/AIFile.h"
#include "Contract/Models/ContextFile.h"
#include "Contract/Models/CredentialsPeek.h"
#include "Contract/Models/EventList.h"
#include "Contract/Models/StateFile.h"

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

    StateFile state;
    AIFile ai;
    ContextFile context;
    CredentialsPeek credentials;
    EventList events;    ///< of the last 30 days, in file order
    EventList newEvents; ///< those of `events` that are new in this snapshot
    Health health;
    Date at{};

    /// Nothing known yet.
    [[nodiscard]] static Snapshot empty(Date now);

    bool operator==(const Snapshot &) const = default;
};

} // namespace Keelhaven
