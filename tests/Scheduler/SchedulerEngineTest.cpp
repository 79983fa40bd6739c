#include "EngineFixture.h"

namespace Keelhaven {

using namespace std::chrono_literals;
using namespace Qt::StringLiterals;
using ::testing::ElementsAre;

namespace {

QStringList names(const QList<RunRecord> &records)
{
    QStringList list;
    for (const auto &record : records)
        list.append(record.slotName + u':' + (record.outcome ? record.outcome->key() : u"live"_s));
    return list;
}

class DeferUntil : public RunAdmissionPolicy
{
public:
    explicit DeferUntil(Date date)
        : until(date)
    {}
    Date until;
    [[nodiscard]] Admission admit(const SchedulerSlot &, const AdmissionContext &context) const override
    {
        return context.now < until ? Admission::defer(until, u"later"_s) : Admission::run();
    }
};

class SkipAll : public RunAdmissionPolicy
{
public:
    [[nodiscard]] Admission admit(const SchedulerSlot &, const AdmissionContext &) const override
    {
        return Admission::skip(u"not today"_s);
    }
};

} // namespace

TEST_F(EngineTest, AnOccurrenceFiresAtItsTimeAndIsUsedUp)
{
    store.slotList = {slot(u"daily"_s)};
    engine->start();
    clock.advance(59min);
    EXPECT_TRUE(engine->active().isEmpty());
    clock.advance(1min);
    ASSERT_EQ(engine->active().size(), 1);
    EXPECT_EQ(live()->record.trigger, RunTrigger::Scheduled);
    EXPECT_EQ(store.slotList.first().lastFiredAt, clock.now()) << "the firing is stored";
    engine->evaluateDueSlots(clock.now() + 1s);
    EXPECT_EQ(engine->active().size(), 1);
    EXPECT_EQ(engine->nextFire()->second, clock.now() + 24h);
}

TEST_F(EngineTest, LatenessDecidesBetweenRunningAndRecordingAMiss)
{
    struct Case
    {
        Span late;
        QStringList history;
        qsizetype active;
    };
    for (const auto &[late, history, active] :
         {Case{29min, {}, 1}, Case{30min, {}, 1}, Case{31min, {u"daily:skipped_missed_window"_s}, 0},
          Case{72h, {u"daily:skipped_missed_window"_s}, 0}}) {
        store.records.clear();
        store.slotList = {slot(u"daily"_s)};
        restart();
        engine->start();
        clock.jump(1h + late); // asleep: no timer fires
        engine->evaluateDueSlots(clock.now());
        settleAll();
        EXPECT_EQ(names(engine->history()), history);
        EXPECT_EQ(engine->active().size(), active);
        if (!history.isEmpty())
            EXPECT_EQ(engine->history().first().startedAt, clock.now() - late) << "the occurrence's own time";
        clock.jump(-1h - late);
    }
}

TEST_F(EngineTest, AnotherTimeZoneAimsTheTimersAnew)
{
    store.slotList = {slot(u"daily"_s, 17)};
    engine->start();
    calendar = Calendar(QTimeZone("Asia/Kolkata"));
    engine->zoneChanged();
    clock.advance(2h + 29min);
    EXPECT_TRUE(engine->active().isEmpty());
    clock.advance(1min);
    EXPECT_EQ(engine->active().size(), 1) << "five hours and a half before it was due at home";
}

TEST_F(EngineTest, NothingBeforeConstructionEverFires)
{
    store.slotList = {slot(u"early"_s, 8, 59)};
    engine->start();
    engine->evaluateDueSlots(clock.now());
    EXPECT_EQ(engine->nextFire()->second, *dateFromISOText(u"2026-03-05T08:59:00.000Z"));
    EXPECT_TRUE(engine->history().isEmpty());
}

TEST_F(EngineTest, AOneTimeAgentIsLeftDisabledAlsoWhenItWasMissed)
{
    auto once = slot(u"once"_s);
    once.schedule.rule = ScheduleSpec::Once{clock.now() + 1h};
    store.slotList = {once};
    engine->start();
    clock.jump(3h);
    engine->evaluateDueSlots(clock.now());
    EXPECT_EQ(names(engine->history()), QStringList{u"once:skipped_missed_window"_s});
    EXPECT_FALSE(engine->slot(once.id)->enabled);
    EXPECT_FALSE(engine->nextFire());
}

TEST_F(EngineTest, AScheduledFiringOfABusyAgentIsDroppedButUsedUp)
{
    const auto busy = slot(u"busy"_s);
    store.slotList = {busy};
    engine->start();
    engine->enqueue(busy);
    settleAll();
    QList<SchedulerSlot> shown;
    QObject::connect(engine.get(), &SchedulerEngine::changed, engine.get(),
                     [&] { shown = engine->slotList(); });
    engine->evaluateDueSlots(clock.now() + 1h);
    settleAll();
    EXPECT_EQ(engine->active().size(), 1);
    EXPECT_TRUE(engine->history().isEmpty());
    EXPECT_TRUE(engine->slot(busy.id)->lastFiredAt);
    EXPECT_EQ(shown, engine->slotList());
    engine->disconnect();
    engine->enqueue(busy);
    settleAll();
    EXPECT_EQ(engine->active().size(), 2) << "a manual run stacks";

    launcher.holdLaunches = true;
    engine->enqueue(slot(u"slow"_s, 11), RunTrigger::Scheduled);
    const auto slow = engine->launching().first().slotID;
    auto again = slot(u"slow"_s);
    again.id = slow;
    EXPECT_TRUE(engine->enqueue(again, RunTrigger::Scheduled).isEmpty()) << "its launch is under way";
    EXPECT_EQ(engine->enqueue(again).size(), 1);
    launcher.releaseLaunches();
    settleAll();
}

TEST_F(EngineTest, DueTogetherTheFirstInTheListStartUpToTheCapAndPriorityDecidesAmongTheRest)
{
    settings.set(u"schedulerConcurrencyCap"_s, qint64(2));
    for (int i = 0; i < 6; ++i) {
        auto agent = slot(u"a%1"_s.arg(i));
        agent.priority = i;
        store.slotList.append(agent);
    }
    engine->start();
    clock.advance(1h);
    EXPECT_EQ(launcher.launchOrder, (QStringList{u"a0"_s, u"a1"_s}));
    EXPECT_EQ(store.slotSaves, 1) << "one save for all agents of one evaluation";
    while (!engine->active().isEmpty()) {
        pane().probe = {AgentState::Done, false};
        engine->stop(live()->record.id);
        settleAll();
        EXPECT_LE(engine->active().size() + engine->launching().size(), 2);
    }
    EXPECT_EQ(launcher.launchOrder, (QStringList{u"a0"_s, u"a1"_s, u"a5"_s, u"a4"_s, u"a3"_s, u"a2"_s}));
}

TEST_F(EngineTest, FoldersOfOneFiringLeaveTheQueueInTheirOrder)
{
    settings.set(u"schedulerConcurrencyCap"_s, qint64(1));
    auto many = slot(u"many"_s);
    many.cwds = QStringList{home.path(u"c"_s), home.path(u"a"_s), home.path(u"b"_s)};
    engine->start();
    engine->enqueue(many);
    ASSERT_EQ(engine->queued().size(), 2);
    EXPECT_EQ(engine->queued()[1].firedAt - engine->queued()[0].firedAt, 1ms);
    settleAll(); // the folders do not exist, so each launch fails at once and the next follows
    QStringList folders;
    for (const auto &record : engine->history())
        folders.prepend(record.cwd);
    EXPECT_EQ(folders, many.cwds);
    EXPECT_EQ(engine->history().first().outcome,
              RunOutcome::launchFailed(u"project folder is missing: "_s + home.path(u"b"_s)));
    EXPECT_EQ(powerBackend.held, 0);
}

TEST_F(EngineTest, ADisabledShipsAgentStaysDueAndIsAskedAgainEachSecond)
{
    auto sailor = slot(u"sailor"_s);
    sailor.shipID = QUuid::createUuid();
    store.slotList = {sailor};
    bool enabled = false;
    engine->shipEnabled = [&](const auto &) { return enabled; };
    engine->start();
    clock.advance(1h + 10s);
    EXPECT_TRUE(engine->history().isEmpty());
    EXPECT_FALSE(engine->slot(sailor.id)->lastFiredAt);
    EXPECT_LE(*clock.nextTimer(), 1s);
    enabled = true;
    clock.advance(1s);
    EXPECT_EQ(engine->active().size(), 1);
}

TEST_F(EngineTest, TheRunTimerKeepsItsPhaseWhileTheQueueIsPumpedEverySecond)
{
    auto sailor = slot(u"sailor"_s);
    sailor.shipID = QUuid::createUuid();
    store.slotList = {sailor};
    engine->shipEnabled = [](const auto &) { return false; };
    engine->start();
    clock.advance(1h);
    auto plain = slot(u"plain"_s);
    engine->enqueue(plain);
    settleAll();
    ASSERT_EQ(engine->active().size(), 1);
    pane().probe = {AgentState::Blocked, true};
    clock.advance(6s);
    EXPECT_TRUE(live()->stalledNotified) << "tick ran although resetTimers ran five times in between";
}

TEST_F(EngineTest, ADeferredRunWakesTheEngineAtItsTime)
{
    const DeferUntil policy(clock.now() + 20min);
    restart(&policy);
    engine->start();
    auto held = slot(u"held"_s);
    engine->enqueue(held);
    settleAll();
    ASSERT_EQ(engine->queued().size(), 1);
    EXPECT_EQ(engine->queued().first().holdReason, u"later"_s);
    EXPECT_EQ(powerBackend.held, 0) << "nothing is kept awake for a held run";
    clock.advance(20min - 1s);
    EXPECT_EQ(engine->queued().size(), 1);
    clock.advance(1s);
    EXPECT_EQ(engine->active().size(), 1);
    EXPECT_EQ(powerBackend.held, 1);
}

TEST_F(EngineTest, NoRunStartsBeforeTheMetersOfALargeFileAreRead)
{
    const auto writeMeters = [&](int percent) {
        const auto milliseconds = qint64(secondsSince1970(clock.now()) * 1000);
        home.write(u".claude.json"_s, R"({"history":")" + QByteArray(1024 * 1024, 'x') +
                                          R"(","cachedUsageUtilization":{"fetchedAtMs":)" +
                                          QByteArray::number(milliseconds) +
                                          R"(,"utilization":{"five_hour":{"utilization":)" +
                                          QByteArray::number(percent) + "}}}}");
    };
    engine->start();
    writeMeters(60);
    usage.start();
    engine->enqueue(slot(u"held"_s), RunTrigger::Scheduled);
    engine->enqueue(slot(u"by hand"_s), RunTrigger::Manual);
    settleAll();
    ASSERT_TRUE(waitUntil([&] { return engine->queued().size() == 1 && engine->active().size() == 1; }));
    EXPECT_EQ(engine->queued().first().holdReason, u"session 60% ≥ 50% cap"_s);
    EXPECT_EQ(launcher.launchOrder, QStringList{u"by hand"_s}) << "nobody else is kept by the cap";

