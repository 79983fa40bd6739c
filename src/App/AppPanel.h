#pragma once

#include "Contract/RecordMapper.h"
#include "Platform/SettingsStore.h"

namespace Keelhaven {

/// What the window shows.
enum class AppPanel { Keelhaven, Projects, Scheduler, Plugins };

template <>
struct EnumTexts<AppPanel>
{
    static constexpr std::array<std::u16string_view, 4> texts{u"keelhaven", u"projects", u"scheduler",
                                                              u"plugins"};
};

/// Which panel opens at start, and what that changes in the settings.
struct PanelRestore
{
    AppPanel panel = AppPanel::Keelhaven;
    bool introducesBoard = false;    ///< the very first start: the fleet board, whatever was stored
    bool removesEarlierKeys = false; ///< the choice came from an earlier version's keys

    /// Looks at the settings and changes nothing.
    [[nodiscard]] static PanelRestore from(const SettingsStore &settings);
    void applyTo(SettingsStore &settings) const;

    bool operator==(const PanelRestore &) const = default;
};

} // namespace Keelhaven
