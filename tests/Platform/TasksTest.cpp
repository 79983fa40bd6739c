#include "Platform/Tasks.h"
#include "Support/VirtualClock.h"

#include <gtest/gtest.h>
#include <thread>

namespace Keelhaven {

using namespace std::chrono_literals;

namespace {

QCoro::Task<> sleepAndFail(Clock &clock)
{
    const bool slept = co_await clock.sleep(1s);
    if (slept)
        throw std::runtime_error("broken");
}

QCoro::Task<int> awaitShot(OneShot<int> shot)
{
    const int value = co_await shot;
    co_return value;
}

} // namespace

TEST(Tasks, FailureIsLoggedAndEndsQuietly)
{
    VirtualClock clock;
    Tasks tasks;
    tasks.spawn(sleepAndFail(clock), "sleepAndFail");
    EXPECT_EQ(tasks.running(), 1);
    testing::internal::CaptureStderr();
    clock.advance(1s);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "Keelhaven: task sleepAndFail failed: broken\n");
    EXPECT_EQ(tasks.running(), 0);
}

TEST(Tasks, PoolWorkComesBackToItsCaller)
{
    const auto caller = std::this_thread::get_id();
    auto relay = [](std::thread::id home) -> QCoro::Task<std::pair<bool, bool>> {
        const auto worker = co_await onPool([] { return std::this_thread::get_id(); });
        const std::pair answer(worker != home, std::this_thread::get_id() == home);
        co_return answer;
    };
    EXPECT_EQ(await(relay(caller)), std::pair(true, true));
}

TEST(OneShot, FirstValueWinsWhetherOrNotSomebodyWaits)
{
    const OneShot<int> shot;
    const auto waiter = awaitShot(shot);
    EXPECT_FALSE(waiter.isReady());
    EXPECT_TRUE(shot.resolve(1));
    EXPECT_FALSE(shot.resolve(2));
    EXPECT_TRUE(waiter.isReady());
    const OneShot<int> early;
    EXPECT_TRUE(early.resolve(3));
    EXPECT_EQ(await(awaitShot(early)), 3);
}

} // namespace Keelhaven