    clock.advance(60s);
    writeMeters(40);
    engine->reconsiderHeld();
    ASSERT_TRUE(waitUntil([&] { return engine->active().size() == 2; })) << "the new numbers let it go";
    EXPECT_TRUE(engine->queued().isEmpty());
}

TEST_F(EngineTest, OneRoundOfTheQueueEstimatesTheMetersOnce)
{
    const Date measured = clock.now() - 10min;
    usage.adopt(UsageSnapshot{measured, {{{}, 48, measured + 1h, true, 0}}});
    int sums = 0;
    usage.tokensBetween = [&](Date, Date to) -> qint64 {
        ++sums;
        return to == measured ? 1600 : 100;
    };
    engine->start();
    for (const char16_t *name : {u"a", u"b", u"c"})
        engine->enqueue(slot(QString::fromUtf16(name)), RunTrigger::Scheduled);
    ASSERT_EQ(engine->queued().size(), 3);
    sums = 0;
    engine->reconsiderHeld();
    EXPECT_EQ(sums, 2) << "each sum reads the samples of weeks";
    for (const auto &run : engine->queued())
        EXPECT_EQ(run.holdReason, u"session 51% ≥ 50% cap"_s) << "the gate sees the estimate";
}

TEST_F(EngineTest, ASkippedAdmissionClosesTheRunWithItsReason)
{
    const SkipAll policy;
    restart(&policy);
    settings.set(u"schedulerNotificationsEnabled"_s, true);
    engine->start();
    QList<RunRecord> relayed;
    engine->onRunCommitted = [&](const RunRecord &record) { relayed.append(record); };
    engine->shipName = [](const auto &) { return std::optional(u"Argo"_s); };
    engine->enqueue(slot(u"x"_s));
    ASSERT_EQ(relayed.size(), 1);
    EXPECT_EQ(relayed.first().outcome, RunOutcome::launchFailed(u"not today"_s));
    EXPECT_EQ(sink.titles, QStringList{u"✕ Argo · x launch failed"_s});
    EXPECT_EQ(powerBackend.held, 0);
}

