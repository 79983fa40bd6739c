#include "Contract/SweepBlockedReason.h"

#include "Contract/PluginCacheGuard.h"
#include "Contract/SettingsCatalog.h"

#include <QFileInfo>

namespace Keelhaven {

using namespace Qt::StringLiterals;

std::optional<QString> sweepBlockedReason(const SettingsStore &settings, const QString &home)
{
    const auto directory = Setting::runDirectory(settings, home);
    if (!directory)
        return u"Set a Keelhaven run directory in Settings — the sweep needs a project folder."_s;
    if (PluginCacheGuard(home).isForbidden(*directory))
        return u"runs are not allowed inside ~/.claude/plugins — use a project directory"_s;
    if (!QFileInfo(*directory).isDir())
        return u"Keelhaven run directory is missing: "_s + *directory;
    return std::nullopt;
}

} // namespace Keelhaven
