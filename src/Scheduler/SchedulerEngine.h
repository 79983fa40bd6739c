#pragma once

#include "Contract/KeelhavenPaths.h"
#include "Contract/PluginCacheGuard.h"
#include "Platform/Clock.h"
#include "Platform/Tasks.h"
#include "Scheduler/ActiveRun.h"
#include "Scheduler/DueTable.h"
#include "Scheduler/Model/RunMatcher.h"
#include "Scheduler/Model/RunPersistence.h"
#include "Scheduler/Model/TaskResult.h"

#include <QObject>
#include <QPointer>

namespace Keelhaven {

class ClaudeLocator;
class JournalIngestor;
class LaunchdManager;
class NotificationManager;
class PowerAssertionController;
class ProcessRunner;
class RunAdmissionPolicy;
class UsageMonitor;
class WorkspaceScaffold;
struct UsageSnapshot;

/// The collaborators of the engine. All of them outlive it.
struct EngineServices
{
    RunPersistence &store;
    LaunchdManager &launchd;
    PowerAssertionController &power;
    NotificationManager &notifications;
    UsageMonitor &usage;
    RunLauncher &launcher;
    Clock &clock;
    SettingsStore &settings;
    ProcessRunner &processes;
    ClaudeLocator &locator;
    WorkspaceScaffold &workspaces;
    KeelhavenPaths paths;
    std::function<Calendar()> calendar = [] { return Calendar::current(); };
};

/// Something that happened to a run, for whoever follows along. `text` is a detail for a person.
struct EngineEvent
{
    enum class Kind {
        Fired,
        Queued,
        Held,
        SessionOpened,
        PromptTaken,
        Launched,
        PromptResent,
        Waiting,
        Progress,
        Question,
        Finished
    };
    Kind kind;
    RunRecord record;
    QString text;
};

/// How a run is put into the queue.
struct EnqueueOptions
{
    std::optional<QString> resumeSessionID = {};
    bool handoff = false;
    std::optional<QUuid> captainRunID = {};
};

/// Knows what agents exist, what waits, what runs and what has run. It turns due schedules and explicit
/// requests into queued runs, admits them under the concurrency cap and the admission policy, launches,
/// supervises and closes them. Confined to the main loop. It knows nothing of ships, dispatch or captains
/// beyond its hooks.
class SchedulerEngine : public QObject
{
    Q_OBJECT

public:
    /// `admissionOverride`, when given, replaces the policy that is built from the settings. The moment of
    /// construction is the floor below which no schedule occurrence ever fires.
    explicit SchedulerEngine(const EngineServices &services,
                             const RunAdmissionPolicy *admissionOverride = nullptr);
    ~SchedulerEngine() override;

    // Lifecycle

    /// Loads agents and history and aims the timers. A second call does nothing.
    void start();
    /// Orderly quit, synchronous: records live runs, ends their sessions, waits at most 2 s for that. From
    /// then on nothing is queued, started or timed.
    void shutdown();

    // Agents

    void upsert(SchedulerSlot slot);
    /// Runs already queued or live go on with their own copy of the slot.
    void deleteSlot(const QUuid &id);
    [[nodiscard]] std::optional<SchedulerSlot> slot(const QUuid &id) const;
    [[nodiscard]] const QList<SchedulerSlot> &slotList() const { return m_slots; }
    /// The enabled agent that fires first, whatever its ship's state.
    [[nodiscard]] std::optional<std::pair<SchedulerSlot, Date>> nextFire();

    // Runs

    /// The entry point of all callers: one run for each project folder. Gives the ids of the runs that were
    /// queued.
    QList<QUuid> enqueue(SchedulerSlot slot, RunTrigger trigger = RunTrigger::Manual,
                         const EnqueueOptions &options = {});
    /// Asks again about the runs that the admission policy holds back, whose settings have changed.
    void reconsiderHeld();
    /// Takes a waiting run out of the queue as cancelled.
    void dequeue(const QUuid &runID);
    /// Ends a live run as cancelled.
    void stop(const QUuid &runID);
    /// Finds due agents. The only way to the Scheduled trigger.
    void evaluateDueSlots(Date now);
    /// Launches, wind-downs and the like that are under way; after shutdown() what has still to be waited
    /// for.
    [[nodiscard]] int runningTasks() const { return m_tasks.running(); }
    /// The user's time zone is another one: aims every timer anew.
    void zoneChanged();
    /// One round of supervision over the live runs. A call during another one returns at once.
    QCoro::Task<> tick(Date now);
    /// Matches new hook events to live runs; with `codexOnly` only Codex runs are looked at.
    void processSnapshot(const EventList &events, bool codexOnly);

    [[nodiscard]] const QList<RunRecord> &history() const { return m_history; }
    [[nodiscard]] const QList<ActiveRunPtr> &active() const { return m_active; }
    [[nodiscard]] const QList<QueuedRun> &queued() const { return m_queued; }
    [[nodiscard]] const QMap<QUuid, ParkedSession> &parked() const { return m_parked; }
    /// Runs between admission and the end of their launch; they count against the cap like live ones.
    [[nodiscard]] const QList<RunRecord> &launching() const { return m_launching; }
    /// Runs that are over and on their way to history.
    [[nodiscard]] const QList<ActiveRunPtr> &closing() const { return m_closing; }

