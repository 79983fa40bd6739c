#include "Platform/FreedesktopNotifications.h"

#include "PrivateBus.h"

#include <QDBusArgument>

namespace Keelhaven {
namespace {

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

const QString name = u"org.freedesktop.Notifications"_s;
const QString path = u"/org/freedesktop/Notifications"_s;

class StandInDesktop : public StandInService
{
public:
    StandInDesktop(const PrivateBus &bus, const QStringList &capabilities, quint32 firstID = 1)
        : StandInService(bus, name)
    {
        answer = [this, capabilities, next = firstID](const QDBusMessage &call) mutable -> Answer {
            EXPECT_EQ(call.path(), path);
            if (call.member() == u"GetCapabilities")
                return QVariantList{capabilities};
            EXPECT_EQ(call.member(), u"Notify");
            EXPECT_EQ(call.signature(), u"susssasa{sv}i");
            shown.append(call.arguments());
            return QVariantList{next++};
        };
    }

    void click(quint32 id, const QString &action = u"default"_s)
    {
        send(path, name, u"ActionInvoked"_s, {id, action});
    }

    [[nodiscard]] bool hasShown(qsizetype count) const
    {
        return waitUntil([&] { return shown.size() >= count; }) && shown.size() == count;
    }

    QList<QVariantList> shown;
};

class FreedesktopNotificationsTest : public ::testing::Test
{
protected:
    FreedesktopNotificationsTest()
    {
        notifications.onClicked = [this](const QString &url) { clicked.append(url); };
    }

    /// A round trip of the program's own: whatever was sent to it before has arrived after it.
    void roundTrip() { static_cast<void>(await(session.offers(name))); }

