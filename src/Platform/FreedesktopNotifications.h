#pragma once

#include "Platform/MessageBus.h"
#include "Platform/NotificationSink.h"
#include "Platform/ServiceStatus.h"

#include <map>

namespace Keelhaven {

/// NotificationSink on the desktop's notification service. What cannot be shown is dropped. A click is known
/// while the service that showed the notification runs. Main loop only; the bus outlives it.
class FreedesktopNotifications : public QObject, public NotificationSink
{
    Q_OBJECT

public:
    explicit FreedesktopNotifications(MessageBus &session);

    void show(const QString &title, const QString &body, const QString &url) override;

    [[nodiscard]] QCoro::Task<ServiceStatus> examine() const;

private Q_SLOTS:
    void onActionInvoked(quint32 id, const QString &action);
    void onNotificationClosed(quint32 id, quint32 reason);

private:
    struct Note
    {
        QString title;
        QString body;
        QString url;
    };

    void listen();
    void askCapabilities();
    void send(const Note &note);
    void remember(quint32 id, const QString &url);
    void forget();

    MessageBus &m_session;
    std::optional<QStringList> m_capabilities; ///< of the service that runs now
    bool m_isAsking = false;
    QList<Note> m_waiting;              ///< for the capabilities
    std::map<quint32, QString> m_links; ///< of the notifications that may still be clicked
};

} // namespace Keelhaven
