#pragma once

#include <QDBusArgument>
#include <QList>
#include <QString>

namespace Keelhaven {

/// One size of an icon as a status item sends it: rows of 32-bit pixels, alpha first, in network byte order.
struct StatusPixmap
{
    int width = 0;
    int height = 0;
    QByteArray pixels;
    bool operator==(const StatusPixmap &) const = default;
};

/// What stands beside the item when the pointer rests on it.
struct StatusToolTip
{
    QString iconName;
    QList<StatusPixmap> icon;
    QString title;
    QString text;
};

QDBusArgument &operator<<(QDBusArgument &argument, const StatusPixmap &pixmap);
const QDBusArgument &operator>>(const QDBusArgument &argument, StatusPixmap &pixmap);
QDBusArgument &operator<<(QDBusArgument &argument, const StatusToolTip &tip);
const QDBusArgument &operator>>(const QDBusArgument &argument, StatusToolTip &tip);

/// Makes the types above known to D-Bus; once is enough, more do no harm.
void registerStatusTypes();

} // namespace Keelhaven

Q_DECLARE_METATYPE(Keelhaven::StatusPixmap)
Q_DECLARE_METATYPE(Keelhaven::StatusToolTip)
