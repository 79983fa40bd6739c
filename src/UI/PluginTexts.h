#pragma once

#include "Plugins/LocalPluginInfo.h"
#include "Plugins/PluginInventory.h"

#include <QVariant>

/// What the screens say of plugins. All texts are fit to be shown.
namespace Keelhaven::PluginTexts {

/// "3 commands, 1 skill"; empty when it brings nothing.
[[nodiscard]] QString counts(const LocalPluginInfo &info);

/// Its parts joined by " · ", those that are empty left out.
[[nodiscard]] QString joined(const QStringList &parts);

/// Of the install that sessions use, else of any, else of the plugin's own manifest; empty when none is
/// known.
[[nodiscard]] QString version(const PluginRecord &plugin, const LocalPluginInfo *info);

/// Objects with "title", "more" and "entries": what it brings, by kind. `prefix` stands before its commands.
[[nodiscard]] QVariantList groups(const LocalPluginInfo &info, const QString &prefix);

/// Objects with "label", "value" and "isCode". Folders below `home` are shown with "~".
[[nodiscard]] QVariantList facts(const PluginRecord &plugin, const MarketplaceRecord *marketplace,
                                 const LocalPluginInfo *info, const QString &home);

/// The facts that the plugin's own manifest tells.
[[nodiscard]] QVariantList manifestFacts(const LocalPluginInfo &info);

/// One such object; "value" is given as it is to be shown.
[[nodiscard]] QVariantMap fact(const QString &label, const QString &value, bool isCode = false);

/// What is wrong with it on disk; empty when nothing is.
[[nodiscard]] QString warning(const PluginRecord &plugin, const MarketplaceRecord *marketplace);

} // namespace Keelhaven::PluginTexts
