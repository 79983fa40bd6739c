#include "MenuBar/StatusNotifierItem.h"

#include "Platform/MessageBus.h"

namespace Keelhaven {

using namespace Qt::StringLiterals;

namespace {

const QString watcher = u"org.kde.StatusNotifierWatcher"_s;
const QString watcherPath = u"/StatusNotifierWatcher"_s;
const QString itemInterface = u"org.kde.StatusNotifierItem"_s;
/// Where watchers look for the item of a service.
const QString itemPath = u"/StatusNotifierItem"_s;
const QString menuPath = u"/MenuBar"_s;
const QString propertiesInterface = u"org.freedesktop.DBus.Properties"_s;

QDBusMessage watcherCall(const QString &interface, const QString &member)
{
    return QDBusMessage::createMethodCall(watcher, watcherPath, interface, member);
}

} // namespace

StatusNotifierItem::StatusNotifierItem(MessageBus &session, QDBusVirtualObject &menu, QObject *parent)
    : QDBusVirtualObject(parent)
    , m_session(session)
    , m_menu(menu)
{
    registerStatusTypes();
    connect(&m_session, &MessageBus::connected, this, &StatusNotifierItem::serve);
    connect(&m_session, &MessageBus::lost, this, [this] {
        m_isRegistered = false;
        setShown(false);
    });
    connect(&m_session, &MessageBus::ownerChanged, this, [this](const QString &service, bool hasOwner) {
        if (service != watcher)
            return;
        m_isRegistered = false;
        if (hasOwner)
            announce();
        else
            setShown(false);
    });
}

StatusNotifierItem::~StatusNotifierItem()
{
    m_session.withdraw(itemPath);
    m_session.withdraw(menuPath);
}

void StatusNotifierItem::start()
{
    if (m_session.isAbsent())
        return;
    m_session.watch(watcher);
    if (m_session.isConnected())
        serve();
    else
        m_session.connectSoon();
}

void StatusNotifierItem::serve()
{
    if (!m_session.serve(itemPath, this) || !m_session.serve(menuPath, &m_menu))
        return;
    for (const QString &signal : {u"StatusNotifierHostRegistered"_s, u"StatusNotifierHostUnregistered"_s})
        m_session.listen(watcherPath, watcher, signal, this, SLOT(onHostsChanged()));
    announce();
}

void StatusNotifierItem::announce()
{
    const QDBusMessage call = watcherCall(watcher, u"RegisterStatusNotifierItem"_s) << m_session.ownName();
    m_session.call(call, this, [this](const QDBusMessage &reply) {
        m_isRegistered = reply.type() == QDBusMessage::ReplyMessage;
        if (m_isRegistered)
            askForHosts();
        else
            setShown(false);
    });
}

void StatusNotifierItem::askForHosts()
{
    // A watcher alone only keeps the list; it takes a host to show it.
    const QDBusMessage call = watcherCall(propertiesInterface, u"Get"_s)
                              << watcher << u"IsStatusNotifierHostRegistered"_s;
    m_session.call(call, this, [this](const QDBusMessage &reply) {
        const auto value = reply.arguments().value(0).value<QDBusVariant>();
        setShown(m_isRegistered && value.variant().toBool());
    });
}

void StatusNotifierItem::onHostsChanged()
{
    askForHosts();
}

void StatusNotifierItem::setShown(bool shown)
{
    if (std::exchange(m_isShown, shown) != shown)
        Q_EMIT shownChanged();
}

void StatusNotifierItem::setIcon(const QList<StatusPixmap> &sizes)
{
    if (m_icon == sizes)
        return;
    m_icon = sizes;
    tell(u"NewIcon"_s);
}

void StatusNotifierItem::setToolTip(const QString &title, const QString &text)
{
    if (m_toolTip.title == title && m_toolTip.text == text)
        return;
    m_toolTip.title = title;
    m_toolTip.text = text;
    tell(u"NewToolTip"_s);
}

void StatusNotifierItem::tell(const QString &signal)
{
    m_session.send(QDBusMessage::createSignal(itemPath, itemInterface, signal));
}

QVariantMap StatusNotifierItem::properties() const
{
    return {{u"Category"_s, u"ApplicationStatus"_s},
            {u"Id"_s, u"keelhaven"_s},
            {u"Title"_s, u"Keelhaven"_s},
            {u"Status"_s, u"Active"_s},
            {u"WindowId"_s, 0},
            // A name would win over the pixels, and no theme has a ship.
            {u"IconName"_s, QString()},
            {u"IconPixmap"_s, QVariant::fromValue(m_icon)},
            {u"OverlayIconName"_s, QString()},
            {u"OverlayIconPixmap"_s, QVariant::fromValue(QList<StatusPixmap>())},
            {u"AttentionIconName"_s, QString()},
            {u"AttentionIconPixmap"_s, QVariant::fromValue(QList<StatusPixmap>())},
            {u"AttentionMovieName"_s, QString()},
            {u"ToolTip"_s, QVariant::fromValue(m_toolTip)},
            {u"ItemIsMenu"_s, false},
            {u"Menu"_s, QVariant::fromValue(QDBusObjectPath(menuPath))}};
}

QString StatusNotifierItem::introspect(const QString &) const
{
    QString text = u"<interface name=\"org.kde.StatusNotifierItem\">"_s;
    const QMap<QString, QString> types{{u"IconPixmap"_s, u"a(iiay)"_s},
                                       {u"OverlayIconPixmap"_s, u"a(iiay)"_s},
                                       {u"AttentionIconPixmap"_s, u"a(iiay)"_s},
                                       {u"ToolTip"_s, u"(sa(iiay)ss)"_s},
                                       {u"WindowId"_s, u"i"_s},
                                       {u"ItemIsMenu"_s, u"b"_s},
                                       {u"Menu"_s, u"o"_s}};
    const auto names = properties().keys();
    for (const QString &name : names)
        text += u"<property name=\"%1\" type=\"%2\" access=\"read\"/>"_s.arg(name, types.value(name, u"s"_s));
    for (const QString &name : {u"Activate"_s, u"SecondaryActivate"_s, u"ContextMenu"_s})
        text +=
            u"<method name=\"%1\"><arg type=\"i\" direction=\"in\"/><arg type=\"i\" direction=\"in\"/></method>"_s
                .arg(name);
    text +=
        u"<method name=\"Scroll\"><arg type=\"i\" direction=\"in\"/><arg type=\"s\" direction=\"in\"/></method>"_s;
    for (const QString &name : {u"NewIcon"_s, u"NewToolTip"_s, u"NewTitle"_s})
        text += u"<signal name=\"%1\"/>"_s.arg(name);
    return text + u"<signal name=\"NewStatus\"><arg type=\"s\"/></signal></interface>"_s;
}

bool StatusNotifierItem::handleMessage(const QDBusMessage &message, const QDBusConnection &connection)
{
    const QString member = message.member();
    const QVariantList arguments = message.arguments();
    if (message.interface() == propertiesInterface) {
        if (member == u"GetAll")
            return connection.send(message.createReply(properties()));
        const QVariant value = properties().value(arguments.value(1).toString());
        if (member == u"Get" && value.isValid())
            return connection.send(message.createReply(QVariant::fromValue(QDBusVariant(value))));
        return connection.send(message.createErrorReply(QDBusError::UnknownProperty, u"no such property"_s));
    }
    if (!message.interface().isEmpty() && message.interface() != itemInterface)
        return false;
    if (member == u"Scroll")
        return connection.send(message.createReply());
    if (member != u"Activate" && member != u"SecondaryActivate" && member != u"ContextMenu")
        return false;
    connection.send(message.createReply());
    Q_EMIT activated(arguments.value(0).toInt(), arguments.value(1).toInt());
    return true;
}

} // namespace Keelhaven
