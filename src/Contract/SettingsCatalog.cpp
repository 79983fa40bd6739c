#include "Contract/SettingsCatalog.h"

#include "Platform/Uuid.h"

#include <QLocale>
#include <QRegularExpression>
#include <algorithm>
#include <cmath>

namespace Keelhaven {

using namespace Qt::StringLiterals;

namespace {

SettingSpec row(const SettingKey<bool> &key, QStringView label, QStringView effect)
{
    return {.key = key.name,
            .type = SettingType::Flag,
            .fallback = key.fallback,
            .label = label,
            .effect = effect};
}

SettingSpec row(const SettingKey<qint64> &key, QStringView label, QStringView effect)
{
    return {.key = key.name,
            .type = SettingType::Integer,
            .fallback = key.fallback,
            .label = label,
            .effect = effect};
}

SettingSpec row(const SettingKey<QStringView> &key, QStringView label, QStringView effect,
                SettingForm form = SettingForm::Plain)
{
    SettingSpec spec{.key = key.name,
                     .type = SettingType::Text,
                     .fallback = {},
                     .label = label,
                     .effect = effect,
                     .form = form};
    if (!key.fallback.isEmpty())
        spec.fallback = key.fallback.toString();
    return spec;
}

template <typename T>
SettingSpec rowOf(const SettingKey<std::optional<T>> &key, SettingType type, QStringView effect)
{
    return {.key = key.name, .type = type, .fallback = {}, .isUserSet = false, .label = {}, .effect = effect};
}

SettingSpec numbered(SettingSpec spec, SettingRange screen, SettingRange accepted, QStringView outside = {})
{
    spec.screen = screen;
    spec.accepted = accepted;
    spec.outside = outside;
    return spec;
}

SettingSpec chosen(SettingSpec spec, std::vector<QStringView> choices)
{
    spec.choices = std::move(choices);
    return spec;
}

std::vector<SettingSpec> onPage(SettingsPage page, std::vector<SettingSpec> rows)
{
    for (auto &spec : rows)
        spec.page = page;
    return rows;
}

SettingSpec kept(SettingSpec spec)
{
    spec.isUserSet = false;
    return spec;
}

std::vector<SettingSpec> schedulerRows()
{
    using namespace Setting;
    return {
        numbered(row(schedulerConcurrencyCap, u"Concurrent runs", u"how many runs may be live at once"),
                 {1, 20, 1}, {1, 20, 1}),
        numbered(
            row(schedulerSessionCapPercent, u"5 hour session cap",
                u"Scheduled runs wait while the five-hour meter stands at or above the cap. Per-agent caps "
                u"override the session default. Manual runs are never gated."),
            {5, 95, 5}, {0, 100, 1}, u"0 means no session cap"),
        row(schedulerPaceGuardEnabled, u"Weekly pace guard",
            u"Defers when a weekly meter runs ahead of the share of the week that has elapsed."),
        numbered(row(schedulerPaceSlack, u"slack +{n} points",
                     u"how far a weekly meter may run ahead of the elapsed share; read only while the guard "
                     u"is on"),
                 {0, 40, 5}, {0, 100, 1}),
        row(schedulerNotificationsEnabled, u"Notify about scheduled runs (started / finished / failed)", {}),
        row(sweepKeelhavenOnOpen, u"Run /keelhaven when the app opens",
            u"Opening the app runs one on-demand sweep — it drains the board and stops. No background "
            u"polling; the "
            u"timed scheduler is for your other recurring commands."),
        row(keelhavenRunDirectory, u"Keelhaven run directory",
            u"required — a project folder. /keelhaven runs here. Agents only ever run in project folders — "
            u"never in "
            u"the plugin cache.",
            SettingForm::Path),
    };
}

std::vector<SettingSpec> dispatchBarRows()
{
    using namespace Setting;
    return {
        row(keelhavenDispatchInstructions, {}, u"Standing instructions for the dispatcher"),
    };
}

std::vector<SettingSpec> agentRows()
{
    using namespace Setting;
    return {
        chosen(row(defaultAgentProvider, {},
                   u"A new blank agent starts on this provider and model (the model picks the provider); "
                   u"templates "
                   u"stay Claude. Existing agents are not changed."),
               {u"claude", u"codex"}),
        row(defaultAgentModel, u"Default model for new agents", u"blank means the provider's default model"),
    };
}

std::vector<SettingSpec> sessionRows()
{
    using namespace Setting;
    return {
        row(dispatcherEnabled, u"Dispatch tasks from Telegram messages", {}),
        row(dispatcherChatID, u"Your numeric chat ID", u"Telegram chat that may dispatch",
            SettingForm::Integer),
        row(slackDispatcherEnabled, u"Dispatch tasks from Slack DMs", {}),
        row(slackDispatcherUserID, u"Your Slack member ID (U…)", u"Slack member who may dispatch"),
        numbered(row(dispatchKeepOpenHours, u"Keep finished task sessions open for {n} h",
                     u"A finished task's Claude session stays up in Herdr so a follow-up from your phone "
                     u"goes straight "
                     u"into it with its context intact. Older ones are closed; a follow-up then resumes the "
                     u"session "
                     u"by id instead."),
                 {1, 72, 1}, {0, 8760, 1}, u"0 closes each at the next look"),
        numbered(row(dispatchMaxOpenSessions, u"· at most {n}", u"the ceiling on parked task sessions"),
                 {1, 20, 1}, {0, 1000, 1}, u"0 keeps none open"),
    };
}

std::vector<SettingSpec> hostRows()
{
    using namespace Setting;
    return {
        row(bridgeAutoStart, u"Start the Python service automatically",
            u"The service runs the plugin's Python engine headlessly — project analysis, editing, refresh "
            u"and "
            u"settings — so the app works without the web dashboard open in a browser."),
        row(pluginRootOverride, u"Plugin folder (blank = auto-detect)",
            u"Where the plugin's Python engine lies", SettingForm::Path),
        row(herdrPathOverride, u"Custom herdr binary (advanced — blank = Keelhaven's managed copy)",
            u"Explicit Herdr binary", SettingForm::Path),
        row(terminalCommand, {},
            u"Terminal emulator that opens the session host, with its options; blank takes the desktop's "
            u"own"),
        chosen(row(secretStore, {},
                   u"Where secrets are kept; chosen when the first one is set. What was set elsewhere stays "
                   u"there"),
               {u"secret-service", u"file"}),
    };
}

std::vector<SettingSpec> machineRows()
{
    using namespace Setting;
    return {
        row(notificationsEnabled, u"Notify when a session finishes or flags something", {}),
        row(quietHoursEnabled, u"Quiet hours (10 pm – 8 am)",
            u"Run failures and stalls always notify, even in quiet hours."),
        row(keepMacAwake, u"Keep My Mac Awake",
            u"Stops the Mac from sleeping while Keelhaven is open, so the phone dispatchers and scheduled "
            u"runs keep "
            u"working when you walk away. A closed MacBook or lock screen will still stop Keelhaven tasks."),
        row(preventMacLockScreen, u"Prevent Mac lock screen",
            u"Keeps the display from idling off, so the screen saver and password lock never engage and you "
            u"come back "
            u"to the app as you left it. Keelhaven needs to remain open for it to work."),
    };
}

std::vector<SettingSpec> assetRows()
{
    using namespace Setting;
    return {
        numbered(row(assetCopyLimitMB, {}, u"Largest file copied into the asset store, in mebibytes"), {},
                 {0, 1024 * 1024, 1}, u"0 copies only empty files"),
    };
}

std::vector<SettingSpec> programRows()
{
    using namespace Setting;
    std::vector<SettingSpec> rows{
        chosen(row(appPanel, {}, u"Last panel"), {u"keelhaven", u"projects", u"scheduler", u"plugins"}),
        row(boardIntroduced, {}, u"The fleet board has been opened as the first panel once"),
        row(schedulerSelected, {}, u"Earlier form of \"appPanel\"; removed when seen"),
        row(pluginsSelected, {}, u"Earlier form of \"appPanel\"; removed when seen"),
        row(selectedProject, {}, u"Project last selected on the board"),
        row(selectedShipID, {}, u"Ship last selected", SettingForm::ID),
        row(directionCollapsed, {}, u"The right-hand direction panel is folded away"),
        chosen(row(directionPanelTab, {}, u"Tab of that panel"), {u"overview", u"direction"}),
        row(lastShipID, {}, u"Ship chosen for the last agent that was saved", SettingForm::ID),
        row(setupDone, {}, u"The setup checklist was finished or skipped"),
        rowOf(keelhavenLastSweepAt, SettingType::Moment, u"When the last sweep was started"),
        rowOf(updateLastCheckedAt, SettingType::Real,
              u"Seconds since 1970 of the last update check that got an answer"),
        row(skippedUpdateVersion, {}, u"Version the user chose to skip"),
        row(loginShellPATH, {}, u"Cached PATH of the login shell"),
        row(herdrResolvedPath, {}, u"Last binary that the locator resolved", SettingForm::Path),
        rowOf(telegramUpdateOffset, SettingType::Integer, u"Next Telegram update to fetch"),
    };
    std::ranges::transform(rows, rows.begin(), kept);
    return rows;
}

std::vector<SettingSpec> table()
{
    using enum SettingsPage;
    std::vector<SettingSpec> rows;
    for (const auto &part : {onPage(Misc, schedulerRows()), dispatchBarRows(), onPage(General, agentRows()),
                             onPage(Integrations, sessionRows()), onPage(General, hostRows()),
                             onPage(Misc, machineRows()), assetRows(), programRows()})
        rows.insert(rows.end(), part.begin(), part.end());
    return rows;
}

std::optional<bool> flagFrom(const QString &text)
{
    const QString word = text.toLower();
    if (word == u"true" || word == u"yes" || word == u"on" || word == u"1")
        return true;
    if (word == u"false" || word == u"no" || word == u"off" || word == u"0")
        return false;
    return std::nullopt;
}

bool isAccepted(const SettingSpec &spec, qint64 number)
{
    return !spec.accepted || (number >= spec.accepted->least && number <= spec.accepted->most);
}

bool isAcceptedText(const SettingSpec &spec, const QString &text)
{
    if (!spec.choices.empty())
        return std::ranges::find(spec.choices, QStringView(text)) != spec.choices.end();
    bool isNumber = false;
    switch (spec.form) {
    case SettingForm::Integer:
        static_cast<void>(text.toLongLong(&isNumber));
        return isNumber;
    case SettingForm::ID:
        return uuidFromText(text).has_value();
    case SettingForm::Plain:
    case SettingForm::Path:
        break;
    }
    return true;
}

/// The typed word, whatever its range.
std::optional<SettingValue> converted(const SettingSpec &spec, const QString &text)
{
    bool isNumber = false;
    switch (spec.type) {
    case SettingType::Flag:
        if (const auto flag = flagFrom(text))
            return *flag;
        return std::nullopt;
    case SettingType::Integer: {
        const qint64 number = text.toLongLong(&isNumber);
        return isNumber && isAccepted(spec, number) ? std::optional<SettingValue>(number) : std::nullopt;
    }
    case SettingType::Real: {
        const double number = text.toDouble(&isNumber);
        return isNumber && std::isfinite(number) ? std::optional<SettingValue>(number) : std::nullopt;
    }
    case SettingType::Text:
        return isAcceptedText(spec, text) ? std::optional<SettingValue>(text) : std::nullopt;
    case SettingType::Moment:
        if (const auto date = dateFromLooseISOText(text))
            return *date;
        return std::nullopt;
    }
    return std::nullopt;
}

} // namespace

QString settingsPageID(SettingsPage page)
{
    static constexpr std::array<QStringView, 4> ids{u"general", u"sources", u"integrations", u"misc"};
    return ids[static_cast<size_t>(page)].toString();
}

SettingsPageCaption caption(SettingsPage page)
{
    static constexpr std::array<SettingsPageCaption, 4> captions{{
        {u"General", u"Service & Herdr setup"},
        {u"Sources", u"GitHub, Bitbucket, local clones"},
        {u"Integrations", u"Telegram & Slack dispatchers"},
        {u"Misc", u"Scheduler, keep awake, notifications"},
    }};
    return captions[static_cast<size_t>(page)];
}

QString settingTypeText(SettingType type)
{
    static constexpr std::array<QStringView, 5> texts{u"flag", u"integer", u"real", u"text", u"date"};
    return texts[static_cast<size_t>(type)].toString();
}

namespace SettingsCatalog {

std::span<const SettingSpec> all()
{
    static const std::vector<SettingSpec> rows = table();
    return rows;
}

const SettingSpec *find(QStringView key)
{
    const auto rows = all();
    const auto found = std::ranges::find(rows, key, &SettingSpec::key);
    return found == rows.end() ? nullptr : &*found;
}

std::optional<SettingValue> effective(const SettingsStore &settings, const SettingSpec &spec)
{
    const auto stored = settings.value(spec.key.toString());
    const auto index = static_cast<size_t>(spec.type);
    if (!stored)
        return spec.fallback;
    if (spec.type == SettingType::Real && std::holds_alternative<qint64>(*stored))
        return double(std::get<qint64>(*stored));
    if (stored->index() != index)
        return spec.fallback;
    if (const QString *text = std::get_if<QString>(&*stored)) {
        const QString trimmed = text->trimmed();
        return trimmed.isEmpty() || !isAcceptedText(spec, trimmed) ? spec.fallback : stored;
    }
    return stored;
}

Result<SettingValue, QString> parse(const SettingSpec &spec, const QString &text)
{
    const QString trimmed = text.trimmed();
    if (spec.type == SettingType::Text && trimmed.isEmpty())
        return failure(
            u"%1 takes %2; \"keelhaven settings unset %1\" clears it."_s.arg(spec.key, rangeText(spec)));
    const auto value = converted(spec, trimmed);
    if (!value)
        return failure(u"%1 takes %2."_s.arg(spec.key, rangeText(spec)));
    return *value;
}

QString rangeText(const SettingSpec &spec)
{
    if (!spec.choices.empty()) {
        QString text;
        for (size_t i = 0; i < spec.choices.size(); ++i) {
            if (i > 0)
                text += i + 1 < spec.choices.size() ? u", "_s : u" or "_s;
            text += spec.choices[i];
        }
        return text;
    }
    switch (spec.type) {
    case SettingType::Flag:
        return u"true or false"_s;
    case SettingType::Integer: {
        if (!spec.accepted)
            return u"a whole number"_s;
        const QString range =
            u"a whole number from %1 to %2"_s.arg(spec.accepted->least).arg(spec.accepted->most);
        return spec.outside.isEmpty() ? range : u"%1; %2"_s.arg(range, spec.outside);
    }
    case SettingType::Real:
        return u"a number"_s;
    case SettingType::Text:
        break;
    case SettingType::Moment:
        return u"a moment like 2026-03-04T05:06:07Z"_s;
    }
    switch (spec.form) {
    case SettingForm::Path:
        return u"a path"_s;
    case SettingForm::Integer:
        return u"a whole number"_s;
    case SettingForm::ID:
        return u"a full id"_s;
    case SettingForm::Plain:
        break;
    }
    return u"a text"_s;
}

QString valueText(const SettingValue &value)
{
    struct Text
    {
        QString operator()(bool flag) const { return flag ? u"true"_s : u"false"_s; }
        QString operator()(qint64 number) const { return QString::number(number); }
        QString operator()(double number) const
        {
            return QString::number(number, 'g', QLocale::FloatingPointShortest);
        }
        QString operator()(const QString &text) const { return text; }
        QString operator()(Date date) const { return isoText(date); }
    };
    return std::visit(Text{}, value);
}

bool namesSecret(QStringView key)
{
    if (key.startsWith(u"com.keelhaven."))
        return true;
    for (const QStringView word :
         {u"token", u"secret", u"password", u"passwd", u"apikey", u"api-key", u"credential"}) {
        if (key.contains(word, Qt::CaseInsensitive))
            return true;
    }
    return false;
}

bool looksLikeSecret(QStringView value)
{
    // The forms that messengers give their tokens.
    static const QRegularExpression form(u"^\\s*(xox[a-z]-|xapp-|\\d{5,}:[A-Za-z0-9_-]{30,}\\s*$)"_s);
    return form.match(value.toString()).hasMatch();
}

} // namespace SettingsCatalog

} // namespace Keelhaven
