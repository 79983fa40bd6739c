#include "MenuBar/StatusMenu.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusMetaType>

namespace Keelhaven {

using namespace Qt::StringLiterals;

namespace {

const QString menuInterface = u"com.canonical.dbusmenu"_s;
const QString propertiesInterface = u"org.freedesktop.DBus.Properties"_s;
constexpr uint revision = 1;

QVariantMap menuProperties()
{
    return {{u"Version"_s, uint(3)},
            {u"TextDirection"_s, u"ltr"_s},
            {u"Status"_s, u"normal"_s},
            {u"IconThemePath"_s, QStringList()}};
}

/// "_" would mark a letter as a shortcut.
QString escaped(QString text)
{
    return text.replace(u'_', u"__"_s);
}

} // namespace

QDBusArgument &operator<<(QDBusArgument &argument, const StatusMenuNode &node)
{
    argument.beginStructure();
    argument << node.id << node.properties << node.children;
    argument.endStructure();
    return argument;
}

const QDBusArgument &operator>>(const QDBusArgument &argument, StatusMenuNode &node)
{
    argument.beginStructure();
    argument >> node.id >> node.properties >> node.children;
    argument.endStructure();
    return argument;
}

QDBusArgument &operator<<(QDBusArgument &argument, const StatusMenuProperties &line)
{
    argument.beginStructure();
    argument << line.id << line.properties;
    argument.endStructure();
    return argument;
}

const QDBusArgument &operator>>(const QDBusArgument &argument, StatusMenuProperties &line)
{
    argument.beginStructure();
    argument >> line.id >> line.properties;
    argument.endStructure();
    return argument;
}

StatusMenu::StatusMenu(QList<Line> lines, QObject *parent)
    : QDBusVirtualObject(parent)
    , m_lines(std::move(lines))
{
    qDBusRegisterMetaType<StatusMenuNode>();
    qDBusRegisterMetaType<StatusMenuProperties>();
    qDBusRegisterMetaType<QList<StatusMenuProperties>>();
    qDBusRegisterMetaType<QList<int>>();
}

QVariantMap StatusMenu::propertiesOf(int id) const
{
    if (id == 0)
        return {{u"children-display"_s, u"submenu"_s}};
    const Line line = m_lines.value(id - 1);
    if (line.text.isEmpty())
        return {{u"type"_s, u"separator"_s}};
    return {{u"label"_s, escaped(line.text)}, {u"enabled"_s, true}, {u"visible"_s, true}};
}

StatusMenuNode StatusMenu::layout(int id, bool withChildren) const
{
    StatusMenuNode node{id, propertiesOf(id), {}};
    if (id != 0 || !withChildren)
        return node;
    for (int child = 1; child <= m_lines.size(); ++child)
        node.children.append(QVariant::fromValue(layout(child, false)));
    return node;
}

QVariantList StatusMenu::answer(const QString &member, const QVariantList &arguments) const
{
    const int id = arguments.value(0).toInt();
    if (member == u"GetLayout")
        return {revision, QVariant::fromValue(layout(id, arguments.value(1).toInt() != 0))};
    if (member == u"GetProperty")
        return {QVariant::fromValue(
            QDBusVariant(propertiesOf(id).value(arguments.value(1).toString(), QString())))};
    if (member == u"GetGroupProperties") {
        auto ids = qdbus_cast<QList<int>>(arguments.value(0));
        // No ids means all of them.
        for (int each = 0; ids.isEmpty() && each <= m_lines.size(); ++each)
            ids.append(each);
        QList<StatusMenuProperties> lines;
        for (const int each : std::as_const(ids))
            lines.append({each, propertiesOf(each)});
        return {QVariant::fromValue(lines)};
    }
    if (member == u"AboutToShow")
        return {false};
    if (member == u"AboutToShowGroup")
        return {QVariant::fromValue(QList<int>()), QVariant::fromValue(QList<int>())};
    return {};
}

void StatusMenu::handle(int id, const QString &event)
{
    if (event == u"clicked" && id > 0 && id <= m_lines.size() && !m_lines[id - 1].action.isEmpty())
        Q_EMIT triggered(m_lines[id - 1].action);
}

bool StatusMenu::handleMessage(const QDBusMessage &message, const QDBusConnection &connection)
{
    const QString member = message.member();
    const QVariantList arguments = message.arguments();
    if (message.interface() == propertiesInterface) {
        if (member == u"GetAll")
            return connection.send(message.createReply(menuProperties()));
        const QVariant value = menuProperties().value(arguments.value(1).toString());
        if (member == u"Get" && value.isValid())
            return connection.send(message.createReply(QVariant::fromValue(QDBusVariant(value))));
        return connection.send(message.createErrorReply(QDBusError::UnknownProperty, u"no such property"_s));
    }
    if (message.interface() != menuInterface)
        return false;
    if (member == u"Event") {
        connection.send(message.createReply());
        handle(arguments.value(0).toInt(), arguments.value(1).toString());
        return true;
    }
    if (member == u"EventGroup") {
        if (message.signature() != u"a(isvu)")
            return connection.send(message.createErrorReply(QDBusError::InvalidArgs, u"not a(isvu)"_s));
        connection.send(message.createReply(QVariant::fromValue(QList<int>())));
        const auto events = arguments.value(0).value<QDBusArgument>();
        QList<QPair<int, QString>> list;
        events.beginArray();
        while (!events.atEnd()) {
            QPair<int, QString> event;
            QDBusVariant data;
            uint timestamp = 0;
            events.beginStructure();
            events >> event.first >> event.second >> data >> timestamp;
            events.endStructure();
            list.append(event);
        }
        events.endArray();
        for (const auto &[id, event] : std::as_const(list))
            handle(id, event);
        return true;
    }
    const QVariantList values = answer(member, arguments);
    return !values.isEmpty() && connection.send(message.createReply(values));
}

QString StatusMenu::introspect(const QString &) const
{
    return uR"xml(<interface name="com.canonical.dbusmenu">
<property name="Version" type="u" access="read"/><property name="TextDirection" type="s" access="read"/>
<property name="Status" type="s" access="read"/><property name="IconThemePath" type="as" access="read"/>
<method name="GetLayout"><arg type="i" direction="in"/><arg type="i" direction="in"/><arg type="as" direction="in"/><arg type="u" direction="out"/><arg type="(ia{sv}av)" direction="out"/></method>
<method name="GetGroupProperties"><arg type="ai" direction="in"/><arg type="as" direction="in"/><arg type="a(ia{sv})" direction="out"/></method>
<method name="GetProperty"><arg type="i" direction="in"/><arg type="s" direction="in"/><arg type="v" direction="out"/></method>
<method name="Event"><arg type="i" direction="in"/><arg type="s" direction="in"/><arg type="v" direction="in"/><arg type="u" direction="in"/></method>
<method name="EventGroup"><arg type="a(isvu)" direction="in"/><arg type="ai" direction="out"/></method>
<method name="AboutToShow"><arg type="i" direction="in"/><arg type="b" direction="out"/></method>
<method name="AboutToShowGroup"><arg type="ai" direction="in"/><arg type="ai" direction="out"/><arg type="ai" direction="out"/></method>
</interface>)xml"_s;
}

} // namespace Keelhaven
