#pragma once

#include "Platform/Result.h"
#include "Platform/SettingsStore.h"

#include <QUuid>
#include <span>
#include <vector>

namespace Keelhaven {

/// The name of a setting, with the value that stands where none is stored. `T` is what read() gives; a text
/// key has the form QStringView.
template <typename T>
struct SettingKey
{
    QStringView name;
    T fallback{};
};

/// Every key of the settings store, and its typed readers. A value of another type reads as the fallback.
namespace Setting {

using OptionalInteger = std::optional<qint64>;
using OptionalReal = std::optional<double>;
using OptionalDate = std::optional<Date>;

// Scheduler and usage gate
inline constexpr SettingKey<qint64> schedulerConcurrencyCap{u"schedulerConcurrencyCap", 5};
inline constexpr SettingKey<qint64> schedulerSessionCapPercent{u"schedulerSessionCapPercent", 50};
inline constexpr SettingKey<bool> schedulerPaceGuardEnabled{u"schedulerPaceGuardEnabled", true};
inline constexpr SettingKey<qint64> schedulerPaceSlack{u"schedulerPaceSlack", 10};
inline constexpr SettingKey<bool> schedulerNotificationsEnabled{u"schedulerNotificationsEnabled"};
inline constexpr SettingKey<bool> sweepKeelhavenOnOpen{u"sweepKeelhavenOnOpen", true};
inline constexpr SettingKey<QStringView> keelhavenRunDirectory{u"keelhavenRunDirectory"};
inline constexpr SettingKey<QStringView> keelhavenDispatchInstructions{u"keelhavenDispatchInstructions"};
inline constexpr SettingKey<QStringView> defaultAgentProvider{u"defaultAgentProvider", u"claude"};
inline constexpr SettingKey<QStringView> defaultAgentModel{u"defaultAgentModel"};

// Sessions and dispatch
inline constexpr SettingKey<bool> dispatcherEnabled{u"dispatcherEnabled"};
inline constexpr SettingKey<QStringView> dispatcherChatID{u"dispatcherChatID"};
inline constexpr SettingKey<bool> slackDispatcherEnabled{u"slackDispatcherEnabled"};
inline constexpr SettingKey<QStringView> slackDispatcherUserID{u"slackDispatcherUserID"};
inline constexpr SettingKey<qint64> dispatchKeepOpenHours{u"dispatchKeepOpenHours", 12};
inline constexpr SettingKey<qint64> dispatchMaxOpenSessions{u"dispatchMaxOpenSessions", 5};

// Service, plugin and host
inline constexpr SettingKey<bool> bridgeAutoStart{u"bridgeAutoStart"};
inline constexpr SettingKey<QStringView> pluginRootOverride{u"pluginRootOverride"};
inline constexpr SettingKey<QStringView> herdrPathOverride{u"herdrPathOverride"};
inline constexpr SettingKey<QStringView> terminalCommand{u"terminalCommand"};
inline constexpr SettingKey<QStringView> secretStore{u"secretStore"};

// Notifications and power
inline constexpr SettingKey<bool> notificationsEnabled{u"notificationsEnabled"};
inline constexpr SettingKey<bool> quietHoursEnabled{u"quietHoursEnabled"};
inline constexpr SettingKey<bool> keepMacAwake{u"keepMacAwake"};
inline constexpr SettingKey<bool> preventMacLockScreen{u"preventMacLockScreen"};

// Assets
inline constexpr SettingKey<qint64> assetCopyLimitMB{u"assetCopyLimitMB", 512};

// Kept by the program itself
inline constexpr SettingKey<QStringView> appPanel{u"appPanel"};
inline constexpr SettingKey<bool> boardIntroduced{u"boardIntroduced"};
inline constexpr SettingKey<bool> schedulerSelected{u"schedulerSelected"};
inline constexpr SettingKey<bool> pluginsSelected{u"pluginsSelected"};
inline constexpr SettingKey<QStringView> selectedProject{u"selectedProject"};
inline constexpr SettingKey<QStringView> selectedShipID{u"selectedShipID"};
inline constexpr SettingKey<bool> directionCollapsed{u"directionCollapsed"};
inline constexpr SettingKey<QStringView> directionPanelTab{u"directionPanelTab", u"overview"};
inline constexpr SettingKey<QStringView> lastShipID{u"lastShipID"};
inline constexpr SettingKey<bool> setupDone{u"setupDone"};
inline constexpr SettingKey<OptionalDate> keelhavenLastSweepAt{u"keelhavenLastSweepAt"};
inline constexpr SettingKey<OptionalReal> updateLastCheckedAt{u"updateLastCheckedAt"};
inline constexpr SettingKey<QStringView> skippedUpdateVersion{u"skippedUpdateVersion"};
inline constexpr SettingKey<QStringView> loginShellPATH{u"loginShellPATH"};
inline constexpr SettingKey<QStringView> herdrResolvedPath{u"herdrResolvedPath"};
inline constexpr SettingKey<OptionalInteger> telegramUpdateOffset{u"telegramUpdateOffset"};

[[nodiscard]] bool read(const SettingsStore &settings, const SettingKey<bool> &key);
[[nodiscard]] qint64 read(const SettingsStore &settings, const SettingKey<qint64> &key);
[[nodiscard]] OptionalInteger read(const SettingsStore &settings, const SettingKey<OptionalInteger> &key);
[[nodiscard]] OptionalReal read(const SettingsStore &settings, const SettingKey<OptionalReal> &key);
[[nodiscard]] OptionalDate read(const SettingsStore &settings, const SettingKey<OptionalDate> &key);
/// Trimmed of blanks and line ends. Blank text counts as not set and gives the fallback; nothing when there
/// is none.
[[nodiscard]] std::optional<QString> read(const SettingsStore &settings, const SettingKey<QStringView> &key);

/// "keelhavenRunDirectory" as a path: blanks trimmed, line ends kept, "~" expanded. Nothing when it is not
/// set.
[[nodiscard]] std::optional<QString> runDirectory(const SettingsStore &settings, const QString &home);
/// "pluginRootOverride" with "~" expanded.
[[nodiscard]] std::optional<QString> pluginRoot(const SettingsStore &settings, const QString &home);
/// "dispatcherChatID"; text that is no 64-bit integer counts as not set.
[[nodiscard]] std::optional<qint64> dispatcherChat(const SettingsStore &settings);
/// A key that holds a ship's id; text that is no UUID counts as not set.
[[nodiscard]] std::optional<QUuid> shipID(const SettingsStore &settings, const SettingKey<QStringView> &key);

} // namespace Setting

enum class SettingType { Flag, Integer, Real, Text, Moment };

/// "flag", "integer", "real", "text", "date"
[[nodiscard]] QString settingTypeText(SettingType type);

/// What a text value stands for; decides what may be stored and how a shell's word becomes it.
enum class SettingForm { Plain, Path, Integer, ID };

/// The pages of the settings sheet, in their order.
enum class SettingsPage { General, Sources, Integrations, Misc };

/// "general", "sources", "integrations", "misc"
[[nodiscard]] QString settingsPageID(SettingsPage page);

/// How a page is announced: "General" with "Service & Herdr setup".
struct SettingsPageCaption
{
    QStringView title;
    QStringView subtitle;
};
[[nodiscard]] SettingsPageCaption caption(SettingsPage page);

/// Whole numbers from `least` to `most`.
struct SettingRange
{
    qint64 least = 0;
    qint64 most = 0;
    qint64 step = 1;
};

/// One row of the catalogue.
struct SettingSpec
{
    QStringView key;
    SettingType type = SettingType::Flag;
    std::optional<SettingValue> fallback; ///< nothing: absent until it is written
    bool isUserSet = true;                ///< false: the program keeps it for itself
    QStringView label;                    ///< as a screen shows it; empty where none does
    QStringView effect;
    std::optional<SettingRange> screen = {};   ///< what the screen's control offers
    std::optional<SettingRange> accepted = {}; ///< numbers that have a meaning; wider than `screen` for some
    QStringView outside = {};                  ///< what accepted numbers beyond the screen's range mean
    std::vector<QStringView> choices = {};     ///< the only texts that have a meaning; empty for any
    SettingForm form = SettingForm::Plain;
    std::optional<SettingsPage> page = {}; ///< nothing: on no page of the sheet
};

namespace SettingsCatalog {

/// Every key, in the order of the screens; the user's first.
[[nodiscard]] std::span<const SettingSpec> all();
/// Null for an unknown key.
[[nodiscard]] const SettingSpec *find(QStringView key);

/// The value that readers see: the stored one where it has the key's type and a meaning, else the fallback.
[[nodiscard]] std::optional<SettingValue> effective(const SettingsStore &settings, const SettingSpec &spec);

/// `text` as a value of the key, or what it takes, as a sentence.
[[nodiscard]] Result<SettingValue, QString> parse(const SettingSpec &spec, const QString &text);

/// What the key takes: "true or false", "a whole number from 1 to 20".
[[nodiscard]] QString rangeText(const SettingSpec &spec);
/// A value as it is typed and printed.
[[nodiscard]] QString valueText(const SettingValue &value);

/// Whether the name of an unknown key, or a text, looks like a messenger's token: the settings hold no
/// secret.
[[nodiscard]] bool namesSecret(QStringView key);
[[nodiscard]] bool looksLikeSecret(QStringView value);

} // namespace SettingsCatalog

} // namespace Keelhaven
