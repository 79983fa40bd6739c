#include "Platform/QtChildProcess.h"
#include "Platform/SystemClock.h"
#include "Scheduler/Usage/CodexUsageMonitor.h"
#include "Support/FakeChildProcess.h"
#include "Support/FakeProcessRunner.h"
#include "Support/MemorySettings.h"
#include "Support/TestHome.h"
#include "Support/VirtualClock.h"

#include <gtest/gtest.h>

namespace Keelhaven {
namespace {

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

const QByteArray initialized = R"({"id":1,"result":{"userAgent":"x"}})";

QByteArray window(double percent, const char *minutes)
{
    return R"({"usedPercent":)" + QByteArray::number(percent) + R"(,"resetsAt":1772600000)" +
           (QByteArray(minutes).isEmpty() ? QByteArray()
                                          : QByteArray(R"(,"windowDurationMins":)") + minutes) +
           '}';
}

QByteArray answer(const QByteArray &result)
{
    return R"({"id":2,"result":)" + result + '}';
}

QByteArray limits(int percent)
{
    return R"({"rateLimits":{"primary":)" + window(percent, "300") + "}}";
}

TEST(CodexUsageSnapshot, ChoosesBucketAndWindows)
{
    const QByteArray hours = window(12, "300");
    const QByteArray week = window(34, "10080");
    struct Case
    {
        const char *name;
        QByteArray json;
        std::optional<int> session;
        std::optional<int> weekly;
        bool isNothing = false;
    };
    const QList<Case> cases{
        {"both", R"({"rateLimits":{"primary":)" + hours + R"(,"secondary":)" + week + "}}", 12, 34},
        {"swapped", R"({"rateLimits":{"primary":)" + week + R"(,"secondary":)" + hours + "}}", 12, 34},
        {"of unknown length", R"({"rateLimits":{"secondary":)" + window(5, "") + "}}", 5, {}},
        {"two short ones",
         R"({"rateLimits":{"primary":)" + hours + R"(,"secondary":)" + window(9, "60") + "}}",
         12,
         {}},
        {"longer than a week", R"({"rateLimits":{"primary":)" + window(9, "43200") + "}}", {}, {}},
        {"codex wins",
         R"({"rateLimits":{"primary":)" + hours +
             R"(},"rateLimitsByLimitId":{"other":{},"codex":{"primary":)" + week + R"(,"secondary":null}}})",
         {},
         34},
        {"codex wins though empty",
         R"({"rateLimits":{"primary":)" + hours + R"(},"rateLimitsByLimitId":{"codex":{}}})",
         {},
         {},
         true},
        {"others do not count",
         R"({"rateLimits":{"primary":)" + hours + R"(},"rateLimitsByLimitId":{"other":{"primary":)" + week +
             "}}}",
         12,
         {}},
        {"no window", R"({"rateLimits":{"credits":{"balance":"0"}}})", {}, {}, true},
        {"signed out", R"({"rateLimits":null})", {}, {}, true},
        {"no percent", R"({"rateLimits":{"primary":{"windowDurationMins":300}}})", {}, {}, true},
        {"wrong type", R"({"rateLimits":{"primary":[]}})", {}, {}, true},
        {"no object", "[1]", {}, {}, true},
        {"no JSON", "{", {}, {}, true},
    };
    const Date now(1772600707s);
    for (const auto &test : cases) {
        SCOPED_TRACE(test.name);
        const auto snapshot = CodexUsageSnapshot::parse(test.json, now);
        ASSERT_EQ(snapshot.has_value(), !test.isNothing);
        if (!snapshot)
            continue;
        const auto percent = [](const auto &window) {
            return window ? std::optional(window->percent()) : std::nullopt;
        };
        EXPECT_EQ(percent(snapshot->session), test.session);
        EXPECT_EQ(percent(snapshot->weekly), test.weekly);
        EXPECT_EQ(snapshot->fetchedAt, now);
    }
}

TEST(CodexUsageSnapshot, PercentsAreCutAndHeldInRange)
{
    const QList<std::pair<double, int>> cases{{99.9, 99}, {120, 100}, {-3, 0}, {0.99, 0}, {1e300, 100}};
    for (const auto &[used, shown] : cases)
        EXPECT_EQ((CodexUsageSnapshot::Window{used, {}, {}}.percent()), shown);
    const CodexUsageSnapshot::Window window{99.9, 300, 1772600000.5};
    EXPECT_EQ(window.caption(), u"99% used; 1% remaining"_s);
    EXPECT_EQ(window.resetDate(), Date(1772600000500ms));
}

class CodexUsageTest : public testing::Test
{
protected:
    CodexUsageTest()
    {
        home.write(u"bin/codex"_s, "#!/bin/sh\n");
        QFile::setPermissions(home.path(u"bin/codex"_s), QFile::ReadOwner | QFile::ExeOwner);
        settings.set(u"loginShellPATH"_s, home.path(u"bin"_s));
    }
    ~CodexUsageTest() override
    {
        monitor.reset();
        settle();
        EXPECT_EQ(tasks.running(), 0);
    }
    void refresh() { tasks.spawn(monitor->refresh(stop.get_token()), "refresh"); }
    [[nodiscard]] FakeChild &server() const { return *children.children.last(); }
    [[nodiscard]] int percent() const
    {
        return monitor->snapshot() && monitor->snapshot()->session ? monitor->snapshot()->session->percent()
                                                                   : -1;
    }
    [[nodiscard]] QString reason() const { return monitor->unavailableReason().value_or(QString()); }

