#pragma once

#include <QString>

namespace Keelhaven {

/// "0.9.1+" and the first eight hexadecimal characters of the SHA-256 of the running program file, so that a
/// rebuilt host is seen as another version. Hashed once, at the first call.
[[nodiscard]] QString hostVersion();

} // namespace Keelhaven
