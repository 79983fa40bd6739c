#include "Scheduler/Model/CodexEvents.h"
#include "Scheduler/Model/RunContract.h"
#include "Scheduler/SchedulerEngine.h"

#include <algorithm>

// The small operations on finished runs.
namespace Keelhaven {

using namespace Qt::StringLiterals;

void SchedulerEngine::editRecord(const QUuid &runID, const std::function<bool(RunRecord &)> &edit)
{
    const auto record = std::ranges::find(m_history, runID, &RunRecord::id);
    if (record == m_history.end() || !edit(*record))
        return;
    saveRecord(*record);
    Q_EMIT changed();
}

void SchedulerEngine::saveRecord(const RunRecord &record)
{
    // An error is swallowed: the list in memory is what the user sees.
    if (m_services.store.saveRecord(record)) {
        m_unsavedRuns.remove(record.id);
        saveRest();
    } else {
        m_unsavedRuns.insert(record.id);
    }
}

/// Stores what was refused before: nothing might ever change a run again, and then it would be gone with the
/// process. Called when something could be stored, and at the end.
void SchedulerEngine::saveRest()
{
    if (m_slotsAreUnsaved && !m_services.store.saveSlots(m_slots))
        return;
    m_slotsAreUnsaved = false;
    for (const RunRecord &record : std::as_const(m_history)) {
        if (m_unsavedRuns.isEmpty())
            return;
        if (!m_unsavedRuns.contains(record.id))
            continue;
        // Each refusal may have waited for another program's lock.
        if (!m_services.store.saveRecord(record))
            return;
        m_unsavedRuns.remove(record.id);
    }
    // What is left has been pruned from the history.
    m_unsavedRuns.clear();
}

void SchedulerEngine::forgetFiles(const RunRecord &record)
{
    m_services.store.deleteRecord(record.id);
    if (record.resolvedProvider() == AgentProvider::Codex && !m_parked.contains(record.id))
        CodexEvents::removeLog(record.id, m_services.paths.codexRunsDir());
}

void SchedulerEngine::forgetOldLogs()
{
    QSet<QUuid> used(m_parked.keyBegin(), m_parked.keyEnd());
    for (const auto &run : std::as_const(m_active))
        used.insert(run->record.id);
    for (const auto &record : std::as_const(m_launching))
        used.insert(record.id);
    CodexEvents::removeOldLogs(m_services.paths.codexRunsDir(), used, m_services.clock.now());
}

void SchedulerEngine::remove(const QUuid &runID)
{
    const auto record = std::ranges::find(m_history, runID, &RunRecord::id);
    if (record == m_history.end())
        return;
    forgetFiles(*record);
    m_unsavedRuns.remove(runID);
    m_history.erase(record);
    if (onRunRemoved)
        onRunRemoved(runID);
    Q_EMIT changed();
}

void SchedulerEngine::clearHistory()
{
    const auto former = std::exchange(m_history, {});
    m_unsavedRuns.clear();
    for (const auto &record : former) {
        forgetFiles(record);
        if (onRunRemoved)
            onRunRemoved(record.id);
    }
    Q_EMIT changed();
}

void SchedulerEngine::setHidden(const QUuid &runID, bool hidden)
{
    editRecord(runID, [&](RunRecord &record) {
        record.hidden = hidden ? std::optional(true) : std::nullopt;
        return true;
    });
}

void SchedulerEngine::setSummary(const QUuid &runID, const QString &text)
{
    editRecord(runID, [&](RunRecord &record) {
        record.summary = text;
        return true;
    });
}

void SchedulerEngine::setCaptainRunID(const QUuid &runID, const QUuid &captainRunID)
{
    editRecord(runID, [&](RunRecord &record) {
        if (record.captainRunID == captainRunID)
            return false;
        record.captainRunID = captainRunID;
        return true;
    });
}

void SchedulerEngine::setFeedback(const QUuid &runID, const QString &text, Date now)
{
    editRecord(runID, [&](RunRecord &record) {
        const QString note = text.trimmed();
        record.feedback = note.isEmpty() ? std::nullopt : std::optional(note);
        record.feedbackAt = note.isEmpty() ? std::nullopt : std::optional(now);
        record.feedbackSeenByRunID.reset();
        return true;
    });
}

void SchedulerEngine::markFeedbackSeen(const QList<QUuid> &runIDs, const QUuid &by)
{
    for (const auto &runID : runIDs) {
        editRecord(runID, [&](RunRecord &record) {
            record.feedbackSeenByRunID = by;
            return true;
        });
    }
}

std::optional<QString> SchedulerEngine::scrollback(const QUuid &runID) const
{
    return m_services.store.loadScrollback(runID);
}

QString SchedulerEngine::runDir(const QUuid &runID) const
{
    return m_services.store.runDir(runID);
}

QString SchedulerEngine::journalPath(const RunRecord &record) const
{
    return runDir(record.launchRunID.value_or(record.id)) + u"/journal.jsonl"_s;
}

std::optional<TaskResult> SchedulerEngine::result(const RunRecord &record, const RunPersistence &store)
{
    QList<QUuid> candidates;
    if (record.launchRunID)
        candidates.append(*record.launchRunID);
    if (!candidates.contains(record.id))
        candidates.append(record.id);
    for (const auto &id : std::as_const(candidates)) {
        if (auto result = RunContract::readResult(store.runDir(id) + u"/result.json"_s))
            return result;
    }
    return std::nullopt;
}

} // namespace Keelhaven
