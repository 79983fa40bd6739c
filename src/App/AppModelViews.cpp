#include "App/AppModel.h"
#include "App/AppSelection.h"

#include <algorithm>

// What screens and notifications ask of the runs and of the selection.
namespace Keelhaven {

void AppModel::clearGoneProject()
{
    const auto &name = selection().selectedProject();
    const auto &state = m_snapshot.state;
    if (name && !(state.projectOrder.contains(*name) && state.projects.contains(*name)))
        selection().setSelectedProject(std::nullopt);
}

QList<RunRecord> AppModel::liveRecords() const
{
    const auto &engine = scheduler();
    QList<RunRecord> records = engine.launching();
    for (const auto *list : {&engine.active(), &engine.closing()}) {
        for (const auto &run : *list)
            records.append(run->record);
    }
    return records;
}

EventList AppModel::eventsOfOthers(const EventList &events, const QList<RunRecord> &live)
{
    QSet<QString> sessions;
    QSet<QUuid> runs;
    for (const auto &record : live) {
        runs.insert(record.launchRunID.value_or(record.id));
        if (record.sessionID)
            sessions.insert(*record.sessionID);
    }
    EventList others;
    for (const auto &event : events) {
        const bool isOurs = (event.sessionId && sessions.contains(*event.sessionId)) ||
                            (event.runID && runs.contains(*event.runID));
        if (!isOurs)
            others.append(event);
    }
    return others;
}

std::optional<RunRecord> AppModel::record(const QUuid &id) const
{
    const QList<RunRecord> live = liveRecords();
    for (const auto *list : {&live, &scheduler().history()}) {
        const auto found = std::ranges::find(*list, id, &RunRecord::id);
        if (found != list->end())
            return *found;
    }
    return std::nullopt;
}

std::optional<QString> AppModel::resumeRun(const QUuid &runID)
{
    const auto reason = scheduler().resume(runID);
    if (reason)
        setLastMutationError(reason);
    return reason;
}

void AppModel::setLastMutationError(const std::optional<QString> &error)
{
    setError(error, false);
}

void AppModel::setError(const std::optional<QString> &error, bool isFailedChange)
{
    if (m_lastMutationError == error && m_isFailedChange == isFailedChange)
        return;
    m_lastMutationError = error;
    m_isFailedChange = isFailedChange;
    Q_EMIT lastMutationErrorChanged();
}

} // namespace Keelhaven
