#pragma once

#include "Notifications/NotificationManager.h"
#include "Platform/ClaudeLocator.h"
#include "Platform/JobManager.h"
#include "Platform/NotificationSink.h"
#include "Platform/PowerBackend.h"
#include "Plugins/WorkspaceScaffold.h"
#include "Scheduler/LaunchdManager.h"
#include "Scheduler/PowerAssertionController.h"
#include "Scheduler/RunAdmissionPolicy.h"
#include "Scheduler/SchedulerEngine.h"
#include "Scheduler/Usage/UsageMonitor.h"
#include "Support/FakeProcessRunner.h"
#include "Support/MemorySettings.h"
#include "Support/TestHome.h"
#include "Support/VirtualClock.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace Keelhaven {

/// A run store in memory that counts its writes and can be made to fail.
class MemoryRunStore : public RunPersistence
{
public:
    explicit MemoryRunStore(QString runsFolder)
        : m_runsDir(std::move(runsFolder))
    {}

    QList<SchedulerSlot> slotList;
    QMap<QUuid, RunRecord> records;
    QMap<QUuid, QString> scrollbacks;
    QList<QUuid> deleted;
    int slotSaves = 0;
    bool failing = false;

    QList<SchedulerSlot> loadSlots() override { return slotList; }
    Result<void, StorageError> saveSlots(const QList<SchedulerSlot> &list) override
    {
        ++slotSaves;
        if (failing)
            return failure(StorageError{QStringLiteral("disk full")});
        slotList = list;
        return {};
    }
    Result<void, StorageError> saveRecord(const RunRecord &record) override
    {
        if (failing)
            return failure(StorageError{QStringLiteral("disk full")});
        records.insert(record.id, record);
        return {};
    }
    Result<void, StorageError> saveScrollback(const QString &text, const QUuid &id) override
    {
        scrollbacks.insert(id, text);
        return {};
    }
    std::optional<QString> loadScrollback(const QUuid &id) override
    {
        return scrollbacks.contains(id) ? std::optional(scrollbacks.value(id)) : std::nullopt;
    }
    QList<RunRecord> loadHistory() override
    {
        auto list = records.values();
        std::ranges::sort(list, std::greater<>(), &RunRecord::startedAt);
        return list;
    }
    void deleteRecord(const QUuid &id) override
    {
        deleted.append(id);
        records.remove(id);
    }
    void prune(const QList<RunRecord> &) override {}
    QString runDir(const QUuid &id) const override { return m_runsDir + u'/' + uuidText(id); }

private:
    QString m_runsDir;
};

/// A session host made of values: each launch makes a pane whose state, screen and existence the test sets.
class ScriptedLauncher : public RunLauncher
{
public:
    struct Pane
    {
        RunLaunchRequest request;
        RunProbe probe{AgentState::Working, true};
        QString screen = QStringLiteral("screen");
        QStringList typed;
        QStringList prompts;
        int exitRequests = 0;
        int closes = 0;
        bool endsOnExitRequest = false;
        std::function<void()> onExitRequest; ///< while the engine waits for the answer
    };

    QMap<QString, Pane> panes;
    QStringList launchOrder; ///< agent names
    QStringList focused;     ///< panes
    std::optional<LaunchError> launchFails;
    std::optional<QString> blocked;
    std::optional<QString> failedScreen;
    bool promptFails = false;
    /// While true, launches wait until releaseLaunches().
    bool holdLaunches = false;
    /// While true, reading a screen waits until releaseScreens().
    bool holdScreens = false;
    /// While true, prompts wait until releasePrompts().
    bool holdPrompts = false;
    int terminatedAtQuit = 0;
    bool tabsBusy = false;                           ///< a tab that was left behind has a session at work
    QList<std::pair<QString, QSet<QString>>> tidied; ///< label and kept tabs of each clean-up

