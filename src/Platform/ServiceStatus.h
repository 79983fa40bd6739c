#pragma once

#include <QString>

namespace Keelhaven {

/// What the doctor tells about a service of the machine: what was found, or what its absence costs.
struct ServiceStatus
{
    bool ok = false;
    QString detail;

    bool operator==(const ServiceStatus &) const = default;
};

} // namespace Keelhaven
