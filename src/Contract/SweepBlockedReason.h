#pragma once

#include "Platform/SettingsStore.h"

namespace Keelhaven {

/// Why no sweep can start, as a sentence for the user: no run directory is set, it lies inside the plugin
/// cache, or it is no directory. Nothing when one can. Looks at the settings and the disk, each time.
[[nodiscard]] std::optional<QString> sweepBlockedReason(const SettingsStore &settings, const QString &home);

} // namespace Keelhaven
