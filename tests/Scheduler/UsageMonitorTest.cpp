#include "Scheduler/Usage/UsageMonitor.h"

#include "Support/TestHome.h"
#include "Support/VirtualClock.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

namespace Keelhaven {
namespace {

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

class UsageMonitorTest : public testing::Test
{
protected:
    void write(Date fetchedAt, int percent, qsizetype padding = 0) const
    {
        const auto milliseconds =
            std::chrono::floor<std::chrono::milliseconds>(fetchedAt).time_since_epoch().count();
        home.write(u".claude.json"_s, R"({"history":")" + QByteArray(padding, 'x') +
                                          R"(","cachedUsageUtilization":{"fetchedAtMs":)" +
                                          QByteArray::number(qint64(milliseconds)) +
                                          R"(,"utilization":{"five_hour":{"utilization":)" +
                                          QByteArray::number(percent) + "}}}}");
    }
    [[nodiscard]] int percent() const
    {
        return monitor->snapshot() ? monitor->snapshot()->meters.first().percent : -1;
    }

    TestHome home;
    VirtualClock clock;
    Tasks tasks;
    std::unique_ptr<UsageMonitor> monitor =
        std::make_unique<UsageMonitor>(clock, tasks, home.paths().claudeJSON());
};

TEST_F(UsageMonitorTest, FollowsTheFileEveryTwoMinutes)
{
    monitor->start();
    EXPECT_EQ(percent(), -1);
    write(clock.now(), 10);
    clock.advance(119s);
    EXPECT_EQ(percent(), -1);
    monitor->start();
    clock.advance(1s);
    EXPECT_EQ(percent(), 10);
    EXPECT_EQ(clock.timerCount(), 1U);

    write(clock.now() - 1h, 90);
    clock.advance(120s);
    EXPECT_EQ(percent(), 10) << "an older reading never replaces a newer one";
    QFile::remove(home.path(u".claude.json"_s));
    clock.advance(120s);
    EXPECT_EQ(percent(), 10);

    write(clock.now(), 20);
    monitor->shutdown();
    clock.advance(1h);
    EXPECT_EQ(percent(), 10);
}

TEST_F(UsageMonitorTest, AReadingFromTheFutureGivesWayToEachOther)
{
    write(clock.now() + 24h, 90);
    monitor->start();
    EXPECT_EQ(percent(), 90) << "better than nothing";
    write(clock.now(), 10);
    clock.advance(120s);
    EXPECT_EQ(percent(), 10) << "the clock was set back meanwhile";
    write(clock.now() + 24h, 91);
    clock.advance(120s);
    EXPECT_EQ(percent(), 10);
    write(clock.now() + 121s, 11);
    clock.advance(120s);
    EXPECT_EQ(percent(), 11) << "two clocks may differ by seconds";
}

TEST_F(UsageMonitorTest, AnUnchangedFileIsNotReadAgain)
{
    write(clock.now(), 10);
    const auto first = await(monitor->fileSnapshot());
    ASSERT_TRUE(first);
    const QString path = home.path(u".claude.json"_s);
    struct stat before = {};
    ASSERT_EQ(::stat(QFile::encodeName(path).constData(), &before), 0);
    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::ReadWrite));
    file.write(QByteArray(file.size(), ' '));
    file.close();
    const timespec times[] = {before.st_atim, before.st_mtim};
    ASSERT_EQ(::utimensat(AT_FDCWD, QFile::encodeName(path).constData(), times, 0), 0);
    EXPECT_EQ(await(monitor->fileSnapshot()), first);
    EXPECT_EQ(await(monitor->fileSnapshot()), first) << "answering must not give the kept snapshot away";
    write(clock.now(), 11);
    EXPECT_EQ(await(monitor->fileSnapshot())->meters.first().percent, 11);
}

TEST_F(UsageMonitorTest, ALargeFileIsParsedAwayFromTheLoop)
{
    write(clock.now(), 10, 1024 * 1024);
    monitor->start();
    EXPECT_EQ(percent(), -1);
    EXPECT_TRUE(waitUntil([&] { return percent() == 10; }));
    write(clock.now(), 20, 1024 * 1024);
    clock.advance(120s);
    monitor.reset();
    EXPECT_TRUE(waitUntil([&] { return tasks.running() == 0; }))
        << "the answer comes after the monitor has gone";
}

