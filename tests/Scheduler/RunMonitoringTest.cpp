#include "EngineFixture.h"

namespace Keelhaven {

using namespace std::chrono_literals;
using namespace Qt::StringLiterals;

namespace {

class MonitoringTest : public EngineTest
{
protected:
    /// Starts one manual run of an agent and gives it.
    ActiveRunPtr begin(const std::function<void(SchedulerSlot &)> &change = {})
    {
        if (!m_started)
            engine->start();
        m_started = true;
        auto agent = slot(u"agent"_s);
        if (change)
            change(agent);
        engine->enqueue(agent);
        settleAll();
        return engine->active().last();
    }

    ScriptedLauncher::Pane &paneOf(const ActiveRunPtr &run) { return launcher.panes[run->launched.paneID]; }
    [[nodiscard]] RunOutcome lastOutcome() const
    {
        return engine->history().isEmpty() ? RunOutcome{}
                                           : engine->history().first().outcome.value_or(RunOutcome{});
    }

private:
    bool m_started = false;
};

std::function<void(JSONObject &)> with(const QString &key, const QString &value)
{
    return [=](JSONObject &object) { object.set(key, value); };
}

} // namespace

TEST_F(MonitoringTest, AFinishedTurnIsWoundDownAndItsRecordClosed)
{
    settings.set(u"schedulerNotificationsEnabled"_s, true);
    const auto run = begin();
    deliver(event(u"SessionStart"_s, run->record));
    EXPECT_EQ(run->record.sessionID, u"s-"_s + uuidText(run->record.id));
    clock.advance(60s);
    deliver(event(u"Stop"_s, run->record, with(u"last_message"_s, u"all done"_s)));
    EXPECT_TRUE(run->completionSeen);
    EXPECT_EQ(paneOf(run).exitRequests, 0) << "the screen still shows it busy";
    paneOf(run).probe.state = AgentState::Idle;
    paneOf(run).endsOnExitRequest = true;
    clock.advance(5s);
    EXPECT_EQ(paneOf(run).exitRequests, 1);
    clock.advance(5s);
    ASSERT_TRUE(engine->active().isEmpty());
    const auto &record = engine->history().first();
    EXPECT_EQ(record.outcome, RunOutcome::completed());
    EXPECT_EQ(record.completionMessage, u"all done"_s);
    EXPECT_EQ(engine->scrollback(record.id), u"screen"_s);
    EXPECT_EQ(paneOf(run).closes, 1) << "a clean finish closes its tab";
    EXPECT_EQ(sink.titles, (QStringList{u"▶ Started agent in %1"_s.arg(QFileInfo(home.path()).fileName()),
                                        u"✓ agent finished"_s}));
    EXPECT_EQ(powerBackend.held, 0);
    EXPECT_EQ(engine->nextFire(), std::nullopt);
    EXPECT_EQ(clock.timerCount(), 0U) << "no polling without live runs";
}

TEST_F(MonitoringTest, ATurnThatEndsBeforeItsRunIsLiveIsSeen)
{
    launcher.holdLaunches = true;
    engine->start();
    engine->enqueue(slot(u"agent"_s));
    settleAll();
    const RunRecord record = engine->launching().first();
    deliver(event(u"SessionStart"_s, record));
    deliver(event(u"Stop"_s, record, with(u"last_message"_s, u"all done"_s)));
    launcher.releaseLaunches();
    settleAll();
    ASSERT_EQ(engine->active().size(), 1);
    EXPECT_TRUE(live()->completionSeen);
    EXPECT_EQ(live()->completionMessage, u"all done"_s);
}

TEST_F(MonitoringTest, ASessionThatIgnoresExitIsClosedAfterTheGrace)
{
    const auto run = begin();
    deliver(event(u"Stop"_s, run->record));
    paneOf(run).probe.state = AgentState::Idle;
    clock.advance(5s);
    EXPECT_TRUE(run->exitDeadline);
    clock.advance(5s);
    EXPECT_EQ(engine->active().size(), 1);
    clock.advance(5s);
    EXPECT_EQ(lastOutcome(), RunOutcome::completed());
    EXPECT_GE(paneOf(run).closes, 1);
}

TEST_F(MonitoringTest, AFurtherTurnTakesTheCompletionBackAndWorkRestartsTheGrace)
{
    const auto run = begin();
    deliver(event(u"Stop"_s, run->record));
    EXPECT_TRUE(run->completionSeen);
    deliver(event(u"PostToolUse"_s, run->record, with(u"tool_name"_s, u"Task"_s)));
    EXPECT_FALSE(run->completionSeen) << "a sub-agent is out";
    deliver(event(u"SubagentStop"_s, run->record));
    deliver(event(u"Stop"_s, run->record));
    ASSERT_TRUE(run->completionSeen);
    paneOf(run).probe.state = AgentState::Idle;
    clock.advance(5s);
    ASSERT_TRUE(run->exitDeadline);
    paneOf(run).probe.state = AgentState::Working;
    clock.advance(5s);
    EXPECT_FALSE(run->exitDeadline);
    paneOf(run).probe.state = AgentState::Idle;
    clock.advance(5s);
    EXPECT_EQ(paneOf(run).exitRequests, 2);
}

TEST_F(MonitoringTest, HowARunEndsDecidesItsOutcomeAndItsPane)
{
    struct Case
    {
        const char *name;
        std::function<void(MonitoringTest &, const ActiveRunPtr &)> happens;
        RunOutcome outcome;
        int closes;
        bool notified;
    };
    settings.set(u"schedulerNotificationsEnabled"_s, true);
    const std::vector<Case> cases{
        {"gone without a completion",
         [this](auto &, const auto &run) {
             paneOf(run).probe.exists = false;
             clock.advance(5s);
         },
         RunOutcome::processExited(-1), 0, true},
        {"gone after its completion",
         [this](auto &, const auto &run) {
             deliver(event(u"SessionEnd"_s, run->record));
             paneOf(run).probe.exists = false;
             clock.advance(5s);
         },
         RunOutcome::completed(), 1, true},
        {"time limit", [this](auto &, const auto &) { clock.advance(91min); }, RunOutcome::timeout(), 1,
         true},
        {"time limit while taken over",
         [this](auto &, const auto &run) {
             engine->takeOver(run->record.id);
             clock.advance(91min);
         },
         RunOutcome::timeout(), 1, true},
        {"stopped",
         [this](auto &, const auto &run) {
             engine->stop(run->record.id);
             settleAll();
         },
         RunOutcome::cancelled(), 2, false},
        {"stopped while it finishes",
         [this](auto &, const auto &run) {
             run->record.outcome = RunOutcome::cancelled();
             deliver(event(u"Stop"_s, run->record));
             paneOf(run).probe.exists = false;
             clock.advance(5s);
         },
         RunOutcome::cancelled(), 1, false},
        {"finished while taken over",
         [this](auto &, const auto &run) {
             engine->takeOver(run->record.id);
             deliver(event(u"Stop"_s, run->record));
             settleAll();
         },
         RunOutcome::completed(), 0, true},
    };
    for (const auto &[name, happens, outcome, closes, notified] : cases) {
        SCOPED_TRACE(name);
        const auto run = begin();
        sink.titles.clear();
        happens(*this, run);
        ASSERT_TRUE(engine->active().isEmpty());
        EXPECT_EQ(lastOutcome(), outcome);
        EXPECT_EQ(paneOf(run).closes, closes);
        EXPECT_EQ(!sink.titles.isEmpty(), notified);
        EXPECT_EQ(powerBackend.held, 0);
        EXPECT_EQ(std::ranges::count(engine->history(), run->record.id, &RunRecord::id), 1);
        events.clear();
    }
}

TEST_F(MonitoringTest, WhateverEndsARunThatIsBeingStoppedItIsCancelled)
{
    settings.set(u"schedulerNotificationsEnabled"_s, true);
    // Done leads to the end of a kept session, Working up to the time limit.
    for (const auto state : {AgentState::Done, AgentState::Working}) {
        const auto run = begin([](SchedulerSlot &agent) { agent.keepSessionOpen = true; });
        sink.titles.clear();
        launcher.holdScreens = true;
        engine->stop(run->record.id);
        deliver(event(u"Stop"_s, run->record));
        paneOf(run).probe.state = state;
        clock.advance(91min);
        launcher.releaseScreens();
        settleAll();
        EXPECT_EQ(lastOutcome(), RunOutcome::cancelled());
        EXPECT_TRUE(engine->parked().isEmpty());
        EXPECT_TRUE(sink.titles.isEmpty());
    }
    EXPECT_EQ(engine->history().size(), 2);
}

TEST_F(MonitoringTest, OnceExitIsAskedForALateEventDoesNotTakeTheCompletionBack)
{
    const auto run = begin();
    deliver(event(u"Stop"_s, run->record));
    auto &shown = paneOf(run);
    shown.probe.state = AgentState::Idle;
    shown.endsOnExitRequest = true;
    shown.onExitRequest = [&] {
        deliver(event(u"PostToolUse"_s, run->record, with(u"tool_name"_s, u"Task"_s)));
    };
    clock.advance(10s);
    EXPECT_EQ(lastOutcome(), RunOutcome::completed());
}

TEST_F(MonitoringTest, ASessionTakenOverAsItsGraceEndsStaysOpen)
{
    const auto run = begin();
    deliver(event(u"Stop"_s, run->record));
    paneOf(run).probe.state = AgentState::Idle;
    clock.advance(10s);
    ASSERT_EQ(paneOf(run).exitRequests, 1);
    launcher.holdScreens = true;
    clock.advance(5s);
    engine->takeOver(run->record.id);
    launcher.releaseScreens();
    settleAll();
    EXPECT_EQ(lastOutcome(), RunOutcome::completed());
    EXPECT_EQ(paneOf(run).closes, 0);
}

TEST_F(MonitoringTest, QuitWhileARecordIsBeingClosedAlsoClosesItsPane)
{
    const auto run = begin();
    deliver(event(u"Stop"_s, run->record));
    paneOf(run).probe.exists = false;
    launcher.holdScreens = true;
    clock.advance(5s);
    ASSERT_EQ(engine->closing().size(), 1);
    engine->stop(run->record.id);
    engine->shutdown();
    EXPECT_EQ(launcher.terminatedAtQuit, 1);
    launcher.releaseScreens();
    settleAll();
    EXPECT_EQ(lastOutcome(), RunOutcome::completed());
    EXPECT_EQ(engine->history().size(), 1);
    EXPECT_EQ(store.records.size(), 1);
}

TEST_F(MonitoringTest, AnIdleSessionIsNudgedTwiceThenPromptedOnceMoreAndThenLeftAlone)
{
    settings.set(u"schedulerNotificationsEnabled"_s, true);
    const auto run = begin();
    sink.titles.clear();
    paneOf(run).probe.state = AgentState::Idle;
    clock.advance(34s);
    EXPECT_TRUE(paneOf(run).typed.isEmpty());
    clock.advance(1s);
    EXPECT_EQ(paneOf(run).typed, QStringList{u"\r"_s});
    clock.advance(30s);
    EXPECT_EQ(paneOf(run).typed.size(), 2);
    EXPECT_TRUE(paneOf(run).prompts.isEmpty());
    clock.advance(30s);
    EXPECT_EQ(paneOf(run).prompts, QStringList{u"do it"_s}) << "the plain prompt, without the contract";
    EXPECT_EQ(sink.titles, QStringList{u"↻ Re-sent the prompt to agent"_s});
    clock.advance(10min);
    EXPECT_EQ(paneOf(run).typed.size() + paneOf(run).prompts.size(), 3);
}

TEST_F(MonitoringTest, ASessionThatShowedLifeIsNudgedButNeverPromptedAgain)
{
    const auto run = begin();
    deliver(event(u"SessionStart"_s, run->record));
    paneOf(run).probe.state = AgentState::Idle;
    clock.advance(10min);
    EXPECT_EQ(paneOf(run).typed.size(), 2);
    EXPECT_TRUE(paneOf(run).prompts.isEmpty());
}

TEST_F(MonitoringTest, WaitingIsReportedOnceForALifetime)
{
    settings.set(u"schedulerNotificationsEnabled"_s, true);
    int waiting = 0;
    const auto run = begin();
    engine->onRunWaiting = [&](const RunRecord &record) { waiting += record.stalledAt.has_value(); };
    for (const auto state : {AgentState::Blocked, AgentState::Working, AgentState::Blocked}) {
        paneOf(run).probe.state = state;
        clock.advance(5s);
    }
    EXPECT_EQ(waiting, 1);
    EXPECT_TRUE(sink.titles.contains(u"⏸ agent is waiting for input"_s));
}

TEST_F(MonitoringTest, AtNightOnlyTheWaitingIsTold)
{
    settings.set(u"schedulerNotificationsEnabled"_s, true);
    settings.set(u"quietHoursEnabled"_s, true);
    clock.jump(14h); // 23:00
    const auto run = begin();
    paneOf(run).probe.state = AgentState::Idle;
    clock.advance(2min);
    EXPECT_EQ(paneOf(run).prompts.size(), 1);
    EXPECT_TRUE(sink.titles.isEmpty()) << "neither the start nor the prompt that was sent again";
    paneOf(run).probe.state = AgentState::Blocked;
    clock.advance(5s);
    EXPECT_EQ(sink.titles, QStringList{u"⏸ agent is waiting for input"_s});
}

TEST_F(MonitoringTest, OnlySilenceThatTheHostCannotExplainCountsAsAStall)
{
    const auto thinking = begin();
    clock.advance(20min);
    EXPECT_FALSE(thinking->stalledNotified);
    paneOf(thinking).probe.state = AgentState::Unknown; // the host does not answer
    clock.advance(10min);
    EXPECT_FALSE(thinking->stalledNotified);
    clock.advance(10s);
    EXPECT_TRUE(thinking->stalledNotified);
    EXPECT_EQ(engine->active().size(), 1) << "a lost host ends no run";
}

TEST_F(MonitoringTest, ATrustQuestionIsAnsweredArrowFirstAndNeverTwiceInARow)
{
    const auto run = begin();
    auto &shown = paneOf(run);
    shown.probe.state = AgentState::Blocked;
    shown.screen = u"❯ No, exit\n  Yes, I trust this folder"_s;
    clock.advance(5s);
    shown.screen = u"  No, exit\n❯ Yes, I trust this folder"_s;
    clock.advance(15s);
    EXPECT_EQ(shown.typed, (QStringList{u"\u001B[B"_s, u"\r"_s}));
}

TEST_F(MonitoringTest, AKeptSessionIsParkedAndTakesAFollowUp)
{
    const auto run = begin([](SchedulerSlot &agent) { agent.keepSessionOpen = true; });
    clock.advance(10s);
    deliver(event(u"Stop"_s, run->record));
    paneOf(run).probe.state = AgentState::Idle;
    clock.advance(5s);
    ASSERT_EQ(engine->parked().size(), 1);
    EXPECT_EQ(lastOutcome(), RunOutcome::completed());
    EXPECT_EQ(paneOf(run).closes, 0);
    const auto id = await(engine->continueRun(run->record.slotID, u"and now this"_s));
    ASSERT_TRUE(id);
    EXPECT_TRUE(engine->parked().isEmpty());
    const auto next = live();
    EXPECT_EQ(next->record.launchRunID, run->record.launchRunID);
    engine->processSnapshot(events, false);
    EXPECT_FALSE(next->completionSeen) << "the old turn's Stop is not the new run's";
    clock.advance(1s);
    deliver(event(u"Stop"_s, run->record));
    EXPECT_TRUE(next->completionSeen);
}

TEST_F(MonitoringTest, TwoRunsInOneFolderNeverTakeEachOthersSession)
{
    const auto first = begin();
    clock.advance(3s);
    const auto second = begin();
    deliver(event(u"SessionStart"_s, first->record));
    deliver(event(u"SessionStart"_s, second->record));
    EXPECT_NE(first->record.sessionID, second->record.sessionID);
    deliver(event(u"Stop"_s, second->record));
    EXPECT_FALSE(first->completionSeen);
    EXPECT_TRUE(second->completionSeen);
}

TEST_F(MonitoringTest, ACodexRunEndsWhenItRestsAndKeepsItsPane)
{
    QList<EventRecord> log;
    engine->codexEvents = [&](const QUuid &) { return log; };
    const auto run = begin([](SchedulerSlot &agent) { agent.provider = AgentProvider::Codex; });
    const auto codexEvent = [&](const QString &type) {
        return event(type, run->record, [](JSONObject &object) {
            object.set(u"provider"_s, u"codex"_s);
            object.set(u"turn_id"_s, u"t1"_s);
        });
    };
    log = {codexEvent(u"SessionStart"_s), codexEvent(u"UserPromptSubmit"_s), codexEvent(u"Stop"_s)};
    clock.advance(5s);
    EXPECT_TRUE(run->completionSeen);
    EXPECT_EQ(engine->active().size(), 1) << "still busy on its screen";
    paneOf(run).probe.state = AgentState::Idle;
    clock.advance(5s);
    EXPECT_EQ(lastOutcome(), RunOutcome::completed());
    EXPECT_EQ(paneOf(run).closes, 0);
}

TEST_F(MonitoringTest, ACodexRunsLogLivesAsLongAsItsRun)
{
    const auto oldLog = [this](const QUuid &id) {
        const QString path = home.write(u".cache/keelhaven/codex-runs/%1.jsonl"_s.arg(uuidText(id)), "{}\n");
        QFile file(path);
        EXPECT_TRUE(file.open(QIODevice::ReadWrite));
        EXPECT_TRUE(file.setFileTime(QDateTime::fromSecsSinceEpoch(0), QFileDevice::FileModificationTime));
        return path;
    };
    const auto asCodex = [](SchedulerSlot &agent) { agent.provider = AgentProvider::Codex; };
    const auto live = begin(asCodex);
    const auto ending = begin(asCodex);
    const QString ofLive = oldLog(live->record.id);
    const QString ofNobody = oldLog(QUuid::createUuid());
    paneOf(ending).probe.exists = false;
    clock.advance(5s);
    ASSERT_EQ(engine->active().size(), 1);
    EXPECT_FALSE(QFile::exists(ofNobody));
    EXPECT_TRUE(QFile::exists(ofLive));
    const QString ofEnded = oldLog(ending->record.id);
    engine->remove(ending->record.id);
    EXPECT_FALSE(QFile::exists(ofEnded));
    const QString left = oldLog(QUuid::createUuid());
    restart();
    engine->start();
    EXPECT_FALSE(QFile::exists(left) || QFile::exists(ofLive));
}

TEST_F(MonitoringTest, ASessionWhereNobodyIsSignedInWaitsForAPerson)
{
    const auto run = begin();
    int waiting = 0;
    engine->onRunWaiting = [&](const RunRecord &) { ++waiting; };
    pane().probe.state = AgentState::Idle;
    pane().screen = u"❯ \n────\n  ⏵⏵ auto mode on        Not logged in · Run /login\n"_s;
    clock.advance(10s);
    EXPECT_EQ(waiting, 1);
    EXPECT_TRUE(run->record.stalledAt);
    EXPECT_EQ(engine->active().size(), 1);
}

} // namespace Keelhaven
