#pragma once

#include "App/AppModel.h"
#include "Dispatch/DispatchRecord.h"
#include "Platform/InotifyDirectoryWatch.h"
#include "Platform/JobManager.h"
#include "Platform/NotificationSink.h"
#include "Platform/PowerBackend.h"
#include "Platform/SleepMonitor.h"
#include "Scheduler/EngineFixture.h"
#include "Support/FakeChildProcess.h"
#include "Support/FakeDesktop.h"
#include "Support/FakeHttpClient.h"
#include "Support/FakeProcessRunner.h"
#include "Support/MemorySecrets.h"
#include "Support/MemorySettings.h"
#include "Support/TestHome.h"
#include "Support/VirtualClock.h"

namespace Keelhaven {

class AppView;
class SQLiteRunStore;

/// A throw-away home on a Monday afternoon, full of what an application that has been used for weeks holds:
/// agents of every kind, runs of every outcome, live, waiting and held ones, and what they delivered. Every
/// profile is the same, down to the ids. Sessions are values, no outside program runs, and time stands still.
class DemoProfile
{
public:
    struct Options
    {
        bool isEmpty = false; ///< as on the first start
        bool hasLiveRuns = true;
        bool isHostile = false; ///< names, prompts and reports that try to break the layout
        bool hasBrokenDatabase = false;
        int runs = 300;
        bool isFirstStart = false; ///< setup has not been done
        bool hasSweeps = false;
        QString newestVersion = {}; ///< that the version endpoint tells of; empty where there is none
        bool hasPlugins = false;    ///< of Claude Code, and a "claude" to switch them with
    };

    explicit DemoProfile(const Options &options);
    ~DemoProfile();

    /// The started application.
    [[nodiscard]] AppModel &model() { return *m_model; }
    [[nodiscard]] VirtualClock &clock() { return m_clock; }
    [[nodiscard]] MemorySettings &settings() { return m_settings; }
    [[nodiscard]] ScriptedLauncher &sessions() { return m_sessions; }
    [[nodiscard]] MemorySecrets &secrets() { return m_secrets; }
    [[nodiscard]] FakeChildProcessFactory &children() { return m_children; }
    [[nodiscard]] FakeProcessRunner &processes() { return m_processes; }
    [[nodiscard]] FakeDesktop &desktop() { return m_desktop; }
    [[nodiscard]] QString home() const { return m_home.path(); }
    /// A finished run with a report and files.
    [[nodiscard]] QUuid reportedRun() const { return m_reportedRun; }
    /// A run that failed.
    [[nodiscard]] QUuid failedRun() const { return m_failedRun; }
    /// A finished task from a chat, with two follow-ups.
    [[nodiscard]] const DispatchRecord &task() const { return m_task; }
    /// A live run that waits for an answer, once there are live runs.
    [[nodiscard]] QUuid blockedRun();

private:
    class Sink : public NotificationSink
    {
        void show(const QString &, const QString &, const QString &) override {}
    };

    void seed(const Options &options);
    void seedRuns(SQLiteRunStore &store, const QList<SchedulerSlot> &agents, int count);
    void seedReport(KeelhavenDatabase &database, SQLiteRunStore &store, const SchedulerSlot &agent);
    void seedTask(SQLiteRunStore &store);
    void seedSweeps(SQLiteRunStore &store);
    void seedHostile(SQLiteRunStore &store, const QList<SchedulerSlot> &agents);
    void startRuns();
    [[nodiscard]] QString folder(const QString &name) const;

    TestHome m_home;
    VirtualClock m_clock;
    MemorySettings m_settings;
    MemorySecrets m_secrets;
    FakeProcessRunner m_processes;
    FakeHttpClient m_http;
    FakeChildProcessFactory m_children;
    FakeDesktop m_desktop;
    InotifyDirectoryWatchFactory m_watches;
    NoJobManager m_jobs;
    NoPowerBackend m_power;
    NoSleepMonitor m_sleep;
    Sink m_sink;
    ScriptedLauncher m_sessions;
    DispatchRecord m_task;
    QUuid m_reportedRun;
    QUuid m_failedRun;
    std::unique_ptr<AppModel> m_model;
};

/// Plugins of Claude Code below a home, and the application's own among its "resources".
void seedDemoPlugins(const TestHome &home, bool isHostile);

/// The agents of a demo profile, folders below `home`.
[[nodiscard]] QList<SchedulerSlot> demoAgents(const QString &home, Date now);

} // namespace Keelhaven