    const TestHome home;
    VirtualClock clock;
    Tasks tasks;
    MemorySettings settings;
    FakeProcessRunner processes;
    ClaudeLocator locator{processes, settings, home.path()};
    FakeChildProcessFactory children;
    std::stop_source stop;
    std::unique_ptr<CodexUsageMonitor> monitor =
        std::make_unique<CodexUsageMonitor>(locator, children, clock, tasks);
};

const QString noAnswer = u"codex app-server didn't answer (timed out or exited)"_s;

TEST_F(CodexUsageTest, OneReadingIsOneExchange)
{
    refresh();
    ASSERT_EQ(children.children.size(), 1);
    EXPECT_EQ(server().spec.program, u"/usr/bin/env"_s);
    EXPECT_EQ(server().spec.arguments, (QStringList{u"codex"_s, u"app-server"_s}));
    EXPECT_EQ(server().spec.environment.value(u"PATH"_s), locator.withUserToolDirs(home.path(u"bin"_s)));
    EXPECT_EQ(server().spec.errors, ChildSpec::Errors::Discard);
    EXPECT_EQ(
        server().written,
        R"({"id":1,"method":"initialize","params":{"clientInfo":{"name":"keelhaven_usage","version":"1.0"}}})"
        "\n");
    EXPECT_TRUE(monitor->isLoading());
    refresh();
    EXPECT_EQ(children.children.size(), 1) << "readings never overlap";

    server().say(R"({"method":"configWarning","params":{"summary":"x"}})");
    server().written.clear();
    server().say(initialized);
    server().say(initialized);
    EXPECT_EQ(server().written, R"({"method":"initialized"})"
                                "\n"
                                R"({"id":2,"method":"account/rateLimits/read"})"
                                "\n");
    server().say(answer(limits(41)));
    EXPECT_EQ(percent(), 41);
    EXPECT_FALSE(monitor->isLoading());
    EXPECT_FALSE(monitor->unavailable());
    EXPECT_TRUE(server().isTerminated);
    EXPECT_TRUE(server().isInputClosed);
    EXPECT_EQ(server().live, nullptr);
    EXPECT_EQ(clock.timerCount(), 0U);
}

/// What a server does instead of answering, and what the reading comes to.
TEST_F(CodexUsageTest, AServerThatDoesNotAnswer)
{
    using Act = std::function<void(FakeChild &)>;
    struct Case
    {
        const char *name;
        Act act;
        QString reason;
    };
    const auto chatter = [](FakeChild &child) {
        for (int i = 0; i < 1100 && child.live; ++i)
            child.say(R"({"method":")" + QByteArray(1000, 'x') + R"("})");
    };
    const QList<Case> cases{
        {"dies", [](FakeChild &child) { child.exit({ChildExit::Kind::Crashed, -1, {}}); }, noAnswer},
        {"exits", [](FakeChild &child) { child.exit({ChildExit::Kind::Exited, 127, {}}); }, noAnswer},
        {"dies between the answers",
         [](FakeChild &child) {
             child.say(initialized);
             child.exit();
         },
         noAnswer},
        {"closes its output", [](FakeChild &child) { child.closeOutput(); }, noAnswer},
        {"floods one line", [](FakeChild &child) { child.exit({ChildExit::Kind::Flooded, -1, {}}); },
         noAnswer},
        {"floods lines", chatter, noAnswer},
        {"refuses the first", [](FakeChild &child) { child.say(R"({"id":1,"error":{"code":1}})"); },
         noAnswer},
        {"refuses the second",
         [](FakeChild &child) {
             child.say(initialized);
             child.say(
                 R"({"error":{"code":-32600,"message":"codex account authentication required to read rate limits"},"id":2})");
         },
         noAnswer},
        {"refuses what was not asked", [](FakeChild &child) { child.say(R"({"id":9,"error":null})"); },
         noAnswer},
        {"never answers", [this](FakeChild &) { clock.advance(20s); }, noAnswer},
        {"answers no object",
         [this](FakeChild &child) {
             child.say(initialized);
             child.say(answer("[1]"));
             EXPECT_TRUE(monitor->isLoading());
             clock.advance(20s);
         },
         noAnswer},
        {"cannot start",
         [](FakeChild &child) { child.exit({ChildExit::Kind::CannotStart, -1, u"no memory"_s}); },
         u"codex app-server didn't answer (no memory)"_s},
        {"cannot be written to",
         [](FakeChild &child) {
             child.writeError = ChildWriteError{ChildWriteError::Kind::Closed, u"broken pipe"_s};
             child.say(initialized);
         },
         u"codex app-server didn't answer (broken pipe)"_s},
        {"loses what was written",
         [](FakeChild &child) { child.failWriting({ChildWriteError::Kind::Closed, u"broken pipe"_s}); },
         u"codex app-server didn't answer (broken pipe)"_s},
        {"is not signed in", [](FakeChild &child) { child.say(answer(R"({"rateLimits":{}})")); },
         u"codex app-server answered without rate limits — sign in with `codex login`"_s},
    };
    refresh();
    server().say(answer(limits(7)));
    for (const auto &test : cases) {
        SCOPED_TRACE(test.name);
        refresh();
        ASSERT_NE(server().live, nullptr);
        test.act(server());
        EXPECT_FALSE(monitor->isLoading());
        EXPECT_TRUE(monitor->unavailable());
        EXPECT_EQ(reason(), test.reason);
        EXPECT_EQ(monitor->notices(clock.now()), QStringList{u"Codex usage unavailable. "_s + test.reason});
        EXPECT_EQ(percent(), 7) << "the last numbers stay";
        EXPECT_EQ(server().live, nullptr);
        EXPECT_EQ(clock.timerCount(), 0U);
    }
    refresh();
    server().say(answer(limits(8)));
    EXPECT_EQ(percent(), 8);
    EXPECT_FALSE(monitor->unavailable());
    EXPECT_EQ(reason(), QString());
    EXPECT_EQ(monitor->notices(clock.now() + 3600s), QStringList());
    EXPECT_EQ(monitor->notices(clock.now() + 3601s), QStringList{u"Usage is 1h old."_s});
}

TEST_F(CodexUsageTest, GarbageBetweenTheAnswersIsSkippedAndALateAnswerCounts)
{
    refresh();
    for (const QByteArray &line :
         {"", "not json", "[]", "7", "{", "{\"id\":\"1\",\"result\":{}}", "{\"id\":1.5}",
          "{\"id\":null,\"error\":{}}", "{\"id\":3,\"result\":{}}", "\xff\xfe", "{\"result\":{}}"})
        server().say(line);
    EXPECT_TRUE(monitor->isLoading());
    EXPECT_EQ(server().lines().size(), 1) << "nothing of it was the first answer";
    clock.advance(19s);
    server().say(initialized);
    clock.advance(999ms);
    server().say(answer(limits(3)));
    EXPECT_EQ(percent(), 3);

    refresh();
    server().say(answer(limits(4)));
    EXPECT_EQ(percent(), 4) << "out of order, but it is the answer";
}

TEST_F(CodexUsageTest, WithoutCodexNothingIsStarted)
{
    QFile::remove(home.path(u"bin/codex"_s));
    refresh();
    EXPECT_EQ(processes.runs.size(), 1) << "the remembered PATH is asked for again";
    EXPECT_EQ(reason(), u"codex isn't on your login shell's PATH"_s);
    EXPECT_TRUE(children.children.isEmpty());
    EXPECT_FALSE(monitor->isLoading());

    home.write(u"elsewhere/codex"_s, "#!/bin/sh\n");
    QFile::setPermissions(home.path(u"elsewhere/codex"_s), QFile::ReadOwner | QFile::ExeOwner);
    settings.set(u"loginShellPATH"_s, home.path(u"elsewhere"_s));
    refresh();
    EXPECT_EQ(children.children.size(), 1) << "installed meanwhile";
}

TEST_F(CodexUsageTest, ACancelledReadingChangesNothing)
{
    refresh();
    stop.request_stop();
    EXPECT_FALSE(monitor->isLoading());
    EXPECT_FALSE(monitor->unavailable());
    EXPECT_EQ(server().live, nullptr);
    refresh();
    EXPECT_EQ(children.children.size(), 1) << "cancelled before it began";
    EXPECT_FALSE(monitor->isLoading());

    stop = std::stop_source();
    settings.remove(u"loginShellPATH"_s);
    processes.answer = [](const ProcessSpec &) { return std::nullopt; };
    refresh();
    stop.request_stop();
    // What the shell says no longer matters; it may be asked once more.
    processes.finishPending(ProcessResult{});
    processes.finishPending(ProcessResult{});
    EXPECT_FALSE(monitor->isLoading());
    EXPECT_EQ(children.children.size(), 1);

    stop = std::stop_source();
    settings.set(u"loginShellPATH"_s, home.path(u"bin"_s));
    refresh();
    ASSERT_EQ(children.children.size(), 2);
    monitor->shutdown();
    EXPECT_EQ(server().live, nullptr);
    EXPECT_EQ(tasks.running(), 0);
    refresh();
    EXPECT_EQ(children.children.size(), 2);
}

TEST_F(CodexUsageTest, FollowsWhileTheMetersAreOnScreen)
{
    monitor->startFollowing();
    server().say(answer(limits(1)));
    clock.advance(119s);
    EXPECT_EQ(children.children.size(), 1);
    clock.advance(1s);
    ASSERT_EQ(children.children.size(), 2);
    clock.advance(20s);
    EXPECT_EQ(reason(), noAnswer);
    clock.advance(120s);
    EXPECT_EQ(children.children.size(), 3) << "a failure does not end it";
    monitor->startFollowing();
    EXPECT_EQ(children.children.size(), 4) << "begins anew";
    EXPECT_EQ(children.children[2]->live, nullptr);
    server().say(answer(limits(2)));
    EXPECT_EQ(clock.timerCount(), 1U);
    monitor->stopFollowing();
    clock.advance(1h);
    EXPECT_EQ(children.children.size(), 4);
    EXPECT_EQ(percent(), 2);
}

TEST_F(CodexUsageTest, BeginningAnewWaitsForACancelledReadingToEnd)
{
    settings.remove(u"loginShellPATH"_s);
    processes.answer = [](const ProcessSpec &) { return std::nullopt; };
    monitor->startFollowing();
    monitor->stopFollowing();
    monitor->startFollowing();
    settings.set(u"loginShellPATH"_s, home.path(u"bin"_s));
    processes.finishPending(ProcessResult{});
    processes.finishPending(ProcessResult{});
    ASSERT_EQ(children.children.size(), 1) << "not only when the next reading is due";
    server().say(answer(limits(5)));
    EXPECT_EQ(percent(), 5);
}

TEST_F(CodexUsageTest, TheMonitorMayGoDuringAReading)
{
    monitor->startFollowing();
    monitor.reset();
    EXPECT_EQ(server().live, nullptr);
    EXPECT_EQ(clock.timerCount(), 0U);

    monitor = std::make_unique<CodexUsageMonitor>(locator, children, clock, tasks);
    settings.remove(u"loginShellPATH"_s);
    processes.answer = [](const ProcessSpec &) { return std::nullopt; };
    refresh();
    const auto waiting = monitor->readingEnd();
    monitor.reset();
    EXPECT_TRUE(waiting.isReady());
    processes.finishPending(ProcessResult{});
    processes.finishPending(ProcessResult{});
    EXPECT_EQ(children.children.size(), 1) << "it went while the shell was asked";
}

/// A program that plays the server, on real streams.
TEST(CodexUsageRequest, ReadsFromARealProcess)
{
    const TestHome home;
    home.write(u"server"_s, R"SCRIPT(read -r first
case "$first" in *'"method":"initialize"'*) ;; *) exit 1 ;; esac
echo noise >&2
printf '{"method":"note"}\n{"id":1,"resu'; printf 'lt":{}}\n'
read -r second; read -r third
case "$second$third" in *initialized*rateLimits/read*) ;; *) exit 1 ;; esac
printf '{"id":2,"result":{"rateLimits":{"primary":{"usedPercent":5,"extra":"%s"}}}}\n' "$PATH"
exec sleep 60)SCRIPT");
    QtChildProcessFactory children;
    SystemClock clock;
    const auto read = [&](const QString &script, Span limit) {
        CodexUsageRequest request(children, clock, u"/bin/sh"_s, {script}, limit);
        return await(request.read(u"/usr/bin:/bin"_s));
    };
    const auto good = read(home.path(u"server"_s), 20s);
    ASSERT_TRUE(good);
    EXPECT_EQ(good->result, R"({"rateLimits": {"primary": {"usedPercent": 5, "extra": "/usr/bin:/bin"}}})");
    const QList<std::pair<QByteArray, Span>> bad{{"cat /dev/zero", 20s},
                                                 {"exec yes", 20s},
                                                 {"exit 0", 20s},
                                                 {"exec sleep 60", 100ms},
                                                 {"exec cat", 100ms}};
    for (const auto &[script, limit] : bad) {
        SCOPED_TRACE(script.constData());
        const auto answer = read(home.write(u"bad"_s, script), limit);
        ASSERT_FALSE(answer);
        EXPECT_EQ(answer.error(), CodexUsageError{});
    }
}

} // namespace
} // namespace Keelhaven
