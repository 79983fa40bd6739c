#include "PrivateBus.h"

#include <QLocalServer>
#include <QLocalSocket>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace Keelhaven {
namespace {

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

const QString name = u"org.example.Lamp"_s;

TEST(MessageBusTest, TheEnvironmentNamesTheBuses)
{
    const TestHome home;
    home.enter();
    qputenv("DBUS_SYSTEM_BUS_ADDRESS", "");
    qputenv("DBUS_SESSION_BUS_ADDRESS", "");
    EXPECT_EQ(BusAddress::system().text(), "unix:path=/run/dbus/system_bus_socket");
    EXPECT_EQ(BusAddress::session().text(), "unix:path=" + home.path(u".run/bus"_s).toUtf8());
    qputenv("XDG_RUNTIME_DIR", "/run/a b;c");
    EXPECT_EQ(BusAddress::session().text(), "unix:path=/run/a%20b%3Bc/bus");
    qunsetenv("XDG_RUNTIME_DIR");
    EXPECT_EQ(BusAddress::session().text(), "");
    qputenv("DBUS_SESSION_BUS_ADDRESS", "unix:abstract=x");
    EXPECT_EQ(BusAddress::session().text(), "unix:abstract=x");
}

TEST(MessageBusTest, AnAbsentBusIsKnownWithoutAskingIt)
{
    const TestHome home;
    home.write(u"a b"_s, "");
    const QByteArray folder = "unix:path=" + home.path().toUtf8();
    VirtualClock clock;
    const std::pair<QByteArray, bool> cases[] = {{"", true},
                                                 {folder + "/gone", true},
                                                 {folder + "/gone,guid=12;" + folder + "/gone2", true},
                                                 {folder + "/gone;" + folder + "/a%20b,guid=12", false},
                                                 {"unix:abstract=/tmp/x", false}};
    for (const auto &[address, isAbsent] : cases)
        EXPECT_EQ(MessageBus(address, clock).isAbsent(), isAbsent) << address.toStdString();

    // Neither an absent bus nor something else in its place is waited for again.
    for (const QByteArray &address : {QByteArray(), folder + "/a%20b"}) {
        MessageBus bus(address, clock);
        EXPECT_FALSE(await(bus.offers(name)));
        EXPECT_FALSE(bus.isConnected());
        EXPECT_EQ(clock.timerCount(), 0U);
    }
}

TEST(MessageBusTest, WhateverElseListensHoldsNobodyUp)
{
    const TestHome home;
    VirtualClock clock;
    const QString path = home.path(u"socket"_s);
    // What it says to the first words of a caller; to later ones it says nothing.
    for (const QByteArray &greeting : {QByteArray(), QByteArray("OK 12ab\r\n"), QByteArray("hang up")}) {
        QLocalServer server;
        ASSERT_TRUE(server.listen(path));
        QObject::connect(&server, &QLocalServer::newConnection, [&] {
            QLocalSocket *caller = server.nextPendingConnection();
            if (greeting == "hang up")
                return caller->close();
            QObject::connect(caller, &QLocalSocket::readyRead, caller,
                             [caller, said = false, greeting]() mutable {
                                 if (caller->readAll(); !std::exchange(said, true))
                                     caller->write(greeting);
                             });
        });
        MessageBus bus("unix:path=" + path.toUtf8(), clock, 50ms);
        EXPECT_FALSE(await(bus.offers(name), 5s)) << greeting.toStdString();
        EXPECT_EQ(clock.timerCount(), greeting == "hang up" ? 0U : 1U) << "it may only be slow";
    }
    // It takes no callers any more, and its queue fills up.
    const int full = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_un address{.sun_family = AF_UNIX, .sun_path = {}};
    const QByteArray abstract = "keelhaven-test-" + QByteArray::number(::getpid());
    std::memcpy(address.sun_path + 1, abstract.constData(), std::size_t(abstract.size()));
    const auto size = socklen_t(offsetof(sockaddr_un, sun_path) + 1 + std::size_t(abstract.size()));
    ASSERT_EQ(::bind(full, reinterpret_cast<const sockaddr *>(&address), size), 0);
    ASSERT_EQ(::listen(full, 0), 0);
    for (int caller = 0; caller < 3; ++caller)
        EXPECT_EQ(BusAddress("unix:path=/gone/bus;unix:abstract=" + abstract).greet(50ms),
                  BusAddress::Listener::Silent);
    ::close(full);
    const PrivateBus daemon;
    EXPECT_EQ(BusAddress("unix:path=/gone/bus;" + daemon.address() + ",guid=12").greet(20s),
              BusAddress::Listener::Answers);
}

TEST(MessageBusTest, ComesBackWithTheBusAndFollowsItsServices)
{
    PrivateBus daemon;
    VirtualClock clock;
    MessageBus bus(daemon.address(), clock);
    QStringList seen;
    QObject::connect(&bus, &MessageBus::connected, [&] { seen.append(u"connected"_s); });
    QObject::connect(&bus, &MessageBus::lost, [&] { seen.append(u"lost"_s); });
    QObject::connect(&bus, &MessageBus::failed, [&] { seen.append(u"failed"_s); });
    QObject::connect(&bus, &MessageBus::ownerChanged, [&](const QString &service, bool hasOwner) {
        seen.append(service + (hasOwner ? u"+"_s : u"-"_s));
    });
    const auto expectNext = [&](const QStringList &events) {
        EXPECT_TRUE(waitUntil([&] { return seen.size() >= events.size(); }));
        EXPECT_EQ(std::exchange(seen, {}), events);
    };
    bus.watch(name);
    bus.connectSoon();
    bus.connectSoon();
    expectNext({u"connected"_s});
    EXPECT_FALSE(await(bus.offers(name)));
    auto service = std::make_unique<StandInService>(daemon, name);
    const StandInService other(daemon, u"org.example.Other"_s);
    expectNext({u"org.example.Lamp+"_s});
    EXPECT_TRUE(await(bus.offers(name)));
    service.reset();
    expectNext({u"org.example.Lamp-"_s});

    daemon.stop();
    expectNext({u"lost"_s});
    EXPECT_FALSE(bus.isConnected());
    // It waits longer each time, up to a minute.
    for (const Span delay : {1s, 2s, 4s, 8s, 16s, 32s, 60s, 60s}) {
        EXPECT_EQ(clock.nextTimer(), delay);
        clock.advance(delay);
        expectNext({u"failed"_s});
    }
    daemon.start();
    clock.advance(60s);
    expectNext({u"connected"_s});
    service = std::make_unique<StandInService>(daemon, name);
    expectNext({u"org.example.Lamp+"_s});
    EXPECT_EQ(clock.timerCount(), 0U);
}

TEST(MessageBusTest, EveryCallIsAnsweredOnce)
{
    PrivateBus daemon;
    VirtualClock clock;
    MessageBus bus(daemon.address(), clock);
    StandInService service(daemon, name);
    service.answer = [](const QDBusMessage &call) -> StandInService::Answer {
        if (call.member() == u"Dim")
            return u"org.example.Error.Stuck"_s;
        return QVariantList{call.arguments().value(0)};
    };
    QStringList answers;
    QObject asker;
    const auto ask = [&](QObject *context, const QString &to, const QString &member) {
        const auto message = QDBusMessage::createMethodCall(to, u"/lamp"_s, u"org.example.Lamp"_s, member)
                             << u"value"_s;
        bus.call(message, context, [&](const QDBusMessage &reply) {
            answers.append(reply.type() == QDBusMessage::ReplyMessage ? reply.arguments().value(0).toString()
                                                                      : reply.errorName());
        });
    };
    ask(&asker, name, u"Shine"_s);
    EXPECT_EQ(answers, QStringList()) << "never inside the call";
    bus.connectSoon();
    ASSERT_TRUE(waitUntil([&] { return bus.isConnected(); }));
    {
        const QObject gone;
        ask(const_cast<QObject *>(&gone), name, u"Shine"_s);
    }
    ask(&asker, u"org.example.Nobody"_s, u"Shine"_s);
    ask(&asker, name, u"Dim"_s);
    ask(&asker, name, u"Shine"_s);
    ASSERT_TRUE(waitUntil([&] { return answers.size() == 4; }));
    answers.sort();
    EXPECT_EQ(answers,
              (QStringList{u"org.example.Error.Stuck"_s, u"org.freedesktop.DBus.Error.Disconnected"_s,
                           u"org.freedesktop.DBus.Error.ServiceUnknown"_s, u"value"_s}));
}

TEST(MessageBusTest, WhoeverStillWaitsIsAnsweredWhenTheBusDies)
{
    PrivateBus daemon;
    VirtualClock clock;
    MessageBus bus(daemon.address(), clock);
    ASSERT_FALSE(await(bus.offers(name)));
    daemon.freeze();
    QObject asker;
    int errors = 0;
    for (const auto wait : {MessageBus::Wait::Usual, MessageBus::Wait::WhileItRuns}) {
        const auto message =
            QDBusMessage::createMethodCall(name, u"/lamp"_s, u"org.example.Lamp"_s, u"Shine"_s);
        const auto count = [&](const QDBusMessage &reply) {
            errors += reply.type() == QDBusMessage::ErrorMessage ? 1 : 100;
        };
        bus.call(message, &asker, count, wait);
    }
    QObject::connect(&bus, &MessageBus::lost, [&] { daemon.start(); });
    auto offer = bus.offers(name);
    daemon.stop();
    EXPECT_FALSE(await(std::move(offer), 2s)) << "sooner than the question runs out";
    EXPECT_TRUE(waitUntil([&] { return errors == 2; }));
    clock.advance(1s);
    EXPECT_TRUE(waitUntil([&] { return bus.isConnected(); }));
}

TEST(MessageBusTest, MayGoWhileItConnects)
{
    PrivateBus daemon;
    VirtualClock clock;
    auto bus = std::make_unique<MessageBus>(daemon.address(), clock);
    bus->connectSoon();
    bus.reset();
    QThreadPool::globalInstance()->waitForDone();
    settle();
}

} // namespace
} // namespace Keelhaven
