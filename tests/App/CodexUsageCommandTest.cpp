#include "App/Commands/CodexUsageCommand.h"

#include "App/CommandFixture.h"
#include "App/Commands/TextTable.h"
#include "Scheduler/Usage/CodexUsageMonitor.h"
#include "Support/FakeChildProcess.h"

namespace Keelhaven {

using namespace std::chrono_literals;
using namespace Qt::StringLiterals;

namespace {

class CodexUsageCommandTest : public CommandTest
{
protected:
    CodexUsageCommandTest()
    {
        const QString codex = home.write(u"bin/codex"_s, "#!/bin/sh\n");
        QFile::setPermissions(codex, QFile::ReadOwner | QFile::ExeOwner);
        settings.set(u"loginShellPATH"_s, home.path(u"bin"_s));
    }

    /// What the command answers when the app server says this.
    CommandReply call(bool asJSON, const QByteArray &serverSays)
    {
        auto task = CodexUsageCommand::usage(asJSON, &monitor, &clock, context());
        children.children.last()->say(serverSays);
        return await(std::move(task));
    }

    FakeChildProcessFactory children;
    CodexUsageMonitor monitor{locator, children, clock, tasks};
};

} // namespace

TEST_F(CodexUsageCommandTest, TellsTheLimitsAndWhyThereAreNone)
{
    const auto resets = QByteArray::number(qint64(secondsSince1970(clock.now() + 2h)));
    const auto good = call(
        false,
        R"({"id":2,"result":{"rateLimits":{"primary":{"usedPercent":41.7,"windowDurationMins":300,"resetsAt":)" +
            resets + R"(},"secondary":{"usedPercent":9,"windowDurationMins":10080}}}})");
    EXPECT_EQ(good.exit, ExitStatus::Done);
    const QStringList lines = good.output.split(u'\n');
    EXPECT_EQ(lines.value(1).simplified(),
              u"Session 41% used; 59% remaining %1, in 2 hours"_s.arg(localTime(clock.now() + 2h, calendar)));
    EXPECT_TRUE(lines.value(2).simplified().startsWith(u"Weekly 9% used; 91% remaining"));

    clock.advance(2h);
    const auto refused = call(false, R"({"id":2,"error":{"code":-32600}})");
    EXPECT_EQ(refused.exit, ExitStatus::Refused);
    EXPECT_TRUE(refused.output.contains(u"41% used")) << "the last numbers";
    EXPECT_TRUE(refused.output.endsWith(u"\nRead 2h ago.\n"));
    EXPECT_EQ(refused.error,
              u"keelhaven: Codex usage unavailable. codex app-server didn't answer (timed out or "
              "exited)\nkeelhaven: Usage is 2h old.\n");
    EXPECT_EQ(call(true, R"({"id":2,"result":{}})").output,
              uR"({"fetchedAt": "2026-03-04T09:00:00.000Z", "meters": [)"
              R"({"label": "Session", "percent": 41, "resetsAt": "2026-03-04T11:00:00.000Z"}, )"
              R"({"label": "Weekly", "percent": 9}], "unavailableReason": )"
              R"("codex app-server answered without rate limits — sign in with `codex login`"})"
              "\n");
}

TEST_F(CodexUsageCommandTest, AReadingThatIsUnderWayServesAsWell)
{
    std::stop_source window;
    tasks.spawn(monitor.refresh(window.get_token()), "window");
    const QByteArray says = R"({"id":2,"result":{"rateLimits":{"primary":{"usedPercent":7}}}})";
    EXPECT_TRUE(call(false, says).output.contains(u"7% used"));
    EXPECT_EQ(children.children.size(), 1);

    tasks.spawn(monitor.refresh(window.get_token()), "window");
    auto waiting = CodexUsageCommand::usage(false, &monitor, &clock, context());
    window.request_stop();
    ASSERT_EQ(children.children.size(), 3) << "the window was closed, so it reads itself";
    children.children.last()->say(says);
    EXPECT_EQ(await(std::move(waiting)).exit, ExitStatus::Done);
}

TEST_F(CodexUsageCommandTest, AWindowThatIsOpenedAgainMeanwhileTakesNothingAway)
{
    settings.remove(u"loginShellPATH"_s);
    processes.answer = [](const ProcessSpec &) { return std::nullopt; };
    monitor.startFollowing();
    monitor.stopFollowing();
    monitor.startFollowing();
    auto waiting = CodexUsageCommand::usage(false, &monitor, &clock, context());
    settings.set(u"loginShellPATH"_s, home.path(u"bin"_s));
    processes.finishPending(ProcessResult{});
    processes.finishPending(ProcessResult{});
    ASSERT_EQ(children.children.size(), 1);
    children.children.last()->say(R"({"id":2,"result":{"rateLimits":{"primary":{"usedPercent":7}}}})");
    EXPECT_TRUE(await(std::move(waiting)).output.contains(u"7% used"));
    monitor.stopFollowing();
}

TEST_F(CodexUsageCommandTest, SaysSoWhereNoLimitIsShown)
{
    const auto monthly =
        call(false,
             R"({"id":2,"result":{"rateLimits":{"primary":{"usedPercent":9,"windowDurationMins":43200}}}})");
    EXPECT_EQ(monthly.output, u"Codex names no limit of a week or less.\n"_s);
    EXPECT_EQ(monthly.exit, ExitStatus::Done);
}

} // namespace Keelhaven
