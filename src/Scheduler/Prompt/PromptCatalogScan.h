#pragma once

#include "Contract/KeelhavenPaths.h"
#include "Plugins/PluginInventory.h"
#include "Scheduler/Prompt/PluginEnablementResolver.h"
#include "Scheduler/Prompt/SlashCommandCatalog.h"

/// Reads what a Claude session will see. All of it is blocking; what cannot be read is left out.
namespace Keelhaven::PromptCatalogScan {

struct Found
{
    SlashCommandCatalog catalog;
    PluginEnablementResolver::Snapshot enablement;
};

/// The commands of the user, the folders, the bundled plugin and the installed ones, in this order.
[[nodiscard]] Found scan(const QStringList &cwds, const PluginInventory &inventory,
                         const KeelhavenPaths &paths);

/// Every "md" file below the folder, relative to it, in order of their paths.
[[nodiscard]] QStringList markdownFiles(const QString &folder);

/// Every folder in the folder, by name; one without a SKILL.md counts as well.
[[nodiscard]] QList<SlashCommandDeriver::SkillEntry> skillEntries(const QString &folder);

} // namespace Keelhaven::PromptCatalogScan
