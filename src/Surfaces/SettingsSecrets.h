#pragma once

#include "Contract/SettingsCatalog.h"

namespace Keelhaven {

/// One secret that the settings sheet takes. It is written to the secret store and never shown again.
struct SettingsSecretRow
{
    SettingsPage page = SettingsPage::Integrations;
    QStringView section; ///< of the sheet; the secret stands below that section's other rows
    QStringView service; ///< its name in the secret store
    QStringView label;
    QStringView placeholder; ///< of an empty field
};

namespace SettingsSecrets {

/// In the order in which they are shown.
[[nodiscard]] std::span<const SettingsSecretRow> rows();

/// `text` as it is kept, without blanks around it; else what is wrong with it, as a sentence that does not
/// repeat it. `longest` counts bytes of UTF-8.
[[nodiscard]] Result<QString, QString> check(const QString &text, qsizetype longest);

inline constexpr QStringView kept = u"Kept in the secret store";
inline constexpr QStringView missing = u"Not set";
inline constexpr QStringView looking = u"Looking…";
inline constexpr QStringView set = u"Set";
inline constexpr QStringView replace = u"Replace…";
inline constexpr QStringView remove = u"Remove";

} // namespace SettingsSecrets

} // namespace Keelhaven
