#include "App/Commands/UsageCommand.h"

#include "App/CommandFixture.h"
#include "App/Commands/TextTable.h"
#include "Contract/SettingsCatalog.h"

namespace Keelhaven {

using namespace std::chrono_literals;
using namespace Qt::StringLiterals;

namespace {

class UsageCommandTest : public CommandTest
{
protected:
    CommandReply call(const QStringList &words = {})
    {
        return CommandTest::call(QStringList{u"usage"_s} + words);
    }
    /// Runs of columns without their padding.
    QStringList lines(const QStringList &words = {})
    {
        QStringList lines;
        for (const QString &line : call(words).output.split(u'\n', Qt::SkipEmptyParts))
            lines.append(line.simplified());
        return lines;
    }
    void readMeters(int session, int week)
    {
        usage.adopt(
            UsageSnapshot{clock.now(),
                          {{UsageSnapshot::Meter::Kind::session(), session, clock.now() + 2h, true, 0},
                           {UsageSnapshot::Meter::Kind::weeklyAll(), week, clock.now() + 84h, false, 0}}});
    }
    static QCoro::Task<std::optional<UsageSnapshot>> found(std::optional<UsageSnapshot> snapshot)
    {
        co_return snapshot;
    }
};

} // namespace

TEST_F(UsageCommandTest, TellsTheMetersAndWhatTheyHoldBack)
{
    EXPECT_EQ(lines(), QStringList{u"No usage data (~/.claude.json). Scheduled runs aren't gated."_s});
    readMeters(37, 20);
    EXPECT_EQ(lines().mid(1, 3).join(u'|').toStdString(),
              u"Session (5h) 37% - %1, in 2 hours -|Week · all models 20% - %2, in 3 days -|Read 0m ago."_s
                  .arg(localTime(clock.now() + 2h, calendar), localTime(clock.now() + 84h, calendar))
                  .toStdString());
}

TEST_F(UsageCommandTest, TheEstimateGatesAndAnAgentsOwnCapReplacesTheUsualOne)
{
    engine->start();
    SchedulerSlot open = slot(u"Open"_s);
    open.enabled = true;
    open.maxUsagePercent = 0;
    SchedulerSlot usual = slot(u"Usual"_s);
    usual.enabled = true;
    engine->upsert(open);
    engine->upsert(usual);
    const Date read = clock.now();
    readMeters(45, 20);
    usage.tokensBetween = [&](Date, Date to) -> qint64 { return to == read ? 100 : 20; };
    EXPECT_TRUE(lines().last().startsWith(u"Scheduled runs may start (session cap 50%"_s))
        << "still the reading";
    clock.advance(5min);
    const QStringList held = lines();
    EXPECT_TRUE(held.contains(u"Read 5m ago."_s));
    ASSERT_GE(held.size(), 2);
    EXPECT_TRUE(held[held.size() - 2].contains(
        u"at least: session 54% ≥ 50% cap (session cap 50%, weekly pace guard with +10 points)."_s))
        << held.join(u'\n').toStdString();
    EXPECT_EQ(held.last(), u"Runs of Open may start."_s);

    const auto json = JSONValue::parse(call({u"--json"_s}).output.toUtf8());
    ASSERT_TRUE(json);
    EXPECT_EQ((*(*json)[u"meters"]->arrayValue())[0][u"estimatedExtra"]->intValue(), 9);
    EXPECT_EQ((*(*json)[u"scheduledRuns"])[u"reason"]->stringValue(), u"session 54% ≥ 50% cap"_s);
    EXPECT_EQ((*(*json)[u"agentsOtherwise"]->arrayValue())[0][u"held"]->boolValue(), false);

    settings.set(Setting::schedulerSessionCapPercent.name.toString(), qint64(0));
    settings.set(Setting::schedulerPaceGuardEnabled.name.toString(), false);
    EXPECT_EQ(lines().last(), u"Scheduled runs may start (no session cap, no weekly pace guard)."_s);
    clock.advance(1h);
    EXPECT_EQ(lines().last(), u"Usage is 1h old. Runs aren't gated until it refreshes."_s);
}

TEST_F(UsageCommandTest, ARefreshThatBringsNothingShowsTheLastNumbersAndFails)
{
    readMeters(10, 10);
    usage.fetchLive = [&] { return found(std::nullopt); };
    auto reply = call({u"--refresh"_s});
    EXPECT_EQ(reply.exit, ExitStatus::Refused);
    EXPECT_TRUE(reply.output.contains(u"10%"_s));
    EXPECT_TRUE(reply.error.startsWith(u"keelhaven: Couldn't fetch live usage — "_s));
    EXPECT_EQ(call().exit, ExitStatus::Done) << "only the refresh failed";

    usage.fetchLive = [&] { return found(UsageSnapshot{clock.now() + 1s, {{{}, 66, {}, true, 0}}}); };
    reply = call({u"--refresh"_s});
    EXPECT_EQ(reply.exit, ExitStatus::Done);
    EXPECT_EQ(reply.error, QString());
    EXPECT_TRUE(reply.output.contains(u"66%"_s));
}

TEST_F(UsageCommandTest, AGateThatIsOpenedLetsHeldRunsStartNow)
{
    engine->start();
    SchedulerSlot nightly = slot(u"Nightly"_s);
    nightly.maxUsagePercent.reset();
    readMeters(60, 10);
    engine->enqueue(nightly, RunTrigger::Scheduled);
    settleAll();
    ASSERT_EQ(engine->queued().size(), 1);
    EXPECT_EQ(engine->queued().first().holdReason, u"session 60% ≥ 50% cap"_s);
    settings.set(Setting::schedulerSessionCapPercent.name.toString(), qint64(55));
    engine->reconsiderHeld();
    ASSERT_EQ(engine->queued().size(), 1);
    EXPECT_EQ(engine->queued().first().holdReason, u"session 60% ≥ 55% cap"_s);
    settings.set(Setting::schedulerSessionCapPercent.name.toString(), qint64(65));
    engine->reconsiderHeld();
    settleAll();
    EXPECT_TRUE(engine->queued().isEmpty());
}

} // namespace Keelhaven
