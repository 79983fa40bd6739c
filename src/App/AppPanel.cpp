#include "App/AppPanel.h"

#include "Contract/SettingsCatalog.h"

namespace Keelhaven {

PanelRestore PanelRestore::from(const SettingsStore &settings)
{
    if (!Setting::read(settings, Setting::boardIntroduced))
        return {.panel = AppPanel::Keelhaven, .introducesBoard = true};
    if (const auto panel = enumFromText<AppPanel>(settings.text(Setting::appPanel.name.toString())))
        return {.panel = *panel};
    AppPanel panel = AppPanel::Projects;
    if (Setting::read(settings, Setting::schedulerSelected))
        panel = AppPanel::Scheduler;
    else if (Setting::read(settings, Setting::pluginsSelected))
        panel = AppPanel::Plugins;
    return {.panel = panel, .removesEarlierKeys = true};
}

void PanelRestore::applyTo(SettingsStore &settings) const
{
    if (introducesBoard)
        settings.set(Setting::boardIntroduced.name.toString(), true);
    if (removesEarlierKeys) {
        settings.remove(Setting::schedulerSelected.name.toString());
        settings.remove(Setting::pluginsSelected.name.toString());
    }
}

} // namespace Keelhaven
