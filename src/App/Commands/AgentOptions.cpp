#include "App/Commands/AgentOptions.h"

#include "App/Commands/ScheduleOptions.h"

namespace Keelhaven::AgentOptions {

using namespace Qt::StringLiterals;

namespace {

std::optional<int> integerFrom(QStringView text, int least, int most)
{
    bool isNumber = false;
    const int number = text.toInt(&isNumber);
    return isNumber && number >= least && number <= most ? std::optional(number) : std::nullopt;
}

std::optional<QString> checkInteger(QStringView text)
{
    return integerFrom(text, INT_MIN, INT_MAX) ? std::nullopt : std::optional(u"is no whole number"_s);
}

std::optional<QString> checkMinutes(QStringView text)
{
    return integerFrom(text, 1, INT_MAX) ? std::nullopt : std::optional(u"is no number of minutes"_s);
}

std::optional<QString> checkPercent(QStringView text)
{
    return text == u"none" || integerFrom(text, 0, 100)
               ? std::nullopt
               : std::optional(u"is neither a percentage from 0 to 100 nor \"none\""_s);
}

template <TextEnum E>
std::optional<QString> checkWord(QStringView text)
{
    if (enumFromText<E>(text))
        return std::nullopt;
    QStringList words;
    for (const auto word : EnumTexts<E>::texts)
        words.append(QString::fromUtf16(word.data(), static_cast<qsizetype>(word.size())));
    return u"is none of "_s + words.join(u", "_s);
}

std::optional<QString> trimmedOrNothing(const QString &text)
{
    const QString trimmed = text.trimmed();
    return trimmed.isEmpty() ? std::nullopt : std::optional(trimmed);
}

/// Another provider starts on its own default model.
void applyModel(SchedulerSlot &slot, const Arguments &arguments)
{
    if (const auto text = arguments.value(u"provider")) {
        const auto provider = *enumFromText<AgentProvider>(*text);
        if (provider != slot.provider)
            slot.setModelChoice({provider, std::nullopt});
    }
    if (const auto model = arguments.value(u"model"))
        slot.model = trimmedOrNothing(*model);
}

void applyLimits(SchedulerSlot &slot, const Arguments &arguments)
{
    slot.priority = arguments.integer(u"priority").value_or(slot.priority);
    slot.timeoutMinutes = arguments.integer(u"timeout-minutes").value_or(slot.timeoutMinutes);
    slot.stallMinutes = arguments.integer(u"stall-minutes").value_or(slot.stallMinutes);
    if (arguments.has(u"max-usage-percent"))
        slot.maxUsagePercent = arguments.integer(u"max-usage-percent");
    if (const auto command = arguments.value(u"preflight"))
        slot.preflight = trimmedOrNothing(*command);
}

void applySwitches(SchedulerSlot &slot, const Arguments &arguments)
{
    slot.runOnlyIfChanged = arguments.flag(u"only-if-changed").value_or(slot.runOnlyIfChanged);
    slot.keepSessionOpen = arguments.flag(u"keep-session-open").value_or(slot.keepSessionOpen);
    slot.keepAwake = arguments.flag(u"keep-awake").value_or(slot.keepAwake);
    slot.closeFinishedTab = arguments.flag(u"close-finished-tab").value_or(slot.closeFinishedTab);
    slot.enabled = arguments.flag(u"enable").value_or(slot.enabled);
}

std::optional<QString> applyFolders(QStringList &folders, const QString &option, const Arguments &arguments,
                                    const Ground &ground)
{
    QStringList absolute;
    // Also a stored list is gone over: a slot file may hold relative folders.
    for (const QString &path : arguments.has(option) ? arguments.values(option) : folders) {
        const auto folder = absolutePath(path, ground.workingDirectory);
        if (!folder)
            return folder.error();
        if (!absolute.contains(*folder))
            absolute.append(*folder);
    }
    folders = absolute;
    return std::nullopt;
}

} // namespace

std::vector<OptionSpec> table()
{
    using enum OptionForm;
    return {
        {.name = u"name", .form = Value, .value = u"NAME", .help = u"What the agent is called"},
        {.name = u"cwd", .form = List, .value = u"FOLDER", .help = u"Project folders; one run for each"},
        {.name = u"command",
         .form = Value,
         .value = u"TEXT",
         .help = u"The prompt, or a slash command of Claude Code"},
        {.name = u"provider",
         .form = Value,
         .value = u"PROVIDER",
         .help = u"claude or codex",
         .check = checkWord<AgentProvider>},
        {.name = u"model",
         .form = Value,
         .value = u"MODEL",
         .help = u"The provider's name of a model; \"\" for its default"},
        {.name = u"daily",
         .form = List,
         .value = u"HH:MM",
         .help = u"Fire every day at these times",
         .check = ScheduleOptions::checkTimes},
        {.name = u"weekly",
         .form = Value,
         .value = u"DAYS@HH:MM",
         .help = u"Fire on weekdays: mon,fri@08:30",
         .check = ScheduleOptions::checkWeekly},
        {.name = u"every-hours",
         .form = Value,
         .value = u"N[@FROM-TO]",
         .help = u"Fire every N hours, between two hours: 2@9-17",
         .check = ScheduleOptions::checkEveryHours},
        {.name = u"once",
         .form = Value,
         .value = u"DATE",
         .help = u"Fire once: 2026-03-04T09:30, local unless it has a zone",
         .check = ScheduleOptions::checkOnce},
        {.name = u"enable", .form = Flag, .help = u"Fire on the schedule from now on"},
        {.name = u"file",
         .form = Value,
         .value = u"SLOT.JSON",
         .help = u"A whole agent as JSON, \"-\" for standard input; other options change it"},
        {.name = u"priority",
         .form = Value,
         .value = u"N",
         .help = u"Higher goes first in the queue (0)",
         .check = checkInteger},
        {.name = u"timeout-minutes",
         .form = Value,
         .value = u"N",
         .help = u"Hard limit of a run (90)",
         .check = checkMinutes},
        {.name = u"stall-minutes",
         .form = Value,
         .value = u"N",
         .help = u"Silence before a run counts as waiting (10)",
         .check = checkMinutes},
        {.name = u"max-usage-percent",
         .form = Value,
         .value = u"N",
         .help = u"Session usage at which scheduled runs wait: 0 is never, \"none\" the settings' cap",
         .check = checkPercent},
        {.name = u"preflight",
         .form = Value,
         .value = u"COMMAND",
         .help = u"A shell command that must succeed before a run; \"\" for none"},
        {.name = u"only-if-changed",
         .form = Switch,
         .help = u"Skip a scheduled run when the repository did not change"},
        {.name = u"keep-session-open", .form = Switch, .help = u"Keep the finished session for follow-ups"},
        {.name = u"keep-awake",
         .form = Switch,
         .help = u"Keep the machine awake while a run waits or lives (on)"},
        {.name = u"close-finished-tab",
         .form = Switch,
         .help = u"Close the terminal tab after a clean finish (on)"},
        {.name = u"add-dir",
         .form = List,
         .value = u"FOLDER",
         .help = u"Further folders that the session may reach"},
        {.name = u"workspace-mode",
         .form = Value,
         .value = u"MODE",
         .help = u"none, shared or perFolder",
         .check = checkWord<WorkspaceMode>},
        {.name = u"plugin",
         .form = List,
         .value = u"ID",
         .help = u"Claude Code plugins for this agent's sessions only"},
    };
}

Result<QString, QString> absolutePath(const QString &path, const QString &workingDirectory)
{
    if (path.trimmed().isEmpty())
        return failure(u"A folder's name is empty."_s);
    if (path == u"~"_s || path.startsWith(u"~/"_s))
        return path;
    if (path.startsWith(u'/'))
        return QDir::cleanPath(path);
    if (workingDirectory.isEmpty())
        return failure(u"\"%1\" is relative to a working directory that no longer exists."_s.arg(path));
    return QDir::cleanPath(workingDirectory + u'/' + path);
}

Result<SchedulerSlot, QString> apply(SchedulerSlot slot, const Arguments &arguments, const Ground &ground)
{
    slot.name = arguments.value(u"name").value_or(slot.name);
    slot.command = arguments.value(u"command").value_or(slot.command);
    if (const auto wrong = applyFolders(slot.cwds, u"cwd"_s, arguments, ground))
        return failure(*wrong);
    if (const auto wrong = applyFolders(slot.addDirs, u"add-dir"_s, arguments, ground))
        return failure(*wrong);
    applyModel(slot, arguments);
    applyLimits(slot, arguments);
    applySwitches(slot, arguments);
    if (const auto mode = arguments.value(u"workspace-mode"))
        slot.workspaceMode = *enumFromText<WorkspaceMode>(*mode);
    if (arguments.has(u"plugin"))
        slot.plugins = arguments.values(u"plugin");
    if (const auto schedule = ScheduleOptions::read(arguments, ground.calendar)) {
        const auto *once = std::get_if<ScheduleSpec::Once>(&schedule->rule);
        if (once && once->date <= ground.now)
            return failure(u"The time of --once has passed."_s);
        slot.schedule = *schedule;
    }
    if (slot.enabled && !supportsScheduling(slot.provider)) {
        if (arguments.isSet(u"enable"))
            return failure(
                u"%1 agents do not fire on a schedule; start this one with \"keelhaven agents run\"."_s.arg(
                    label(slot.provider)));
        slot.enabled = false;
    }
    return slot;
}

} // namespace Keelhaven::AgentOptions