TEST_F(EngineTest, DequeueCancelsAWaitingRunOnly)
{
    settings.set(u"schedulerConcurrencyCap"_s, qint64(1));
    engine->start();
    engine->enqueue(slot(u"first"_s));
    const auto waiting = engine->enqueue(slot(u"second"_s));
    engine->dequeue(QUuid::createUuid());
    engine->dequeue(waiting.first());
    EXPECT_EQ(names(engine->history()), QStringList{u"second:cancelled"_s});
    EXPECT_TRUE(engine->queued().isEmpty());
    EXPECT_EQ(powerBackend.held, 1);
    settleAll();
}

TEST_F(EngineTest, ACaptainRunTakesItsCommandFromTheHookOrIsDropped)
{
    auto captain = slot(u"captain"_s);
    captain.kind = SlotKind::Captain;
    engine->start();
    EXPECT_TRUE(engine->enqueue(captain).isEmpty());
    engine->prepareLaunch = [](const SchedulerSlot &, const QUuid &id) {
        return std::optional(u"/pass "_s + uuidText(id));
    };
    const auto ids = engine->enqueue(captain);
    settleAll();
    ASSERT_EQ(engine->active().size(), 1);
    EXPECT_EQ(live()->record.command, u"/pass "_s + uuidText(ids.first()));
    EXPECT_EQ(pane().request.prompt, live()->record.command) << "captain runs get no result contract";
    EXPECT_TRUE(pane().request.runDir);
}

