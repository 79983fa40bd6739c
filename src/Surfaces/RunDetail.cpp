#include "Surfaces/RunDetail.h"

#include "Scheduler/Model/RunContract.h"
#include "Surfaces/AgentsPane.h"
#include "Surfaces/TimeTexts.h"

#include <QStringBuilder>
#include <algorithm>

namespace Keelhaven::RunDetail {

using namespace Qt::StringLiterals;

namespace {

constexpr QStringView separator = u" · ";

RunHeader headerOf(const RunRecord &record, const QString &state)
{
    QStringList parts{label(record.resolvedProvider())};
    if (record.outcome)
        parts.append(record.outcome->label());
    if (!state.isEmpty())
        parts.append(state);
    RunHeader header;
    header.title = record.slotName;
    header.subtitle = parts.join(separator);
    header.isFailure = record.outcome && record.outcome->isFailure();
    header.back = {u"Back"_s, u"Back to the agent editor"_s};
    return header;
}

QString withLength(const QString &start, const RunRecord &record)
{
    return record.endedAt ? start % separator % TimeTexts::length(*record.endedAt - record.startedAt) : start;
}

} // namespace

Selection select(const std::optional<QUuid> &runID, const QList<ActiveRunPtr> &active,
                 const QList<RunRecord> &history, const TaskLookup &taskOf)
{
    Selection selection;
    if (!runID)
        return selection;
    const auto live = std::ranges::find_if(active, [&](const auto &run) { return run->record.id == *runID; });
    if (live != active.end()) {
        selection.active = *live;
        selection.record = (*live)->record;
        selection.card = Selection::Card::Live;
    } else if (const auto past = std::ranges::find(history, *runID, &RunRecord::id); past != history.end()) {
        selection.record = *past;
        selection.card = Selection::Card::Finished;
    } else {
        return selection;
    }
    if (const DispatchRecord *task = taskOf ? taskOf(selection.record->slotID) : nullptr) {
        selection.task = *task;
        selection.card = Selection::Card::Task;
    }
    return selection;
}

RunHeader finishedHeader(const RunRecord &record, const std::optional<QString> &resumeBlocked)
{
    RunHeader header = headerOf(record, {});
    header.resume = Action{
        u"Resume in Herdr"_s,
        resumeBlocked.value_or(
            u"Continue this run's Claude session in Herdr (claude --resume) and pick up where it left off"_s),
        !resumeBlocked};
    header.delete_ = Action{u"Delete"_s, u"Delete this run and its output from history"_s};
    return header;
}

RunHeader liveHeader(const ActiveRun &run)
{
    RunHeader header = headerOf(run.record, stateText(run));
    header.stop = Action{u"Stop"_s, u"Stop this run — closes its Herdr pane and records it as cancelled"_s};
    return header;
}

std::optional<WaitingRun> waitingRun(const QUuid &runID, const QList<RunRecord> &launching,
                                     const QList<QueuedRun> &queued)
{
    const auto rows = queueRows({}, launching, queued);
    const auto row = std::ranges::find(rows, runID, &QueueRow::runID);
    if (row == rows.end())
        return std::nullopt;
    const auto isIt = [&](const auto &run) { return run.record.id == runID; };
    const auto waiting = std::ranges::find_if(queued, isIt);
    if (waiting == queued.end()) {
        const auto &record = *std::ranges::find(launching, runID, &RunRecord::id);
        return WaitingRun{headerOf(record, row->state), u"Its session is being opened."_s};
    }
    WaitingRun run{headerOf(waiting->record, row->state),
                   row->stateHelp.value_or(u"It starts as soon as there is room for it."_s)};
    run.header.dequeue = Action{u"Take out of the queue"_s, {}};
    return run;
}

LiveRunCard liveCard(const ActiveRun &run)
{
    LiveRunCard card;
    if (isBlocked(run.agentState))
        card.blockedCallout = u"This session is waiting for an answer — open it in Herdr to unblock it."_s;
    const LaunchedRun &session = run.launched;
    card.rows = {{u"Folder"_s, run.record.folder()},
                 {u"Workspace"_s, session.workspaceLabel.value_or(session.workspaceID)},
                 {u"Command"_s, RunContract::strip(run.record.command)},
                 {u"Session"_s, session.agentName % separator % session.paneID}};
    if (run.takenOver)
        card.takenOverCallout = u"You took this over — Keelhaven won't exit or close it. Open in Herdr "
                                u"attaches a terminal to the session."_s;
    card.openInHerdr = {u"Open in Herdr ↗"_s,
                        u"Focus this run's pane and open Herdr in a Terminal window. To keep the session "
                        u"yours after it finishes, use “Take over” from the run's context menu."_s};
    return card;
}

std::optional<QString> failureDetail(const RunRecord::Outcome &outcome)
{
    using Kind = RunRecord::Outcome::Kind;
    switch (outcome.kind) {
    case Kind::ProcessExited:
        if (outcome.code == 0)
            return std::nullopt;
        return u"The session ended before it finished its work."_s;
    case Kind::PreflightFailed:
        return u"Preflight failed:\n"_s + outcome.text;
    case Kind::LaunchFailed:
        return outcome.text;
    case Kind::Timeout:
        return u"Hit its timeout and was closed."_s;
    case Kind::Completed:
    case Kind::SkippedMissedWindow:
    case Kind::SkippedNoChanges:
    case Kind::Cancelled:
        break;
    }
    return std::nullopt;
}

Report report(const RunRecord &record)
{
    Report report;
    const QString message = record.completionMessage.value_or(QString()).trimmed();
    if (!message.isEmpty()) {
        report.message = message;
        report.isMarkdown = true;
    } else if (record.outcome && record.outcome->kind == RunRecord::Outcome::Kind::Completed) {
        report.message = u"Finished without a closing message."_s;
    } else {
        report.message = u"No closing message — the session ended before it reported back."_s;
    }
    if (record.outcome)
        report.failureDetail = failureDetail(*record.outcome);
    return report;
}

QString timing(const RunRecord &record, const Calendar &calendar)
{
    return withLength(TimeTexts::full(record.startedAt, calendar), record);
}

QString timeOfDay(const RunRecord &record, const Calendar &calendar)
{
    return withLength(TimeTexts::clock(record.startedAt, calendar), record);
}

FinishedRunCard finishedCard(const RunRecord &record, const Calendar &calendar)
{
    return {report(record), timing(record, calendar), record.scrollbackFile.has_value()};
}

} // namespace Keelhaven::RunDetail