    // Take-over and follow-ups

    /// Opens a run's conversation for the user: the live session where there is one, else a new one. Gives
    /// the reason when that is impossible, and nothing when it was done or is on its way.
    [[nodiscard]] std::optional<QString> resume(const QUuid &runID);
    /// Hands a conversation to the user: the session that has it open, else a new one of `slot`. Gives the
    /// reason as resume() does.
    [[nodiscard]] std::optional<QString> takeUp(const SchedulerSlot &slot, const QString &conversation);
    /// A session without a live run that still has the conversation open: a parked one, or one that was left
    /// to the user. It may have ended since; forgetGoneSessions() looks.
    [[nodiscard]] std::optional<LaunchedRun> openSession(const QString &conversation) const;
    QCoro::Task<> forgetGoneSessions(QString conversation);
    /// Brings the terminal host to the user, at this run's session when it is live.
    void openHerdr(const std::optional<QUuid> &runID = std::nullopt);
    /// Hands a live session to the user; it is neither nudged nor wound down from then on.
    void takeOver(const QUuid &runID);
    [[nodiscard]] std::optional<ParkedSession> parkedSession(const QUuid &slotID) const;
    /// Delivers a further prompt to the agent's parked session; gives the new run's id, or nothing when no
    /// session rests there ready to take it, or another prompt is just on its way to it.
    QCoro::Task<std::optional<QUuid>> continueRun(QUuid slotID, QString prompt);
    /// Ends a parked session.
    void releaseParked(const QUuid &runID);
    /// Ends parked sessions that are too old or too many.
    QCoro::Task<> sweepParked(Date now);
    /// Closes tabs with this label that no live run and no parked session holds; true when one of them still
    /// has a session at work.
    QCoro::Task<bool> reconcileOrphanTabs(QString label);

    // History

    void remove(const QUuid &runID);
    void clearHistory();
    void setHidden(const QUuid &runID, bool hidden);
    void setSummary(const QUuid &runID, const QString &text);
    void setCaptainRunID(const QUuid &runID, const QUuid &captainRunID);
    /// Blank text clears the feedback; either way its seen mark goes.
    void setFeedback(const QUuid &runID, const QString &text, Date now);
    void markFeedbackSeen(const QList<QUuid> &runIDs, const QUuid &by);
    [[nodiscard]] std::optional<QString> scrollback(const QUuid &runID) const;
    [[nodiscard]] QString runDir(const QUuid &runID) const;
    [[nodiscard]] QString journalPath(const RunRecord &record) const;
    /// The result file of the run, looked for under its launch id, then its own.
    [[nodiscard]] static std::optional<TaskResult> result(const RunRecord &record,
                                                          const RunPersistence &store);

    // Hooks; unset unless a default is given

    std::function<void(const RunRecord &)> onRunCommitted;
    /// A finished run was removed from history and store, with its folders.
    std::function<void(const QUuid &runID)> onRunRemoved;
    std::function<void(const RunRecord &)> onRunWaiting;
    std::function<void(const EngineEvent &)> onEvent;
    std::function<bool(const std::optional<QUuid> &)> shipEnabled = [](const std::optional<QUuid> &) {
        return true;
    };
    std::function<std::optional<QString>(const std::optional<QUuid> &)> shipName;
    /// Builds the command of a captain run; nothing drops the run.
    std::function<std::optional<QString>(const SchedulerSlot &, const QUuid &)> prepareLaunch;
    /// Extra plugin folders of Claude launches; by default the bundled one where it exists.
    std::function<QStringList()> pluginDirs;
    /// Reads a Codex run's event file.
    std::function<QList<EventRecord>(const QUuid &)> codexEvents;
    /// Installs plugins into a workspace, without waiting for it.
    std::function<void(const QStringList &plugins, const QString &workspace)> installPlugins;
    /// Takes the log lines of a workspace's plugin installation.
    std::function<void(const QString &line)> workspaceLog;
    /// Brings the terminal host's window to the user.
    std::function<void()> openExternal = [] {};
    JournalIngestor *journal = nullptr;

    /// Result of the last workspace build in upsert.
    [[nodiscard]] const std::optional<QString> &lastWorkspaceError() const { return m_lastWorkspaceError; }

Q_SIGNALS:
    /// Agents, queue, live runs or history changed.
    void changed();

private:
    // Lifecycle and slots (SchedulerEngine.cpp)
    void slotsChanged();
    void saveSlots();
    void markFired(const QUuid &id, Date at);
    void recordSkipped(const SchedulerSlot &slot, Date scheduledFor);
    void resetTimers();
    void syncJobs();
    [[nodiscard]] qsizetype slotIndex(const QUuid &id) const;

