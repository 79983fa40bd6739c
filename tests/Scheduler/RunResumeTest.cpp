#include "Scheduler/RunResume.h"

#include "Platform/Files.h"
#include "ResumeFixture.h"

#include <unistd.h>

namespace Keelhaven {

using namespace std::chrono_literals;
using namespace Qt::StringLiterals;

namespace {

RunRecord finished(const QString &folder)
{
    RunRecord record;
    record.slotName = u"Night Watch"_s;
    record.cwd = folder;
    record.sessionID = u"s1"_s;
    return record;
}

} // namespace

TEST(RunResumeTest, WhatStandsInTheWay)
{
    const TestHome home;
    struct Case
    {
        std::optional<AgentProvider> provider;
        std::optional<QString> sessionID;
        QString cwd;
        std::optional<QString> reason;
    };
    const QString codex =
        u"Only Claude sessions can be resumed here — continue a Codex session in Herdr itself."_s;
    const QString noSession =
        u"This run didn't record a session id, so there is no conversation to pick up."_s;
    const QString file = home.write(u"file"_s, {});
    const Case cases[] = {
        {AgentProvider::Codex, std::nullopt, u"/gone"_s, codex},
        {AgentProvider::Claude, std::nullopt, u"/gone"_s, noSession},
        {std::nullopt, u""_s, home.path(), noSession},
        {std::nullopt, u"s"_s, u"/gone"_s, u"The folder the run worked in is gone: /gone"_s},
        {std::nullopt, u"s"_s, file, u"The folder the run worked in is gone: "_s + file},
        {AgentProvider::Claude, u"s"_s, home.path(), std::nullopt},
    };
    for (const auto &c : cases) {
        RunRecord record = finished(c.cwd);
        record.provider = c.provider;
        record.sessionID = c.sessionID;
        EXPECT_EQ(RunResume::blockedReason(record), c.reason);
    }
    RunRecord record;
    EXPECT_FALSE(RunResume::isResumed(record));
    record.resumeSessionID = u""_s;
    EXPECT_FALSE(RunResume::isResumed(record));
    record.resumeSessionID = u"s"_s;
    EXPECT_TRUE(RunResume::isResumed(record));
}

TEST(RunResumeTest, ThePersonGetsAnAgentOfTheirOwn)
{
    const Date now(1772600707s);
    RunRecord record = finished(u"/w/app"_s);
    record.projectDir = u"/p/app"_s;
    record.model = u"opus"_s;
    record.shipID = QUuid::createUuid();

    SchedulerSlot expected;
    SchedulerSlot made = RunResume::slot(record, std::nullopt, now);
    EXPECT_NE(made.id, record.slotID);
    expected.id = made.id;
    expected.name = u"Night Watch · resumed"_s;
    expected.model = u"opus"_s;
    expected.cwds = QStringList{u"/w/app"_s};
    expected.command =
        u"I'm back to continue this session in person. In a few sentences remind me where you left off "
        "— what you did and what is still open — then wait for my instructions."_s;
    expected.schedule.rule = ScheduleSpec::Once{now};
    expected.timeoutMinutes = 240;
    expected.keepAwake = false;
    expected.closeFinishedTab = false;
    expected.herdrWorkspace = u"app"_s;
    expected.keepSessionOpen = true;
    expected.addDirs = QStringList{u"/p/app"_s};
    expected.shipID = record.shipID;
    expected.kind = SlotKind::Oneoff;
    EXPECT_EQ(made, expected);

    SchedulerSlot original;
    original.plugins = QStringList{u"a@m"_s};
    original.herdrWorkspace = u"Harbour"_s;
    original.addDirs = QStringList{u"/extra"_s, u"/p/app"_s};
    original.preflight = u"false"_s;
    original.priority = 5;
    original.captainDecides = original.runOnlyIfChanged = true;
    original.workspaceMode = WorkspaceMode::Shared;
    original.lastFiredAt = now;
    made = RunResume::slot(record, original, now);
    expected.id = made.id;
    expected.plugins = original.plugins;
    expected.herdrWorkspace = original.herdrWorkspace;
    expected.addDirs = original.addDirs;
    EXPECT_EQ(made, expected) << "nothing else comes over";
}

TEST_F(ResumeTest, AFinishedRunIsResumedOnceHoweverOftenAsked)
{
    EXPECT_EQ(engine->resume(QUuid::createUuid()), u"That run is no longer in history."_s);
    const RunRecord old = complete(begin(u"agent"_s));
    ASSERT_TRUE(engine->active().isEmpty());

    settings.set(u"schedulerMaxConcurrent"_s, qint64(1));
    begin(u"in the way"_s);
    launcher.holdLaunches = true;
    EXPECT_EQ(engine->resume(old.id), std::nullopt);
    EXPECT_EQ(engine->resume(old.id), std::nullopt);
    ASSERT_EQ(engine->queued().size() + engine->launching().size(), 1) << "waiting for its turn";
    engine->stop(live()->record.id);
    clock.advance(15s);
    ASSERT_EQ(engine->launching().size(), 1);
    EXPECT_EQ(engine->resume(old.id), std::nullopt);
    EXPECT_EQ(opened, 0);
    launcher.releaseLaunches();
    settleAll();

    ASSERT_EQ(engine->active().size(), 1);
    EXPECT_TRUE(engine->queued().isEmpty());
    const auto resumed = live();
    EXPECT_EQ(resumed->record.resumeSessionID, old.sessionID);
    EXPECT_NE(resumed->record.slotID, old.slotID);
    EXPECT_TRUE(resumed->takenOver);
    EXPECT_EQ(pane().request.prompt, resumed->slot.command) << "no contract in a person's session";
    EXPECT_EQ(opened, 1);
    EXPECT_EQ(engine->resume(old.id), std::nullopt) << "before the session has told its id";
    EXPECT_EQ(engine->resume(resumed->record.id), std::nullopt);
    EXPECT_EQ(opened, 3);
    EXPECT_EQ(engine->active().size(), 1);
    EXPECT_EQ(launcher.focused.count(resumed->launched.paneID), 3);

    deliver(event(u"Stop"_s, resumed->record));
    EXPECT_EQ(engine->history().first().id, resumed->record.id)
        << "a taken-over run's turn closes its record";
    EXPECT_EQ(paneOf(resumed->launched).closes, 0);
}

TEST_F(ResumeTest, ASessionThatIsLiveIsShownInsteadOfResumed)
{
    const RunRecord old = complete(begin(u"agent"_s));
    engine->enqueue(slot(u"other"_s), RunTrigger::Manual, {.resumeSessionID = old.sessionID});
    settleAll();
    const auto other = live();
    deliver(event(u"SessionStart"_s, other->record,
                  [&](JSONObject &object) { object.set(u"session_id"_s, *old.sessionID); }));
    ASSERT_EQ(other->record.sessionID, old.sessionID);
    EXPECT_FALSE(other->completionSeen) << "the end of the session's first life is not its second's";
    EXPECT_EQ(engine->resume(old.id), std::nullopt);
    EXPECT_TRUE(other->takenOver);
    EXPECT_EQ(engine->active().size() + engine->queued().size() + engine->launching().size(), 1);

    engine->openHerdr();
    engine->openHerdr(QUuid::createUuid());
    EXPECT_EQ(launcher.focused.size(), 1);
    engine->openHerdr(other->record.id);
    EXPECT_EQ(launcher.focused.size(), 2);
    EXPECT_EQ(opened, 4);
}

TEST_F(ResumeTest, ASessionThatWasLeftToTheUserIsShownUntilItIsGone)
{
    const RunRecord old = complete(begin(u"agent"_s));
    EXPECT_EQ(engine->resume(old.id), std::nullopt);
    settleAll();
    const auto resumed = live();
    deliver(event(u"Stop"_s, resumed->record,
                  [&](JSONObject &object) { object.set(u"session_id"_s, *old.sessionID); }));
    ASSERT_TRUE(engine->active().isEmpty());
    const RunRecord closed = engine->history().first();
    ASSERT_EQ(closed.id, resumed->record.id);
    for (const auto &record : {old, closed}) {
        launcher.focused.clear();
        EXPECT_EQ(engine->resume(record.id), std::nullopt);
        settleAll();
        EXPECT_EQ(launcher.focused, QStringList{resumed->launched.paneID});
    }
    EXPECT_EQ(launcher.launchOrder.size(), 2);
    EXPECT_EQ(opened, 3);

    paneOf(resumed->launched).probe.exists = false;
    EXPECT_EQ(engine->resume(old.id), std::nullopt);
    EXPECT_EQ(engine->resume(closed.id), std::nullopt);
    settleAll();
    EXPECT_EQ(launcher.launchOrder.size(), 3) << "one new session, however often asked for";
    EXPECT_EQ(engine->active().size(), 1);
}

TEST_F(ResumeTest, AParkedSessionIsShownAndOneThatEndsIsWaitedFor)
{
    const auto session = parkOne(u"agent"_s);
    const QUuid id = session.record.id;
    EXPECT_EQ(engine->resume(id), std::nullopt);
    settleAll();
    EXPECT_EQ(launcher.focused, QStringList{session.launched.paneID});
    engine->releaseParked(id);
    EXPECT_EQ(engine->resume(id), u"The session of this conversation is just ending; try again in a moment.");
    clock.advance(10s);
    EXPECT_EQ(launcher.launchOrder.size(), 1);
    EXPECT_EQ(engine->resume(id), std::nullopt);
    settleAll();
    EXPECT_EQ(launcher.launchOrder.size(), 2);
}

TEST_F(ResumeTest, ARunThatIsOnItsWayToHistoryIsWaitedFor)
{
    const RunRecord old = complete(begin(u"agent"_s));
    engine->enqueue(slot(u"other"_s), RunTrigger::Manual, {.resumeSessionID = old.sessionID});
    settleAll();
    launcher.holdScreens = true;
    paneOf(live()->launched).probe.exists = false;
    clock.advance(5s);
    ASSERT_EQ(engine->closing().size(), 1);
    for (const QUuid &id : {old.id, engine->closing().first()->record.id})
        EXPECT_EQ(engine->resume(id),
                  u"The session of this conversation is just ending; try again in a moment.");
    launcher.releaseScreens();
    settleAll();
}

TEST_F(ResumeTest, AConversationInAnotherTerminalIsLeftThere)
{
    const RunRecord old = complete(begin(u"agent"_s));
    const auto note = [&](const QByteArray &start, const QByteArray &conversation) {
        home.write(u".claude/sessions/1.json"_s, R"({"pid":)" + QByteArray::number(::getpid()) +
                                                     R"(,"sessionId":")" + conversation +
                                                     R"(","procStart":")" + start + "\"}");
    };
    const QByteArray stat = readFile(u"/proc/self/stat"_s).value();
    const QByteArray start = stat.sliced(stat.lastIndexOf(')')).split(' ').at(20);
    const QString folder = home.path(u".claude"_s);
    home.write(u".claude/sessions/0.json"_s, "{half");
    note(start, old.sessionID->toUtf8());
    EXPECT_EQ(RunResume::openIn(*old.sessionID, folder), ::getpid());
    EXPECT_EQ(engine->resume(old.id), u"This conversation is open in another terminal (process %1); go on "
                                      "there, or end it first."_s.arg(::getpid()));
    EXPECT_TRUE(engine->queued().isEmpty() && engine->launching().isEmpty());

    note(start + '1', old.sessionID->toUtf8());
    EXPECT_EQ(RunResume::openIn(*old.sessionID, folder), std::nullopt)
        << "an earlier process with the number";
    note(start, "another");
    EXPECT_EQ(RunResume::openIn(*old.sessionID, folder), std::nullopt);
    EXPECT_EQ(engine->resume(old.id), std::nullopt);
    settleAll();
    EXPECT_EQ(engine->active().size(), 1);
}

} // namespace Keelhaven
