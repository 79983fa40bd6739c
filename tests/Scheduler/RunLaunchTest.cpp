#include "EngineFixture.h"

#include "Scheduler/Model/RunContract.h"

namespace Keelhaven {

using namespace std::chrono_literals;
using namespace Qt::StringLiterals;

namespace {

bool isGit(const ProcessSpec &spec)
{
    return spec.program.endsWith(u"git");
}

} // namespace

TEST_F(EngineTest, EachGateHoldsARunWithItsOwnWords)
{
    struct Case
    {
        const char *name;
        std::function<void(SchedulerSlot &)> change;
        RunOutcome outcome;
    };
    engine->start();
    const QString cache = home.path(u".claude/plugins"_s);
    QDir().mkpath(cache);
    QFile::link(cache, home.path(u"innocent"_s));
    const std::vector<Case> cases{
        {"codex with plugins",
         [](auto &s) {
             s.provider = AgentProvider::Codex;
             s.plugins = QStringList{u"p"_s};
         },
         RunOutcome::launchFailed(
             u"Codex Phase 1 runs in project folders without Keelhaven plugin workspaces."_s)},
        {"in the plugin cache", [&](auto &s) { s.cwds = QStringList{cache + u"/x"_s}; },
         RunOutcome::launchFailed(
             u"runs are not allowed inside ~/.claude/plugins — use a project directory"_s)},
        {"through a link", [&](auto &s) { s.cwds = QStringList{home.path(u"innocent"_s)}; },
         RunOutcome::launchFailed(
             u"runs are not allowed inside ~/.claude/plugins — use a project directory"_s)},
        {"gone folder", [&](auto &s) { s.cwds = QStringList{home.path(u"gone"_s)}; },
         RunOutcome::launchFailed(u"project folder is missing: "_s + home.path(u"gone"_s))},
        {"preflight", [](auto &s) { s.preflight = u"false"_s; },
         RunOutcome::preflightFailed(QString(500, u'x'))},
    };
    processes.answer = [](const ProcessSpec &) {
        return std::optional(FakeProcessRunner::exited(1, QByteArray(600, 'x')));
    };
    for (const auto &[name, change, outcome] : cases) {
        SCOPED_TRACE(name);
        auto agent = slot(u"x"_s);
        change(agent);
        engine->enqueue(agent);
        settleAll();
        ASSERT_FALSE(engine->history().isEmpty());
        EXPECT_EQ(engine->history().first().outcome, outcome);
        EXPECT_EQ(engine->launching().size(), 0);
        EXPECT_EQ(powerBackend.held, 0);
    }
    EXPECT_TRUE(launcher.launchOrder.isEmpty());

    auto codex = slot(u"codex"_s);
    codex.provider = AgentProvider::Codex;
    engine->enqueue(codex, RunTrigger::Captain);
    settleAll();
    EXPECT_EQ(engine->history().first().outcome->text,
              u"Codex Phase 1 supports fresh manual runs only. Continue sessions in Herdr."_s);
    launcher.blocked = u"no host"_s;
    engine->enqueue(slot(u"y"_s));
    settleAll();
    EXPECT_EQ(engine->history().first().outcome, RunOutcome::launchFailed(u"no host"_s));
}

TEST_F(EngineTest, APreflightThatHangsFailsTheRunAndOthersGoOnMeanwhile)
{
    processes.answer = [](const ProcessSpec &) { return std::optional<ProcessResult>(); };
    engine->start();
    auto slow = slot(u"slow"_s);
    slow.preflight = u"sleep 100"_s;
    engine->enqueue(slow);
    settleAll();
    EXPECT_EQ(engine->launching().size(), 1);
    engine->enqueue(slot(u"quick"_s));
    settleAll();
    EXPECT_EQ(engine->active().size(), 1);
    ProcessResult timedOut;
    timedOut.kind = ProcessResult::Kind::TimedOut;
    processes.finishPending(timedOut);
    settleAll();
    EXPECT_EQ(engine->history().first().outcome, RunOutcome::preflightFailed(u"timed out"_s));
    EXPECT_EQ(processes.runs.first().timeout, 60s);
}

TEST_F(EngineTest, AnUnchangedHeadSkipsScheduledRunsOnly)
{
    processes.answer = [](const ProcessSpec &spec) {
        return std::optional(FakeProcessRunner::exited(isGit(spec) ? 0 : 1, "abc\n"));
    };
    auto agent = slot(u"x"_s);
    agent.runOnlyIfChanged = true;
    agent.lastRunHeads = QMap<QString, QString>{{home.path(), u"abc"_s}};
    settings.set(u"schedulerNotificationsEnabled"_s, true);
    engine->start();
    engine->upsert(agent);
    engine->enqueue(agent);
    settleAll();
    EXPECT_EQ(engine->active().size(), 1);
    engine->stop(live()->record.id);
    settleAll();
    sink.titles.clear();
    clock.advance(1h);
    EXPECT_TRUE(engine->active().isEmpty());
    EXPECT_EQ(engine->history().first().outcome, RunOutcome::skippedNoChanges());
    EXPECT_TRUE(sink.titles.isEmpty());

    // A completed run remembers the head it saw.
    agent.lastRunHeads.reset();
    engine->upsert(agent);
    engine->enqueue(agent);
    settleAll();
    deliver(event(u"Stop"_s, live()->record));
    pane().probe = {AgentState::Done, false};
    QList<SchedulerSlot> shown;
    QObject::connect(engine.get(), &SchedulerEngine::changed, engine.get(),
                     [&] { shown = engine->slotList(); });
    processes.answer = [](const ProcessSpec &) { return std::optional<ProcessResult>(); };
    clock.advance(5s);
    ASSERT_TRUE(engine->active().isEmpty());
    processes.finishPending(FakeProcessRunner::exited(0, "abc\n"));
    settleAll();
    EXPECT_EQ(engine->slot(agent.id)->lastRunHeads->value(home.path()), u"abc"_s);
    EXPECT_EQ(shown, engine->slotList());
    engine->disconnect();
}

TEST_F(EngineTest, TheRequestCarriesWhatTheSessionNeeds)
{
    engine->pluginDirs = [] { return QStringList{u"/plugin"_s}; };
    engine->start();
    auto agent = slot(u"x"_s);
    agent.command = u"  fix it \n"_s;
    agent.addDirs = QStringList{u"/extra"_s, u"~/more"_s};
    agent.plugins = QStringList{u"a@m"_s};
    agent.model = u"opus"_s;
    const QUuid id = engine->enqueue(agent, RunTrigger::Manual, {.resumeSessionID = u"old"_s}).first();
    settleAll();
    const auto &request = pane().request;
    const QString runFolder = engine->runDir(id);
    EXPECT_EQ(request.prompt, RunContract::withResultContract(agent.command, runFolder + u"/result.json"_s));
    EXPECT_EQ(RunContract::strip(request.prompt), u"fix it"_s);
    EXPECT_EQ(request.runDir, runFolder);
    EXPECT_TRUE(QFileInfo(runFolder).isDir());
    EXPECT_EQ(request.addDirs, (QStringList{u"/extra"_s, home.path(u"more"_s), runFolder}));
    EXPECT_EQ(request.workspaceLabel, QFileInfo(home.path()).fileName());
    EXPECT_EQ(request.plugins, agent.plugins);
    EXPECT_EQ(request.pluginDirs, QStringList{u"/plugin"_s});
    EXPECT_EQ(request.model, u"opus"_s);
    EXPECT_EQ(request.resumeSessionID, u"old"_s);
    EXPECT_EQ(live()->record.launchRunID, id);

    auto system = slot(u"system"_s);
    system.kind = SlotKind::System;
    engine->enqueue(system);
    settleAll();
    EXPECT_FALSE(pane(1).request.runDir);
    EXPECT_EQ(pane(1).request.prompt, system.command);

    int opened = 0;
    engine->openExternal = [&] { ++opened; };
    engine->enqueue(slot(u"handed over"_s), RunTrigger::Manual, {.handoff = true});
    settleAll();
    EXPECT_FALSE(pane(2).request.runDir);
    EXPECT_TRUE(live(2)->takenOver);
    EXPECT_EQ(opened, 1);

    auto codex = slot(u"codex"_s);
    codex.provider = AgentProvider::Codex;
    engine->enqueue(codex);
    settleAll();
    EXPECT_FALSE(pane(3).request.runDir);
    EXPECT_TRUE(pane(3).request.pluginDirs.isEmpty());
}

TEST_F(EngineTest, AFailedLaunchKeepsItsLastScreenAndTellsTheUserAtNight)
{
    settings.set(u"schedulerNotificationsEnabled"_s, true);
    settings.set(u"quietHoursEnabled"_s, true);
    clock.jump(14h); // 23:00
    engine->start();
    launcher.launchFails = LaunchError{u"it broke"_s};
    launcher.failedScreen = u"last words"_s;
    engine->enqueue(slot(u"x"_s));
    settleAll();
    const auto &record = engine->history().first();
    EXPECT_EQ(record.outcome, RunOutcome::launchFailed(u"it broke"_s));
    EXPECT_EQ(record.scrollbackFile, u"runs/%1.txt"_s.arg(uuidText(record.id)));
    EXPECT_EQ(engine->scrollback(record.id), u"last words"_s);
    EXPECT_EQ(sink.titles, QStringList{u"✕ x launch failed"_s});
    launcher.launchFails.reset();
    engine->enqueue(slot(u"quiet"_s));
    settleAll();
    EXPECT_EQ(sink.titles.size(), 1) << "a start is not told in quiet hours";
}

TEST_F(EngineTest, AWorkspaceRunsInItsOwnFolderWithTheProjectBeside)
{
    engine->start();
    auto agent = slot(u"Night Watch"_s);
    agent.workspaceMode = WorkspaceMode::Shared;
    engine->upsert(agent);
    EXPECT_FALSE(engine->lastWorkspaceError());
    engine->enqueue(*engine->slot(agent.id));
    settleAll();
    ASSERT_EQ(engine->active().size(), 1);
    EXPECT_EQ(live()->record.cwd, workspaces.root() + u"/night-watch"_s);
    EXPECT_EQ(live()->record.projectDir, home.path());
    EXPECT_EQ(pane().request.addDirs.first(), home.path());
    EXPECT_TRUE(QFileInfo::exists(live()->record.cwd + u"/workspace.json"_s));

    auto homely = slot(u"Homely"_s);
    homely.workspaceMode = WorkspaceMode::Shared;
    homely.cwds = QStringList{u"~"_s};
    engine->enqueue(homely);
    settleAll();
    ASSERT_EQ(engine->active().size(), 2);
    EXPECT_EQ(live(1)->record.projectDir, home.path());
    EXPECT_TRUE(home.read(u"KeelhavenWork/homely/CLAUDE.md"_s).contains("\n- " + home.path().toUtf8() + '\n'))
        << "an agent's tools know no tilde";
}

TEST_F(EngineTest, AgentsOfOneNameWorkInWorkspacesOfTheirOwn)
{
    engine->start();
    auto first = slot(u"My Work!"_s);
    auto second = slot(u"my work"_s);
    const auto save = [&](SchedulerSlot &agent) {
        agent.workspaceMode = WorkspaceMode::Shared;
        engine->upsert(agent);
        return engine->slot(agent.id)->workspaceSlug;
    };
    EXPECT_EQ(save(first), u"my-work"_s);
    EXPECT_EQ(save(second), u"my-work-"_s + uuidText(second.id).left(8).toLower());
    EXPECT_EQ(save(first), u"my-work"_s);
}

} // namespace Keelhaven
