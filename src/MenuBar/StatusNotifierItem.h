#pragma once

#include "MenuBar/StatusNotifierTypes.h"

#include <QDBusVirtualObject>
#include <QMap>
#include <QVariant>

namespace Keelhaven {

class MessageBus;

/// The item in the desktop's status area, as org.kde.StatusNotifierItem describes it. It registers with the
/// watcher whenever there is one; isShown() tells whether a status area displays it. Main loop only; the bus
/// outlives it.
class StatusNotifierItem : public QDBusVirtualObject
{
    Q_OBJECT

public:
    /// `menu` is for areas that show one instead of telling of the click; it outlives the item.
    explicit StatusNotifierItem(MessageBus &session, QDBusVirtualObject &menu, QObject *parent = nullptr);
    ~StatusNotifierItem() override;

    /// Begins to look for a status area.
    void start();

    /// A status area has taken the item.
    [[nodiscard]] bool isShown() const { return m_isShown; }

    /// In several sizes; the area takes what fits.
    void setIcon(const QList<StatusPixmap> &sizes);
    void setToolTip(const QString &title, const QString &text);

    QString introspect(const QString &path) const override;
    bool handleMessage(const QDBusMessage &message, const QDBusConnection &connection) override;

Q_SIGNALS:
    void shownChanged();
    /// The item was clicked, at a point of the screen where the area knows one; both 0 where it does not.
    void activated(int x, int y);

private Q_SLOTS:
    void onHostsChanged();

private:
    void serve();
    void announce();
    void askForHosts();
    void setShown(bool shown);
    void tell(const QString &signal);
    [[nodiscard]] QVariantMap properties() const;

    MessageBus &m_session;
    QDBusVirtualObject &m_menu;
    QList<StatusPixmap> m_icon;
    StatusToolTip m_toolTip;
    bool m_isShown = false;
    bool m_isRegistered = false;
};

} // namespace Keelhaven
