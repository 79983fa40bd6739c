#include "Platform/LogindPower.h"

#include "PrivateBus.h"

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

namespace Keelhaven {
namespace {

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

const QString screenSaver = u"org.freedesktop.ScreenSaver"_s;
const QString gnome = u"org.gnome.SessionManager"_s;
const QStringList policyErrors{u"org.freedesktop.DBus.Error.AccessDenied"_s,
                               u"org.freedesktop.DBus.Error.InteractiveAuthorizationRequired"_s};

const QString darkDisplay =
    u"no screen saver or GNOME session on the session bus: the display may go dark and lock"_s;

/// login1 as it behaves: a hold lasts while the other end of its pipe is open.
class StandInLogind : public StandInService
{
public:
    explicit StandInLogind(const PrivateBus &bus)
        : StandInService(bus, u"org.freedesktop.login1"_s)
    {
        answer = [this](const QDBusMessage &call) -> Answer {
            EXPECT_EQ(call.path(), u"/org/freedesktop/login1");
            EXPECT_EQ(call.interface(), u"org.freedesktop.login1.Manager");
            EXPECT_EQ(call.member(), u"Inhibit");
            EXPECT_EQ(call.signature(), u"ssss");
            if (refused.contains(call.arguments().value(0).toString()))
                return error;
            if (isSlow)
                return Silence();
            return hold();
        };
    }

    /// Takes a hold, and gives the end that keeps it.
    QVariantList hold()
    {
        int ends[2];
        if (::pipe2(ends, O_CLOEXEC) != 0)
            return {};
        m_holds.append(ends[0]);
        const QDBusUnixFileDescriptor given(ends[1]);
        ::close(ends[1]);
        return {QVariant::fromValue(given)};
    }
    ~StandInLogind() override
    {
        for (const int hold : std::as_const(m_holds))
            ::close(hold);
    }

    [[nodiscard]] qsizetype holds() const
    {
        return std::ranges::count_if(m_holds, [](int hold) {
            pollfd watched{hold, POLLIN, 0};
            ::poll(&watched, 1, 0);
            return (watched.revents & POLLHUP) == 0;
        });
    }

    QStringList refused;
    QString error = policyErrors.first();
    bool isSlow = false; ///< answers nothing by itself

private:
    QList<int> m_holds;
};

class LogindPowerTest : public ::testing::Test
{
protected:
    std::uint32_t take(PowerBackend::Hold hold) { return power.take(hold, u"a reason"_s); }
    [[nodiscard]] bool isTakenSoon(std::uint32_t id)
    {
        return waitUntil([this, id] { return power.isTaken(id); });
    }
    /// The bus comes up again with a new login1: whether the hold is taken from that one, once.
    [[nodiscard]] bool isTakenFromTheNext(std::unique_ptr<StandInLogind> &logind, std::uint32_t id)
    {
        logind = nullptr;
        systemDaemon.start();
        logind = std::make_unique<StandInLogind>(systemDaemon);
        clock.advance(1s);
        return isTakenSoon(id) && logind->holds() == 1;
    }
    std::unique_ptr<StandInService> keeper(const QString &name, quint32 firstCookie)
    {
        auto service = std::make_unique<StandInService>(sessionDaemon, name);
        service->answer = [next = firstCookie](const QDBusMessage &call) mutable -> StandInService::Answer {
            return call.member() == u"Inhibit" ? QVariantList{next++} : QVariantList();
        };
        return service;
    }

