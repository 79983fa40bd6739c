#pragma once

#include "Contract/KeelhavenPaths.h"
#include "Contract/Models/Snapshot.h"
#include "Platform/Result.h"
#include "Platform/Tasks.h"
#include "Scheduler/SchedulerEngine.h"

#include <QObject>
#include <QUrl>

namespace Keelhaven {

class AppSelection;
class AssetStore;
class ChildProcessFactory;
class ClaudeLocator;
class Clock;
class DispatchLedger;
class CodexUsageMonitor;
class HerdrLocator;
class HerdrManager;
class HerdrProbe;
class JournalIngestor;
class KeelhavenDatabase;
class KeychainStore;
class MirrorClient;
class MirrorMonitor;
class NotificationManager;
class OwnSessionTracking;
class PluginInventoryStore;
class PowerAssertionController;
class SettingsStore;
class SetupChecklist;
class SharedFileHub;
class SweepRunner;
class UpdateChecker;
class UsageMonitor;
class WorkItemStore;
class WorkspaceStore;
struct MirrorError;
struct NoDatabaseError;

/// The operating system as the application sees it. All of it outlives the model; tests hand in fakes.
struct AppEnvironment
{
    KeelhavenPaths paths;
    Clock &clock;
    class ProcessRunner &processes;
    SettingsStore &settings;
    class DirectoryWatchFactory &watches;
    class JobManager &jobs;
    class PowerBackend &power;
    class NotificationSink &notifications;
    class SleepMonitor &sleep;
    class Desktop &desktop;
    /// The bundled terminal host, as it lies in the installation; empty when this build carries none.
    QString bundledHost;
    /// The program that makes thumbnails; empty when this build carries none.
    QString thumbnailer;
    class SecretStore &secrets;
    class HttpClient &http;
    class ChildProcessFactory &children;
    /// Stands in for the terminal host's launcher; null for that one. Outlives the model.
    RunLauncher *launcher = nullptr;
    /// Where releases are announced; nothing for where the build was told.
    std::optional<QUrl> updateEndpoint = {};
};

/// The composition root: builds every service exactly once, owns them for the life of the process and wires
/// them by their hooks. Nothing else builds a service. Main loop only.
class AppModel : public QObject
{
    Q_OBJECT

public:
    /// Builds everything and starts nothing that touches a session, a socket or a timer. Fails only when no
    /// database can be opened at all; the error's message is what the process stops with.
    [[nodiscard]] static Result<std::unique_ptr<AppModel>, NoDatabaseError>
    create(const AppEnvironment &environment);
    ~AppModel() override;

    /// Starts the services in their order. A second call does nothing.
    void start();
    [[nodiscard]] bool isStarted() const { return m_started; }
    /// The orderly quit: live runs are recorded and their sessions ended, then the database is checkpointed.
    /// A second call does nothing.
    void shutdown();

    /// What the screens have selected.
    [[nodiscard]] AppSelection &selection();
    [[nodiscard]] SchedulerEngine &scheduler();
    [[nodiscard]] const SchedulerEngine &scheduler() const;
    [[nodiscard]] SweepRunner &sweep();
    [[nodiscard]] JournalIngestor &journal();
    [[nodiscard]] WorkItemStore &workItems();
    [[nodiscard]] AssetStore &assets();
    /// Messages to the dispatcher and the tasks they became.
    [[nodiscard]] DispatchLedger &dispatch();
    [[nodiscard]] SharedFileHub &hub();
    /// The analysis service, and whether it answers.
    [[nodiscard]] MirrorClient &mirror();
    [[nodiscard]] MirrorMonitor &mirrorMonitor();
    [[nodiscard]] PluginInventoryStore &pluginInventory();
    /// Keelhaven's own plugin in the sessions that the user starts by hand.
    [[nodiscard]] OwnSessionTracking &ownSessions();
    [[nodiscard]] WorkspaceStore &workspaces();
    [[nodiscard]] HerdrManager &herdr();
    [[nodiscard]] HerdrProbe &herdrProbe();
    [[nodiscard]] HerdrLocator &herdrLocator();
    [[nodiscard]] RunLauncher &launcher();
    [[nodiscard]] KeychainStore &keychain();
    [[nodiscard]] NotificationManager &notifications();
    [[nodiscard]] PowerAssertionController &power();
    [[nodiscard]] UsageMonitor &usage();
    [[nodiscard]] CodexUsageMonitor &codexUsage();
    [[nodiscard]] SettingsStore &settings();
    [[nodiscard]] SetupChecklist &setup();
    [[nodiscard]] UpdateChecker &updates();
    /// Where outside tools are found, and what starts children that live long.
    [[nodiscard]] ClaudeLocator &locator();
    [[nodiscard]] ChildProcessFactory &children();
    [[nodiscard]] Clock &clock();
    [[nodiscard]] Tasks &tasks();
    [[nodiscard]] const KeelhavenPaths &paths() const;

