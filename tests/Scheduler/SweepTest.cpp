#include "EngineFixture.h"

#include "Scheduler/SweepRunner.h"

namespace Keelhaven {

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

/// An ended sweep, `hoursAgo` before the clock of EngineWorld.
RunRecord ended(int hoursAgo, const std::function<void(RunRecord &)> &more = {})
{
    RunRecord record;
    record.slotName = u"Morning report"_s;
    record.command = u"/keelhaven:keelhaven"_s;
    record.startedAt = *dateFromISOText(u"2026-03-04T09:00:00.000Z") - std::chrono::hours(hoursAgo);
    record.endedAt = record.startedAt + 1min;
    record.outcome = RunOutcome::completed();
    record.completionMessage = u"said %1"_s.arg(hoursAgo);
    record.sessionID = u"s%1"_s.arg(hoursAgo);
    if (more)
        more(record);
    return record;
}

QStringList said(const QList<RunRecord> &records)
{
    QStringList list;
    for (const auto &record : records)
        list.append(record.completionMessage.value_or(u"-"_s));
    return list;
}

class SweepTest : public EngineTest
{
protected:
    SweepTest()
    {
        settings.set(u"keelhavenRunDirectory"_s, home.path());
        runner.onBlocked = [this](const QString &reason) { blocked.append(reason); };
        engine->start();
    }
    void wish(bool force)
    {
        runner.runKeelhavenSweep(force);
        settle();
    }
    [[nodiscard]] std::optional<Date> lastSweepAt() const { return settings.date(u"keelhavenLastSweepAt"_s); }
    void finishLive()
    {
        launcher.panes[live()->launched.paneID].probe = {AgentState::Done, false};
        engine->stop(live()->record.id);
        settle();
    }

    SweepRunner runner{*engine, settings, clock, tasks, home.path()};
    QStringList blocked;
};

} // namespace

TEST(SweepOverview, FindsTheReportAndWhatBelongsToIt)
{
    const auto latest = ended(5);
    const QList<RunRecord> history{
        ended(2, [](auto &r) { r.outcome = RunOutcome::skippedNoChanges(); }),
        ended(30),
        latest,
        ended(3, [](auto &r) { r.hidden = true; }),
        ended(1, [](auto &r) { r.outcome.reset(); }),
        ended(8, [](auto &r) { r.completionMessage = u" \n\t"_s; }),
        ended(9, [](auto &r) { r.outcome = RunOutcome::launchFailed(u"no"_s); }),
        ended(4, [](auto &r) { r.command = u"/keelhaven"_s; }),
    };
    const auto report = MorningReport::from(history);
    EXPECT_EQ(report.latest, latest);
    EXPECT_EQ(said(report.earlier), (QStringList{u"said 9"_s, u"said 30"_s}));
    EXPECT_EQ(said(SweepOverview::sweeps(history)).first(), u"said 2"_s) << "a skipped one is listed";
    EXPECT_FALSE(MorningReport::from({history.first()}).latest);
}

TEST(SweepOverview, FollowUpsAreThoseOfTheSameConversation)
{
    const auto sweep = ended(5);
    const auto followUp = [](int hoursAgo, const std::function<void(RunRecord &)> &more) {
        return ended(hoursAgo, [&](auto &r) {
            r.slotName = u"Morning report · follow-up"_s;
            r.command = u"talk"_s;
            r.sessionID = u"s5"_s;
            more(r);
        });
    };
    const QList<RunRecord> history{
        sweep,
        followUp(4, [](auto &r) { r.slotName = u"Keelhaven sweep — follow-up"_s; }),
        followUp(2,
                 [](auto &r) {
                     r.sessionID.reset();
                     r.resumeSessionID = u"s5"_s;
                 }),
        followUp(1, [](auto &r) { r.sessionID = u"other"_s; }),
        followUp(1, [](auto &r) { r.hidden = true; }),
        followUp(1, [](auto &r) { r.outcome.reset(); }),
        followUp(6, [](auto &) {}),
    };
    EXPECT_EQ(said(SweepOverview::followUps(sweep, history)), (QStringList{u"said 2"_s, u"said 4"_s}));
    const auto mute = ended(5, [](auto &r) { r.sessionID = u""_s; });
    EXPECT_EQ(SweepOverview::followUps(mute, history), QList<RunRecord>());
    EXPECT_EQ(SweepOverview::resumeBlockedReason(mute),
              u"This sweep didn't record a session id, so there is no conversation to resume."_s);
    const auto gone = ended(5, [](auto &r) { r.cwd = u"/nowhere/at/all"_s; });
    EXPECT_EQ(SweepOverview::resumeBlockedReason(gone),
              u"The folder the sweep ran in is gone: /nowhere/at/all"_s);
}

