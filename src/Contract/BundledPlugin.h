#pragma once

#include <QStringList>

/// The plugin that the application carries. Where it lies is `KeelhavenPaths::bundledPluginRoot`.
namespace Keelhaven::BundledPlugin {

/// The name in front of its commands.
inline constexpr QStringView name = u"keelhaven";
/// Its id as the program loads it on every run, and as an installed plugin of the user.
inline constexpr QStringView bundledID = u"keelhaven@bundled";
inline constexpr QStringView installedID = u"keelhaven@keelhaven-marketplace";

/// The ids under which a user may have installed it: one for each marketplace it was ever published in.
[[nodiscard]] inline QStringList userScopeIDs()
{
    return {installedID.toString(), QStringLiteral("keelhaven@brine-works")};
}

} // namespace Keelhaven::BundledPlugin