TEST_F(EngineTest, AgentsAreStoredForcedAndFoundAgainAfterARestart)
{
    engine->start();
    auto codex = slot(u"codex"_s);
    codex.provider = AgentProvider::Codex;
    engine->upsert(codex);
    EXPECT_FALSE(engine->slot(codex.id)->enabled);
    auto shared = slot(u"My Work!"_s);
    shared.workspaceMode = WorkspaceMode::Shared;
    engine->upsert(shared);
    EXPECT_EQ(engine->slot(shared.id)->workspaceSlug, u"my-work"_s);
    engine->deleteSlot(codex.id);
    store.failing = true;
    engine->upsert(slot(u"only in memory"_s));
    EXPECT_EQ(engine->slotList().size(), 2);
    restart();
    engine->start();
    EXPECT_EQ(engine->slotList().size(), 1);
    EXPECT_EQ(engine->slotList().first().name, u"My Work!"_s);
}

TEST_F(EngineTest, QuitRecordsLiveRunsAndEndsTheirSessions)
{
    engine->start();
    engine->enqueue(slot(u"finished"_s));
    engine->enqueue(slot(u"cut short"_s));
    engine->enqueue(slot(u"left a result"_s));
    settleAll();
    ASSERT_EQ(engine->active().size(), 3);
    live(0)->completionSeen = true;
    live(0)->completionMessage = u"done"_s;
    QFile result(engine->runDir(live(2)->record.id) + u"/result.json"_s);
    ASSERT_TRUE(result.open(QIODevice::WriteOnly));
    result.write(R"({"summary": "made it"})");
    result.close();
    int relayed = 0;
    engine->onRunCommitted = [&](const RunRecord &) { ++relayed; };
    engine->shutdown();
    EXPECT_THAT(names(engine->history()),
                ElementsAre(u"left a result:completed"_s, u"cut short:cancelled"_s, u"finished:completed"_s));
    EXPECT_EQ(engine->history().first().summary, u"made it"_s);
    EXPECT_EQ(launcher.terminatedAtQuit, 3);
    EXPECT_EQ(relayed, 0);
    EXPECT_EQ(powerBackend.held, 0);
    EXPECT_EQ(store.records.size(), 3);
    EXPECT_EQ(clock.timerCount(), 0U);
}

TEST_F(EngineTest, QuitDuringALaunchLeavesItsRecordOnly)
{
    settings.set(u"schedulerConcurrencyCap"_s, qint64(1));
    settings.set(u"schedulerNotificationsEnabled"_s, true);
    store.slotList = {slot(u"daily"_s)};
    engine->start();
    launcher.holdLaunches = true;
    const QUuid id = engine->enqueue(slot(u"coming up"_s)).first();
    engine->enqueue(slot(u"waiting"_s));
    settleAll();
    ASSERT_EQ(engine->launching().size(), 1);
    engine->shutdown();
    EXPECT_EQ(powerBackend.held, 0);
    launcher.releaseLaunches();
    engine->evaluateDueSlots(clock.now() + 2h);
    EXPECT_TRUE(engine->enqueue(slot(u"too late"_s)).isEmpty());
    settleAll();
    EXPECT_EQ(launcher.launchOrder, QStringList{u"coming up"_s});
    EXPECT_EQ(launcher.panes.first().closes, 1);
    EXPECT_TRUE(engine->active().isEmpty() && engine->queued().isEmpty());
    EXPECT_THAT(names(engine->history()), ElementsAre(u"coming up:cancelled"_s));
    EXPECT_EQ(store.records.value(id).outcome, RunOutcome::cancelled());
    EXPECT_EQ(store.records.value(id).launchRunID, id) << "its run folder belongs to it";
    EXPECT_TRUE(sink.titles.isEmpty());
    EXPECT_EQ(clock.timerCount(), 0U);
}