    /// Why the database did not open; the session then runs on a temporary one, with agents and history in
    /// plain files.
    [[nodiscard]] const std::optional<QString> &databaseError() const { return m_databaseError; }
    /// Why the last thing that the user wanted could not be done; the screens show it.
    [[nodiscard]] const std::optional<QString> &lastMutationError() const { return m_lastMutationError; }
    void setLastMutationError(const std::optional<QString> &error);
    /// The same as the window shows it: "Change failed: …" where mutate() stored it. Empty for none.
    [[nodiscard]] QString lastErrorText() const;
    /// The last snapshot of the shared files.
    [[nodiscard]] const Snapshot &snapshot() const { return m_snapshot; }

    /// A run that starts, lives, ends or has ended.
    [[nodiscard]] std::optional<RunRecord> record(const QUuid &id) const;
    /// `events` less those of the sessions of `live` runs: the engine tells of those itself.
    [[nodiscard]] static EventList eventsOfOthers(const EventList &events, const QList<RunRecord> &live);
    /// Opens a run's conversation for the user; a reason why not goes to lastMutationError, and out.
    std::optional<QString> resumeRun(const QUuid &runID);

    /// Carries a change through that the analysis service was asked for, such as `mirror().refresh()`. A
    /// failure goes to lastMutationError; a success clears it, runs `onSuccess` and reads the shared files.
    [[nodiscard]] QCoro::Task<> mutate(QCoro::Task<Result<void, MirrorError>> operation,
                                       std::function<void()> onSuccess = {});

    /// Lets services that keep a setting look at it again; all others read it when they need it.
    void settingChanged(const QString &key);
    /// Routes a "keelhaven://" link.
    void handleDeepLink(const QString &link);

Q_SIGNALS:
    /// The services run: what is stored has been read.
    void started();
    /// Something happened to a run: what followers print as it happens, journal progress included.
    void happened(const Keelhaven::EngineEvent &event);
    void snapshotApplied();
    void lastMutationErrorChanged();
    /// A setting was written or removed, by a command or a screen.
    void settingWritten(const QString &key);

private:
    struct Services;

    AppModel(const AppEnvironment &environment, std::unique_ptr<KeelhavenDatabase> database,
             std::optional<QString> databaseError);
    void chooseRunStore();
    void wireHooks();
    void setError(const std::optional<QString> &error, bool isFailedChange);
    void apply(const Snapshot &snapshot);
    void clearGoneProject();
    void sweepWhenSetUp();
    [[nodiscard]] QList<RunRecord> liveRecords() const;
    void reportLaunching(const std::optional<QUuid> &runID, EngineEvent::Kind kind, const QString &text);

    std::optional<QString> m_databaseError;
    std::optional<QString> m_lastMutationError;
    bool m_isFailedChange = false; ///< the error is mutate()'s
    Snapshot m_snapshot;
    bool m_hasAppliedSnapshot = false;
    QHash<QUuid, Date> m_promptTakenAt; ///< by run; when it was heard, by our own clock
    bool m_started = false;
    bool m_isShutDown = false;
    std::unique_ptr<Services> m_services;
};

} // namespace Keelhaven
