#pragma once

#include <QDBusArgument>
#include <QDBusVirtualObject>
#include <QVariant>

namespace Keelhaven {

/// A line of a menu and what stands below it, as com.canonical.dbusmenu sends it.
struct StatusMenuNode
{
    int id = 0;
    QVariantMap properties;
    QVariantList children; ///< nodes
};

QDBusArgument &operator<<(QDBusArgument &argument, const StatusMenuNode &node);
const QDBusArgument &operator>>(const QDBusArgument &argument, StatusMenuNode &node);

/// The properties of one line.
struct StatusMenuProperties
{
    int id = 0;
    QVariantMap properties;
};

QDBusArgument &operator<<(QDBusArgument &argument, const StatusMenuProperties &line);
const QDBusArgument &operator>>(const QDBusArgument &argument, StatusMenuProperties &line);

/// The menu of a status item, for status areas that show a menu instead of telling of the click. Its lines
/// never change. Main loop only.
class StatusMenu : public QDBusVirtualObject
{
    Q_OBJECT

public:
    struct Line
    {
        QString text;   ///< empty for a separator
        QString action; ///< what triggered() gives
    };

    explicit StatusMenu(QList<Line> lines, QObject *parent = nullptr);

    QString introspect(const QString &path) const override;
    bool handleMessage(const QDBusMessage &message, const QDBusConnection &connection) override;

Q_SIGNALS:
    void triggered(const QString &action);

private:
    [[nodiscard]] QVariantMap propertiesOf(int id) const;
    [[nodiscard]] StatusMenuNode layout(int id, bool withChildren) const;
    [[nodiscard]] QVariantList answer(const QString &member, const QVariantList &arguments) const;
    void handle(int id, const QString &event);

    QList<Line> m_lines; ///< of the ids from 1 on; 0 is the menu itself
};

} // namespace Keelhaven

Q_DECLARE_METATYPE(Keelhaven::StatusMenuNode)
Q_DECLARE_METATYPE(Keelhaven::StatusMenuProperties)