    PrivateBus daemon;
    VirtualClock clock;
    MessageBus session{daemon.address(), clock};
    FreedesktopNotifications notifications{session};
    QStringList clicked;
};

TEST_F(FreedesktopNotificationsTest, ShowsWhatItIsGivenAsTheServiceTakesIt)
{
    const StandInDesktop desktop(daemon, {u"actions"_s, u"body"_s, u"body-markup"_s});
    notifications.show(u"✓ A & B"_s, u"<i>1 < 2</i> & \"so on\""_s, u"keelhaven://run/1"_s);
    notifications.show(u"No link"_s, QString(), QString());
    ASSERT_TRUE(desktop.hasShown(2));
    const auto &first = desktop.shown[0];
    EXPECT_EQ(first[0], u"Keelhaven"_s);
    EXPECT_EQ(first[1], QVariant(0U));
    EXPECT_EQ(first[3], u"✓ A & B"_s) << "a title has no markup";
    EXPECT_EQ(first[4], u"&lt;i&gt;1 &lt; 2&lt;/i&gt; &amp; \"so on\""_s);
    EXPECT_EQ(first[5].toStringList(), (QStringList{u"default"_s, u"Open"_s}));
    const auto hints = qdbus_cast<QVariantMap>(first[6].value<QDBusArgument>());
    EXPECT_EQ(hints[u"urgency"_s].metaType(), QMetaType::fromType<uchar>());
    EXPECT_EQ(hints[u"urgency"_s], QVariant::fromValue(uchar(1)));
    EXPECT_EQ(hints[u"desktop-entry"_s], u"keelhaven"_s);
    EXPECT_EQ(first[7], QVariant(-1));
    EXPECT_EQ(desktop.shown[1][5].toStringList(), QStringList());
    EXPECT_EQ(std::ranges::count(desktop.log(), u"GetCapabilities()"_s), 1);
}

TEST_F(FreedesktopNotificationsTest, APlainServiceGetsPlainText)
{
    const StandInDesktop desktop(daemon, {u"body"_s});
    notifications.show(u"Title"_s, u"1 < 2 & 3"_s, u"keelhaven://run/1"_s);
    ASSERT_TRUE(desktop.hasShown(1));
    EXPECT_EQ(desktop.shown[0][4], u"1 < 2 & 3"_s);
    EXPECT_EQ(desktop.shown[0][5].toStringList(), QStringList()) << "it would ask with a dialog";
}

TEST_F(FreedesktopNotificationsTest, NoTextIsTooOddToShow)
{
    StandInDesktop desktop(daemon, {u"body"_s, u"body-markup"_s});
    const QString half(QChar(0xd83d));
    const std::pair<QString, QString> texts[] = {
        {u"a\0b\x1b[31m\u009bc\nd\te\r"_s, u"a\ufffdb\ufffd[31m\ufffdc\nd\te\ufffd"_s},
        {half + u'x', u"?x"_s},
        {u"\ufffe\uffff"_s, u"\ufffe\uffff"_s},
        {QString(1000, u'&'), u"&amp;"_s.repeated(1000)},
        {QString(1'000'000, u'x'), QString(1000, u'x') + u'…'},
        {u'e' + QString(1'000'000, QChar(0x301)), u'e' + QString(3999, QChar(0x301)) + u'…'},
    };
    for (const auto &[text, shown] : texts) {
        notifications.show(text, text, QString());
        ASSERT_TRUE(waitUntil([&] { return !desktop.shown.isEmpty() && session.isConnected(); }));
        EXPECT_EQ(desktop.shown.last()[4].toString(), shown) << shown.left(30).toStdString();
        EXPECT_EQ(desktop.shown.last()[3].toString(), QString(shown).replace(u"&amp;"_s, u"&"_s));
        desktop.shown.clear();
    }
}

TEST_F(FreedesktopNotificationsTest, AClickOnAnOwnNotificationOpensItsLink)
{
    StandInDesktop desktop(daemon, {u"actions"_s}, 41);
    notifications.show(u"One"_s, QString(), u"keelhaven://run/1"_s);
    notifications.show(u"Two"_s, QString(), u"keelhaven://run/2"_s);
    ASSERT_TRUE(desktop.hasShown(2));
    roundTrip();
    desktop.click(7);
    desktop.click(42, u"other"_s);
    desktop.click(42);
    EXPECT_TRUE(waitUntil([&] { return !clicked.isEmpty(); }));
    desktop.send(path, name, u"NotificationClosed"_s, {42U, 2U});
    desktop.click(42);
    desktop.click(41);
    EXPECT_TRUE(waitUntil([&] { return clicked.size() > 1; }));
    EXPECT_EQ(clicked, (QStringList{u"keelhaven://run/2"_s, u"keelhaven://run/1"_s}));
}

TEST_F(FreedesktopNotificationsTest, ANewServiceIsAskedAnewAndKnowsNoOldNotification)
{
    auto desktop = std::make_unique<StandInDesktop>(daemon, QStringList{u"actions"_s, u"body-markup"_s}, 1);
    notifications.show(u"Old"_s, QString(), u"keelhaven://run/1"_s);
    ASSERT_TRUE(desktop->hasShown(1));
    roundTrip();
    desktop.reset();
    desktop = std::make_unique<StandInDesktop>(daemon, QStringList{u"actions"_s}, 2);
    roundTrip();
    notifications.show(u"New"_s, u"<b>"_s, u"keelhaven://run/2"_s);
    ASSERT_TRUE(desktop->hasShown(1));
    EXPECT_EQ(desktop->shown[0][4], u"<b>"_s);
    roundTrip();
    desktop->click(1);
    desktop->click(2);
    EXPECT_TRUE(waitUntil([&] { return !clicked.isEmpty(); }));
    EXPECT_EQ(clicked, QStringList{u"keelhaven://run/2"_s});

    daemon.stop();
    ASSERT_TRUE(waitUntil([&] { return !session.isConnected(); }));
    notifications.show(u"Nowhere"_s, QString(), QString());
    desktop.reset();
    daemon.start();
    desktop = std::make_unique<StandInDesktop>(daemon, QStringList{u"actions"_s}, 5);
    clock.advance(1s);
    ASSERT_TRUE(waitUntil([&] { return session.isConnected(); }));
    notifications.show(u"Back"_s, QString(), u"keelhaven://run/3"_s);
    ASSERT_TRUE(desktop->hasShown(1));
    EXPECT_EQ(desktop->shown[0][3], u"Back"_s);
    roundTrip();
    desktop->click(5);
    EXPECT_TRUE(waitUntil([&] { return clicked.size() == 2; }));
}

TEST_F(FreedesktopNotificationsTest, ABusThatDiesWhileTheServiceIsAskedCostsOneNotification)
{
    auto desktop = std::make_unique<StandInDesktop>(daemon, QStringList());
    desktop->answer = [](const QDBusMessage &) { return StandInService::Silence(); };
    notifications.show(u"Lost"_s, QString(), QString());
    ASSERT_TRUE(waitUntil([&] { return desktop->calls.size() == 1; }));
    daemon.stop();
    ASSERT_TRUE(waitUntil([&] { return !session.isConnected(); }));
    desktop.reset();
    daemon.start();
    desktop = std::make_unique<StandInDesktop>(daemon, QStringList());
    clock.advance(1s);
    ASSERT_TRUE(waitUntil([&] { return session.isConnected(); }));
    notifications.show(u"Seen"_s, QString(), QString());
    ASSERT_TRUE(desktop->hasShown(1));
    EXPECT_EQ(desktop->shown[0][3], u"Seen"_s);
}

TEST_F(FreedesktopNotificationsTest, WhatNobodyShowsIsDropped)
{
    notifications.show(u"Lost"_s, QString(), QString());
    ASSERT_TRUE(waitUntil([&] { return session.isConnected(); }));
    const auto status = await(notifications.examine());
    EXPECT_FALSE(status.ok);
    EXPECT_TRUE(status.detail.startsWith(u"no notification service on the session bus: "));
    const StandInDesktop desktop(daemon, {});
    roundTrip();
    notifications.show(u"Seen"_s, QString(), QString());
    ASSERT_TRUE(desktop.hasShown(1));
    EXPECT_EQ(desktop.shown[0][3], u"Seen"_s);
    EXPECT_TRUE(await(notifications.examine()).ok);
}

} // namespace
} // namespace Keelhaven
