#include "Contract/SettingsSheet.h"

#include <algorithm>

namespace Keelhaven {

using namespace Qt::StringLiterals;

namespace {

using enum SettingsPage;
using enum SettingControl;

/// Page by page.
const std::vector<SettingsSheetRow> &table()
{
    using namespace Setting;
    static const std::vector<SettingsSheetRow> rows{
        {.page = General,
         .section = u"Service",
         .key = bridgeAutoStart.name,
         .control = Switch,
         .label = u"Start the Python service automatically",
         .help = u"The service runs the plugin's Python engine headlessly — project analysis, editing, "
                 u"refresh and settings — so the app works without the web dashboard open in a browser."},
        {.page = General,
         .section = u"Service",
         .key = pluginRootOverride.name,
         .control = FolderChooser,
         .label = u"Plugin folder (blank = auto-detect)"},
        {.page = General,
         .section = u"Agents",
         .key = defaultAgentModel.name,
         .control = ModelChooser,
         .label = u"Default model for new agents",
         .help = u"A new blank agent starts on this provider and model (the model picks the provider); "
                 u"templates stay Claude. Existing agents are not changed."},
        {.page = General,
         .section = u"Herdr",
         .key = herdrPathOverride.name,
         .control = FileChooser,
         .label = u"Custom herdr binary (advanced — blank = Keelhaven's managed copy)"},
        {.page = General,
         .section = u"Herdr",
         .key = terminalCommand.name,
         .control = TextField,
         .label = u"Terminal emulator that opens the session host, with its options; blank takes the "
                  u"desktop's own"},
        {.page = General,
         .section = u"Herdr",
         .key = secretStore.name,
         .control = Choice,
         .label = u"Where secrets are kept; chosen when the first one is set. What was set elsewhere stays "
                  u"there"},
        {.page = Integrations,
         .section = u"Telegram",
         .key = dispatcherEnabled.name,
         .control = Switch,
         .label = u"Dispatch tasks from Telegram messages"},
        {.page = Integrations,
         .section = u"Telegram",
         .key = dispatcherChatID.name,
         .control = TextField,
         .label = {},
         .placeholder = u"Your numeric chat ID",
         .onlyWith = dispatcherEnabled.name},
        {.page = Integrations,
         .section = u"Slack",
         .key = slackDispatcherEnabled.name,
         .control = Switch,
         .label = u"Dispatch tasks from Slack DMs"},
        {.page = Integrations,
         .section = u"Slack",
         .key = slackDispatcherUserID.name,
         .control = TextField,
         .label = {},
         .placeholder = u"Your Slack member ID (U…)",
         .onlyWith = slackDispatcherEnabled.name},
        {.page = Integrations,
         .section = u"Task sessions",
         .key = dispatchKeepOpenHours.name,
         .control = Stepper,
         .label = {},
         .caption = u"Keep finished task sessions open for {n} h",
         .help = u"A finished task's Claude session stays up in Herdr so a follow-up from your phone goes "
                 u"straight into it with its context intact. Older ones are closed; a follow-up then resumes "
                 u"the session by id instead."},
        {.page = Integrations,
         .section = u"Task sessions",
         .key = dispatchMaxOpenSessions.name,
         .control = Stepper,
         .label = {},
         .caption = u"· at most {n}"},
        {.page = Misc,
         .section = u"Sweep",
         .key = sweepKeelhavenOnOpen.name,
         .control = Switch,
         .label = u"Run /keelhaven when the app opens",
         .help = u"Opening the app runs one on-demand sweep — it drains the board and stops. No background "
                 u"polling; the timed scheduler is for your other recurring commands."},
        {.page = Misc,
         .section = u"Sweep",
         .key = keelhavenRunDirectory.name,
         .control = FolderChooser,
         .label = u"Keelhaven run directory",
         .placeholder = u"required — a project folder",
         .help = u"/keelhaven runs here. Agents only ever run in project folders — never in the plugin "
                 u"cache."},
        {.page = Misc,
         .section = u"Scheduler",
         .key = schedulerConcurrencyCap.name,
         .control = Stepper,
         .label = u"Concurrent runs",
         .caption = u"{n}"},
        {.page = Misc,
         .section = u"Usage gating — scheduled runs",
         .key = schedulerSessionCapPercent.name,
         .control = Stepper,
         .label = u"5 hour session cap",
         .caption = u"below {n}%",
         .help = u"Per-agent caps override the session default. Manual runs are never gated.",
         .offCaption = u"no cap"},
        {.page = Misc,
         .section = u"Usage gating — scheduled runs",
         .key = schedulerPaceGuardEnabled.name,
         .control = Switch,
         .label = u"Weekly pace guard",
         .help = u"Defers when a weekly meter runs ahead of the share of the week that has elapsed."},
        {.page = Misc,
         .section = u"Usage gating — scheduled runs",
         .key = schedulerPaceSlack.name,
         .control = Stepper,
         .label = {},
         .caption = u"slack +{n} points",
         .onlyWith = schedulerPaceGuardEnabled.name},
        {.page = Misc,
         .section = u"Power",
         .key = keepMacAwake.name,
         .control = Switch,
         .label = u"Keep My Mac Awake",
         .help = u"Stops the Mac from sleeping while Keelhaven is open, so the phone dispatchers and "
                 u"scheduled runs keep working when you walk away. A closed MacBook or lock screen will "
                 u"still stop Keelhaven tasks."},
        {.page = Misc,
         .section = u"Power",
         .key = preventMacLockScreen.name,
         .control = Switch,
         .label = u"Prevent Mac lock screen",
         .help = u"Keeps the display from idling off, so the screen saver and password lock never engage "
                 u"and you come back to the app as you left it. Keelhaven needs to remain open for it to "
                 u"work."},
        {.page = Misc,
         .section = u"Notifications",
         .key = notificationsEnabled.name,
         .control = Switch,
         .label = u"Notify when a session finishes or flags something"},
        {.page = Misc,
         .section = u"Notifications",
         .key = schedulerNotificationsEnabled.name,
         .control = Switch,
         .label = u"Notify about scheduled runs (started / finished / failed)"},
        {.page = Misc,
         .section = u"Notifications",
         .key = quietHoursEnabled.name,
         .control = Switch,
         .label = u"Quiet hours (10 pm – 8 am)",
         .help = u"Run failures and stalls always notify, even in quiet hours."},
    };
    return rows;
}

} // namespace

std::optional<SettingRange> SettingsSheetRow::range() const
{
    const SettingSpec *spec = control == Stepper ? SettingsCatalog::find(key) : nullptr;
    return spec ? spec->screen : std::nullopt;
}

QString SettingsSheetRow::captionFor(qint64 value) const
{
    if (value < 1 && !offCaption.isEmpty())
        return offCaption.toString();
    return caption.toString().replace(u"{n}"_s, QString::number(value));
}

namespace SettingsSheet {

std::span<const SettingsPage> pages()
{
    static constexpr std::array all{General, Sources, Integrations, Misc};
    return all;
}

std::span<const SettingsSheetRow> rows(SettingsPage page)
{
    const auto &all = table();
    const auto found = std::ranges::equal_range(all, page, {}, &SettingsSheetRow::page);
    return {found.begin(), found.end()};
}

} // namespace SettingsSheet

} // namespace Keelhaven
