#include "Journal/JournalIngestor.h"
#include "Notifications/NotificationManager.h"
#include "Scheduler/GitProbe.h"
#include "Scheduler/Model/CodexEvents.h"
#include "Scheduler/SchedulerEngine.h"

#include <QScopeGuard>
#include <algorithm>

// Supervision: what hook events and the session host tell of a live run, and how its record is closed.
namespace Keelhaven {

using namespace std::chrono_literals;
using namespace Qt::StringLiterals;

namespace {

constexpr Span exitGrace = 10s;
constexpr Span nudgeDelay = 30s; ///< before the first nudge, and between two
constexpr int nudgeLimit = 2;
constexpr int transcriptLines = 2000;
constexpr int trustPromptLines = 80;

} // namespace

ActiveRunPtr SchedulerEngine::activeRun(const QUuid &runID) const
{
    const auto run =
        std::ranges::find_if(m_active, [&](const auto &candidate) { return candidate->record.id == runID; });
    return run == m_active.end() ? nullptr : *run;
}

void SchedulerEngine::processSnapshot(const EventList &events, bool codexOnly)
{
    if (!codexOnly)
        m_events = events;
    const auto runs = m_active;
    for (const auto &run : runs) {
        const bool isCodex = run->record.resolvedProvider() == AgentProvider::Codex;
        // A run before this one may have set off a round that closed it.
        if ((codexOnly && !isCodex) || !isActive(run))
            continue;
        QSet<QString> claimed;
        for (const auto &other : std::as_const(m_active)) {
            if (other != run && other->record.sessionID)
                claimed.insert(*other->record.sessionID);
        }
        const RunMatcher::RunKey key{run->record.id,        run->record.cwd, run->record.startedAt,
                                     run->record.sessionID, run->eventFloor, run->record.launchRunID};
        const auto found = isCodex ? CodexEvents::assess(key, codexEvents(run->record.id))
                                   : RunMatcher::assess(key, events, claimed);
        if (found.capturedSessionID)
            run->record.sessionID = found.capturedSessionID;
        if (found.lastActivityAt)
            run->lastActivityAt = found.lastActivityAt;
        if (found.completed) {
            run->completionMessage = found.completionMessage;
            if (!run->completionSeen) {
                run->completionSeen = true;
                completeRun(run);
            }
        } else if (run->completionSeen && !run->exitDeadline) {
            // A new turn began before the session was asked to exit, so the run goes on.
            run->completionSeen = false;
            run->completionMessage.reset();
        }
    }
}

/// A short turn is over before its run is live, and nothing else may be told until the run has ended.
void SchedulerEngine::catchUp()
{
    const EventList events = m_events;
    processSnapshot(events, false);
}

void SchedulerEngine::completeRun(const ActiveRunPtr &run)
{
    if (run->takenOver)
        m_tasks.spawn(finalize(run, RunOutcome::completed(), true, false), "close taken-over run");
    else
        m_tasks.spawn(tickNow(), "supervision");
}

QCoro::Task<> SchedulerEngine::tickNow()
{
    const Date now = m_services.clock.now();
    co_await tick(now);
}

QCoro::Task<> SchedulerEngine::tick(Date now)
{
    if (m_polling)
        co_return;
    const QPointer<SchedulerEngine> self(this);
    m_polling = true;
    // Also when something throws: a round that never ended would be the last one.
    const auto ended = qScopeGuard([self] {
        if (self)
            self->m_polling = false;
    });
    processSnapshot({}, true);
    const auto runs = m_active;
    for (const auto &run : runs) {
        co_await superviseRun(run, now);
        if (!self)
            co_return;
    }
}

QCoro::Task<> SchedulerEngine::superviseRun(ActiveRunPtr run, Date now)
{
    const QPointer<SchedulerEngine> self(this);
    auto &launcher = m_services.launcher;
    // A run that another step closed meanwhile still stands in the round's copy of the list.
    if (!isActive(run))
        co_return;
    if (journal)
        journal->poll(run->record);
    if (now - run->record.startedAt > std::chrono::minutes(run->slot.timeoutMinutes)) {
        // What the user's stop decided stands.
        if (!run->record.outcome)
            run->record.outcome = RunOutcome::timeout();
        co_await closeWithScreen(run);
        if (self)
            co_await finalize(run, RunOutcome::timeout(), true, true);
        co_return;
    }
    const RunProbe probe = co_await launcher.probe(run->launched);
    if (!self || !isActive(run))
        co_return;
    if (run->agentState != probe.state) {
        run->agentState = probe.state;
        Q_EMIT changed();
    }
    if (!probe.exists) {
        co_await handleRunEnded(run);
        co_return;
    }
    if (run->completionSeen && !run->takenOver) {
        const bool closed = co_await windDown(run, probe, now);
        if (closed || !self || !isActive(run))
            co_return;
    }
    const bool isClaude = run->record.resolvedProvider() == AgentProvider::Claude;
    if (isClaude && (probe.state == AgentState::Idle || probe.state == AgentState::Blocked)) {
        co_await answerDialog(run, now);
        if (!self || !isActive(run))
            co_return;
    }
    if (probe.state == AgentState::Working)
        run->lastActivityAt = now;
    if (probe.state == AgentState::Blocked && !run->stalledNotified)
        markWaiting(run, now);
    if (isClaude && probe.state == AgentState::Idle && !run->completionSeen && !run->takenOver) {
        run->idleSince = run->idleSince.value_or(now);
        co_await recoverIdle(run, now);
        if (!self || !isActive(run))
            co_return;
    } else {
        run->idleSince.reset();
    }
    const bool watched = probe.state == AgentState::Unknown || (!isClaude && !run->completionSeen);
    if (watched && !run->stalledNotified &&
        RunMatcher::isStalled(run->record.startedAt, run->lastActivityAt, now, run->slot.stallMinutes))
        markWaiting(run, now);
}

QCoro::Task<> SchedulerEngine::answerDialog(ActiveRunPtr run, Date now)
{
    const QPointer<SchedulerEngine> self(this);
    const auto text = co_await m_services.launcher.transcript(run->launched, trustPromptLines);
    if (!self || !isActive(run) || !text)
        co_return;
    // Without this it would count as idle until its time limit.
    if (!run->completionSeen && !run->takenOver && !run->stalledNotified && RunMatcher::asksToSignIn(*text))
        markWaiting(run, now);
    const auto answer = RunMatcher::trustPromptResponse(*text);
    if (!answer || answer == run->lastTrustResponse)
        co_return;
    run->lastTrustResponse = answer;
    co_await m_services.launcher.sendText(run->launched, *answer);
}

QCoro::Task<> SchedulerEngine::recoverIdle(ActiveRunPtr run, Date now)
{
    const QPointer<SchedulerEngine> self(this);
    if (now - *run->idleSince < nudgeDelay ||
        (run->lastIdleNudgeAt && now - *run->lastIdleNudgeAt < nudgeDelay))
        co_return;
    if (run->idleNudges < nudgeLimit) {
        ++run->idleNudges;
        run->lastIdleNudgeAt = now;
        co_await m_services.launcher.sendText(run->launched, u"\r"_s);
        co_return;
    }
    if (run->promptRetyped || run->lastActivityAt || run->completionSeen)
        co_return;
    run->promptRetyped = true;
    run->lastIdleNudgeAt = now;
    const auto taken = co_await m_services.launcher.prompt(run->launched, run->record.command);
    if (!self || !isActive(run) || !taken)
        co_return;
    if (notificationsOn())
        m_services.notifications.postRun(u"↻ Re-sent the prompt to %1"_s.arg(run->slot.name),
                                         u"The session started but never took its prompt."_s, run->record.id,
                                         false);
    report(EngineEvent::Kind::PromptResent, run->record);
}

void SchedulerEngine::markWaiting(const ActiveRunPtr &run, Date at)
{
    run->stalledNotified = true;
    run->record.stalledAt = at;
    if (notificationsOn())
        m_services.notifications.postRun(u"⏸ %1 is waiting for input"_s.arg(run->slot.name),
                                         u"Take it over in Herdr to answer."_s, run->record.id, true);
    if (onRunWaiting)
        onRunWaiting(run->record);
    report(EngineEvent::Kind::Waiting, run->record);
}

QCoro::Task<bool> SchedulerEngine::windDown(ActiveRunPtr run, RunProbe probe, Date now)
{
    const QPointer<SchedulerEngine> self(this);
    if (run->record.resolvedProvider() == AgentProvider::Codex) {
        if (probe.state != AgentState::Idle && probe.state != AgentState::Done)
            co_return false;
        co_await finalize(run, RunOutcome::completed(), true, false);
        co_return true;
    }
    if (probe.state == AgentState::Working || probe.state == AgentState::Blocked) {
        // It went on; the grace starts anew when it rests again.
        run->exitDeadline.reset();
        co_return false;
    }
    // A run that is being stopped already has its outcome, and its session is about to be closed.
    if (run->slot.keepSessionOpen && !run->record.outcome) {
        park(run);
        co_await finalize(run, RunOutcome::completed(), true, false);
        co_return true;
    }
    if (!run->exitDeadline) {
        // Set before the request: an event that comes in meanwhile must not take the completion back, for the
        // session ends all the same.
        run->exitDeadline = now + exitGrace;
        co_await m_services.launcher.requestExit(run->launched);
        co_return false;
    }
    if (now < *run->exitDeadline)
        co_return false;
    co_await closeWithScreen(run);
    if (self)
        co_await handleRunEnded(run);
    co_return true;
}

QCoro::Task<> SchedulerEngine::closeWithScreen(ActiveRunPtr run)
{
    const QPointer<SchedulerEngine> self(this);
    const auto screen = co_await m_services.launcher.transcript(run->launched, transcriptLines);
    if (!self)
        co_return;
    // Another step may have closed the pane since and have kept its screen.
    if (screen)
        run->finalTranscript = screen;
    // Or the user took over a session that was about to be closed for not ending by itself.
    if (!isActive(run) && run->takenOver && run->record.outcome == RunOutcome::completed())
        co_return;
    co_await m_services.launcher.terminate(run->launched);
}

QCoro::Task<> SchedulerEngine::handleRunEnded(ActiveRunPtr run)
{
    // How it exited is not known; -1 is the mark of that.
    const auto outcome = run->completionSeen ? RunOutcome::completed() : RunOutcome::processExited(-1);
    co_await finalize(run, outcome, true, true);
}

void SchedulerEngine::takeResult(RunRecord &record)
{
    const auto left = result(record, m_services.store);
    const auto summary = journal ? journal->finish(record) : std::nullopt;
    record.summary = summary ? summary : left ? left->summary : std::nullopt;
    if (left && journal)
        journal->ingest(*left, record);
}

QCoro::Task<> SchedulerEngine::finalize(ActiveRunPtr run, RunOutcome outcome, bool notify, bool closePane)
{
    if (!isActive(run))
        co_return;
    const QPointer<SchedulerEngine> self(this);
    m_active.removeOne(run);
    m_closing.append(run);
    RunRecord &record = run->record;
    if (!record.outcome)
        record.outcome = outcome;
    record.endedAt = m_services.clock.now();
    const bool isClaude = record.resolvedProvider() == AgentProvider::Claude;
    run->closesPane = closePane && !record.outcome->isFailure() && run->slot.closeFinishedTab && isClaude;
    if (run->slot.kind != SlotKind::System && isClaude)
        takeResult(record);
    // The user goes on in it, and asking for its conversation again must lead there.
    if (run->takenOver && !closePane && isClaude && !m_parked.contains(record.id))
        m_leftOpen.insert(record.id, {run->launched, run->slot, record, *record.endedAt});
    if (*record.outcome == RunOutcome::completed() && run->slot.runOnlyIfChanged)
        m_tasks.spawn(rememberHead(record.slotID, record.folder()), "remember head");

    std::optional<QString> screen = run->finalTranscript;
    if (!screen) {
        screen = co_await m_services.launcher.transcript(run->launched, transcriptLines);
        if (!self || !m_closing.contains(run))
            co_return;
    }
    if (screen) {
        // A transcript that cannot be kept costs only itself.
        static_cast<void>(m_services.store.saveScrollback(*screen, record.id));
        record.scrollbackFile = u"runs/%1.txt"_s.arg(uuidText(record.id));
    }
    if (run->closesPane) {
        co_await m_services.launcher.terminate(run->launched);
        if (!self || !m_closing.contains(run))
            co_return;
    }
    m_closing.removeOne(run);
    commit(record, notify, run->completionMessage, true);
    releaseAwake(record.id);
    pump();
    if (!isClaude)
        forgetOldLogs();
    if (run->slot.kind != SlotKind::System)
        recordUsage(record);
}

void SchedulerEngine::recordUsage(const RunRecord &record)
{
    if (!journal)
        return;
    const QPointer<SchedulerEngine> self(this);
    journal->recordUsage(record, [self, id = record.id](const RunUsage &usage) {
        if (!self)
            return;
        self->editRecord(id, [&](RunRecord &stored) {
            stored.usage = usage;
            return true;
        });
    });
}

QCoro::Task<> SchedulerEngine::rememberHead(QUuid slotID, QString folder)
{
    const QPointer<SchedulerEngine> self(this);
    const GitProbe git(m_services.processes, m_services.locator);
    const auto head = co_await git.head(folder);
    if (!self || !head)
        co_return;
    const qsizetype index = slotIndex(slotID);
    if (index < 0)
        co_return;
    auto heads = m_slots[index].lastRunHeads.value_or(QMap<QString, QString>());
    heads.insert(folder, *head);
    m_slots[index].lastRunHeads = heads;
    saveSlots();
    Q_EMIT changed();
}

void SchedulerEngine::stop(const QUuid &runID)
{
    const auto run = activeRun(runID);
    if (!run)
        return;
    run->record.outcome = RunOutcome::cancelled();
    m_tasks.spawn(stopSteps(run), "stop");
}

QCoro::Task<> SchedulerEngine::stopSteps(ActiveRunPtr run)
{
    const QPointer<SchedulerEngine> self(this);
    co_await closeWithScreen(run);
    if (self)
        co_await finalize(run, RunOutcome::cancelled(), false, true);
}

} // namespace Keelhaven
