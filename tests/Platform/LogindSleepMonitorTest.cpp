#include "Platform/LogindSleepMonitor.h"

#include "PrivateBus.h"

namespace Keelhaven {
namespace {

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

class LogindSleepMonitorTest : public ::testing::Test
{
protected:
    LogindSleepMonitorTest()
    {
        monitor.onDidWake = [this] { ++wakes; };
    }

    PrivateBus daemon;
    VirtualClock clock;
    MessageBus system{daemon.address(), clock};
    int wakes = 0;
    LogindSleepMonitor monitor{system};
};

TEST_F(LogindSleepMonitorTest, LogindTellsOfAWakeButNotOfFallingAsleep)
{
    auto logind = std::make_unique<StandInService>(daemon, u"org.freedesktop.login1"_s);
    const auto send = [&](bool begins, const QString &path = u"/org/freedesktop/login1"_s) {
        logind->send(path, u"org.freedesktop.login1.Manager"_s, u"PrepareForSleep"_s, {begins});
    };
    monitor.start();
    monitor.start();
    ASSERT_TRUE(waitUntil([&] { return system.isConnected(); }));
    ASSERT_TRUE(await(system.offers(u"org.freedesktop.login1"_s)));
    send(true);
    send(false, u"/elsewhere"_s);
    send(false);
    EXPECT_TRUE(waitUntil([&] { return wakes > 0; }));
    EXPECT_EQ(wakes, 1);
    EXPECT_EQ(await(monitor.examine()).detail, u"login1 tells when the machine has slept");

    daemon.stop();
    ASSERT_TRUE(waitUntil([&] { return !system.isConnected(); }));
    logind.reset();
    daemon.start();
    logind = std::make_unique<StandInService>(daemon, u"org.freedesktop.login1"_s);
    clock.advance(1s);
    ASSERT_TRUE(waitUntil([&] { return system.isConnected(); }));
    ASSERT_TRUE(await(system.offers(u"org.freedesktop.login1"_s)));
    send(false);
    EXPECT_TRUE(waitUntil([&] { return wakes > 1; }));
    EXPECT_EQ(wakes, 2);
}

TEST_F(LogindSleepMonitorTest, WithoutABusTheKernelsClockTells)
{
    daemon.stop();
    monitor.start();
    monitor.clockJumped();
    EXPECT_EQ(wakes, 1);
    EXPECT_TRUE(await(monitor.examine()).ok);
}

} // namespace
} // namespace Keelhaven
