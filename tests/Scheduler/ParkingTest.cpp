#include "ResumeFixture.h"

namespace Keelhaven {

namespace {

class ParkingTest : public ResumeTest
{};

} // namespace

TEST_F(ParkingTest, ParkedSessionsEndByAgeAndNumber)
{
    settings.set(u"dispatchMaxOpenSessions"_s, qint64(2));
    const auto first = parkOne(u"first"_s);
    parkOne(u"second"_s);
    const auto third = parkOne(u"third"_s);
    await(engine->sweepParked(clock.now()));
    EXPECT_EQ(parkedNames(), (QStringList{u"second"_s, u"third"_s}));
    EXPECT_EQ(paneOf(first.launched).exitRequests, 1);
    EXPECT_EQ(paneOf(first.launched).closes, 0);
    clock.advance(10s);
    EXPECT_EQ(paneOf(first.launched).closes, 1);

    await(engine->sweepParked(third.since + 12h));
    EXPECT_EQ(parkedNames(), QStringList{u"third"_s});
    settings.set(u"dispatchKeepOpenHours"_s, qint64(13));
    await(engine->sweepParked(third.since + 12h + 1s));
    EXPECT_EQ(parkedNames(), QStringList{u"third"_s});
    settings.set(u"dispatchKeepOpenHours"_s, qint64(12));
    await(engine->sweepParked(third.since + 12h + 1s));
    EXPECT_TRUE(engine->parked().isEmpty());
    clock.advance(10s);
    EXPECT_EQ(clock.timerCount(), 0U) << "nothing open, nothing to sweep";
}

TEST_F(ParkingTest, ASessionThatSomebodyWorksInIsNotEnded)
{
    const auto typed = parkOne(u"typed"_s);
    const auto shown = parkOne(u"shown"_s);
    const auto left = parkOne(u"left"_s);
    const Date late = left.since + 12h + 1s;
    clock.advance(late - clock.now() - 400s);
    paneOf(typed.launched).probe.state = AgentState::Working;
    EXPECT_EQ(engine->resume(shown.record.id), std::nullopt);
    settleAll();
    await(engine->sweepParked(late));
    EXPECT_EQ(parkedNames(), (QStringList{u"shown"_s, u"typed"_s}));
    EXPECT_EQ(engine->parked().value(shown.record.id).since, shown.since)
        << "an agent's follow-ups go to the one parked last";
    settings.set(u"dispatchMaxOpenSessions"_s, qint64(0));
    await(engine->sweepParked(late));
    EXPECT_EQ(parkedNames(), QStringList{u"typed"_s});
    paneOf(typed.launched).probe.state = AgentState::Idle;
    await(engine->sweepParked(late));
    EXPECT_TRUE(engine->parked().isEmpty());
}

TEST_F(ParkingTest, AgentsThatKeepParkingDoNotPutTheSweepOff)
{
    settings.set(u"dispatchMaxOpenSessions"_s, qint64(1));
    for (int i = 0; i < 3; ++i) {
        parkOne(u"agent %1"_s.arg(i));
        clock.advance(140s);
    }
    EXPECT_EQ(parkedNames(), QStringList{u"agent 2"_s});
}

TEST_F(ParkingTest, TheSweepRunsByItselfAndForgetsPanesThatWent)
{
    const auto gone = parkOne(u"gone"_s);
    paneOf(gone.launched).probe.exists = false;
    clock.advance(299s);
    EXPECT_EQ(engine->parked().size(), 1);
    parkOne(u"here"_s);
    EXPECT_EQ(parkedNames(), QStringList{u"here"_s});
    EXPECT_EQ(paneOf(gone.launched).exitRequests, 0);
    clock.advance(12h + 300s);
    EXPECT_TRUE(engine->parked().isEmpty());
}

TEST_F(ParkingTest, AFollowUpGoesOnlyToASessionThatRests)
{
    settings.set(u"schedulerNotificationsEnabled"_s, true);
    const auto session = parkOne(u"agent"_s);
    auto &shown = paneOf(session.launched);
    const auto follow = [&] {
        std::optional<std::optional<QUuid>> id;
        auto watch = [](QCoro::Task<std::optional<QUuid>> task,
                        std::optional<std::optional<QUuid>> &out) -> QCoro::Task<> { out = co_await task; };
        const auto running = watch(engine->continueRun(session.record.slotID, u"x"_s.repeated(200)), id);
        if (!id)
            clock.advance(500ms);
        return id.value();
    };
    EXPECT_EQ(await(engine->continueRun(QUuid::createUuid(), u"x"_s)), std::nullopt);
    for (const AgentState state : {AgentState::Working, AgentState::Blocked, AgentState::Unknown}) {
        shown.probe.state = state;
        EXPECT_EQ(follow(), std::nullopt);
        EXPECT_EQ(engine->parked().size(), 1);
    }
    shown.probe.state = AgentState::Done;
    launcher.promptFails = true;
    EXPECT_EQ(follow(), std::nullopt);
    EXPECT_EQ(engine->parked().size(), 1);
    EXPECT_EQ(powerBackend.held, 0) << "the hold went with the failed prompt";
    launcher.promptFails = false;

    const auto id = follow();
    ASSERT_TRUE(id);
    EXPECT_EQ(live()->record.id, *id);
    EXPECT_EQ(shown.prompts, QStringList{u"x"_s.repeated(200)}) << "as it is, without a contract";
    EXPECT_EQ(engine->journalPath(live()->record), engine->journalPath(session.record));
    EXPECT_GT(powerBackend.held, 0);
    EXPECT_EQ(sink.titles.last(), u"↩︎ Continued agent"_s);
    EXPECT_EQ(sink.bodies.last(), u"x"_s.repeated(120));

    clock.advance(1s);
    deliver(event(u"Stop"_s, session.record));
    shown.probe.state = AgentState::Idle;
    clock.advance(5s);
    ASSERT_EQ(engine->parked().keys(), QList<QUuid>{*id}) << "open again for the next one";
    shown.probe.exists = false;
    EXPECT_EQ(follow(), std::nullopt);
    EXPECT_TRUE(engine->parked().isEmpty());
}

TEST_F(ParkingTest, ASessionTakesOneFollowUpAtATime)
{
    const auto session = parkOne(u"agent"_s);
    const QUuid agent = session.record.slotID;
    launcher.holdPrompts = true;
    std::optional<QUuid> first;
    auto deliverFirst = [](QCoro::Task<std::optional<QUuid>> task,
                           std::optional<QUuid> &id) -> QCoro::Task<> { id = co_await task; };
    const auto running = deliverFirst(engine->continueRun(agent, u"first"_s), first);
    EXPECT_EQ(await(engine->continueRun(agent, u"second"_s)), std::nullopt);
    settings.set(u"dispatchMaxOpenSessions"_s, qint64(0));
    await(engine->sweepParked(clock.now()));
    EXPECT_EQ(paneOf(session.launched).exitRequests, 0) << "a session in use does not end";
    launcher.promptFails = true;
    launcher.releasePrompts();
    settleAll();
    EXPECT_EQ(first, std::nullopt);

    launcher.promptFails = false;
    EXPECT_NE(await(engine->continueRun(agent, u"third"_s)), std::nullopt) << "open again after a failure";
    EXPECT_EQ(paneOf(session.launched).prompts, QStringList{u"third"_s});
    EXPECT_EQ(engine->active().size(), 1);
}

TEST_F(ParkingTest, QuitWhileAFollowUpIsOnItsWayLeavesNoRunBehind)
{
    const auto session = parkOne(u"agent"_s);
    launcher.holdPrompts = true;
    engine->continueRun(session.record.slotID, u"more"_s);
    ASSERT_EQ(powerBackend.held > 0, true);
    engine->shutdown();
    launcher.releasePrompts();
    settleAll();
    EXPECT_EQ(launcher.terminatedAtQuit, 1);
    EXPECT_TRUE(engine->active().isEmpty());
    EXPECT_EQ(powerBackend.held, 0);
}

TEST_F(ParkingTest, ARunThatIsBeingStoppedIsNotKeptOpenByATakeOver)
{
    const auto run = begin(u"agent"_s, [](SchedulerSlot &agent) { agent.keepSessionOpen = true; });
    paneOf(run->launched).probe.state = AgentState::Working;
    deliver(event(u"Stop"_s, run->record));
    ASSERT_TRUE(run->completionSeen);
    launcher.holdScreens = true;
    engine->stop(run->record.id);
    engine->takeOver(run->record.id);
    launcher.releaseScreens();
    settleAll();
    EXPECT_TRUE(engine->parked().isEmpty());
    ASSERT_EQ(engine->history().size(), 1);
    EXPECT_EQ(engine->history().first().outcome, RunOutcome::cancelled());
}

} // namespace Keelhaven
