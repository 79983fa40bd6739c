#include "Contract/Models/Snapshot.h"

namespace Keelhaven {

Snapshot Snapshot::empty(Date now)
{
    Snapshot snapshot;
    snapshot.at = now;
    return snapshot;
}

} // namespace Keelhaven
