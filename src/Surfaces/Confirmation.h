#pragma once

#include <QString>

namespace Keelhaven {

/// A question before something is thrown away.
struct Confirmation
{
    QString title;
    QString message;
    QString button; ///< the one that does it
    bool operator==(const Confirmation &) const = default;
};

} // namespace Keelhaven
