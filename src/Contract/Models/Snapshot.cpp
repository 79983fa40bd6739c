#include "Contract/Models/Snapshot.h"

namespace Keelhaven {

Snapshot Snapshot::empty(Date now)
{
    Snapshot snapshot;
    snapshot.at = now;
    return snapshot;
}

std::optional<qint64> unknownSchemaVersion(const JSONObject &state)
{
    const JSONValue *version = state.find(u"schema_version");
    const auto number = version ? version->intValue() : std::nullopt;
    return number && *number != knownSchemaVersion ? number : std::nullopt;
}

} // namespace Keelhaven
