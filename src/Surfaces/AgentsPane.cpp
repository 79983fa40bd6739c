#include "Surfaces/AgentsPane.h"

#include "Platform/Uuid.h"
#include "Plugins/WorkspaceLayout.h"
#include "Scheduler/SchedulerEngine.h"

#include <algorithm>

namespace Keelhaven {

using namespace Qt::StringLiterals;

namespace SchedulerListPane {

QString label(Tab tab)
{
    static constexpr std::array<QStringView, 4> labels{u"Agents", u"Scheduled", u"Queue", u"History"};
    return labels[static_cast<size_t>(tab)].toString();
}

std::optional<QString> badge(Tab tab, const HistoryList &history)
{
    const int failures = tab == Tab::History ? history.recentFailures() : 0;
    return failures > 0 ? std::optional(u"%1 failed"_s.arg(failures)) : std::nullopt;
}

QString emptyText(Tab tab)
{
    switch (tab) {
    case Tab::Agents:
        return u"No agents yet — set one up on the right, or dispatch a task above."_s;
    case Tab::Scheduled:
        return u"Nothing scheduled — enable an agent, or give one a schedule on the right."_s;
    case Tab::Queue:
        return u"Nothing running or waiting."_s;
    case Tab::History:
        break;
    }
    return u"Nothing has run yet."_s;
}

Confirmation clearHistoryQuestion(qsizetype runs)
{
    return {u"Clear run history?"_s,
            u"Every finished run and its output is deleted. Live and queued runs are kept."_s,
            u"Clear %1 runs"_s.arg(runs)};
}

Confirmation deleteQuestion(const QString &agentName)
{
    return {u"Delete this agent?"_s,
            agentName + u" is removed from the schedule. Its finished runs stay in History."_s,
            u"Delete "_s + agentName};
}

} // namespace SchedulerListPane

namespace {

QueueRow rowOf(const RunRecord &record)
{
    QueueRow row;
    row.runID = record.id;
    row.title = record.slotName;
    row.subtitle = QFileInfo(record.folder()).fileName();
    return row;
}

QueueRow rowOf(const ActiveRun &run)
{
    QueueRow row = rowOf(run.record);
    row.id = u"active-"_s + uuidText(row.runID);
    row.state = stateText(run);
    row.isLive = true;
    row.isBlocked = isBlocked(run.agentState);
    row.startedAt = run.record.startedAt;
    return row;
}

QueueRow launchingRow(const RunRecord &record)
{
    QueueRow row = rowOf(record);
    row.id = u"active-"_s + uuidText(row.runID);
    row.state = u"starting"_s;
    return row;
}

QueueRow rowOf(const QueuedRun &run)
{
    QueueRow row = rowOf(run.record);
    row.id = u"queued-"_s + uuidText(row.runID);
    row.state = run.notBefore ? u"waiting on usage"_s : u"queued"_s;
    row.stateHelp = run.holdReason;
    return row;
}

} // namespace

QString stateText(AgentState state)
{
    switch (state) {
    case AgentState::Idle:
        return u"idle"_s;
    case AgentState::Working:
        return u"working"_s;
    case AgentState::Blocked:
        return u"waiting for input"_s;
    case AgentState::Done:
        return u"done"_s;
    case AgentState::Unknown:
        break;
    }
    return u"running"_s;
}

QString stateText(const ActiveRun &run)
{
    return run.takenOver ? u"you have control"_s : stateText(run.agentState);
}

QList<QueueRow> queueRows(const QList<ActiveRunPtr> &active, const QList<RunRecord> &launching,
                          const QList<QueuedRun> &queued)
{
    QList<QueueRow> rows;
    for (const auto &run : active)
        rows.append(rowOf(*run));
    for (const auto &record : launching)
        rows.append(launchingRow(record));
    for (const auto &run : queued)
        rows.append(rowOf(run));
    return rows;
}

void AgentsPane::setHidden(const QList<QUuid> &runIDs, bool hidden)
{
    for (const QUuid &runID : runIDs)
        m_engine.setHidden(runID, hidden);
}

void AgentsPane::remove(const QList<QUuid> &runIDs)
{
    for (const QUuid &runID : runIDs)
        m_engine.remove(runID);
}

void AgentsPane::toggle(const QUuid &slotID)
{
    auto slot = m_engine.slot(slotID);
    if (!slot || !supportsScheduling(slot->provider))
        return;
    slot->enabled = !slot->enabled;
    m_engine.upsert(*std::move(slot));
}

std::optional<QUuid> AgentsPane::duplicate(const QUuid &slotID)
{
    auto slot = m_engine.slot(slotID);
    if (!slot)
        return std::nullopt;
    slot->id = QUuid::createUuid();
    slot->name += u" copy"_s;
    // What the original found and made is not the copy's. When it fired last is: the copy must not make up
    // for occurrences that the original has used.
    slot->lastRunHeads.reset();
    slot->workspaceSlug.reset();
    const QUuid id = slot->id;
    m_engine.upsert(*std::move(slot));
    return id;
}

void AgentsPane::delete_(const QUuid &slotID)
{
    m_engine.deleteSlot(slotID);
}

QList<QUuid> AgentsPane::runNow(const QUuid &slotID)
{
    auto slot = m_engine.slot(slotID);
    return slot ? m_engine.enqueue(*std::move(slot)) : QList<QUuid>();
}

} // namespace Keelhaven