TEST_F(SweepTest, RunsOnceAndNotAgainWithinTwoHours)
{
    runner.sweepOnOpenIfEnabled();
    settle();
    ASSERT_TRUE(live());
    const auto &record = live()->record;
    EXPECT_EQ(record.command, u"/keelhaven:keelhaven");
    EXPECT_EQ(record.cwd, home.path());
    EXPECT_EQ(record.trigger, RunTrigger::Manual);
    const auto &request = pane().request;
    EXPECT_EQ(request.prompt, u"/keelhaven:keelhaven") << "a system run gets no result contract";
    EXPECT_EQ(request.runDir, std::nullopt);
    EXPECT_EQ(request.workspaceLabel, u"Assistant");
    EXPECT_EQ(powerBackend.held, 0);
    EXPECT_EQ(lastSweepAt(), clock.now());
    EXPECT_EQ(runner.liveSweep(), live());
    wish(true);
    EXPECT_EQ(launcher.launchOrder.size(), 1) << "one is live";
    finishLive();
    ASSERT_TRUE(engine->active().isEmpty());

    clock.jump(7199s);
    const auto tidied = launcher.tidied.size();
    wish(false);
    EXPECT_EQ(launcher.launchOrder.size(), 1);
    EXPECT_EQ(launcher.tidied.size(), tidied + 1);
    EXPECT_EQ(launcher.tidied.last().first, u"Morning report");
    clock.jump(1s);
    wish(false);
    EXPECT_EQ(launcher.launchOrder.size(), 2);
    finishLive();
    wish(true);
    EXPECT_EQ(launcher.launchOrder.size(), 3) << "forced within the two hours";
}

TEST_F(SweepTest, IsNotStartedOnOpenWhereTheSettingSaysSo)
{
    settings.set(u"sweepKeelhavenOnOpen"_s, false);
    runner.sweepOnOpenIfEnabled();
    settle();
    EXPECT_FALSE(live() || lastSweepAt());
}

TEST_F(SweepTest, TwoWishesInOneMomentGiveOneSweep)
{
    launcher.holdLaunches = true;
    runner.runKeelhavenSweep(true);
    runner.runKeelhavenSweep(true);
    settle();
    wish(true);
    EXPECT_EQ(launcher.launchOrder.size(), 1) << "also while its session is being opened";
    ASSERT_TRUE(runner.launchingSweep());
    EXPECT_EQ(runner.launchingSweep()->slotName, u"Morning report");
    EXPECT_FALSE(runner.queuedSweep() || runner.liveSweep());
    launcher.releaseLaunches();
    settle();
    EXPECT_TRUE(runner.liveSweep() && !runner.launchingSweep());
}

TEST_F(SweepTest, OneThatWaitsForItsTurnIsEnough)
{
    settings.set(u"schedulerConcurrencyCap"_s, 1);
    engine->enqueue(slot(u"Nightly"_s));
    settle();
    wish(true);
    ASSERT_TRUE(runner.queuedSweep());
    clock.jump(3h);
    wish(true);
    wish(false);
    EXPECT_EQ(engine->queued().size(), 1);
}

TEST_F(SweepTest, TabAtWorkFromBeforeStopsTheNewOne)
{
    launcher.tabsBusy = true;
    wish(false);
    EXPECT_TRUE(launcher.launchOrder.isEmpty());
    EXPECT_EQ(lastSweepAt(), clock.now());
    EXPECT_TRUE(blocked.isEmpty());
    wish(true);
    EXPECT_EQ(blocked.size(), 1) << "who asked for it is told";
    EXPECT_TRUE(launcher.launchOrder.isEmpty());
}

