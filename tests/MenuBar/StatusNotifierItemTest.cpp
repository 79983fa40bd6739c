#include "MenuBar/StatusNotifierItem.h"

#include "MenuBar/StatusMenu.h"
#include "Platform/PrivateBus.h"

#include <QDBusMetaType>
#include <QDBusPendingCall>
#include <QXmlStreamReader>

namespace Keelhaven {

/// What happened to a line of the menu, as an area tells of several at once.
struct MenuEvent
{
    int id = 0;
    QString event;
};

QDBusArgument &operator<<(QDBusArgument &argument, const MenuEvent &event)
{
    argument.beginStructure();
    argument << event.id << event.event << QDBusVariant(0) << 0U;
    argument.endStructure();
    return argument;
}

const QDBusArgument &operator>>(const QDBusArgument &argument, MenuEvent &)
{
    return argument;
}

} // namespace Keelhaven

Q_DECLARE_METATYPE(Keelhaven::MenuEvent)

namespace Keelhaven {
namespace {

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

const QString watcherName = u"org.kde.StatusNotifierWatcher"_s;

/// A watcher that says whether a status area is there, and looks at the item as one does.
class StandInWatcher : public StandInService
{
public:
    explicit StandInWatcher(const PrivateBus &bus, bool hasHost = true)
        : StandInService(bus, watcherName)
        , bus(bus)
        , hasHost(hasHost)
    {
        answer = [this](const QDBusMessage &call) -> Answer {
            if (call.member() == u"RegisterStatusNotifierItem") {
                registered.append(call.arguments().value(0).toString());
                return QVariantList();
            }
            EXPECT_EQ(call.arguments().value(1), u"IsStatusNotifierHostRegistered"_s);
            return QVariantList{QVariant::fromValue(QDBusVariant(this->hasHost))};
        };
    }

    void setHost(bool has)
    {
        hasHost = has;
        send(u"/StatusNotifierWatcher"_s, watcherName,
             has ? u"StatusNotifierHostRegistered"_s : u"StatusNotifierHostUnregistered"_s, {});
    }

    const PrivateBus &bus;
    bool hasHost;
    QStringList registered;
};

class StatusNotifierItemTest : public ::testing::Test
{
protected:
    StatusNotifierItemTest()
    {
        QObject::connect(&item, &StatusNotifierItem::activated,
                         [this](int x, int y) { clicks.append(QPair(x, y)); });
    }
    ~StatusNotifierItemTest() override { QDBusConnection::disconnectFromBus(u"area"_s); }

    [[nodiscard]] bool isShown(bool shown = true) const
    {
        return waitUntil([&] { return item.isShown() == shown; });
    }

    /// What the item answers to a status area.
    QDBusMessage ask(const QString &interface, const QString &member, const QVariantList &arguments,
                     const QString &path = u"/StatusNotifierItem"_s)
    {
        auto area = QDBusConnection::connectToBus(QString::fromUtf8(bus.address()), u"area"_s);
        auto call = QDBusMessage::createMethodCall(session.ownName(), path, interface, member);
        call.setArguments(arguments);
        const QDBusPendingCall pending = area.asyncCall(call);
        EXPECT_TRUE(waitUntil([&] { return pending.isFinished(); }));
        return pending.reply();
    }
    QVariant property(const QString &name)
    {
        const auto reply =
            ask(u"org.freedesktop.DBus.Properties"_s, u"Get"_s, {u"org.kde.StatusNotifierItem"_s, name});
        return reply.arguments().value(0).value<QDBusVariant>().variant();
    }