    // Queue (SchedulerQueue.cpp)
    [[nodiscard]] QSet<QUuid> liveSlots() const;
    [[nodiscard]] QSet<QUuid> queuedSlots() const;
    void pump();
    void admitQueued();
    [[nodiscard]] std::optional<QUuid> nextAdmissible(qint64 cap, Date now) const;
    void admit(const QUuid &runID, const RunAdmissionPolicy &policy, Date now,
               const std::optional<UsageSnapshot> &usage);
    QCoro::Task<> readUsageAndAdmit();
    void commit(RunRecord record, bool notify, const std::optional<QString> &completionMessage, bool relay);
    void notifyOutcome(const RunRecord &record);
    void report(EngineEvent::Kind kind, const RunRecord &record, const QString &text = {});
    [[nodiscard]] qsizetype queuedIndex(const QUuid &runID) const;
    [[nodiscard]] bool notificationsOn() const;
    void holdAwake(const QUuid &runID);
    void releaseAwake(const QUuid &runID);

    // Launch (SchedulerLaunch.cpp)
    QCoro::Task<> beginRun(QueuedRun queuedRun);
    QCoro::Task<> launchSteps(QueuedRun queuedRun);
    QCoro::Task<std::optional<RunOutcome>> gate(QueuedRun queuedRun);
    [[nodiscard]] RunLaunchRequest launchRequest(QueuedRun &queuedRun) const;
    void launched(const QueuedRun &queuedRun, const LaunchedRun &session, const RunLaunchRequest &request);
    void closeUnlaunched(RunRecord record, const RunOutcome &outcome);
    void fail(RunRecord record, const QString &reason, const std::optional<QString> &screen = {});
    [[nodiscard]] std::optional<QString> ensureWorkspace(const SchedulerSlot &slot,
                                                         const QString &projectDir);
    [[nodiscard]] std::optional<QString> ensureWorkspaces(const SchedulerSlot &slot);

    // Monitoring (SchedulerMonitoring.cpp)
    QCoro::Task<> superviseRun(ActiveRunPtr run, Date now);
    QCoro::Task<bool> windDown(ActiveRunPtr run, RunProbe probe, Date now);
    QCoro::Task<> answerDialog(ActiveRunPtr run, Date now);
    QCoro::Task<> recoverIdle(ActiveRunPtr run, Date now);
    QCoro::Task<> handleRunEnded(ActiveRunPtr run);
    QCoro::Task<> finalize(ActiveRunPtr run, RunOutcome outcome, bool notify, bool closePane);
    QCoro::Task<> stopSteps(ActiveRunPtr run);
    QCoro::Task<> closeWithScreen(ActiveRunPtr run);
    QCoro::Task<> rememberHead(QUuid slotID, QString folder);
    QCoro::Task<> tickNow();
    void catchUp();
    void completeRun(const ActiveRunPtr &run);
    void markWaiting(const ActiveRunPtr &run, Date at);
    void takeResult(RunRecord &record);
    void recordUsage(const RunRecord &record);
    [[nodiscard]] bool isActive(const ActiveRunPtr &run) const { return m_active.contains(run); }
    [[nodiscard]] ActiveRunPtr activeRun(const QUuid &runID) const;

    // Parking (SchedulerParking.cpp)
    void park(const ActiveRunPtr &run);
    void resetParkedTimer();
    QCoro::Task<> endParked(ParkedSession session);
    QCoro::Task<> showOrTakeUp(SchedulerSlot slot, QString conversation);
    QCoro::Task<bool> isReadyForMore(ParkedSession session);
    [[nodiscard]] RunRecord followUpRecord(const RunRecord &previous, const QString &prompt) const;

    // History (SchedulerHistory.cpp)
    void editRecord(const QUuid &runID, const std::function<bool(RunRecord &)> &edit);
    void saveRecord(const RunRecord &record);
    void saveRest();
    void forgetFiles(const RunRecord &record);
    void forgetOldLogs();

    EngineServices m_services;
    const RunAdmissionPolicy *m_admissionOverride;
    PluginCacheGuard m_pluginCacheGuard;
    Tasks m_tasks;
    QList<SchedulerSlot> m_slots;
    QList<RunRecord> m_history;
    QSet<QUuid> m_unsavedRuns; ///< of the history, whose last save was refused
    bool m_slotsAreUnsaved = false;
    QList<ActiveRunPtr> m_active;
    QList<QueuedRun> m_queued;
    QList<ActiveRunPtr> m_closing; ///< out of `active`, on the way to history
    QMap<QUuid, ParkedSession> m_parked;
    QSet<QUuid> m_continuing;              ///< parked runs whose sessions a follow-up is on its way to
    QMap<QUuid, ParkedSession> m_leftOpen; ///< taken over, and their records closed since
    QList<RunRecord> m_endingParked;       ///< whose parked sessions were asked to exit
    const Date m_scheduleFloor;
    DueTable m_due;
    EventList m_events; ///< of the last snapshot
    Timer m_evaluationTimer;
    Timer m_runTimer;
    Timer m_parkedTimer;
    bool m_polling = false;
    bool m_isReadingUsage = false; ///< the queue waits for the meters
    bool m_started = false;
    bool m_isShutDown = false;
    QList<RunRecord> m_launching;
    std::optional<QString> m_lastWorkspaceError;
};

} // namespace Keelhaven
