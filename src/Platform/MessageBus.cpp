#include "Platform/MessageBus.h"

#include <QDBusPendingCallWatcher>
#include <QPointer>
#include <limits>

namespace Keelhaven {

using namespace std::chrono_literals;
using namespace Qt::StringLiterals;

namespace {

using Listener = BusAddress::Listener;

constexpr Span firstRetry = 1s;
constexpr Span longestRetry = 1min;
constexpr int questionMilliseconds = 3000;

const QString busService = u"org.freedesktop.DBus"_s;
const QString busPath = u"/org/freedesktop/DBus"_s;

QDBusMessage question(const QString &member)
{
    return QDBusMessage::createMethodCall(busService, busPath, busService, member);
}

} // namespace

MessageBus::MessageBus(BusAddress address, Clock &clock, Span patience)
    : m_address(std::move(address))
    , m_patience(patience)
    , m_clock(clock)
    , m_retryDelay(firstRetry)
{}

MessageBus::~MessageBus()
{
    closeConnection();
}

void MessageBus::connectSoon()
{
    if (m_connection || m_isConnecting)
        return;
    m_isConnecting = true;
    m_tasks.spawn(connectOnPool(), "connect to D-Bus");
}

QCoro::Task<> MessageBus::connectOnPool()
{
    static int number = 0;
    const QPointer<MessageBus> self(this);
    const QString name = u"keelhaven-%1"_s.arg(++number);
    const auto work = [address = m_address, patience = m_patience, name] {
        const auto listener = address.isAbsent() ? Listener::None : address.greet(patience);
        const bool isConnected =
            listener == Listener::Answers &&
            QDBusConnection::connectToBus(QString::fromUtf8(address.text()), name).isConnected();
        return std::pair(listener, isConnected);
    };
    const auto [listener, isConnected] = co_await onPool(work);
    if (self)
        self->finishConnecting(isConnected, listener == Listener::Silent, name);
    else
        QDBusConnection::disconnectFromBus(name);
}

void MessageBus::finishConnecting(bool isConnected, bool isSilent, const QString &name)
{
    m_isConnecting = false;
    const auto waiting = std::exchange(m_waiting, {});
    if (isConnected) {
        m_connection = QDBusConnection(name);
        m_wasConnected = true;
        m_retryDelay = firstRetry;
        m_retry.reset();
        m_connection->connect({}, u"/org/freedesktop/DBus/Local"_s, u"org.freedesktop.DBus.Local"_s,
                              u"Disconnected"_s, this, SLOT(onDisconnected()));
        for (const QString &service : std::as_const(m_watched))
            follow(service);
        Q_EMIT connected();
    } else {
        QDBusConnection::disconnectFromBus(name);
        if (m_wasConnected || isSilent)
            retryLater();
        Q_EMIT failed();
    }
    for (const auto &each : waiting)
        each.resolve(isConnected);
}

void MessageBus::retryLater()
{
    m_retry = m_clock.after(m_retryDelay, [this] { connectSoon(); });
    m_retryDelay = std::min(m_retryDelay * 2, longestRetry);
}

void MessageBus::closeConnection()
{
    if (const auto gone = std::exchange(m_connection, std::nullopt))
        QDBusConnection::disconnectFromBus(gone->name());
}

void MessageBus::onDisconnected()
{
    closeConnection();
    retryLater();
    Q_EMIT lost();
}

void MessageBus::watch(const QString &service)
{
    if (m_watched.contains(service))
        return;
    m_watched.insert(service);
    if (m_connection)
        follow(service);
}

void MessageBus::follow(const QString &service)
{
    m_connection->connect({}, busPath, busService, u"NameOwnerChanged"_s, QStringList{service}, u"sss"_s,
                          this, SLOT(onNameOwnerChanged(QString, QString, QString)));
}

void MessageBus::onNameOwnerChanged(const QString &service, const QString &, const QString &newOwner)
{
    Q_EMIT ownerChanged(service, !newOwner.isEmpty());
}

bool MessageBus::listen(const QString &path, const QString &interface, const QString &signal,
                        QObject *receiver, const char *slot) const
{
    // Naming the sender would have Qt ask for its owner and wait for the answer.
    auto connection = m_connection;
    return connection && connection->connect({}, path, interface, signal, receiver, slot);
}

void MessageBus::call(const QDBusMessage &message, QObject *context,
                      std::function<void(const QDBusMessage &)> onReply, Wait wait) const
{
    constexpr int usual = -1;
    constexpr int withoutEnd = std::numeric_limits<int>::max();
    if (!m_connection) {
        const auto error = QDBusMessage::createError(QDBusError::Disconnected, u"no message bus"_s);
        QMetaObject::invokeMethod(
            context, [onReply = std::move(onReply), error] { onReply(error); }, Qt::QueuedConnection);
        return;
    }
    auto *watcher = new QDBusPendingCallWatcher(
        m_connection->asyncCall(message, wait == Wait::Usual ? usual : withoutEnd), context);
    QObject::connect(watcher, &QDBusPendingCallWatcher::finished, context,
                     [watcher, onReply = std::move(onReply)] {
                         watcher->deleteLater();
                         onReply(watcher->reply());
                     });
}

void MessageBus::send(const QDBusMessage &message) const
{
    if (m_connection)
        m_connection->send(message);
}

bool MessageBus::serve(const QString &path, QDBusVirtualObject *object) const
{
    auto connection = m_connection;
    return connection && connection->registerVirtualObject(path, object);
}

void MessageBus::withdraw(const QString &path) const
{
    if (auto connection = m_connection)
        connection->unregisterObject(path);
}

QString MessageBus::ownName() const
{
    return m_connection ? m_connection->baseService() : QString();
}

QCoro::Task<std::optional<bool>> MessageBus::answersYes(QDBusMessage question, QString service) const
{
    OneShot<std::optional<bool>> answer;
    const auto *watched =
        new QDBusPendingCallWatcher(m_connection->asyncCall(question, questionMilliseconds));
    QObject::connect(watched, &QDBusPendingCallWatcher::finished, watched, [answer, service](auto *watcher) {
        watcher->deleteLater();
        if (watcher->isError()) {
            answer.resolve(std::nullopt);
            return;
        }
        const QVariant value = watcher->reply().arguments().value(0);
        answer.resolve(value.userType() == QMetaType::Bool ? value.toBool()
                                                           : value.toStringList().contains(service));
    });
    const std::optional<bool> yes = co_await answer;
    co_return yes;
}

QCoro::Task<bool> MessageBus::offers(QString service)
{
    const QPointer<MessageBus> self(this);
    if (!m_connection) {
        const OneShot<bool> outcome;
        m_waiting.append(outcome);
        connectSoon();
        const bool isConnected = co_await outcome;
        if (!isConnected)
            co_return false;
    }
    const QDBusMessage hasOwner = question(u"NameHasOwner"_s) << service;
    const std::optional<bool> runs = co_await answersYes(hasOwner, service);
    if (runs != false || !self || !m_connection)
        co_return runs.value_or(false);
    const QDBusMessage activatable = question(u"ListActivatableNames"_s);
    const std::optional<bool> canRun = co_await answersYes(activatable, service);
    co_return canRun.value_or(false);
}

} // namespace Keelhaven
