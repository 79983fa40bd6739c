#include "Contract/SettingsCatalog.h"
#include "Journal/JournalIngestor.h"
#include "Notifications/NotificationManager.h"
#include "Platform/SystemLog.h"
#include "Platform/Text.h"
#include "Scheduler/RunResume.h"
#include "Scheduler/SchedulerEngine.h"

#include <QScopeGuard>
#include <algorithm>

// Taking sessions over, resuming finished ones, keeping them open, and sending further prompts to them.
namespace Keelhaven {

using namespace std::chrono_literals;
using namespace Qt::StringLiterals;

namespace {

constexpr Span sweepInterval = 300s;
constexpr Span exitGrace = 10s;
constexpr Span secondProbe = 500ms;
constexpr qint64 longestKeepOpenHours = 24 * 365 * 100; ///< beyond it spans would overflow
constexpr qsizetype bodyLimit = 120;
const QString ending = u"The session of this conversation is just ending; try again in a moment."_s;

/// A resumed session that has just opened has not told its own id yet.
bool hasConversation(const RunRecord &record, const QString &conversation)
{
    return record.sessionID == conversation || record.resumeSessionID == conversation;
}

} // namespace

std::optional<QString> SchedulerEngine::resume(const QUuid &runID)
{
    if (activeRun(runID)) {
        takeOver(runID);
        return std::nullopt;
    }
    if (std::ranges::any_of(m_closing, [&](const ActiveRunPtr &run) { return run->record.id == runID; }))
        return ending;
    const auto found = std::ranges::find(m_history, runID, &RunRecord::id);
    if (found == m_history.end())
        return u"That run is no longer in history."_s;
    const RunRecord record = *found;
    if (auto reason = RunResume::blockedReason(record))
        return reason;
    return takeUp(RunResume::slot(record, slot(record.slotID), m_services.clock.now()), *record.sessionID);
}

std::optional<QString> SchedulerEngine::takeUp(const SchedulerSlot &slot, const QString &conversation)
{
    const auto isOfIt = [&](const RunRecord &other) { return hasConversation(other, conversation); };
    const auto live =
        std::ranges::find_if(m_active, [&](const ActiveRunPtr &run) { return isOfIt(run->record); });
    if (live != m_active.end()) {
        takeOver((*live)->record.id);
        return std::nullopt;
    }
    // A run that was admitted has left the queue, and its session does not live yet.
    if (std::ranges::any_of(m_queued, isOfIt, &QueuedRun::record) || std::ranges::any_of(m_launching, isOfIt))
        return std::nullopt;
    if (openSession(conversation)) {
        m_tasks.spawn(showOrTakeUp(slot, conversation), "show open session");
        return std::nullopt;
    }
    if (std::ranges::any_of(m_endingParked, isOfIt) ||
        std::ranges::any_of(m_closing, [&](const ActiveRunPtr &run) { return isOfIt(run->record); }))
        return ending;
    // One that an earlier start of this program opened, or that the user did.
    if (const auto process = RunResume::openIn(conversation, m_services.paths.home + u"/.claude"_s))
        return u"This conversation is open in another terminal (process %1); go on there, or end it first."_s
            .arg(*process);
    enqueue(slot, RunTrigger::Manual, {.resumeSessionID = conversation, .handoff = true});
    return std::nullopt;
}

std::optional<LaunchedRun> SchedulerEngine::openSession(const QString &conversation) const
{
    for (const auto *sessions : {&m_parked, &m_leftOpen}) {
        for (const auto &session : *sessions) {
            if (hasConversation(session.record, conversation))
                return session.launched;
        }
    }
    return std::nullopt;
}

QCoro::Task<> SchedulerEngine::forgetGoneSessions(QString conversation)
{
    const QPointer<SchedulerEngine> self(this);
    QList<ParkedSession> sessions = m_parked.values() + m_leftOpen.values();
    sessions.removeIf(
        [&](const ParkedSession &session) { return !hasConversation(session.record, conversation); });
    for (const auto &session : std::as_const(sessions)) {
        const RunProbe probe = co_await m_services.launcher.probe(session.launched);
        if (!self)
            co_return;
        if (probe.exists)
            continue;
        m_leftOpen.remove(session.record.id);
        if (m_parked.remove(session.record.id) > 0) {
            resetParkedTimer();
            Q_EMIT changed();
        }
    }
}

/// The person may have ended the session meanwhile, and then wants a new one.
QCoro::Task<> SchedulerEngine::showOrTakeUp(SchedulerSlot slot, QString conversation)
{
    const QPointer<SchedulerEngine> self(this);
    co_await forgetGoneSessions(conversation);
    if (!self || m_isShutDown)
        co_return;
    const auto session = openSession(conversation);
    if (!session) {
        const auto refused = takeUp(slot, conversation);
        if (refused)
            systemLog(u"Keelhaven: %1"_s.arg(*refused));
        co_return;
    }
    // A person goes on in it from here.
    for (ParkedSession &parked : m_parked) {
        if (hasConversation(parked.record, conversation))
            parked.shownAt = m_services.clock.now();
    }
    m_tasks.spawn(m_services.launcher.focus(*session), "focus");
    openExternal();
}

void SchedulerEngine::openHerdr(const std::optional<QUuid> &runID)
{
    if (const auto run = runID ? activeRun(*runID) : nullptr)
        m_tasks.spawn(m_services.launcher.focus(run->launched), "focus");
    openExternal();
}

void SchedulerEngine::takeOver(const QUuid &runID)
{
    const auto run = activeRun(runID);
    if (!run)
        return;
    run->takenOver = true;
    run->exitDeadline.reset();
    m_tasks.spawn(m_services.launcher.focus(run->launched), "focus");
    openExternal();
    if (run->completionSeen) {
        // A run that is being stopped already has its outcome, and its pane is about to go.
        if (run->slot.keepSessionOpen && !run->record.outcome)
            park(run);
        m_tasks.spawn(finalize(run, RunOutcome::completed(), true, false), "close taken-over run");
    }
    Q_EMIT changed();
}

void SchedulerEngine::park(const ActiveRunPtr &run)
{
    m_parked.insert(run->record.id, {run->launched, run->slot, run->record, m_services.clock.now()});
    resetParkedTimer();
}

void SchedulerEngine::resetParkedTimer()
{
    // A running timer keeps its phase: agents that park a session every few minutes would put the sweep off
    // for ever.
    if (m_parked.isEmpty())
        m_parkedTimer.reset();
    else if (!m_parkedTimer)
        m_parkedTimer = m_services.clock.every(
            sweepInterval, [this] { m_tasks.spawn(sweepParked(m_services.clock.now()), "parked sweep"); });
}

std::optional<ParkedSession> SchedulerEngine::parkedSession(const QUuid &slotID) const
{
    std::optional<ParkedSession> latest;
    for (const auto &session : m_parked) {
        if (session.record.slotID == slotID && (!latest || session.since > latest->since))
            latest = session;
    }
    return latest;
}

/// Whether the session rests, so that it would take a prompt now. A pane that is gone is no longer parked.
QCoro::Task<bool> SchedulerEngine::isReadyForMore(ParkedSession session)
{
    const QPointer<SchedulerEngine> self(this);
    RunProbe probe = co_await m_services.launcher.probe(session.launched);
    if (self && probe.exists && probe.state == AgentState::Unknown) {
        const bool slept = co_await m_services.clock.sleep(secondProbe);
        if (!slept || !self)
            co_return false;
        probe = co_await m_services.launcher.probe(session.launched);
    }
    if (!self || m_isShutDown)
        co_return false;
    if (!probe.exists) {
        m_parked.remove(session.record.id);
        resetParkedTimer();
        Q_EMIT changed();
        co_return false;
    }
    co_return probe.state == AgentState::Idle || probe.state == AgentState::Done;
}

RunRecord SchedulerEngine::followUpRecord(const RunRecord &previous, const QString &prompt) const
{
    RunRecord record;
    record.slotID = previous.slotID;
    record.slotName = previous.slotName;
    record.cwd = previous.cwd;
    record.projectDir = previous.projectDir;
    record.sessionID = previous.sessionID;
    record.shipID = previous.shipID;
    record.agentKind = previous.agentKind;
    record.workItemID = previous.workItemID;
    record.dispatchID = previous.dispatchID;
    record.command = prompt;
    record.trigger = RunTrigger::Manual;
    record.startedAt = m_services.clock.now();
    // The first run's journal and folder go on being used.
    record.launchRunID = previous.launchRunID.value_or(previous.id);
    return record;
}

QCoro::Task<std::optional<QUuid>> SchedulerEngine::continueRun(QUuid slotID, QString prompt)
{
    const QPointer<SchedulerEngine> self(this);
    const auto session = parkedSession(slotID);
    // While one follow-up is being delivered the session may still look idle, and a second one would be
    // typed into the first.
    if (!session || m_continuing.contains(session->record.id))
        co_return std::nullopt;
    const QUuid parkedID = session->record.id;
    m_continuing.insert(parkedID);
    const auto ended = qScopeGuard([self, parkedID] {
        if (self)
            self->m_continuing.remove(parkedID);
    });
    const bool ready = co_await isReadyForMore(*session);
    if (!self || !ready)
        co_return std::nullopt;

    const RunRecord record = followUpRecord(session->record, prompt);
    if (session->slot.keepAwake)
        holdAwake(record.id);
    const Date floor = m_services.clock.now();
    const auto taken = co_await m_services.launcher.prompt(session->launched, prompt);
    if (!self)
        co_return std::nullopt;
    // At quit the session was ended with the parked ones, so no run may come of it any more.
    if (!taken || m_isShutDown) {
        releaseAwake(record.id);
        co_return std::nullopt;
    }
    m_parked.remove(parkedID);
    resetParkedTimer();
    auto run = std::make_shared<ActiveRun>(record, session->slot, session->launched);
    run->eventFloor = floor;
    m_active.append(run);
    if (session->slot.kind != SlotKind::System && journal)
        journal->begin(record, journalPath(record), true);
    if (notificationsOn())
        m_services.notifications.postRun(u"↩︎ Continued %1"_s.arg(session->slot.name),
                                         firstCharacters(prompt, bodyLimit), record.id, false);
    resetTimers();
    Q_EMIT changed();
    catchUp();
    co_return QUuid(record.id);
}

QCoro::Task<> SchedulerEngine::endParked(ParkedSession session)
{
    const QPointer<SchedulerEngine> self(this);
    m_endingParked.append(session.record);
    const auto ended = qScopeGuard([self, id = session.record.id] {
        if (self)
            self->m_endingParked.removeIf([&](const RunRecord &record) { return record.id == id; });
    });
    co_await m_services.launcher.requestExit(session.launched);
    if (!self)
        co_return;
    const bool slept = co_await m_services.clock.sleep(exitGrace);
    if (!slept || !self)
        co_return;
    co_await m_services.launcher.terminate(session.launched);
}

void SchedulerEngine::releaseParked(const QUuid &runID)
{
    const auto entry = m_parked.constFind(runID);
    if (entry == m_parked.constEnd())
        return;
    m_tasks.spawn(endParked(*entry), "end parked session");
    m_parked.remove(runID);
    resetParkedTimer();
    Q_EMIT changed();
}

QCoro::Task<> SchedulerEngine::sweepParked(Date now)
{
    const QPointer<SchedulerEngine> self(this);
    const auto ids = m_parked.keys();
    QSet<QUuid> inUse;
    for (const auto &id : ids) {
        const auto entry = m_parked.constFind(id);
        if (entry == m_parked.constEnd())
            continue;
        const LaunchedRun session = entry->launched;
        const RunProbe probe = co_await m_services.launcher.probe(session);
        if (!self)
            co_return;
        if (!probe.exists && m_parked.remove(id) > 0)
            Q_EMIT changed();
        // Somebody typed into it since it was parked.
        if (probe.exists && probe.state == AgentState::Working)
            inUse.insert(id);
    }
    // So is one that a prompt is on its way to.
    inUse.unite(m_continuing);
    const std::chrono::hours keepOpen(
        std::clamp(Setting::read(m_services.settings, Setting::dispatchKeepOpenHours), -longestKeepOpenHours,
                   longestKeepOpenHours));
    const qsizetype maxOpen = Setting::read(m_services.settings, Setting::dispatchMaxOpenSessions);
    QList<ParkedSession> sessions = m_parked.values();
    std::ranges::stable_sort(sessions, {}, &ParkedSession::since);
    for (qsizetype i = 0; i < sessions.size(); ++i) {
        const QUuid id = sessions[i].record.id;
        const Date lastUsed = sessions[i].shownAt.value_or(sessions[i].since);
        const bool isTooOld = now - lastUsed > keepOpen;
        if ((isTooOld || sessions.size() - i > maxOpen) && !inUse.contains(id))
            releaseParked(id);
    }
    resetParkedTimer();
}

QCoro::Task<bool> SchedulerEngine::reconcileOrphanTabs(QString label)
{
    QSet<QString> keeping;
    for (const auto &run : std::as_const(m_active))
        keeping.insert(run->launched.tabID);
    for (const auto &session : std::as_const(m_parked))
        keeping.insert(session.launched.tabID);
    const bool anyBusy = co_await m_services.launcher.reconcileFinishedTabs(label, keeping);
    co_return anyBusy;
}

} // namespace Keelhaven
