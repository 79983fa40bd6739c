#pragma once

#include "Contract/SettingsCatalog.h"

namespace Keelhaven {

/// What edits a setting on the sheet.
enum class SettingControl {
    Switch,
    Stepper,
    TextField,
    FolderChooser,
    FileChooser,
    Choice,
    ModelChooser ///< one choice that sets "defaultAgentProvider" and "defaultAgentModel" together
};

/// One row of a page of the settings sheet. Type, fallback and range of its key stand in the catalogue.
struct SettingsSheetRow
{
    SettingsPage page = SettingsPage::General;
    QStringView section; ///< rows of one section follow each other
    QStringView key;
    SettingControl control = SettingControl::Switch;
    QStringView label;            ///< empty where the caption says it all
    QStringView caption = {};     ///< beside the control; "{n}" stands for the value
    QStringView placeholder = {}; ///< of an empty field
    QStringView help = {};        ///< below the row
    QStringView onlyWith = {};    ///< the switch that must be on for this row to matter
    QStringView offCaption = {};  ///< the caption of a value below 1; empty where that means nothing special

    /// What the control offers, from the catalogue; nothing for anything but a stepper.
    [[nodiscard]] std::optional<SettingRange> range() const;
    /// The caption with the value in it.
    [[nodiscard]] QString captionFor(qint64 value) const;
};

namespace SettingsSheet {

/// The pages in their order.
[[nodiscard]] std::span<const SettingsPage> pages();
/// The rows of a page in the order in which they are shown. The sources belong to the analysis service:
/// their page has no row of this kind.
[[nodiscard]] std::span<const SettingsSheetRow> rows(SettingsPage page);

} // namespace SettingsSheet

} // namespace Keelhaven
