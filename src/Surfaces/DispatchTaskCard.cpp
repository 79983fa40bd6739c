#include "Surfaces/DispatchTaskCard.h"

#include "Dispatch/DispatchLedger.h"
#include "Surfaces/AgentsPane.h"
#include "Surfaces/TimeTexts.h"

#include <algorithm>

namespace Keelhaven {

using namespace Qt::StringLiterals;

namespace {

QString sourceText(DispatchSource source)
{
    switch (source) {
    case DispatchSource::Telegram:
        return u" · from Telegram"_s;
    case DispatchSource::Slack:
        return u" · from Slack"_s;
    case DispatchSource::App:
        break;
    }
    return u" · from the app"_s;
}

QStringList facts(const DispatchRecord &task, const Calendar &calendar)
{
    QStringList lines{TimeTexts::full(task.receivedAt, calendar) + sourceText(task.source)};
    if (const auto project = task.projectPath ? task.projectPath : task.projectName)
        lines.append(*project);
    if (!task.workspacePlugins.isEmpty())
        lines.append(u"Plugins: "_s + task.workspacePlugins.join(u", "_s));
    return lines;
}

/// What stands in the place of a first turn.
std::optional<QString> missingTurn(const DispatchRecord &task, bool isScheduled)
{
    if (isSettled(task.status))
        return task.replyText ? task.replyText : task.error ? task.error : task.completionMessage;
    if (!task.isTask())
        return u"The dispatcher is still working out where this goes."_s;
    return isScheduled ? u"Scheduled — hasn't run yet."_s : u"queued"_s;
}

std::optional<QString> noteOf(const DispatchRecord &task, bool hasRuns, bool isScheduled)
{
    if (task.pendingFollowUp)
        return u"Held until the current turn finishes: “%1”"_s.arg(*task.pendingFollowUp);
    return hasRuns ? std::nullopt : missingTurn(task, isScheduled);
}

/// The day is told where it is another than that of the line before.
QString timingAfter(Date before, const RunRecord &run, const Calendar &calendar)
{
    const bool isSameDay = calendar.wallTime(before).day == calendar.wallTime(run.startedAt).day;
    return isSameDay ? RunDetail::timeOfDay(run, calendar) : RunDetail::timing(run, calendar);
}

/// `before` is when the turn before started, or the task was asked for.
TurnView turnOf(const DispatchRecord &task, const RunRecord &run, qsizetype index, Date before,
                const QList<ActiveRunPtr> &active, const Calendar &calendar)
{
    TurnView turn;
    turn.runID = run.id;
    if (index > 0)
        turn.heading = u"FOLLOW-UP %1"_s.arg(index);
    turn.request = DispatchLedger::turnMessage(run, task, index == 0);
    turn.timing = timingAfter(before, run, calendar);
    const auto live = std::ranges::find_if(active, [&](const auto &one) { return one->record.id == run.id; });
    turn.isLive = live != active.end();
    if (turn.isLive) {
        turn.state = stateText(**live);
        if (isBlocked((*live)->agentState))
            turn.blockedCallout = u"Waiting for an answer — open it in Herdr to unblock it."_s;
        return turn;
    }
    turn.state = run.outcome ? run.outcome->label() : QString();
    turn.isFailure = run.outcome && run.outcome->isFailure();
    turn.answer = RunDetail::report(run);
    return turn;
}

} // namespace

DispatchTaskCard DispatchTaskCard::build(const DispatchRecord &task, const QList<RunRecord> &runs,
                                         const QList<ActiveRunPtr> &active, bool isScheduled,
                                         const Calendar &calendar)
{
    DispatchTaskCard card;
    card.title = task.displayName();
    card.facts = Keelhaven::facts(task, calendar);
    card.note = noteOf(task, !runs.isEmpty(), isScheduled);
    for (qsizetype i = 0; i < runs.size(); ++i) {
        const Date before = i == 0 ? task.receivedAt : runs[i - 1].startedAt;
        card.turns.append(turnOf(task, runs[i], i, before, active, calendar));
    }
    card.deliverables = assets(task, runs);
    return card;
}

QList<Asset> DispatchTaskCard::assets(const DispatchRecord &task, const QList<RunRecord> &runs)
{
    QList<Asset> made;
    if (!task.result)
        return made;
    const QUuid runID = runs.isEmpty() ? QUuid() : runs.last().id;
    for (const auto &artifact : task.result->artifacts) {
        Asset asset;
        // The same file keeps its id from one look to the next.
        asset.id = uuidText(QUuid::createUuidV5(runID, task.id + u'\n' + artifact.path));
        asset.runID = runID;
        asset.shipID = task.shipID;
        asset.workItemID = task.workItemID;
        asset.path = artifact.path;
        asset.kind = inferAssetKind(artifact.path, artifact.kind);
        asset.caption = artifact.caption;
        asset.source = Asset::Source::ResultJSON;
        asset.addedAt = task.completedAt.value_or(task.receivedAt);
        made.append(asset);
    }
    return made;
}

} // namespace Keelhaven
