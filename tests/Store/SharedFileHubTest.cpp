#include "Store/SharedFileHub.h"

#include "Support/TestHome.h"
#include "Support/VirtualClock.h"

#include <QDir>
#include <gtest/gtest.h>

namespace Keelhaven {
namespace {

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

/// Watches of folders that exist; the test says when something happens.
class FakeWatchFactory : public DirectoryWatchFactory
{
public:
    std::unique_ptr<DirectoryWatch> watch(const QString &folder, std::function<void()> event,
                                          std::function<void()> lost) override
    {
        if (!QDir(folder).exists())
            return nullptr;
        if (!folder.endsWith(u"/cache") && !folder.endsWith(u"/keelhaven")) {
            ++ancestorsOpened;
            onAncestorEvent = std::move(event);
            onAncestorLost = std::move(lost);
            return std::make_unique<DirectoryWatch>();
        }
        ++opened;
        onEvent = std::move(event);
        onLost = std::move(lost);
        return std::make_unique<DirectoryWatch>();
    }

    int opened = 0;
    int ancestorsOpened = 0;
    std::function<void()> onEvent;
    std::function<void()> onLost;
    std::function<void()> onAncestorEvent;
    std::function<void()> onAncestorLost;
};

class WatcherTest : public ::testing::Test
{
protected:
    TestHome home;
    VirtualClock clock;
    FakeWatchFactory factory;
    int calls = 0;
    DirectoryWatcher watcher{home.path(u"cache"_s), clock, factory, [this] { ++calls; }};
};

TEST_F(WatcherTest, BurstGivesOneCallAfterItsLastChange)
{
    home.write(u"cache/x"_s, {});
    watcher.start();
    watcher.start();
    EXPECT_EQ(factory.opened, 1);
    for (int i = 0; i < 10; ++i) {
        factory.onEvent();
        clock.advance(10ms);
    }
    clock.advance(189ms);
    EXPECT_EQ(calls, 0);
    clock.advance(1ms);
    EXPECT_EQ(calls, 1);
    clock.advance(10s);
    EXPECT_EQ(calls, 1);
}

TEST_F(WatcherTest, BurstWithoutEndIsCutByThePoll)
{
    home.write(u"cache/x"_s, {});
    watcher.start();
    for (int i = 0; i < 650; ++i) {
        factory.onEvent();
        clock.advance(100ms);
    }
    EXPECT_EQ(calls, 2);
}

TEST_F(WatcherTest, FolderThatIsMadeIsNoticedWithoutThePoll)
{
    watcher.start();
    factory.onAncestorEvent();
    EXPECT_EQ(factory.opened, 0) << "something else was made";
    home.write(u"cache/x"_s, {});
    const auto event = factory.onAncestorEvent;
    event();
    EXPECT_EQ(factory.opened, 1);
    clock.advance(200ms);
    EXPECT_EQ(calls, 1);
}

TEST_F(WatcherTest, PollKeepsTheWatchOfAFolderAbove)
{
    watcher.start();
    clock.advance(5min);
    EXPECT_EQ(factory.ancestorsOpened, 1);
    const auto lost = factory.onAncestorLost;
    lost();
    EXPECT_EQ(factory.ancestorsOpened, 2) << "a dead watch is replaced";
    home.write(u"cache/x"_s, {});
    const auto event = factory.onAncestorEvent;
    event();
    EXPECT_EQ(factory.opened, 1);
}

TEST_F(WatcherTest, FolderThatComesLateOrGoesIsFoundByThePoll)
{
    watcher.start();
    clock.advance(29s);
    home.write(u"cache/x"_s, {});
    EXPECT_EQ(factory.opened, 0);
    clock.advance(1s);
    EXPECT_EQ(factory.opened, 1);
    EXPECT_EQ(calls, 1);
    factory.onLost();
    clock.advance(200ms);
    EXPECT_EQ(calls, 2);
    clock.advance(30s);
    EXPECT_EQ(factory.opened, 2);
    factory.onEvent();
    watcher.stop();
    clock.advance(5min);
    EXPECT_EQ(calls, 3);
    EXPECT_EQ(clock.timerCount(), 0U);
}

TEST_F(WatcherTest, FolderReplacedTogetherWithTheOneAboveIsWatchedAgainAtThePoll)
{
    home.write(u"above/cache/x"_s, {});
    DirectoryWatcher below(home.path(u"above/cache"_s), clock, factory, [this] { ++calls; });
    below.start();
    clock.advance(5min);
    EXPECT_EQ(factory.opened, 1);
    ASSERT_TRUE(QDir().rename(home.path(u"above"_s), home.path(u"aside"_s)));
    clock.advance(30s);
    EXPECT_EQ(factory.opened, 1) << "there is none";
    home.write(u"above/cache/x"_s, {});
    factory.onAncestorEvent();
    EXPECT_EQ(factory.opened, 2);
    ASSERT_TRUE(QDir().rename(home.path(u"above"_s), home.path(u"aside2"_s)));
    home.write(u"above/cache/x"_s, {});
    clock.advance(30s);
    EXPECT_EQ(factory.opened, 3);
}

class HubTest : public ::testing::Test
{
protected:
    void put(const QString &name, const QByteArray &bytes)
    {
        home.write(u".cache/keelhaven/"_s + name, bytes);
    }