    PrivateBus systemDaemon;
    PrivateBus sessionDaemon;
    VirtualClock clock;
    MessageBus system{systemDaemon.address(), clock};
    MessageBus session{sessionDaemon.address(), clock};
    LogindPower power{system, session};
};

TEST_F(LogindPowerTest, HoldsTheMachineWhileTheHoldIsTaken)
{
    const StandInLogind logind(systemDaemon);
    EXPECT_FALSE(system.isConnected()) << "nobody needs the bus yet";
    const auto first = take(PowerBackend::Hold::System);
    const auto second = take(PowerBackend::Hold::System);
    EXPECT_NE(first, 0U);
    EXPECT_NE(first, second);
    ASSERT_TRUE(isTakenSoon(first) && isTakenSoon(second));
    EXPECT_EQ(logind.log()[0], u"Inhibit(sleep:idle, Keelhaven, a reason, block)");
    EXPECT_EQ(logind.holds(), 2);
    power.drop(first);
    EXPECT_TRUE(waitUntil([&] { return logind.holds() == 1; }));
    power.drop(first);
    power.drop(second);
    EXPECT_TRUE(waitUntil([&] { return logind.holds() == 0; }));
    EXPECT_FALSE(session.isConnected());
}

TEST_F(LogindPowerTest, AHoldDroppedBeforeTheAnswerIsGivenBack)
{
    const StandInLogind logind(systemDaemon);
    power.drop(take(PowerBackend::Hold::System));
    ASSERT_TRUE(isTakenSoon(take(PowerBackend::Hold::System)));
    power.drop(take(PowerBackend::Hold::System));
    ASSERT_TRUE(waitUntil([&] { return logind.calls.size() == 2; }));
    EXPECT_TRUE(waitUntil([&] { return logind.holds() == 1; }));

    auto saver = keeper(screenSaver, 7);
    const auto kept = take(PowerBackend::Hold::Display);
    ASSERT_TRUE(isTakenSoon(kept));
    power.drop(take(PowerBackend::Hold::Display));
    ASSERT_TRUE(waitUntil([&] { return saver->calls.size() == 3; }));
    EXPECT_EQ(saver->log().last(), u"UnInhibit(8)");
}

TEST_F(LogindPowerTest, TakesHoldsAgainFromANewServiceAndANewBus)
{
    bool isHeld = false; // as a screen has it that follows the changes
    std::uint32_t id = 0;
    power.onChanged = [&] { isHeld = power.isTaken(id); };
    id = take(PowerBackend::Hold::System);
    EXPECT_NE(id, 0U) << "the service may come later";
    EXPECT_FALSE(await(power.examine()).ok);
    auto logind = std::make_unique<StandInLogind>(systemDaemon);
    ASSERT_TRUE(isTakenSoon(id));
    EXPECT_EQ(await(power.examine()), (ServiceStatus{true, u"login1; "_s + darkDisplay}));

    EXPECT_TRUE(isHeld);
    logind = nullptr;
    ASSERT_TRUE(waitUntil([&] { return !power.isTaken(id); }));
    EXPECT_FALSE(isHeld);
    logind = std::make_unique<StandInLogind>(systemDaemon);
    ASSERT_TRUE(isTakenSoon(id));
    EXPECT_TRUE(isHeld);
    EXPECT_EQ(logind->holds(), 1);

    systemDaemon.stop();
    ASSERT_TRUE(waitUntil([&] { return !system.isConnected(); }));
    EXPECT_EQ(logind->holds(), 1) << "login1 still has it";
    EXPECT_FALSE(isHeld);
    ASSERT_TRUE(isTakenFromTheNext(logind, id));
    power.drop(id);
    EXPECT_TRUE(waitUntil([&] { return logind->holds() == 0; }));
}

TEST_F(LogindPowerTest, WhatThePolicyRefusesIsAskedForInPart)
{
    StandInLogind logind(systemDaemon);
    logind.refused = {u"sleep:idle"_s};
    for (const QString &error : policyErrors) {
        logind.calls.clear();
        logind.error = error;
        const auto id = take(PowerBackend::Hold::System);
        ASSERT_TRUE(isTakenSoon(id));
        EXPECT_TRUE(logind.log()[1].startsWith(u"Inhibit(idle, "));
    }
    EXPECT_EQ(
        await(power.examine()),
        (ServiceStatus{true, u"login1, only against falling asleep when idle: whoever sends the machine "
                             "to sleep stops the runs; "_s +
                                 darkDisplay}));
    logind.refused.append(u"idle"_s);
    const auto refused = take(PowerBackend::Hold::System);
    ASSERT_TRUE(waitUntil([&] { return logind.calls.size() == 4; }));
    const auto status = await(power.examine());
    EXPECT_EQ(status, (ServiceStatus{false, u"login1 gives no hold (not here): the machine may go to sleep "
                                            "during a run; "_s +
                                                darkDisplay}));
    EXPECT_FALSE(power.isTaken(refused));
    EXPECT_EQ(logind.calls.size(), 4) << "it is not asked for ever";
    power.renew(refused);
    ASSERT_TRUE(waitUntil([&] { return logind.calls.size() == 6; }));
    static_cast<void>(await(power.examine()));
    logind.refused.clear();
    power.renew(refused);
    power.renew(refused);
    ASSERT_TRUE(isTakenSoon(refused));
    power.renew(refused);
    static_cast<void>(await(power.examine()));
    EXPECT_EQ(logind.calls.size(), 7) << "asked once, and not for what it has";
}

TEST_F(LogindPowerTest, ALateAnswerStillCounts)
{
    StandInLogind logind(systemDaemon);
    logind.isSlow = true;
    const auto id = take(PowerBackend::Hold::System);
    const auto dropped = take(PowerBackend::Hold::System);
    ASSERT_TRUE(waitUntil([&] { return logind.calls.size() == 2; }));
    power.drop(dropped);
    EXPECT_EQ(await(power.examine()).detail,
              u"login1 has not answered yet: the machine may go to sleep during a run; "_s + darkDisplay);
    for (const auto &call : std::as_const(logind.calls))
        logind.reply(call, logind.hold());
    ASSERT_TRUE(isTakenSoon(id));
    EXPECT_TRUE(waitUntil([&] { return logind.holds() == 1; }));

    StandInService saver(sessionDaemon, screenSaver);
    saver.answer = [](const QDBusMessage &) { return StandInService::Silence(); };
    const auto lit = take(PowerBackend::Hold::Display);
    ASSERT_TRUE(waitUntil([&] { return saver.calls.size() == 1; }));
    power.drop(lit);
    saver.reply(saver.calls[0], {12U});
    ASSERT_TRUE(waitUntil([&] { return saver.calls.size() == 2; }));
    EXPECT_EQ(saver.log().last(), u"UnInhibit(12)");
}

TEST_F(LogindPowerTest, AServiceThatDiesBeforeItsAnswerIsAskedAgain)
{
    auto logind = std::make_unique<StandInLogind>(systemDaemon);
    logind->isSlow = true;
    const auto id = take(PowerBackend::Hold::System);
    ASSERT_TRUE(waitUntil([&] { return logind->calls.size() == 1; }));
    logind = nullptr;
    logind = std::make_unique<StandInLogind>(systemDaemon);
    logind->isSlow = true;
    ASSERT_TRUE(waitUntil([&] { return logind->calls.size() == 1; }));
    systemDaemon.stop();
    ASSERT_TRUE(waitUntil([&] { return !system.isConnected(); }));
    power.renew(id);
    ASSERT_TRUE(isTakenFromTheNext(logind, id));
}

TEST_F(LogindPowerTest, KeepsTheDisplayOnThroughWhoeverCan)
{
    auto session1 = keeper(gnome, 40);
    const auto id = take(PowerBackend::Hold::Display);
    ASSERT_TRUE(isTakenSoon(id));
    EXPECT_EQ(session1->log(), QStringList{u"Inhibit(Keelhaven, 0, a reason, 8)"_s});
    EXPECT_EQ(session1->calls[0].signature(), u"susu");
    EXPECT_EQ(session1->calls[0].path(), u"/org/gnome/SessionManager");
    auto saver = keeper(screenSaver, 7);
    power.drop(id);
    ASSERT_TRUE(waitUntil([&] { return session1->calls.size() == 2; }));
    EXPECT_EQ(session1->log().last(), u"Uninhibit(40)");
    EXPECT_EQ(session1->calls[1].signature(), u"u");

    const auto again = take(PowerBackend::Hold::Display);
    ASSERT_TRUE(isTakenSoon(again));
    EXPECT_EQ(saver->log(), QStringList{u"Inhibit(Keelhaven, a reason)"_s});
    EXPECT_EQ(saver->calls[0].signature(), u"ss");
    // What a keeper held, it forgets with its end; then the next one is asked.
    saver.reset();
    ASSERT_TRUE(waitUntil([&] { return !power.isTaken(again); }));
    saver = keeper(screenSaver, 9);
    ASSERT_TRUE(isTakenSoon(again));
    sessionDaemon.stop();
    ASSERT_TRUE(waitUntil([&] { return !session.isConnected(); }));
    EXPECT_FALSE(power.isTaken(again));
    saver.reset();
    sessionDaemon.start();
    saver = keeper(screenSaver, 20);
    clock.advance(1s);
    ASSERT_TRUE(isTakenSoon(again));
    power.drop(again);
    ASSERT_TRUE(waitUntil([&] { return saver->calls.size() == 2; }));
    EXPECT_EQ(saver->log().last(), u"UnInhibit(20)");
    EXPECT_FALSE(system.isConnected());
}

TEST_F(LogindPowerTest, WithoutABusNoHoldIsTaken)
{
    sessionDaemon.stop();
    systemDaemon.stop();
    for (const auto hold : {PowerBackend::Hold::System, PowerBackend::Hold::Display}) {
        EXPECT_EQ(take(hold), 0U);
        power.drop(0);
    }
    EXPECT_EQ(
        await(power.examine()),
        (ServiceStatus{false, u"no login1 on the system bus: the machine may go to sleep during a run; "_s +
                                  darkDisplay}));
}

} // namespace
} // namespace Keelhaven
