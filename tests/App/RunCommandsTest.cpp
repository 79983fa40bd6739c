#include "App/Commands/RunCommands.h"

#include "App/CommandFixture.h"

namespace Keelhaven {

using namespace std::chrono_literals;
using namespace Qt::StringLiterals;

namespace {

class RunCommandsTest : public CommandTest
{
protected:
    RunCommandsTest()
    {
        engine->openExternal = [this] { ++opened; };
        engine->start();
    }

    CommandReply call(const QStringList &words) { return CommandTest::call(QStringList{u"runs"_s} + words); }
    QString said(const QStringList &words) { return CommandTest::said(QStringList{u"runs"_s} + words); }
    static QString shortened(const QUuid &id) { return uuidText(id).left(8); }

    ActiveRunPtr begin(bool keepsOpen = false)
    {
        auto agent = slot(u"Watch"_s);
        agent.keepSessionOpen = keepsOpen;
        engine->enqueue(agent);
        settleAll();
        return engine->active().last();
    }
    void end(const ActiveRunPtr &run)
    {
        deliver(event(u"Stop"_s, run->record));
        auto &shown = launcher.panes[run->launched.paneID];
        shown.probe.state = AgentState::Idle;
        shown.endsOnExitRequest = true;
        clock.advance(10s);
    }

    int opened = 0;
};

} // namespace

TEST_F(RunCommandsTest, ALiveRunIsTakenOver)
{
    launcher.holdLaunches = true;
    const QUuid id = engine->enqueue(slot(u"Watch"_s)).first();
    settleAll();
    const QString name = u"run %1 of \"Watch\""_s.arg(shortened(id));
    for (const QString &command : {u"takeover"_s, u"resume"_s})
        EXPECT_EQ(said({command, uuidText(id)}),
                  u"keelhaven: The %1 is just being launched; try again once it is live."_s.arg(name));
    launcher.releaseLaunches();
    settleAll();
    EXPECT_EQ(
        said({u"takeover"_s, shortened(id)}),
        u"The %1 is yours now and goes on without Keelhaven's help; \"keelhaven attach\" joins it."_s.arg(
            name));
    EXPECT_TRUE(live()->takenOver);
    EXPECT_EQ(said({u"resume"_s, shortened(id)}),
              u"The session of the %1 is live and now yours; \"keelhaven attach\" joins it."_s.arg(name));
    EXPECT_EQ(opened, 2);
    EXPECT_EQ(said({u"hide"_s, shortened(id)}),
              u"keelhaven: The %1 has not ended; only finished runs can be hidden."_s.arg(name));
    end(live());
    EXPECT_EQ(
        said({u"takeover"_s, shortened(id)}),
        u"keelhaven: The %1 has ended already; \"keelhaven runs resume %2\" picks its conversation up."_s.arg(
            name, shortened(id)));
}

TEST_F(RunCommandsTest, AFinishedRunIsResumedOnce)
{
    const auto run = begin();
    end(run);
    const QString id = uuidText(run->record.id);
    settings.set(u"schedulerConcurrencyCap"_s, qint64(1));
    const auto other = begin();
    const auto queued = call({u"resume"_s, id, u"--json"_s});
    ASSERT_EQ(engine->queued().size(), 1);
    const RunRecord waiting = engine->queued().first().record;
    const auto answered = JSONValue::parse(queued.output.toUtf8());
    ASSERT_TRUE(answered);
    EXPECT_EQ((*answered)[u"id"]->stringValue(), uuidText(waiting.id));
    const QString again = said({u"resume"_s, id});
    EXPECT_EQ(again,
              u"A session for you is on its way as the run %1 of \"Watch · resumed\"; \"keelhaven attach\" "
              u"joins it."_s.arg(shortened(waiting.id)));
    EXPECT_EQ(engine->queued().size(), 1);
    EXPECT_EQ(
        said({u"resume"_s, uuidText(waiting.id)}),
        u"keelhaven: The run %1 of \"Watch · resumed\" has not started yet."_s.arg(shortened(waiting.id)));
    end(other);
    ASSERT_EQ(engine->active().size(), 1);
    EXPECT_TRUE(said({u"resume"_s, id}).startsWith(u"The session of the run "_s + shortened(waiting.id)));

    engine->stop(waiting.id);
    settleAll();
    RunRecord codex;
    codex.provider = AgentProvider::Codex;
    store.records.insert(codex.id, codex);
    restart();
    engine->start();
    EXPECT_EQ(said({u"resume"_s, uuidText(codex.id)}),
              u"keelhaven: Only Claude sessions can be resumed here — continue a Codex session in Herdr "
              u"itself.");
}

TEST_F(RunCommandsTest, AConversationThatIsStillOpenIsNotOpenedTwice)
{
    const auto run = begin(true);
    end(run);
    ASSERT_EQ(engine->parked().size(), 1);
    const QString id = shortened(run->record.id);
    EXPECT_EQ(
        said({u"resume"_s, id}),
        u"The session of the run %1 of \"Watch\" is still open; \"keelhaven attach\" joins it."_s.arg(id));
    settleAll();
    EXPECT_EQ(launcher.focused, QStringList{run->launched.paneID});
    engine->releaseParked(run->record.id);
    EXPECT_EQ(said({u"resume"_s, id}),
              u"keelhaven: The session of this conversation is just ending; try again in a moment.");
    clock.advance(10s);
    EXPECT_TRUE(said({u"resume"_s, id}).startsWith(u"A session for you is on its way"_s));
    settleAll();
    const auto resumed = live();
    ASSERT_TRUE(resumed->takenOver);
    deliver(event(u"Stop"_s, resumed->record));
    ASSERT_TRUE(engine->active().isEmpty());
    EXPECT_TRUE(said({u"resume"_s, id}).contains(u"is still open"));
    launcher.panes[resumed->launched.paneID].probe.exists = false;
    EXPECT_TRUE(said({u"resume"_s, id}).startsWith(u"A session for you is on its way"_s));
}

TEST_F(RunCommandsTest, AHiddenRunIsListedOnlyWithAll)
{
    const auto run = begin();
    end(run);
    const QString id = shortened(run->record.id);
    EXPECT_EQ(said({u"hide"_s, id}),
              u"Hid the run %1 of \"Watch\"; \"keelhaven runs list --all\" still lists it."_s.arg(id));
    EXPECT_EQ(said({u"list"_s}), u"No finished runs.");
    EXPECT_TRUE(said({u"list"_s, u"--all"_s}).contains(id));
    EXPECT_TRUE(store.records.value(run->record.id).isHidden());
    EXPECT_EQ(said({u"unhide"_s, id}), u"The run %1 of \"Watch\" shows in lists again."_s.arg(id));
    EXPECT_TRUE(said({u"list"_s}).contains(id));
}

} // namespace Keelhaven