    /// Tells the hub of a change and waits for what it makes of it.
    void change()
    {
        factory.onEvent();
        clock.advance(200ms);
        finish();
    }
    void finish()
    {
        ASSERT_TRUE(waitUntil([this] { return tasks.running() == 0; }));
    }
    TestHome home;
    VirtualClock clock;
    FakeWatchFactory factory;
    Tasks tasks;
    SharedFileHub hub{home.paths(), clock, factory, tasks};
    QList<Snapshot> seen;
    SharedFileHub::Subscription subscription =
        hub.snapshots([this](const Snapshot &snapshot) { seen.append(snapshot); });
};

TEST_F(HubTest, SnapshotsFollowTheFiles)
{
    hub.start();
    finish();
    ASSERT_EQ(seen.size(), 1);
    EXPECT_EQ(seen.last().at, clock.now());
    EXPECT_FALSE(seen.last().health.cacheDirExists);
    EXPECT_TRUE(seen.last().credentials.hideIdleLocal) << "what an absent file says";

    put(u"state.json"_s, R"({"schema_version": 4, "last_refresh": "1"})");
    put(u"ai.json"_s, R"({"digests": {"p": {}}})");
    put(u"context.json"_s, R"({"p": {"vision": "far", "active_launch": {}}, "q": 3})");
    put(u"credentials.json"_s, R"({"github": {"enabled": true, "token": "secret"}})");
    put(u"events.jsonl"_s, "{\"ts\": 1772600000, \"type\": \"a\"}\n");
    clock.advance(30s);
    finish();
    ASSERT_EQ(seen.size(), 2);
    EXPECT_TRUE(seen.last().health.cacheDirExists);
    EXPECT_EQ(seen.last().health.unknownSchemaVersion, 4);
    EXPECT_EQ(seen.last().state.lastRefresh, u"1"_s);
    EXPECT_TRUE(seen.last().ai.agentHasRun());
    const auto context = seen.last().context;
    EXPECT_EQ(context.projects.keys(), (QStringList{u"p"_s, u"q"_s}));
    EXPECT_EQ(context.projects[u"p"_s].vision, u"far"_s);
    EXPECT_TRUE(seen.last().credentials.githubEnabled);
    EXPECT_EQ(seen.last().newEvents.size(), 1);

    change();
    clock.advance(60s);
    finish();
    EXPECT_EQ(seen.size(), 2) << "nothing changed, nothing sent";

    put(u"events.jsonl"_s, "{\"ts\": 1772600000, \"type\": \"a\"}\n{\"ts\": 1772600001, \"type\": \"b\"}\n");
    change();
    ASSERT_EQ(seen.size(), 3);
    EXPECT_EQ(seen.last().events.size(), 2);
    EXPECT_EQ(seen.last().newEvents.size(), 1);
    EXPECT_EQ(seen.last().state.lastRefresh, u"1"_s);
    EXPECT_EQ(seen.last().context, context) << "a launch keeps its made-up id while its file stands";

    put(u"context.json"_s, "[\"no object\"]");
    put(u"state.json"_s, R"({"schema_version": "4"})");
    change();
    ASSERT_EQ(seen.size(), 4);
    EXPECT_EQ(seen.last().context, ContextFile());
    EXPECT_EQ(seen.last().health.unknownSchemaVersion, std::nullopt);
}

TEST_F(HubTest, HalfWrittenFileLeavesTheLastGoodRecordAndIsTriedAgain)
{
    put(u"state.json"_s, R"({"last_refresh": "1"})");
    hub.start();
    finish();
    put(u"state.json"_s, R"({"last_refresh": "2", "pro)");
    change();
    EXPECT_EQ(seen.size(), 1);
    EXPECT_EQ(hub.current().state.lastRefresh, u"1"_s);
    put(u"ai.json"_s, "{}");
    change();
    ASSERT_EQ(seen.size(), 2);
    EXPECT_EQ(hub.current().state.lastRefresh, u"1"_s);
    put(u"state.json"_s, R"({"last_refresh": "2"})");
    change();
    EXPECT_EQ(hub.current().state.lastRefresh, u"2"_s);
    put(u"state.json"_s, "{");
    change();
    QFile::remove(home.paths().stateFile());
    change();
    ASSERT_EQ(seen.size(), 4);
    EXPECT_EQ(hub.current().state, StateFile::empty()) << "a file that has gone resets its record";
}

TEST_F(HubTest, FileTooLargeToParseIsToldOnceAndLeftUnread)
{
    put(u"state.json"_s, R"({"last_refresh": "1"})");
    hub.start();
    finish();
    const QByteArray whole = R"({"last_refresh": "2"})";
    put(u"state.json"_s, whole + QByteArray((64 << 20) - whole.size() + 1, ' '));
    testing::internal::CaptureStderr();
    change();
    change();
    EXPECT_EQ(
        QString::fromStdString(testing::internal::GetCapturedStderr()),
        u"Keelhaven: cannot read %1: it is larger than 64 MB; what was read of it before stands\n"_s.arg(
            home.paths().stateFile()));
    EXPECT_EQ(hub.current().state.lastRefresh, u"1"_s);
    put(u"state.json"_s, whole);
    change();
    EXPECT_EQ(hub.current().state.lastRefresh, u"2"_s);
}

TEST_F(HubTest, SubscribersComeAndGo)
{
    int late = 0;
    hub.start();
    finish();
    EXPECT_TRUE(hub.hasLoaded());
    auto second = hub.snapshots([&](const Snapshot &) { ++late; });
    EXPECT_EQ(late, 1) << "the last snapshot at once";
    put(u"ai.json"_s, "{}");
    hub.reload();
    hub.reload();
    finish();
    EXPECT_EQ(late, 2);
    second = {};
    SharedFileHub::Subscription own;
    int ownCalls = 0;
    own = hub.snapshots([&](const Snapshot &) {
        ++ownCalls;
        if (ownCalls == 2)
            own = {};
    });
    for (int i = 0; i < 3; ++i) {
        put(u"ai.json"_s, QByteArray(i + 3, ' ') + "{}");
        hub.reload();
        finish();
    }
    EXPECT_EQ(late, 2);
    EXPECT_EQ(ownCalls, 2);
    EXPECT_EQ(seen.size(), 5);
    hub.stop();
}

TEST(HubLifetimeTest, HubMayGoWhileItReads)
{
    const TestHome home;
    VirtualClock clock;
    FakeWatchFactory factory;
    Tasks tasks;
    home.write(u".cache/keelhaven/state.json"_s, "{}");
    auto hub = std::make_unique<SharedFileHub>(home.paths(), clock, factory, tasks);
    int calls = 0;
    const auto subscription = hub->snapshots([&](const Snapshot &) { ++calls; });
    hub->start();
    EXPECT_EQ(tasks.running(), 1);
    hub.reset();
    ASSERT_TRUE(waitUntil([&] { return tasks.running() == 0; }));
    EXPECT_EQ(calls, 0);
}

} // namespace
} // namespace Keelhaven