TEST_F(UsageMonitorTest, TheEstimateStartsAfterTwoMinutes)
{
    EXPECT_FALSE(monitor->estimated());
    const Date fetchedAt = clock.now();
    monitor->adopt(UsageSnapshot{fetchedAt, {{{}, 20, fetchedAt + 1h, true, 0}}});
    EXPECT_EQ(monitor->estimated(), monitor->snapshot());
    monitor->tokensBetween = [&](Date, Date to) -> qint64 { return to == fetchedAt ? 100 : 50; };
    clock.advance(120s);
    EXPECT_EQ(monitor->estimated(), monitor->snapshot());
    clock.advance(1s);
    EXPECT_EQ(monitor->estimated()->meters.first().percent, 30);
    EXPECT_EQ(monitor->snapshot()->meters.first().percent, 20);
}

TEST_F(UsageMonitorTest, AHugeBrokenOrForeignFileNeverHarmsWhatIsKnown)
{
    write(clock.now(), 10, 30 * 1024 * 1024);
    monitor->start();
    ASSERT_TRUE(waitUntil([&] { return percent() == 10; }));
    const QByteArray whole = home.read(u".claude.json"_s);
    const QByteArray cases[] = {
        whole.left(whole.size() - 20),
        "",
        "[]",
        R"({"cachedUsageUtilization":5})",
        R"({"cachedUsageUtilization":{"utilization":{"limits":5}}})",
        R"({"cachedUsageUtilization":{"utilization":{"limits":[{"kind":5,"percent":[]}]}}})"};
    for (const QByteArray &bytes : cases) {
        home.write(u".claude.json"_s, bytes);
        clock.advance(120s);
        ASSERT_TRUE(waitUntil([&] { return tasks.running() == 0; }));
        EXPECT_EQ(percent(), 10) << bytes.left(80).toStdString();
    }
    write(clock.now(), 11);
    clock.advance(120s);
    EXPECT_EQ(percent(), 11);
}

TEST_F(UsageMonitorTest, ManyReadersOfALargeFileGetWhatOneParsingFinds)
{
    write(clock.now(), 10, 1024 * 1024);
    monitor->start();
    EXPECT_EQ(percent(), -1);
    const auto second = await(monitor->fileSnapshot());
    ASSERT_TRUE(second) << "who asks during the first reading waits for it";
    EXPECT_EQ(second->meters.first().percent, 10);
    EXPECT_EQ(percent(), 10);
    EXPECT_EQ(tasks.running(), 0) << "and both are done with one parsing";

    write(clock.now(), 20, 1024 * 1024);
    const auto first = monitor->fileSnapshot();
    const auto late = monitor->fileSnapshot();
    monitor.reset();
    EXPECT_TRUE(waitUntil([&] { return first.isReady() && late.isReady(); }))
        << "nobody waits for ever for a monitor that has gone";
}

TEST_F(UsageMonitorTest, ARefreshReadsTheFileThenAsksTheAccount)
{
    OneShot<std::optional<UsageSnapshot>> answer;
    int asked = 0;
    const auto wait =
        [](OneShot<std::optional<UsageSnapshot>> pending) -> QCoro::Task<std::optional<UsageSnapshot>> {
        auto snapshot = co_await pending;
        co_return snapshot;
    };
    monitor->fetchLive = [&] {
        ++asked;
        return wait(answer);
    };
    int changes = 0;
    QObject::connect(monitor.get(), &UsageMonitor::refreshStateChanged, monitor.get(), [&] { ++changes; });
    monitor->start();
    clock.advance(1h);
    EXPECT_EQ(asked, 0) << "nothing but a refresh touches the network";

    write(clock.now() - 1min, 10);
    tasks.spawn(monitor->refreshLive(), "refresh");
    EXPECT_TRUE(monitor->refreshing());
    EXPECT_EQ(percent(), 10);
    tasks.spawn(monitor->refreshLive(), "refresh");
    EXPECT_EQ(asked, 1) << "one at a time";
    answer.resolve(std::optional(UsageSnapshot{clock.now(), {{{}, 33, {}, true, 0}}}));
    EXPECT_FALSE(monitor->refreshing());
    EXPECT_FALSE(monitor->lastRefreshError());
    EXPECT_EQ(percent(), 33);
    EXPECT_EQ(changes, 2);

    answer = {};
    tasks.spawn(monitor->refreshLive(), "refresh");
    answer.resolve(std::nullopt);
    EXPECT_EQ(
        monitor->lastRefreshError(),
        u"Couldn't fetch live usage — no Claude Code sign-in in the keychain, or the API didn't answer. The meters show the CLI's last numbers."_s);
    EXPECT_EQ(percent(), 33) << "the last numbers stay";
    answer = {};
    tasks.spawn(monitor->refreshLive(), "refresh");
    EXPECT_FALSE(monitor->lastRefreshError()) << "the next refresh has begun";
    monitor.reset();
    answer.resolve(std::nullopt);
    EXPECT_EQ(tasks.running(), 0);
}

} // namespace
} // namespace Keelhaven
