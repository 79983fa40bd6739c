#include "Surfaces/AgentEditing.h"

#include <QRegularExpression>
#include <algorithm>

namespace Keelhaven::AgentEditor {

using namespace Qt::StringLiterals;

namespace {

constexpr auto lookAhead = std::chrono::days(366);
constexpr qsizetype shownNameLimit = 80;

QString capitalized(QString text)
{
    if (!text.isEmpty())
        text[0] = text[0].toUpper();
    return text;
}

QString counted(qsizetype count, const QString &noun)
{
    return QString::number(count) + u' ' + noun + (count == 1 ? QString() : u"s"_s);
}

QString gates(const AgentDraft &draft)
{
    QStringList parts;
    if (draft.maxUsagePercent)
        parts.append(*draft.maxUsagePercent < 1
                         ? u"never waits for the session"_s
                         : u"waits at %1 % of the session"_s.arg(*draft.maxUsagePercent));
    if (draft.runOnlyIfChanged)
        parts.append(u"only if changed"_s);
    if (!draft.preflight.trimmed().isEmpty())
        parts.append(u"preflight"_s);
    return parts.isEmpty() ? u"Runs whenever it is due"_s : capitalized(parts.join(u" · "_s));
}

QString limits(const AgentDraft &draft)
{
    QStringList parts{u"Ends after %1 min"_s.arg(draft.timeoutMinutes),
                      u"stalled after %1 min"_s.arg(draft.stallMinutes)};
    if (draft.priority != 0)
        parts.append(u"priority %1"_s.arg(draft.priority));
    parts.append(draft.keepAwake ? u"keeps awake"_s : u"lets the machine sleep"_s);
    return parts.join(u" · "_s);
}

QString workspace(const AgentDraft &draft)
{
    QStringList parts;
    switch (draft.workspaceMode) {
    case WorkspaceMode::None:
        parts.append(u"Straight in its folders"_s);
        break;
    case WorkspaceMode::Shared:
        parts.append(u"One workspace"_s);
        break;
    case WorkspaceMode::PerFolder:
        parts.append(u"A workspace per folder"_s);
        break;
    }
    if (!draft.plugins.isEmpty())
        parts.append(counted(draft.plugins.size(), u"plugin"_s));
    if (!draft.addDirs.isEmpty())
        parts.append(counted(draft.addDirs.size(), u"further folder"_s));
    return parts.join(u" · "_s);
}

QString session(const AgentDraft &draft)
{
    QStringList parts{draft.closeFinishedTab ? u"Closes its tab when done"_s : u"Leaves its tab open"_s};
    if (draft.keepSessionOpen)
        parts.append(u"parked for follow-ups"_s);
    return parts.join(u" · "_s);
}

QString ship(const AgentDraft &draft, const QList<AgentDraft::ShipChoice> &ships)
{
    const auto found = std::ranges::find_if(
        ships, [&](const AgentDraft::ShipChoice &choice) { return choice.id == draft.shipID; });
    const QString name = found != ships.end() ? found->name : draft.shipID ? u"A ship"_s : u"No ship"_s;
    return draft.captainDecides ? name + u" · its Captain decides"_s : name;
}

std::optional<int> weekdayFromText(const QString &text)
{
    static const QStringList names{u"sunday"_s,   u"monday"_s, u"tuesday"_s, u"wednesday"_s,
                                   u"thursday"_s, u"friday"_s, u"saturday"_s};
    for (qsizetype i = 0; text.size() >= 3 && i < names.size(); ++i) {
        if (names[i].startsWith(text))
            return static_cast<int>(i);
    }
    return std::nullopt;
}

template <typename T>
void follow(T AgentDraft::*field, AgentDraft &mine, const AgentDraft &was, const AgentDraft &is)
{
    if (mine.*field == was.*field)
        mine.*field = is.*field;
}

} // namespace

QString label(Group group)
{
    static constexpr std::array<QStringView, 5> labels{u"Gates", u"Limits", u"Workspace and plugins",
                                                       u"After a run", u"Ship"};
    return labels[static_cast<size_t>(group)].toString();
}

QString summary(Group group, const AgentDraft &draft, const QList<AgentDraft::ShipChoice> &ships)
{
    switch (group) {
    case Group::Gates:
        return gates(draft);
    case Group::Limits:
        return limits(draft);
    case Group::Workspace:
        return workspace(draft);
    case Group::Session:
        return session(draft);
    case Group::Ship:
        break;
    }
    return ship(draft, ships);
}

std::optional<QStringView> hintedField(const AgentDraft &draft,
                                       const std::function<bool(const QString &)> &isForbiddenFolder)
{
    const SchedulerSlot slot = draft.toSlot();
    if (!slot.saveHint(isForbiddenFolder))
        return std::nullopt;
    if (slot.name.isEmpty())
        return u"name";
    if (slot.cwds.isEmpty())
        return u"cwds";
    if (slot.command.isEmpty())
        return u"command";
    if (!slot.providerValidationError() || std::ranges::any_of(slot.cwds, isForbiddenFolder))
        return u"cwds";
    if (slot.usesWorkspace())
        return u"workspaceMode";
    if (!slot.plugins.isEmpty())
        return u"plugins";
    return slot.command.startsWith(u'/') ? u"command" : u"keepSessionOpen";
}

std::optional<QString> noDatesReason(const AgentDraft &draft, Date now, const Calendar &calendar)
{
    using Kind = AgentDraft::ScheduleKind;
    if (!supportsScheduling(draft.model.provider))
        return u"Codex agents run manually only"_s;
    if (draft.captainDecides)
        return u"Its Captain decides when it runs."_s;
    if (!draft.schedule().fireDates(now, now + lookAhead, calendar, 1).isEmpty())
        return std::nullopt;
    switch (draft.scheduleKind) {
    case Kind::Weekly:
        if (draft.days.empty())
            return u"Pick a day to see the next runs."_s;
        [[fallthrough]];
    case Kind::Daily:
        return u"Add a time to see the next runs."_s;
    case Kind::EveryHours:
        return u"The window ends before it begins."_s;
    case Kind::Once:
        break;
    }
    if (draft.once <= now)
        return u"This moment has passed."_s;
    return u"More than a year from now."_s;
}

std::optional<ScheduleSpec::HourMinute> clockFromText(const QString &text)
{
    static const QRegularExpression form(
        u"^(\\d{1,2})(?:\\s*[:.h]\\s*(\\d{2})|(\\d{2}))?\\s*([ap])?\\.?m?\\.?$"_s,
        QRegularExpression::CaseInsensitiveOption);
    const QString typed = text.trimmed().toLower();
    if (typed == u"noon")
        return ScheduleSpec::HourMinute{12, 0};
    if (typed == u"midnight")
        return ScheduleSpec::HourMinute{0, 0};
    const auto match = form.match(typed);
    if (!match.hasMatch())
        return std::nullopt;
    int hour = match.captured(1).toInt();
    const int minute = (match.captured(2) + match.captured(3)).toInt();
    const QString half = match.captured(4);
    if (!half.isEmpty()) {
        if (hour < 1 || hour > 12)
            return std::nullopt;
        hour = hour % 12 + (half == u"p" ? 12 : 0);
    } else if (typed.endsWith(u'm')) {
        return std::nullopt;
    }
    if (hour > 23 || minute > 59)
        return std::nullopt;
    return ScheduleSpec::HourMinute{hour, minute};
}

std::optional<std::chrono::sys_days> dayFromText(const QString &text, std::chrono::sys_days today)
{
    using namespace std::chrono;
    static const QRegularExpression iso(u"^(\\d{4})-(\\d{1,2})-(\\d{1,2})$"_s);
    static const QRegularExpression dotted(u"^(\\d{1,2})\\.\\s*(\\d{1,2})\\.\\s*(\\d{4})$"_s);
    const QString typed = text.trimmed().toLower();
    if (typed == u"today")
        return today;
    if (typed == u"tomorrow")
        return today + days(1);
    if (const auto day = weekdayFromText(typed)) {
        const auto ahead = weekday(static_cast<unsigned>(*day)) - weekday(today);
        return today + (ahead == days(0) ? days(7) : ahead);
    }
    auto match = iso.match(typed);
    int order[] = {1, 2, 3};
    if (!match.hasMatch()) {
        match = dotted.match(typed);
        std::ranges::reverse(order);
    }
    if (!match.hasMatch())
        return std::nullopt;
    const year_month_day date(year(match.captured(order[0]).toInt()),
                              month(match.captured(order[1]).toUInt()),
                              std::chrono::day(match.captured(order[2]).toUInt()));
    return date.ok() ? std::optional(sys_days(date)) : std::nullopt;
}

QString dayText(std::chrono::sys_days day)
{
    const std::chrono::year_month_day date(day);
    return u"%1-%2-%3"_s.arg(int(date.year()), 4, 10, QLatin1Char('0'))
        .arg(unsigned(date.month()), 2, 10, QLatin1Char('0'))
        .arg(unsigned(date.day()), 2, 10, QLatin1Char('0'));
}

ScheduleSpec::HourMinute furtherTime(const QList<ScheduleSpec::HourMinute> &times)
{
    if (times.isEmpty())
        return {9, 0};
    auto time = *std::ranges::max_element(times);
    do {
        time.hour = (time.hour + 1) % 24;
    } while (times.contains(time) && times.size() < 24);
    return time;
}

AgentDraft merged(AgentDraft mine, const AgentDraft &was, const AgentDraft &is)
{
    using D = AgentDraft;
    const auto all = [&](auto... field) { (follow(field, mine, was, is), ...); };
    all(&D::name, &D::model, &D::cwds, &D::command, &D::captainDecides, &D::shipID, &D::preflight,
        &D::priority, &D::timeoutMinutes, &D::stallMinutes, &D::keepAwake, &D::enabled, &D::maxUsagePercent,
        &D::runOnlyIfChanged, &D::workspaceMode, &D::plugins, &D::closeFinishedTab, &D::keepSessionOpen,
        &D::addDirs);
    // A schedule is one thing: half of mine and half of another one would be nobody's.
    if (mine.schedule() == was.schedule())
        all(&D::scheduleKind, &D::times, &D::days, &D::interval, &D::hasWindow, &D::window, &D::once);
    mine.base = is.base;
    return mine;
}

QString missingFoldersNote(const QStringList &missing)
{
    if (missing.isEmpty())
        return {};
    return missing.size() == 1
               ? u"There is no folder %1 yet; runs in it fail."_s.arg(missing.constFirst())
               : u"These folders are not there yet; runs in them fail: %1"_s.arg(missing.join(u", "_s));
}

bool turnsDirection(const QString &text)
{
    return std::ranges::any_of(text, [](QChar c) {
        const auto code = c.unicode();
        return (code >= 0x202a && code <= 0x202e) || (code >= 0x2066 && code <= 0x2069);
    });
}

Confirmation discardQuestion(const QString &agentName)
{
    const QString name = agentName.trimmed().left(shownNameLimit);
    return {u"Discard your changes?"_s,
            name.isEmpty() ? u"This agent has not been saved."_s
                           : u"What you changed in %1 has not been saved."_s.arg(name),
            u"Discard changes"_s};
}

} // namespace Keelhaven::AgentEditor
