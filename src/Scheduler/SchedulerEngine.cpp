#include "Scheduler/SchedulerEngine.h"

#include "Journal/JournalIngestor.h"
#include "Notifications/NotificationManager.h"
#include "Platform/SystemLog.h"
#include "Plugins/WorkspaceLayout.h"
#include "Plugins/WorkspaceScaffold.h"
#include "Scheduler/LaunchdManager.h"
#include "Scheduler/Model/CodexEvents.h"
#include "Scheduler/PowerAssertionController.h"

#include <algorithm>

namespace Keelhaven {

using namespace std::chrono_literals;

namespace {

constexpr Span latenessLimit = 1800s; ///< a due occurrence later than this is recorded as missed and not run
constexpr Span shortestEvaluation = 1s; ///< least delay of the evaluation timer
constexpr Span runTimerInterval = 5s;
constexpr auto quitLimit = 2000ms;

/// The record of a live run that ends with the program, with what its agent has reported by then.
RunRecord recordAtQuit(const ActiveRun &run, RunPersistence &store, JournalIngestor *journal, Date now)
{
    RunRecord record = run.record;
    const bool mayHaveResult =
        run.slot.kind != SlotKind::System && record.resolvedProvider() == AgentProvider::Claude;
    const auto left = mayHaveResult ? SchedulerEngine::result(record, store) : std::nullopt;
    // What a stop or the time limit decided stands.
    if (!record.outcome)
        record.outcome = run.completionSeen || left ? RunOutcome::completed() : RunOutcome::cancelled();
    if (left) {
        const auto summary = journal ? journal->finish(record) : std::nullopt;
        record.summary = summary ? summary : left->summary;
        if (journal)
            journal->ingest(*left, record);
    }
    record.endedAt = now;
    return record;
}

} // namespace

SchedulerEngine::SchedulerEngine(const EngineServices &services, const RunAdmissionPolicy *admissionOverride)
    : m_services(services)
    , m_admissionOverride(admissionOverride)
    , m_pluginCacheGuard(services.paths.home)
    , m_scheduleFloor(services.clock.now())
    , m_due(m_scheduleFloor)
{
    pluginDirs = [paths = services.paths]() -> QStringList {
        const auto root = paths.bundledPluginRoot();
        return root ? QStringList{*root} : QStringList();
    };
    workspaceLog = systemLog;
    installPlugins = [this](const QStringList &plugins, const QString &workspace) {
        if (!plugins.isEmpty())
            m_tasks.spawn(m_services.workspaces.installPlugins(plugins, workspace, workspaceLog),
                          "plugin installation");
    };
    codexEvents = [reader = std::make_shared<CodexEvents::Reader>(services.paths.codexRunsDir())](
                      const QUuid &runID) { return (*reader)(runID); };
}

SchedulerEngine::~SchedulerEngine() = default;

void SchedulerEngine::start()
{
    if (m_started)
        return;
    m_started = true;
    m_slots = m_services.store.loadSlots();
    m_due.invalidate();
    m_history = m_services.store.loadHistory();
    m_services.store.prune(m_history);
    forgetOldLogs();
    resetTimers();
    syncJobs();
    Q_EMIT changed();
}

void SchedulerEngine::shutdown()
{
    m_isShutDown = true;
    for (const auto &run : std::exchange(m_queued, {}))
        releaseAwake(run.record.id);
    // What comes up no further ends here too: it fired, and is in no list any more.
    const auto launches = std::exchange(m_launching, {});
    for (RunRecord record : launches) {
        releaseAwake(record.id);
        record.outcome = RunOutcome::cancelled();
        record.endedAt = m_services.clock.now();
        commit(record, false, std::nullopt, false);
    }
    QList<LaunchedRun> sessions;
    for (const auto &run : std::as_const(m_active))
        sessions.append(run->launched);
    for (const auto &session : std::as_const(m_parked))
        sessions.append(session.launched);
    const auto runs = std::exchange(m_active, {});
    m_parked.clear();
    for (const auto &run : std::exchange(m_closing, {})) {
        if (run->closesPane)
            sessions.append(run->launched);
        releaseAwake(run->record.id);
        commit(run->record, false, run->completionMessage, false);
    }

    for (const auto &run : runs) {
        releaseAwake(run->record.id);
        const RunRecord record = recordAtQuit(*run, m_services.store, journal, m_services.clock.now());
        commit(record, false, run->completionMessage, false);
    }
    if (!sessions.isEmpty() || !launches.isEmpty())
        m_services.launcher.terminateAllBlocking(sessions, quitLimit);
    m_evaluationTimer.reset();
    m_runTimer.reset();
    m_parkedTimer.reset();
    saveRest();
}

qsizetype SchedulerEngine::slotIndex(const QUuid &id) const
{
    const auto it = std::ranges::find(m_slots, id, &SchedulerSlot::id);
    return it == m_slots.end() ? -1 : it - m_slots.begin();
}

std::optional<SchedulerSlot> SchedulerEngine::slot(const QUuid &id) const
{
    const qsizetype index = slotIndex(id);
    return index < 0 ? std::nullopt : std::optional(m_slots[index]);
}

std::optional<std::pair<SchedulerSlot, Date>> SchedulerEngine::nextFire()
{
    const auto earliest = m_due.earliest(m_slots, m_services.calendar());
    if (!earliest)
        return std::nullopt;
    return std::pair(m_slots[earliest->first], earliest->second);
}

void SchedulerEngine::saveSlots()
{
    // A failed save is swallowed: memory goes on, and the next save carries the whole list.
    m_slotsAreUnsaved = !m_services.store.saveSlots(m_slots);
    if (!m_slotsAreUnsaved)
        saveRest();
}

void SchedulerEngine::syncJobs()
{
    m_tasks.spawn(m_services.launchd.sync(m_slots), "wake-up job");
}

void SchedulerEngine::slotsChanged()
{
    m_due.invalidate();
    saveSlots();
    resetTimers();
    syncJobs();
    Q_EMIT changed();
}

void SchedulerEngine::upsert(SchedulerSlot slot)
{
    if (slot.provider != AgentProvider::Claude)
        slot.enabled = false;
    if (slot.usesWorkspace() && !slot.workspaceSlug)
        slot.workspaceSlug = WorkspaceLayout::ownSlug(slot, m_slots);
    if (const qsizetype index = slotIndex(slot.id); index >= 0)
        m_slots[index] = slot;
    else
        m_slots.append(slot);
    slotsChanged();
    m_lastWorkspaceError.reset();
    if (!slot.providerValidationError() && slot.usesWorkspace())
        m_lastWorkspaceError = ensureWorkspaces(slot);
}

void SchedulerEngine::deleteSlot(const QUuid &id)
{
    const qsizetype index = slotIndex(id);
    if (index < 0)
        return;
    m_slots.removeAt(index);
    slotsChanged();
}

void SchedulerEngine::evaluateDueSlots(Date now)
{
    if (m_isShutDown)
        return;
    const auto calendar = m_services.calendar();
    if (const auto earliest = m_due.earliest(m_slots, calendar); earliest && earliest->second <= now) {
        // Hooks of what is enqueued may change the agents, so the due ones are picked out first.
        QList<std::pair<SchedulerSlot, Date>> dueSlots;
        for (qsizetype i = 0; i < m_slots.size(); ++i) {
            if (!m_slots[i].enabled || m_slots[i].provider != AgentProvider::Claude)
                continue;
            if (const auto due = m_due.dueAt(m_slots, i, calendar); due && *due <= now)
                dueSlots.append({m_slots[i], *due});
        }
        dueSlots.removeIf([this](const auto &due) { return !shipEnabled(due.first.shipID); });
        for (const auto &[slot, due] : std::as_const(dueSlots))
            markFired(slot.id, now);
        // Stored before the first of them starts: a crash from here on must not find an agent that never
        // fired.
        if (!dueSlots.isEmpty()) {
            saveSlots();
            syncJobs();
            // Also for a firing that is dropped: a screen that saved its agent as it was would have it fire
            // again.
            Q_EMIT changed();
        }
        for (const auto &[slot, due] : std::as_const(dueSlots)) {
            if (now - due > latenessLimit)
                recordSkipped(slot, due);
            else
                enqueue(slot, RunTrigger::Scheduled);
        }
    }
    pump();
}

void SchedulerEngine::zoneChanged()
{
    if (!m_started || m_isShutDown)
        return;
    evaluateDueSlots(m_services.clock.now());
    syncJobs();
    Q_EMIT changed();
}

void SchedulerEngine::markFired(const QUuid &id, Date at)
{
    const qsizetype index = slotIndex(id);
    if (index < 0)
        return;
    m_slots[index].lastFiredAt = at;
    if (m_slots[index].schedule.isOnce())
        m_slots[index].enabled = false;
    m_due.update(m_slots, index, m_services.calendar());
}

void SchedulerEngine::recordSkipped(const SchedulerSlot &slot, Date scheduledFor)
{
    RunRecord record;
    record.slotID = slot.id;
    record.slotName = slot.name;
    record.cwd = slot.cwd();
    record.command = slot.command;
    record.trigger = RunTrigger::Scheduled;
    record.startedAt = scheduledFor;
    record.endedAt = m_services.clock.now();
    record.outcome = RunOutcome::skippedMissedWindow();
    commit(record, false, std::nullopt, true);
}

void SchedulerEngine::resetTimers()
{
    if (m_isShutDown)
        return;
    std::optional<Date> next;
    if (const auto earliest = m_due.earliest(m_slots, m_services.calendar()))
        next = earliest->second;
    for (const auto &run : std::as_const(m_queued)) {
        if (run.notBefore)
            next = std::min(next.value_or(*run.notBefore), *run.notBefore);
    }
    m_evaluationTimer.reset();
    if (next) {
        const Span delay = std::max(*next - m_services.clock.now(), shortestEvaluation);
        m_evaluationTimer =
            m_services.clock.after(delay, [this] { evaluateDueSlots(m_services.clock.now()); });
    }
    // A running timer keeps its phase: this is called up to once a second, and a restarted one would never
    // fire.
    if (m_active.isEmpty())
        m_runTimer.reset();
    else if (!m_runTimer)
        m_runTimer =
            m_services.clock.every(runTimerInterval, [this] { m_tasks.spawn(tickNow(), "supervision"); });
}

} // namespace Keelhaven
