#pragma once

#include "Plugins/PluginInventory.h"
#include "Scheduler/Model/PluginOption.h"

/// What captains, dispatchers and the picker of the agent editor are offered.
namespace Keelhaven::DispatchPluginCatalog {

/// One option for each plugin that lies on disk, in the order of the inventory. Reads each plugin's manifest
/// and the names of its commands. Blocking.
[[nodiscard]] QList<PluginOption> options(const PluginInventory &inventory);

/// Where options() looks. Blocking.
[[nodiscard]] QStringList paths(const PluginInventory &inventory);

} // namespace Keelhaven::DispatchPluginCatalog
