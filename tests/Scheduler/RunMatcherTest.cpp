#include "Scheduler/Model/RunMatcher.h"

#include "Support/TestHome.h"

#include <gtest/gtest.h>

namespace Keelhaven {
namespace {

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

const Date start = Date(1000s);

EventRecord event(double second, const char *type, const char *session, const QString &cwd = u"/p"_s)
{
    EventRecord record;
    record.ts = 1000 + second;
    record.type = QString::fromLatin1(type);
    if (*session)
        record.sessionId = QString::fromLatin1(session);
    record.cwd = cwd;
    return record;
}

EventRecord stop(double second, const char *session, const QString &message = {})
{
    auto record = event(second, "Stop", session);
    record.lastMessage = message;
    return record;
}

EventRecord tool(double second, const QString &name)
{
    auto record = event(second, "PostToolUse", "s");
    record.toolName = name;
    return record;
}

RunMatcher::RunKey keyFor(std::optional<QString> session = std::nullopt)
{
    RunMatcher::RunKey key;
    key.cwd = u"/p"_s;
    key.startedAt = start;
    key.sessionID = session;
    return key;
}

std::optional<QString> sessionOf(const RunMatcher::RunKey &key, const QList<EventRecord> &events,
                                 const QSet<QString> &claimed = {})
{
    return RunMatcher::assess(key, events, claimed).capturedSessionID;
}

TEST(RunMatcher, FindsTheSessionByFolderInsideTheWindow)
{
    for (const auto &[second, matches] :
         {std::pair(-5.0, true), {-5.001, false}, {0.0, true}, {45.0, true}, {45.001, false}})
        EXPECT_EQ(sessionOf(keyFor(), {event(second, "SessionStart", "s")}).has_value(), matches) << second;
    EXPECT_FALSE(sessionOf(keyFor(), {event(0, "SessionStart", "s", u"/other"_s)}));
    EXPECT_FALSE(sessionOf(keyFor(), {event(0, "Stop", "s")}));
    EXPECT_EQ(sessionOf(keyFor(), {event(0, "SessionStart", "taken"), event(1, "SessionStart", "free")},
                        {u"taken"_s}),
              u"free"_s);
    auto codex = event(0, "SessionStart", "codex");
    codex.provider = u"codex"_s;
    EXPECT_FALSE(sessionOf(keyFor(), {codex}));
}

TEST(RunMatcher, TheLaunchIDBeatsTheFolderAndTheKnownSessionBeatsBoth)
{
    auto key = keyFor();
    key.launchRunID = QUuid::createUuid();
    auto own = event(100, "PostToolUse", "own", u"/elsewhere"_s);
    own.runID = key.launchRunID;
    const QList<EventRecord> events{event(0, "SessionStart", "stranger"), own};
    EXPECT_EQ(sessionOf(key, events), u"own"_s);
    key.sessionID = u"known"_s;
    EXPECT_EQ(sessionOf(key, events), u"known"_s);
}

TEST(RunMatcher, EventsThatNameAnotherRunAreNotTakenByTheirFolder)
{
    auto key = keyFor();
    key.runID = QUuid::createUuid();
    key.launchRunID = QUuid::createUuid();
    const auto named = [](EventRecord event, const std::optional<QUuid> &run) {
        event.runID = run;
        return event;
    };
    const auto other = QUuid::createUuid();
    const QList<EventRecord> others{named(event(0, "SessionStart", "theirs"), other),
                                    named(stop(1, "theirs"), other)};
    const auto found = RunMatcher::assess(key, others, {});
    EXPECT_EQ(found, RunMatcher::Assessment()) << "two runs of one folder, and the other is done first";
    key.launchRunID.reset();
    EXPECT_EQ(RunMatcher::assess(key, others, {}), RunMatcher::Assessment());
    for (const auto &run : {std::optional(key.runID), std::optional<QUuid>()})
        EXPECT_EQ(sessionOf(key, others + QList{named(event(2, "SessionStart", "mine"), run)}), u"mine"_s);
}

TEST(RunMatcher, FoldersMatchThroughSymbolicLinks)
{
    const TestHome home;
    home.write(u"real/file"_s, "");
    QFile::link(home.path(u"real"_s), home.path(u"link"_s));
    auto key = keyFor();
    key.cwd = home.path(u"link"_s);
    EXPECT_EQ(sessionOf(key, {event(0, "SessionStart", "s", home.path(u"real/"_s))}), u"s"_s);
}

TEST(RunMatcher, ATurnIsOverWhenItsSubagentsAreToo)
{
    const auto task = tool(1, u"Task"_s);
    const auto agent = tool(2, u"Agent"_s);
    const auto report = event(4, "SubagentStop", "s");
    const struct
    {
        const char *what;
        QList<EventRecord> events;
        bool completed;
    } cases[] = {
        {"nothing", {}, false},
        {"stop", {stop(1, "s")}, true},
        {"other session's stop", {stop(1, "t")}, false},
        {"stop while one is out", {task, stop(3, "s")}, false},
        {"report after the stop reopens the turn", {task, stop(3, "s"), report}, false},
        {"stop after the report", {task, report, stop(5, "s")}, true},
        {"two out, one back", {task, agent, report, stop(5, "s")}, false},
        {"ordinary tool after the stop", {stop(1, "s"), tool(2, u"Bash"_s)}, true},
        {"stray report keeps the stop", {stop(1, "s"), report}, true},
        {"session end in any case", {task, event(3, "SessionEnd", "s")}, true},
    };
    for (const auto &test : cases)
        EXPECT_EQ(RunMatcher::assess(keyFor(u"s"_s), test.events, {}).completed, test.completed) << test.what;
}

TEST(RunMatcher, ReportsMessageAndActivityOfThePresentTurnOnly)
{
    auto key = keyFor(u"s"_s);
    QList<EventRecord> events{stop(10, "s", u"first"_s), stop(30, "s"), event(20, "SessionStart", "s"),
                              event(99, "Notification", "s")};
    auto result = RunMatcher::assess(key, events, {});
    EXPECT_EQ(result.completionMessage, u"first"_s) << "an empty message does not replace one";
    EXPECT_EQ(result.lastActivityAt, start + 30s);
    key.eventFloor = start + 31s;
    result = RunMatcher::assess(key, events, {});
    EXPECT_FALSE(result.completed || result.completionMessage || result.lastActivityAt);
    key.eventFloor = start + 30s;
    EXPECT_TRUE(RunMatcher::assess(key, events, {}).completed);
}

TEST(RunMatcher, WithoutASessionTheFolderDecidesFromTheStartOn)
{
    auto result = RunMatcher::assess(keyFor(), {stop(-1, "x"), stop(100, "")}, {});
    EXPECT_TRUE(result.completed);
    EXPECT_EQ(result.lastActivityAt, start + 100s);
    EXPECT_FALSE(RunMatcher::assess(keyFor(), {stop(-1, "x")}, {}).completed);
}

TEST(RunMatcher, AnswersToTrustPrompts)
{
    const QString down = u"\u001B[B"_s;
    const struct
    {
        QString pane;
        std::optional<QString> answer;
    } cases[] = {
        {u"Do you trust the files in this folder?\n❯ 1. Yes, proceed\n  2. No"_s, u"\r"_s},
        {u"❯ 1. Yes, I trust this folder\n  2. No, exit"_s, u"\r"_s},
        {u"  1. Yes, I trust this folder\n❯ 2. No, exit"_s, down},
        {u"❯ old prompt\n  1. Yes, I trust this folder\n❯ 2. No, exit\n\nEnter to confirm"_s, down},
        {u"1. Yes, I trust this folder\n2. No, exit"_s, std::nullopt},
        {u"❯ Yes, I trust this folder"_s, std::nullopt},
        {u"Do you trust the files in this folder? Yes, proceed"_s + QString(2000, u'x'), std::nullopt},
        {QString(), std::nullopt},
    };
    for (const auto &test : cases)
        EXPECT_EQ(RunMatcher::trustPromptResponse(test.pane), test.answer)
            << test.pane.left(80).toStdString();
}

TEST(RunMatcher, KnowsAPaneWhereNobodyIsSignedIn)
{
    const QString box = u"❯ \n"_s + u"─"_s.repeated(40) + u"\n  ⏵⏵ auto mode on"_s;
    EXPECT_TRUE(RunMatcher::asksToSignIn(box + u"      Not logged in · Run /login\n\n"_s));
    EXPECT_TRUE(
        RunMatcher::asksToSignIn(box + u"      Not logged in · Run /login\n  tmux focus-events off"_s));
    EXPECT_TRUE(RunMatcher::asksToSignIn(u"  Invalid API key · Please run /login"_s));
    EXPECT_FALSE(RunMatcher::asksToSignIn(box));
    EXPECT_FALSE(RunMatcher::asksToSignIn(u"It said: Not logged in · Run /login\nDone.\n"_s + box))
        << "an agent may quote it";
}

TEST(RunMatcher, StallsOnlyPastTheLimit)
{
    EXPECT_FALSE(RunMatcher::isStalled(start, std::nullopt, start + 10min, 10));
    EXPECT_TRUE(RunMatcher::isStalled(start, std::nullopt, start + 10min + 1us, 10));
    EXPECT_FALSE(RunMatcher::isStalled(start, start + 5min, start + 15min, 10));
    EXPECT_FALSE(RunMatcher::isStalled(start, start - 1h, start + 10min, 10));
}

} // namespace
} // namespace Keelhaven