TEST_F(SweepTest, TidyingKeepsTheTabsOfLiveRuns)
{
    engine->enqueue(slot(u"Nightly"_s));
    settle();
    const QString tab = live()->launched.tabID;
    wish(false);
    EXPECT_EQ(launcher.tidied.first().second, QSet<QString>{tab});
}

TEST_F(SweepTest, BlockedOneTellsWhy)
{
    const std::pair<QString, QString> cases[] = {
        {u"  "_s, u"Set a Keelhaven run directory in Settings — the sweep needs a project folder."_s},
        {home.path(u".claude/plugins/cache"_s),
         u"runs are not allowed inside ~/.claude/plugins — use a project directory"_s},
        {home.path(u"gone"_s), u"Keelhaven run directory is missing: "_s + home.path(u"gone"_s)},
    };
    for (const auto &[directory, reason] : cases) {
        settings.set(u"keelhavenRunDirectory"_s, directory);
        EXPECT_EQ(runner.sweepBlockedReason(), reason);
        wish(true);
        EXPECT_EQ(blocked.takeLast(), reason);
    }
    EXPECT_FALSE(lastSweepAt());
    settings.set(u"keelhavenLastSweepAt"_s, clock.now());
    wish(false);
    EXPECT_TRUE(blocked.isEmpty()) << "one that would not start anyway says nothing";
    EXPECT_TRUE(launcher.launchOrder.isEmpty());
}

TEST_F(SweepTest, ConversationIsPickedUpOnce)
{
    EXPECT_TRUE(runner.resumeLatestSweep()) << "there is none";
    const auto sweep = ended(5, [&](auto &r) { r.cwd = home.path(); });
    store.records.insert(sweep.id, sweep);
    restart();
    engine->start();
    SweepRunner resumer(*engine, settings, clock, tasks, home.path());
    EXPECT_EQ(resumer.latestSweep(), sweep);
    EXPECT_FALSE(resumer.sweepResumePending());
    EXPECT_EQ(resumer.resumeLatestSweep(), std::nullopt);
    EXPECT_TRUE(resumer.sweepResumePending());
    EXPECT_TRUE(resumer.resumeLatestSweep());
    settle();
    EXPECT_TRUE(resumer.resumeLatestSweep());
    ASSERT_EQ(launcher.launchOrder, QStringList{u"Morning report · follow-up"_s});
    const auto run = resumer.liveSweep();
    ASSERT_TRUE(run);
    EXPECT_TRUE(run->takenOver);
    EXPECT_TRUE(run->slot.keepSessionOpen);
    EXPECT_FALSE(run->slot.closeFinishedTab);
    EXPECT_EQ(run->slot.timeoutMinutes, 240);
    EXPECT_EQ(launcher.panes[run->launched.paneID].request.resumeSessionID, u"s5"_s);
    clock.jump(30s);
    EXPECT_FALSE(resumer.sweepResumePending());

    // Its first turn closes the follow-up's record, and the session stays with the user.
    const auto inSession = [](JSONObject &object) { object.set(u"session_id"_s, u"s5"_s); };
    deliver(event(u"SessionStart"_s, run->record, inSession));
    deliver(event(u"Stop"_s, run->record, inSession));
    ASSERT_TRUE(engine->active().isEmpty());
    launcher.focused.clear();
    for (int i = 0; i < 2; ++i)
        EXPECT_EQ(resumer.resumeLatestSweep(), std::nullopt);
    settle();
    EXPECT_EQ(launcher.focused.count(run->launched.paneID), 2);
    EXPECT_EQ(launcher.launchOrder.size(), 1);
    launcher.panes[run->launched.paneID].probe.exists = false;
    EXPECT_EQ(resumer.resumeLatestSweep(), std::nullopt);
    settle();
    EXPECT_EQ(launcher.launchOrder.size(), 2);
}

} // namespace Keelhaven