TEST_F(EngineTest, AnAgentDeletedByAHookOfItsOwnFiringIsQueuedAsItWas)
{
    auto agent = slot(u"agent"_s);
    agent.cwds.append(home.path(u"second"_s));
    store.slotList = {agent, slot(u"other"_s)};
    engine->start();
    engine->onEvent = [&](const EngineEvent &event) {
        if (event.kind == EngineEvent::Kind::Queued)
            engine->deleteSlot(agent.id);
    };
    EXPECT_EQ(engine->enqueue(engine->slotList().first()).size(), 2);
    EXPECT_EQ(engine->slotList().size(), 1);
}

TEST_F(EngineTest, HooksThatChangeAgentsDuringAnEvaluationDoNotDisturbIt)
{
    for (int i = 0; i < 5; ++i)
        store.slotList.append(slot(u"a%1"_s.arg(i)));
    engine->start();
    engine->onEvent = [&](const EngineEvent &event) {
        if (event.kind == EngineEvent::Kind::Fired && engine->slotList().size() > 2)
            engine->deleteSlot(engine->slotList().last().id);
    };
    clock.advance(1h);
    EXPECT_EQ(engine->active().size(), 5)
        << "each agent that was due ran, though later ones were deleted meanwhile";
    EXPECT_EQ(engine->slotList().size(), 2);
}

TEST_F(EngineTest, HistoryOperationsWriteThroughAndIgnoreUnknownRuns)
{
    engine->start();
    engine->enqueue(slot(u"run"_s));
    settleAll();
    engine->stop(live()->record.id);
    settleAll();
    const QUuid id = engine->history().first().id;
    engine->setFeedback(id, u"  nice \n"_s, clock.now());
    EXPECT_EQ(store.records[id].feedback, u"nice"_s);
    EXPECT_TRUE(engine->history().first().hasUnseenFeedback());
    engine->markFeedbackSeen({id}, QUuid::createUuid());
    EXPECT_FALSE(engine->history().first().hasUnseenFeedback());
    engine->setFeedback(id, u"   "_s, clock.now());
    EXPECT_FALSE(store.records[id].feedback || store.records[id].feedbackAt ||
                 store.records[id].feedbackSeenByRunID);
    engine->setHidden(id, true);
    EXPECT_EQ(store.records[id].hidden, true);
    engine->setHidden(id, false);
    EXPECT_FALSE(store.records[id].hidden);
    engine->setSummary(QUuid::createUuid(), u"x"_s);
    engine->remove(id);
    EXPECT_EQ(store.deleted, QList<QUuid>{id});
    EXPECT_TRUE(engine->history().isEmpty());
}

TEST_F(EngineTest, WhatWasRefusedIsStoredWithTheNextSaveAndAtTheLatestAtTheEnd)
{
    settings.set(u"schedulerConcurrencyCap"_s, qint64(1));
    engine->start();
    engine->enqueue(slot(u"live"_s));
    settleAll();
    const auto cancel = [&] {
        const QUuid id = engine->enqueue(slot(u"waiting"_s)).first();
        engine->dequeue(id);
        return id;
    };
    store.failing = true;
    const QUuid first = cancel();
    const QUuid removed = cancel();
    engine->upsert(slot(u"agent"_s));
    engine->remove(removed);
    store.failing = false;
    EXPECT_TRUE(store.records.isEmpty() && store.slotList.isEmpty());
    const QUuid second = cancel();
    EXPECT_THAT(store.records.keys(), testing::UnorderedElementsAre(first, second));
    EXPECT_EQ(store.slotList.size(), 1);

    store.failing = true;
    engine->setSummary(first, u"late"_s);
    engine->stop(live()->record.id);
    settleAll();
    ASSERT_TRUE(engine->active().isEmpty());
    store.failing = false;
    engine->shutdown();
    EXPECT_EQ(store.records.size(), 3);
    EXPECT_EQ(store.records[first].summary, u"late"_s);
}

} // namespace Keelhaven
