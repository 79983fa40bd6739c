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

} // namespace
} // namespace Keelhaven
