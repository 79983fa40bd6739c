#pragma once

#include <QString>

namespace Keelhaven {

/// Writes one line to the system log (stderr, which the journal or terminal keeps). The program has no log
/// levels and no log file; callers never pass secrets.
void systemLog(const QString &line);

} // namespace Keelhaven
