#include "Contract/SettingsCatalog.h"
#include "Notifications/NotificationManager.h"
#include "Platform/Files.h"
#include "Platform/Text.h"
#include "Plugins/WorkspaceLayout.h"
#include "Plugins/WorkspaceScaffold.h"
#include "Scheduler/PowerAssertionController.h"
#include "Scheduler/QueuePolicy.h"
#include "Scheduler/SchedulerEngine.h"
#include "Scheduler/Usage/UsageMonitor.h"
#include "Scheduler/UsageGatedAdmission.h"

#include <algorithm>

// The queue: how runs come in, which of them may start, and how a record reaches history.
namespace Keelhaven {

using namespace std::chrono_literals;
using namespace Qt::StringLiterals;

namespace {

constexpr Span folderSpacing = 1ms; ///< keeps the folders of one firing in order in the queue
constexpr int bodyLimit = 120;

} // namespace

qsizetype SchedulerEngine::queuedIndex(const QUuid &runID) const
{
    for (qsizetype i = 0; i < m_queued.size(); ++i) {
        if (m_queued[i].record.id == runID)
            return i;
    }
    return -1;
}

void SchedulerEngine::holdAwake(const QUuid &runID)
{
    m_services.power.hold(u"run-"_s + uuidText(runID));
}

void SchedulerEngine::releaseAwake(const QUuid &runID)
{
    m_services.power.release(u"run-"_s + uuidText(runID));
}

bool SchedulerEngine::notificationsOn() const
{
    return m_services.settings.flag(u"schedulerNotificationsEnabled"_s);
}

void SchedulerEngine::report(EngineEvent::Kind kind, const RunRecord &record, const QString &text)
{
    if (onEvent)
        onEvent({kind, record, text});
    Q_EMIT changed();
}

QSet<QUuid> SchedulerEngine::liveSlots() const
{
    QSet<QUuid> ids;
    for (const auto &run : m_active)
        ids.insert(run->record.slotID);
    // A gate before the launch may take minutes, in which the next occurrence comes due.
    for (const auto &record : m_launching)
        ids.insert(record.slotID);
    return ids;
}

QSet<QUuid> SchedulerEngine::queuedSlots() const
{
    QSet<QUuid> ids;
    for (const auto &run : m_queued)
        ids.insert(run.slot.id);
    return ids;
}

QList<QUuid> SchedulerEngine::enqueue(SchedulerSlot slot, RunTrigger trigger, const EnqueueOptions &options)
{
    if (m_isShutDown)
        return {};
    if (trigger == RunTrigger::Scheduled && !QueuePolicy::canEnqueue(slot.id, liveSlots(), queuedSlots()))
        return {};
    if (slot.cwds.isEmpty())
        return {};
    const Date now = m_services.clock.now();
    const auto targets = WorkspaceLayout::targets(slot, m_services.workspaces.root());
    QList<QUuid> ids;
    QList<QueuedRun> added;
    for (qsizetype i = 0; i < slot.cwds.size(); ++i) {
        const QString folder = slot.cwds[i];
        const auto target = std::ranges::find_if(
            targets, [&](const auto &candidate) { return candidate.projectDir == folder; });
        RunRecord record;
        record.slotID = slot.id;
        record.slotName = slot.name;
        record.cwd =
            target == targets.end() ? expandTilde(folder, m_services.paths.home) : target->workspaceDir;
        record.command = slot.command;
        record.trigger = trigger;
        record.startedAt = now;
        if (slot.kind == SlotKind::Captain) {
            const auto command = prepareLaunch ? prepareLaunch(slot, record.id) : std::nullopt;
            if (!command)
                continue;
            record.command = *command;
        }
        if (record.cwd != folder)
            record.projectDir = expandTilde(folder, m_services.paths.home);
        if (record.projectDir == record.cwd)
            record.projectDir.reset();
        record.provider = slot.provider;
        record.model = slot.model;
        record.shipID = slot.shipID;
        record.agentKind = slot.kind;
        record.workItemID = slot.workItemID;
        record.dispatchID = slot.dispatchID;
        record.resumeSessionID = options.resumeSessionID;
        record.captainRunID = options.captainRunID ? options.captainRunID : slot.captainRunID;
        added.append({record, slot, now + i * folderSpacing, std::nullopt, std::nullopt, options.handoff});
        ids.append(record.id);
    }
    for (const auto &run : std::as_const(added)) {
        m_queued.append(run);
        if (slot.keepAwake)
            holdAwake(run.record.id);
        if (trigger == RunTrigger::Scheduled)
            report(EngineEvent::Kind::Fired, run.record);
        report(EngineEvent::Kind::Queued, run.record);
    }
    pump();
    return ids;
}

std::optional<QUuid> SchedulerEngine::nextAdmissible(qint64 cap, Date now) const
{
    const qint64 running = m_active.size() + m_launching.size();
    if (running >= QueuePolicy::clampCap(cap))
        return std::nullopt;
    std::vector<QueuePolicy::Waiting> waiting;
    for (const auto &run : m_queued) {
        if (!run.notBefore || *run.notBefore <= now)
            waiting.push_back({run.record.id, run.slot.id, run.slot.priority, run.firedAt});
    }
    return QueuePolicy::next(waiting, static_cast<int>(running), cap);
}

void SchedulerEngine::pump()
{
    if (m_isShutDown)
        return;
    // A read that is under way sees to the whole queue when it is done.
    if (!m_isReadingUsage)
        m_tasks.spawn(readUsageAndAdmit(), "admission");
    if (m_isReadingUsage)
        resetTimers();
}

QCoro::Task<> SchedulerEngine::readUsageAndAdmit()
{
    const QPointer<SchedulerEngine> self(this);
    // A small or unchanged file answers without suspending. A large one is waited for: a run that was
    // admitted meanwhile would have passed no gate, most of all right after the start.
    m_isReadingUsage = true;
    const auto measured = co_await m_services.usage.fileSnapshot();
    if (!self)
        co_return;
    m_isReadingUsage = false;
    if (m_isShutDown)
        co_return;
    m_services.usage.adopt(measured);
    admitQueued();
}

void SchedulerEngine::admitQueued()
{
    if (!m_queued.isEmpty()) {
        const qint64 cap = Setting::read(m_services.settings, Setting::schedulerConcurrencyCap);
        const auto fromSettings = UsageGatedAdmission::fromSettings(m_services.settings);
        const RunAdmissionPolicy &policy = m_admissionOverride ? *m_admissionOverride : fromSettings;
        std::optional<std::optional<UsageSnapshot>> estimate;
        while (true) {
            const Date now = m_services.clock.now();
            const auto next = nextAdmissible(cap, now);
            if (!next)
                break;
            // Once for the whole queue: it adds up the tokens of weeks.
            if (!estimate)
                estimate = m_services.usage.estimated();
            admit(*next, policy, now, *estimate);
        }
    }
    resetTimers();
}

void SchedulerEngine::admit(const QUuid &runID, const RunAdmissionPolicy &policy, Date now,
                            const std::optional<UsageSnapshot> &usage)
{
    const qsizetype index = queuedIndex(runID);
    QueuedRun &run = m_queued[index];
    AdmissionContext context;
    if (run.record.resolvedProvider() == AgentProvider::Claude)
        context.usage = usage;
    context.now = now;
    context.trigger = run.record.trigger;
    const Admission admission = policy.admit(run.slot, context);
    if (admission.kind == Admission::Kind::Skip) {
        RunRecord record = m_queued.takeAt(index).record;
        closeUnlaunched(record, RunOutcome::launchFailed(admission.reason));
    } else if (admission.kind == Admission::Kind::Defer) {
        run.notBefore = admission.until;
        run.holdReason = admission.reason;
        releaseAwake(runID);
        report(EngineEvent::Kind::Held, RunRecord(run.record), admission.reason);
    } else {
        const QueuedRun admitted = m_queued.takeAt(index);
        m_launching.append(admitted.record);
        // The launch starts at the next turn of the loop: its first steps may end the run and come back here.
        QMetaObject::invokeMethod(
            this, [this, admitted] { m_tasks.spawn(beginRun(admitted), "launch"); }, Qt::QueuedConnection);
    }
}

void SchedulerEngine::reconsiderHeld()
{
    for (auto &run : m_queued) {
        run.notBefore.reset();
        run.holdReason.reset();
    }
    pump();
}

void SchedulerEngine::dequeue(const QUuid &runID)
{
    const qsizetype index = queuedIndex(runID);
    if (index < 0)
        return;
    RunRecord record = m_queued.takeAt(index).record;
    record.outcome = RunOutcome::cancelled();
    record.endedAt = m_services.clock.now();
    commit(record, false, std::nullopt, true);
    releaseAwake(runID);
}

void SchedulerEngine::commit(RunRecord record, bool notify, const std::optional<QString> &completionMessage,
                             bool relay)
{
    record.completionMessage = completionMessage;
    saveRecord(record);
    m_history.prepend(record);
    m_services.store.prune(m_history);
    if (relay && onRunCommitted)
        onRunCommitted(record);
    if (notify)
        notifyOutcome(record);
    report(EngineEvent::Kind::Finished, record);
}

void SchedulerEngine::notifyOutcome(const RunRecord &record)
{
    using Kind = RunOutcome::Kind;
    if (!record.outcome || !notificationsOn())
        return;
    const auto ship = shipName ? shipName(record.shipID) : std::nullopt;
    const QString name = ship ? *ship + u" · "_s + record.slotName : record.slotName;
    switch (record.outcome->kind) {
    case Kind::SkippedMissedWindow:
    case Kind::SkippedNoChanges:
    case Kind::Cancelled:
        return;
    case Kind::Completed:
        m_services.notifications.postRun(
            u"✓ %1 finished"_s.arg(name),
            firstCharacters(record.completionMessage.value_or(QString()), bodyLimit), record.id, false);
        return;
    default:
        m_services.notifications.postRun(u"✕ %1 %2"_s.arg(name, record.outcome->label()), QString(),
                                         record.id, true);
    }
}

} // namespace Keelhaven