    QCoro::Task<Result<LaunchedRun, LaunchError>> launch(RunLaunchRequest request) override
    {
        launchOrder.append(request.name);
        if (holdLaunches) {
            OneShot<bool> gate;
            m_gates.append(gate);
            static_cast<void>(co_await gate);
        }
        if (launchFails)
            co_return failure(*launchFails);
        const QString id = QStringLiteral("p%1").arg(++m_count);
        panes[id].request = request;
        LaunchedRun run;
        run.paneID = id;
        run.tabID = QStringLiteral("t") + id;
        run.workspaceID = QStringLiteral("w1");
        run.agentName = request.name;
        run.provider = request.provider;
        run.runID = request.runID;
        run.workspaceLabel = request.workspaceLabel;
        run.runDir = request.runDir;
        co_return run;
    }
    void releaseLaunches()
    {
        holdLaunches = false;
        for (const auto &gate : std::exchange(m_gates, {}))
            gate.resolve(true);
    }
    void releaseScreens()
    {
        holdScreens = false;
        for (const auto &gate : std::exchange(m_screenGates, {}))
            gate.resolve(true);
    }
    void releasePrompts()
    {
        holdPrompts = false;
        for (const auto &gate : std::exchange(m_promptGates, {}))
            gate.resolve(true);
    }
    QCoro::Task<Result<void, LaunchError>> prompt(LaunchedRun run, QString text) override
    {
        if (holdPrompts) {
            OneShot<bool> gate;
            m_promptGates.append(gate);
            static_cast<void>(co_await gate);
        }
        if (promptFails)
            co_return failure(LaunchError{QStringLiteral("no")});
        panes[run.paneID].prompts.append(text);
        co_return {};
    }
    QCoro::Task<RunProbe> probe(LaunchedRun run) override { co_return panes[run.paneID].probe; }
    QCoro::Task<std::optional<QString>> transcript(LaunchedRun run, int) override
    {
        if (holdScreens) {
            OneShot<bool> gate;
            m_screenGates.append(gate);
            static_cast<void>(co_await gate);
        }
        co_return std::optional(panes[run.paneID].screen);
    }
    QCoro::Task<> requestExit(LaunchedRun run) override
    {
        auto &pane = panes[run.paneID];
        ++pane.exitRequests;
        if (pane.onExitRequest)
            pane.onExitRequest();
        if (pane.endsOnExitRequest)
            pane.probe = {AgentState::Done, false};
        co_return;
    }
    QCoro::Task<> terminate(LaunchedRun run) override
    {
        ++panes[run.paneID].closes;
        panes[run.paneID].probe = {AgentState::Done, false};
        co_return;
    }
    QCoro::Task<> focus(LaunchedRun run) override
    {
        focused.append(run.paneID);
        co_return;
    }
    QCoro::Task<> sendText(LaunchedRun run, QString text) override
    {
        panes[run.paneID].typed.append(text);
        co_return;
    }
    QCoro::Task<bool> reconcileFinishedTabs(QString label, QSet<QString> keeping) override
    {
        tidied.append({label, keeping});
        co_return tabsBusy;
    }
    std::optional<QString> takeFailedLaunchScreen(const QUuid &) override
    {
        return std::exchange(failedScreen, std::nullopt);
    }
    QCoro::Task<std::optional<QString>> blockedReason() override { co_return blocked; }
    void terminateAllBlocking(const QList<LaunchedRun> &runs, std::chrono::milliseconds) override
    {
        terminatedAtQuit += static_cast<int>(runs.size());
    }

private:
    int m_count = 0;
    QList<OneShot<bool>> m_gates;
    QList<OneShot<bool>> m_screenGates;
    QList<OneShot<bool>> m_promptGates;
};

class CountingPower : public PowerBackend
{
public:
    int held = 0;
    std::uint32_t take(Hold, const QString &) override
    {
        ++held;
        return ++m_next;
    }
    void drop(std::uint32_t) override { --held; }

private:
    std::uint32_t m_next = 0;
};

class RecordingSink : public NotificationSink
{
public:
    QStringList titles;
    QStringList bodies;
    void show(const QString &title, const QString &body, const QString &) override
    {
        titles.append(title);
        bodies.append(body);
    }
};

/// An engine on a virtual clock, in UTC, at 2026-03-04 09:00:00, with a project folder of its own.
struct EngineWorld
{
    EngineWorld() { engine = std::make_unique<SchedulerEngine>(services()); }

    ~EngineWorld()
    {
        engine.reset();
        clock.close();
        settle();
    }

    EngineServices services()
    {
        return {store,
                launchd,
                power,
                notifications,
                usage,
                launcher,
                clock,
                settings,
                processes,
                locator,
                workspaces,
                home.paths(),
                [this] { return calendar; }};
    }

    /// Throws the engine away and builds a new one on the same stores, as a restart does.
    void restart(const RunAdmissionPolicy *admission = nullptr)
    {
        engine = std::make_unique<SchedulerEngine>(services(), admission);
    }

    SchedulerSlot slot(const QString &name, int hour = 10, int minute = 0)
    {
        SchedulerSlot made;
        made.name = name;
        made.cwds = QStringList{home.path()};
        made.command = QStringLiteral("do it");
        made.schedule.rule = ScheduleSpec::Daily{{{hour, minute}}};
        made.enabled = true;
        return made;
    }

    /// Lets posted launches and tasks run, without time passing.
    static void settleAll() { settle(); }

    ActiveRunPtr live(qsizetype index = 0) { return engine->active().value(index); }
    ScriptedLauncher::Pane &pane(qsizetype index = 0) { return launcher.panes[live(index)->launched.paneID]; }

    EventRecord event(const QString &type, const RunRecord &record,
                      const std::function<void(JSONObject &)> &more = {})
    {
        JSONObject object{{QStringLiteral("ts"), secondsSince1970(clock.now())},
                          {QStringLiteral("type"), type},
                          {QStringLiteral("session_id"), QStringLiteral("s-") + uuidText(record.id)},
                          {QStringLiteral("run_id"), uuidText(record.id)},
                          {QStringLiteral("cwd"), record.cwd}};
        if (more)
            more(object);
        return *EventRecord::fromLine(JSONValue(object).serialized());
    }

    /// Delivers hook events the way the hub does: all of them, each time.
    void deliver(const EventRecord &event)
    {
        events.append(event);
        engine->processSnapshot(events, false);
        settle();
    }

    TestHome home;
    VirtualClock clock{*dateFromISOText(u"2026-03-04T09:00:00.000Z")};
    Calendar calendar{QTimeZone::utc()};
    MemorySettings settings;
    MemoryRunStore store{home.path(QStringLiteral("runs"))};
    NoJobManager jobs;
    CountingPower powerBackend;
    RecordingSink sink;
    FakeProcessRunner processes;
    Tasks tasks;
    LaunchdManager launchd{jobs};
    PowerAssertionController power{powerBackend, settings};
    NotificationManager notifications{clock, settings, sink, [this] { return calendar; }};
    UsageMonitor usage{clock, tasks, home.path(QStringLiteral(".claude.json"))};
    ClaudeLocator locator{processes, settings, home.path()};
    WorkspaceScaffold workspaces{clock, locator, home.path()};
    ScriptedLauncher launcher;
    QList<EventRecord> events;
    std::unique_ptr<SchedulerEngine> engine;
};

class EngineTest : public ::testing::Test, protected EngineWorld
{};

} // namespace Keelhaven