    PrivateBus bus;
    VirtualClock clock;
    MessageBus session{bus.address(), clock};
    StatusMenu menu{{{u"Open"_s, u"open"_s}, {}, {u"Quit_now"_s, u"quit"_s}}};
    StatusNotifierItem item{session, menu};
    QList<QPair<int, int>> clicks;
};

TEST_F(StatusNotifierItemTest, AStatusAreaShowsItAndReadsWhatItIs)
{
    const StandInWatcher watcher(bus);
    item.setIcon({{2, 1, QByteArray::fromHex("ff2e3436002e3436")}});
    item.setToolTip(u"Keelhaven"_s, u"Nightly — 2m"_s);
    item.start();
    ASSERT_TRUE(isShown());
    EXPECT_EQ(watcher.registered, QStringList{session.ownName()});

    EXPECT_EQ(property(u"Id"_s), u"keelhaven"_s);
    EXPECT_EQ(property(u"Category"_s), u"ApplicationStatus"_s);
    EXPECT_EQ(property(u"Status"_s), u"Active"_s);
    EXPECT_EQ(property(u"ItemIsMenu"_s), false);
    const auto icons = qdbus_cast<QList<StatusPixmap>>(property(u"IconPixmap"_s).value<QDBusArgument>());
    EXPECT_EQ(icons, (QList<StatusPixmap>{{2, 1, QByteArray::fromHex("ff2e3436002e3436")}}));
    const auto tip = qdbus_cast<StatusToolTip>(property(u"ToolTip"_s).value<QDBusArgument>());
    EXPECT_EQ(tip.title, u"Keelhaven"_s);
    EXPECT_EQ(tip.text, u"Nightly — 2m"_s);
    EXPECT_EQ(ask(u"org.freedesktop.DBus.Properties"_s, u"Get"_s, {u"org.kde.StatusNotifierItem"_s, u"No"_s})
                  .errorName(),
              u"org.freedesktop.DBus.Error.UnknownProperty"_s);
    const auto all =
        ask(u"org.freedesktop.DBus.Properties"_s, u"GetAll"_s, {u"org.kde.StatusNotifierItem"_s});
    EXPECT_EQ(qdbus_cast<QVariantMap>(all.arguments().value(0).value<QDBusArgument>()).size(), 15);
}

TEST_F(StatusNotifierItemTest, WhatItDescribesItHas)
{
    const StandInWatcher watcher(bus);
    item.start();
    ASSERT_TRUE(isShown());
    const auto reply = ask(u"org.freedesktop.DBus.Introspectable"_s, u"Introspect"_s, {});
    QXmlStreamReader xml(reply.arguments().value(0).toString());
    QStringList properties;
    while (!xml.atEnd()) {
        if (xml.readNext() != QXmlStreamReader::StartElement || xml.name() != u"property")
            continue;
        properties.append(xml.attributes().value(u"name"_s).toString());
        EXPECT_TRUE(property(properties.last()).isValid()) << qPrintable(properties.last());
    }
    EXPECT_FALSE(xml.hasError()) << qPrintable(xml.errorString());
    EXPECT_EQ(properties.size(), 15);
}

TEST_F(StatusNotifierItemTest, EveryClickAsksForThePanel)
{
    const StandInWatcher watcher(bus);
    item.start();
    ASSERT_TRUE(isShown());
    for (const QString &member : {u"Activate"_s, u"SecondaryActivate"_s, u"ContextMenu"_s})
        EXPECT_EQ(ask(u"org.kde.StatusNotifierItem"_s, member, {1200, 20}).type(),
                  QDBusMessage::ReplyMessage);
    const QList<QPair<int, int>> expected(3, {1200, 20});
    EXPECT_EQ(clicks, expected);
    EXPECT_EQ(ask(u"org.kde.StatusNotifierItem"_s, u"Scroll"_s, {1, u"vertical"_s}).type(),
              QDBusMessage::ReplyMessage);
    EXPECT_EQ(ask(u"org.kde.StatusNotifierItem"_s, u"Explode"_s, {}).type(), QDBusMessage::ErrorMessage);
}

TEST_F(StatusNotifierItemTest, AnAreaWithMenusGetsOne)
{
    const StandInWatcher watcher(bus);
    QStringList chosen;
    QObject::connect(&menu, &StatusMenu::triggered, [&](const QString &action) { chosen.append(action); });
    item.start();
    ASSERT_TRUE(isShown());
    const QString path = property(u"Menu"_s).value<QDBusObjectPath>().path();
    const QString interface = u"com.canonical.dbusmenu"_s;
    const auto reply = ask(interface, u"GetLayout"_s, {0, -1, QStringList()}, path);
    ASSERT_EQ(reply.signature(), u"u(ia{sv}av)"_s);
    const auto root = qdbus_cast<StatusMenuNode>(reply.arguments().value(1).value<QDBusArgument>());
    ASSERT_EQ(root.children.size(), 3);
    const auto last = qdbus_cast<StatusMenuNode>(root.children[2].value<QDBusArgument>());
    EXPECT_EQ(last.id, 3);
    EXPECT_EQ(last.properties[u"label"_s], u"Quit__now"_s) << "no letter of it is a shortcut";
    EXPECT_EQ(
        ask(interface, u"GetGroupProperties"_s, {QVariant::fromValue(QList<int>{1, 2}), QStringList()}, path)
            .signature(),
        u"a(ia{sv})"_s);
    EXPECT_EQ(ask(interface, u"AboutToShow"_s, {0}, path).arguments(), QVariantList{false});
    for (const int id : {2, 3, 9})
        ask(interface, u"Event"_s, {id, u"clicked"_s, QVariant::fromValue(QDBusVariant(0)), 0U}, path);
    ask(interface, u"Event"_s, {1, u"hovered"_s, QVariant::fromValue(QDBusVariant(0)), 0U}, path);
    EXPECT_EQ(chosen, QStringList{u"quit"_s});
    EXPECT_EQ(ask(interface, u"Nothing"_s, {}, path).type(), QDBusMessage::ErrorMessage);
}

TEST_F(StatusNotifierItemTest, EventsMayComeTogetherAndMisshapen)
{
    qDBusRegisterMetaType<MenuEvent>();
    qDBusRegisterMetaType<QList<MenuEvent>>();
    const StandInWatcher watcher(bus);
    QStringList chosen;
    QObject::connect(&menu, &StatusMenu::triggered, [&](const QString &action) { chosen.append(action); });
    item.start();
    ASSERT_TRUE(isShown());
    const auto tell = [&](const QVariantList &arguments) {
        return ask(u"com.canonical.dbusmenu"_s, u"EventGroup"_s, arguments, u"/MenuBar"_s);
    };
    const QList<MenuEvent> events{
        {1, u"clicked"_s}, {3, u"hovered"_s}, {3, u"clicked"_s}, {-4, u"clicked"_s}};
    EXPECT_EQ(tell({QVariant::fromValue(events)}).signature(), u"ai"_s);
    EXPECT_EQ(chosen, (QStringList{u"open"_s, u"quit"_s}));
    for (const QVariantList &odd : {QVariantList{}, QVariantList{7}, QVariantList{QStringList{u"clicked"_s}},
                                    QVariantList{QVariant::fromValue(QList<int>{1, 2})}})
        EXPECT_EQ(tell(odd).type(), QDBusMessage::ErrorMessage);
    for (const QString &member : {u"Event"_s, u"GetLayout"_s, u"GetProperty"_s, u"GetGroupProperties"_s})
        ask(u"com.canonical.dbusmenu"_s, member, {u"odd"_s, -1}, u"/MenuBar"_s);
    EXPECT_EQ(chosen.size(), 2);
}

TEST_F(StatusNotifierItemTest, ItIsShownOnlyWhileAStatusAreaIsThere)
{
    item.start();
    ASSERT_TRUE(waitUntil([&] { return session.isConnected(); }));
    EXPECT_FALSE(item.isShown());

    auto watcher = std::make_unique<StandInWatcher>(bus, false);
    ASSERT_TRUE(waitUntil([&] { return watcher->registered.size() == 1; }));
    static_cast<void>(await(session.offers(watcherName)));
    EXPECT_FALSE(item.isShown()) << "a watcher alone shows nothing";
    watcher->setHost(true);
    EXPECT_TRUE(isShown());
    watcher->setHost(false);
    EXPECT_TRUE(isShown(false));
    watcher->setHost(true);
    EXPECT_TRUE(isShown());
    watcher.reset();
    EXPECT_TRUE(isShown(false));
    watcher = std::make_unique<StandInWatcher>(bus);
    EXPECT_TRUE(isShown());

    watcher.reset();
    bus.stop();
    ASSERT_TRUE(waitUntil([&] { return !session.isConnected(); }));
    bus.start();
    watcher = std::make_unique<StandInWatcher>(bus);
    clock.advance(1s);
    EXPECT_TRUE(isShown()) << "a new bus gets it again";
}

} // namespace
} // namespace Keelhaven
