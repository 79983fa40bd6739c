#include "Surfaces/AgentDraft.h"

#include "Contract/SettingsCatalog.h"
#include "Surfaces/TimeTexts.h"

#include <algorithm>

namespace Keelhaven {

using namespace Qt::StringLiterals;

namespace {

/// Without blanks around, without empty texts and repetitions.
QStringList tidied(const QStringList &texts)
{
    QStringList kept;
    for (const QString &text : texts) {
        const QString trimmed = text.trimmed();
        if (!trimmed.isEmpty() && !kept.contains(trimmed))
            kept.append(trimmed);
    }
    return kept;
}

std::optional<QString> unlessBlank(const QString &text)
{
    const QString trimmed = text.trimmed();
    return trimmed.isEmpty() ? std::nullopt : std::optional(trimmed);
}

Date nextFullHour(Date now, const Calendar &calendar)
{
    const auto wall = calendar.wallTime(now);
    return calendar.resolve(wall.day, wall.hour + 1, 0);
}

struct TakeSchedule
{
    AgentDraft &draft;

    void operator()(const ScheduleSpec::Daily &rule) const
    {
        draft.scheduleKind = AgentDraft::ScheduleKind::Daily;
        draft.times = rule.times;
    }
    void operator()(const ScheduleSpec::Weekly &rule) const
    {
        draft.scheduleKind = AgentDraft::ScheduleKind::Weekly;
        draft.days = rule.days;
        draft.times = rule.times;
    }
    void operator()(const ScheduleSpec::EveryHours &rule) const
    {
        draft.scheduleKind = AgentDraft::ScheduleKind::EveryHours;
        draft.interval = rule.interval;
        draft.hasWindow = rule.window.has_value();
        draft.window = rule.window.value_or(draft.window);
    }
    void operator()(const ScheduleSpec::Once &rule) const
    {
        draft.scheduleKind = AgentDraft::ScheduleKind::Once;
        draft.once = rule.date;
    }
};

} // namespace

AgentDraft AgentDraft::blank(const SettingsStore &settings, Date now, const Calendar &calendar)
{
    AgentDraft draft;
    draft.model = userDefaultChoice(settings);
    draft.shipID = Setting::shipID(settings, Setting::lastShipID);
    draft.once = nextFullHour(now, calendar);
    return draft;
}

AgentDraft AgentDraft::fromSlot(const SchedulerSlot &slot, Date now, const Calendar &calendar)
{
    AgentDraft draft;
    draft.name = slot.name;
    draft.model = slot.modelChoice();
    draft.cwds = slot.cwds;
    draft.command = slot.command;
    draft.once = nextFullHour(now, calendar);
    std::visit(TakeSchedule{draft}, slot.schedule.rule);
    draft.captainDecides = slot.captainDecides;
    draft.shipID = slot.shipID;
    draft.preflight = slot.preflight.value_or(QString());
    draft.priority = slot.priority;
    draft.timeoutMinutes = slot.timeoutMinutes;
    draft.stallMinutes = slot.stallMinutes;
    draft.keepAwake = slot.keepAwake;
    draft.enabled = slot.enabled;
    draft.maxUsagePercent = slot.maxUsagePercent;
    draft.runOnlyIfChanged = slot.runOnlyIfChanged;
    draft.workspaceMode = slot.workspaceMode;
    draft.plugins = slot.plugins;
    draft.closeFinishedTab = slot.closeFinishedTab;
    draft.keepSessionOpen = slot.keepSessionOpen;
    draft.addDirs = slot.addDirs;
    draft.base = slot;
    return draft;
}

SchedulerSlot AgentDraft::toSlot() const
{
    SchedulerSlot slot = base;
    slot.name = name.trimmed();
    slot.setModelChoice({model.provider, unlessBlank(model.model.value_or(QString()))});
    slot.cwds = tidied(cwds);
    slot.command = command.trimmed();
    slot.schedule = schedule();
    slot.captainDecides = captainDecides;
    slot.shipID = shipID;
    slot.preflight = unlessBlank(preflight);
    slot.priority = priority;
    slot.timeoutMinutes = timeoutMinutes;
    slot.stallMinutes = stallMinutes;
    slot.keepAwake = keepAwake;
    slot.enabled = enabled && supportsScheduling(model.provider);
    slot.maxUsagePercent = maxUsagePercent;
    slot.runOnlyIfChanged = runOnlyIfChanged;
    slot.workspaceMode = workspaceMode;
    slot.plugins = tidied(plugins);
    slot.closeFinishedTab = closeFinishedTab;
    slot.keepSessionOpen = keepSessionOpen;
    slot.addDirs = tidied(addDirs);
    return slot;
}

ScheduleSpec AgentDraft::schedule() const
{
    auto sorted = times;
    std::ranges::sort(sorted);
    sorted.erase(std::unique(sorted.begin(), sorted.end()), sorted.end());
    switch (scheduleKind) {
    case ScheduleKind::Daily:
        return {ScheduleSpec::Daily{sorted}};
    case ScheduleKind::Weekly:
        return {ScheduleSpec::Weekly{days, sorted}};
    case ScheduleKind::EveryHours:
        return {ScheduleSpec::EveryHours{interval, hasWindow ? std::optional(window) : std::nullopt}};
    case ScheduleKind::Once:
        break;
    }
    return {ScheduleSpec::Once{once}};
}

void AgentDraft::setProvider(AgentProvider provider)
{
    if (provider != model.provider)
        model = {provider, std::nullopt};
}

std::optional<QString>
AgentDraft::saveHint(const std::function<bool(const QString &)> &isForbiddenFolder) const
{
    return toSlot().saveHint(isForbiddenFolder);
}

std::optional<QString> AgentDraft::captainWarning(const QList<ShipChoice> &ships) const
{
    if (!captainDecides)
        return std::nullopt;
    const auto ship =
        std::ranges::find_if(ships, [&](const ShipChoice &choice) { return choice.id == shipID; });
    if (ship == ships.end())
        return u"Pick a ship — its Captain runs this agent."_s;
    if (!ship->hasCaptain)
        return ship->name + u" has no Captain yet. Turn one on in the ship editor."_s;
    return std::nullopt;
}

QStringList AgentDraft::nextDates(Date now, const Calendar &calendar, int count) const
{
    QStringList texts;
    if (captainDecides || !supportsScheduling(model.provider))
        return texts;
    const Date farAway = now + std::chrono::days(366);
    for (const Date date : schedule().fireDates(now, farAway, calendar, count))
        texts.append(TimeTexts::full(date, calendar));
    return texts;
}

QString label(AgentDraft::ScheduleKind kind)
{
    static constexpr std::array<QStringView, 4> labels{u"Daily", u"Weekly", u"Every few hours", u"Once"};
    return labels[static_cast<size_t>(kind)].toString();
}

namespace AgentEditor {

namespace {

using enum Control;

constexpr std::array<FieldSpec, 20> table{{
    {u"name", u"Name", u"What the agent is called", Text},
    {u"model", u"Model", u"Which command line runs it, and on which model", Model},
    {u"cwds", u"Project folders", u"One run for each folder, in this order", Folders},
    {u"command", u"Command or prompt", u"What the agent is to do; slash commands work for Claude", LongText},
    {u"schedule", u"Schedule", u"When it fires", Schedule},
    {u"captainDecides", u"Captain decides",
     u"The ship's Captain runs it when its pass calls for it; the schedule is then ignored", Switch},
    {u"shipID", u"Ship", u"The department it belongs to", Ship},
    {u"enabled", u"Enabled", u"Fires on its schedule", Switch},
    {u"maxUsagePercent", u"Session usage cap",
     u"Scheduled runs wait while the five-hour meter stands at or above it; empty uses the default", Percent,
     5, 95, 5},
    {u"runOnlyIfChanged", u"Run only if changed",
     u"Skips a scheduled run when the repository head is unchanged", Switch},
    {u"preflight", u"Preflight", u"A shell command that must succeed before launch", Text},
    {u"priority", u"Priority", u"Higher goes first in the queue", Number, -100, 100, 1},
    {u"timeoutMinutes", u"Timeout", u"Hard limit of a run, in minutes", Number, 1, 1440, 5},
    {u"stallMinutes", u"Stall", u"Minutes of silence before a run counts as waiting", Number, 1, 240, 1},
    {u"keepAwake", u"Keep awake", u"Holds the machine awake from enqueue to finish", Switch},
    {u"workspaceMode", u"Workspace", u"Straight in the folders, one workspace for all, or one for each",
     Workspace},
    {u"plugins", u"Plugins", u"Switched on for this agent's sessions only", Plugins},
    {u"addDirs", u"Further folders", u"What the session may reach besides its own folder", Folders},
    {u"closeFinishedTab", u"Close the tab when done",
     u"Closes the Herdr tab on a clean finish; failures stay open", Switch},
    {u"keepSessionOpen", u"Keep the session open", u"Parks the finished session for follow-ups", Switch},
}};

} // namespace

std::span<const FieldSpec> fields()
{
    return table;
}

const FieldSpec *field(QStringView key)
{
    const auto found = std::ranges::find(table, key, &FieldSpec::key);
    return found == table.end() ? nullptr : &*found;
}

} // namespace AgentEditor

} // namespace Keelhaven
