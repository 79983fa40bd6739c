#include "Platform/SystemClock.h"
#include "Platform/Tasks.h"
#include "Support/VirtualClock.h"

#include <gtest/gtest.h>

namespace Keelhaven {

using namespace std::chrono_literals;

namespace {

QCoro::Task<> sleepTwice(Clock &clock, Span first, Span second, QList<bool> &answers)
{
    const bool slept = co_await clock.sleep(first);
    answers.append(slept);
    const bool sleptAgain = co_await clock.sleep(second);
    answers.append(sleptAgain);
}

} // namespace

TEST(Clock, SleepEndsAtItsTime)
{
    VirtualClock clock;
    QList<bool> answers;
    const auto task = sleepTwice(clock, 10s, 5s, answers);
    clock.advance(9s);
    EXPECT_EQ(answers, QList<bool>());
    clock.advance(1s);
    EXPECT_EQ(answers, QList<bool>{true});
    clock.jump(1h);
    EXPECT_EQ(clock.nextTimer(), 5s);
    clock.advance(5s);
    EXPECT_EQ(answers, (QList<bool>{true, true}));
    EXPECT_TRUE(task.isReady());
}

TEST(Clock, CloseWakesEverySleeperAndRefusesNewOnes)
{
    VirtualClock clock;
    QList<bool> answers;
    const auto first = sleepTwice(clock, 1h, 1h, answers);
    const auto second = sleepTwice(clock, 1s, 1h, answers);
    clock.advance(1s);
    clock.close();
    EXPECT_EQ(answers, (QList<bool>{true, false, false, false}));
    EXPECT_TRUE(first.isReady() && second.isReady());
    EXPECT_EQ(clock.timerCount(), 0U);
    const auto late = sleepTwice(clock, 0s, 0s, answers);
    EXPECT_TRUE(late.isReady());
    EXPECT_FALSE(answers.last());
}

TEST(SystemClock, LongWaitsGiveTheirDescriptorsBack)
{
    const auto openDescriptors = [] {
        return QDir(QStringLiteral("/proc/self/fd"))
            .entryList(QDir::NoDotAndDotDot | QDir::AllEntries | QDir::System)
            .size();
    };
    SystemClock clock;
    const auto before = openDescriptors();
    {
        const Timer once = clock.after(24h * 100, [] {});
        const Timer repeating = clock.every(2h, [] {});
        EXPECT_EQ(openDescriptors(), before + 2);
    }
    settle();
    EXPECT_EQ(openDescriptors(), before);
}

TEST(SystemClock, TimerMayEndItselfAndAResetOneIsSilent)
{
    SystemClock clock;
    int fired = 0;
    Timer own;
    own = clock.every(1ms, [&] {
        if (++fired == 3)
            own.reset();
    });
    bool isSilent = true;
    Timer other = clock.after(0s, [&] { isSilent = false; });
    other.reset();
    ASSERT_TRUE(waitUntil([&] { return !own; }));
    bool isLater = false;
    const Timer later = clock.after(20ms, [&] { isLater = true; });
    ASSERT_TRUE(waitUntil([&] { return isLater; }));
    EXPECT_EQ(fired, 3);
    EXPECT_TRUE(isSilent);
}

} // namespace Keelhaven
