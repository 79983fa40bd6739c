#pragma once

#include "Platform/BusAddress.h"
#include "Platform/Clock.h"
#include "Platform/OneShot.h"
#include "Platform/Tasks.h"

#include <QCoroTask>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusVirtualObject>
#include <QObject>
#include <QSet>

namespace Keelhaven {

/// One connection to a D-Bus message bus, made when it is first needed and made again when the bus was
/// started anew. Main loop only and never waiting there: the connection is made on a pool thread and calls
/// answer later. Whoever still waits when it ends is not resumed. `clock` outlives it.
class MessageBus : public QObject
{
    Q_OBJECT

public:
    /// A bus that does not answer within `patience` counts as not there yet.
    MessageBus(BusAddress address, Clock &clock, Span patience = std::chrono::seconds(3));
    ~MessageBus() override;

    /// Whether certainly no bus is there: no address, or no socket in its place.
    [[nodiscard]] bool isAbsent() const { return m_address.isAbsent(); }
    [[nodiscard]] bool isConnected() const { return m_connection.has_value(); }
    /// Begins to connect unless that is done or under way; connected() or failed() follows.
    void connectSoon();

    /// Follows who owns a service name: ownerChanged() tells of each change, here and after a reconnection.
    void watch(const QString &service);
    /// Has the slot called for a signal of this object and interface, whoever sends it. False without a bus,
    /// and the connection that is lost takes it along: done again at each connected().
    bool listen(const QString &path, const QString &interface, const QString &signal, QObject *receiver,
                const char *slot) const;

    /// How long a reply may take: what the library finds proper (25 s), or as long as the service runs, for
    /// what stands from then on and would otherwise be nobody's.
    enum class Wait { Usual, WhileItRuns };

    /// Sends a method call. `onReply` runs later with the reply or the error, also when the bus is lost
    /// meanwhile, unless `context` is gone by then.
    void call(const QDBusMessage &message, QObject *context,
              std::function<void(const QDBusMessage &)> onReply, Wait wait = Wait::Usual) const;

    /// Sends a method call whose outcome nobody waits for.
    void send(const QDBusMessage &message) const;

    /// Has others call this object at `path`. False without a bus, and the connection that is lost takes it
    /// along: done again at each connected(). The object withdraws before it goes.
    [[nodiscard]] bool serve(const QString &path, QDBusVirtualObject *object) const;
    void withdraw(const QString &path) const;
    /// The name by which others on the bus reach this connection; empty without one.
    [[nodiscard]] QString ownName() const;

    /// Whether the bus is there and has this service, or can start it. Takes six seconds at most.
    [[nodiscard]] QCoro::Task<bool> offers(QString service);

Q_SIGNALS:
    void connected();
    /// The connection broke; it is made again as soon as the bus is back.
    void lost();
    /// A connection could not be made.
    void failed();
    void ownerChanged(const QString &service, bool hasOwner);

private Q_SLOTS:
    void onDisconnected();
    void onNameOwnerChanged(const QString &service, const QString &oldOwner, const QString &newOwner);

private:
    [[nodiscard]] QCoro::Task<> connectOnPool();
    void finishConnecting(bool isConnected, bool isSilent, const QString &name);
    void follow(const QString &service);
    void retryLater();
    void closeConnection();
    /// Nothing when the bus did not answer.
    [[nodiscard]] QCoro::Task<std::optional<bool>> answersYes(QDBusMessage question, QString service) const;

    BusAddress m_address;
    Span m_patience;
    Clock &m_clock;
    Tasks m_tasks;
    QSet<QString> m_watched;
    std::optional<QDBusConnection> m_connection;
    QList<OneShot<bool>> m_waiting; ///< for the outcome of the present attempt
    Timer m_retry;
    Span m_retryDelay{};
    bool m_isConnecting = false;
    bool m_wasConnected = false; ///< once; a bus that was never there is not waited for
};

} // namespace Keelhaven
