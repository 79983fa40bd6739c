#include "Platform/LogindPower.h"

#include <algorithm>
#include <array>

namespace Keelhaven {

using namespace Qt::StringLiterals;

namespace {

const QString logind = u"org.freedesktop.login1"_s;
const QString application = u"Keelhaven"_s;

/// Who can keep the display on, best first.
struct Keeper
{
    QString service;
    QString path;
    QString take;
    QString giveBack;
};

const std::array<Keeper, 2> &keepers()
{
    static const std::array<Keeper, 2> known{
        Keeper{u"org.freedesktop.ScreenSaver"_s, u"/org/freedesktop/ScreenSaver"_s, u"Inhibit"_s,
               u"UnInhibit"_s},
        Keeper{u"org.gnome.SessionManager"_s, u"/org/gnome/SessionManager"_s, u"Inhibit"_s, u"Uninhibit"_s}};
    return known;
}

/// Newer policies would ask for a password, older ones say no.
bool isPolicy(const QString &error)
{
    return error == u"org.freedesktop.DBus.Error.AccessDenied" ||
           error == u"org.freedesktop.DBus.Error.InteractiveAuthorizationRequired";
}

QVariantList keeperArguments(std::size_t keeper, const QString &reason)
{
    constexpr quint32 noWindow = 0;
    constexpr quint32 noIdle = 8;
    if (keeper == 0)
        return {application, reason};
    return {application, noWindow, reason, noIdle};
}

} // namespace

LogindPower::LogindPower(MessageBus &system, MessageBus &session)
    : m_system(system)
    , m_session(session)
{
    connect(&m_system, &MessageBus::connected, this, [this] { askAll(Hold::System); });
    connect(&m_session, &MessageBus::connected, this, [this] { askAll(Hold::Display); });
    connect(&m_system, &MessageBus::lost, this, [this] { onLost(Hold::System); });
    connect(&m_session, &MessageBus::lost, this, [this] { onLost(Hold::Display); });
    for (MessageBus *bus : {&m_system, &m_session})
        connect(bus, &MessageBus::ownerChanged, this, &LogindPower::onOwnerChanged);
}

std::uint32_t LogindPower::take(Hold hold, const QString &reason)
{
    MessageBus &bus = busOf(hold);
    if (bus.isAbsent())
        return 0;
    if (hold == Hold::System)
        bus.watch(logind);
    else
        for (const auto &keeper : keepers())
            bus.watch(keeper.service);
    const std::uint32_t id = ++m_lastID;
    Request &request = m_requests[id];
    request.hold = hold;
    request.reason = reason;
    renew(id);
    return id;
}

void LogindPower::renew(std::uint32_t id)
{
    const auto found = m_requests.find(id);
    if (found == m_requests.end() || found->second.isTaken || found->second.isAwaited)
        return;
    MessageBus &bus = busOf(found->second.hold);
    if (bus.isConnected())
        ask(id);
    else if (!bus.isAbsent())
        bus.connectSoon();
}

void LogindPower::drop(std::uint32_t id)
{
    const auto found = m_requests.find(id);
    if (found == m_requests.end())
        return;
    const auto cookie = found->second.cookie;
    m_requests.erase(found);
    if (cookie)
        giveBack(cookie->first, cookie->second);
}

bool LogindPower::isTaken(std::uint32_t id) const
{
    const auto found = m_requests.find(id);
    return found != m_requests.end() && found->second.isTaken;
}

LogindPower::Request *LogindPower::current(std::uint32_t id, int attempt)
{
    const auto found = m_requests.find(id);
    return found != m_requests.end() && found->second.attempt == attempt ? &found->second : nullptr;
}

void LogindPower::askAll(Hold hold)
{
    QList<std::uint32_t> ids;
    for (const auto &[id, request] : m_requests) {
        if (request.hold == hold && !request.isTaken)
            ids.append(id);
    }
    for (const auto id : std::as_const(ids))
        ask(id);
}

void LogindPower::ask(std::uint32_t id)
{
    Request &request = m_requests.at(id);
    ++request.attempt;
    request.isAwaited = true;
    if (request.hold == Hold::System)
        askLogind(id, u"sleep:idle"_s);
    else
        askKeeper(id, 0);
}

void LogindPower::askLogind(std::uint32_t id, const QString &what)
{
    const Request &request = m_requests.at(id);
    auto message = QDBusMessage::createMethodCall(logind, u"/org/freedesktop/login1"_s,
                                                  u"org.freedesktop.login1.Manager"_s, u"Inhibit"_s);
    message << what << application << request.reason << u"block"_s;
    const auto onReply = [this, id, attempt = request.attempt, what](const QDBusMessage &reply) {
        Request *asking = current(id, attempt);
        if (!asking)
            return;
        if (reply.type() == QDBusMessage::ReplyMessage) {
            // The hold that this one replaces ends here, so the machine is held without a gap.
            asking->isTaken = true;
            asking->isAwaited = false;
            asking->descriptor = reply.arguments().value(0).value<QDBusUnixFileDescriptor>();
            m_refusal.clear();
            m_isAgainstIdleOnly = !what.contains(u':');
            return tellChange();
        }
        m_refusal = reply.errorMessage();
        // Outside a session of the seat the policy allows to hold off the idle sleep only, which is the one
        // that matters.
        if (what.contains(u':') && isPolicy(reply.errorName()))
            askLogind(id, u"idle"_s);
        else
            asking->isAwaited = false;
    };
    m_system.call(message, this, onReply, MessageBus::Wait::WhileItRuns);
}

void LogindPower::askKeeper(std::uint32_t id, std::size_t keeper)
{
    const Request &request = m_requests.at(id);
    const auto &[service, path, take, _] = keepers().at(keeper);
    auto message = QDBusMessage::createMethodCall(service, path, service, take);
    message.setArguments(keeperArguments(keeper, request.reason));
    const auto onReply = [this, id, attempt = request.attempt, keeper](const QDBusMessage &reply) {
        const bool isGiven = reply.type() == QDBusMessage::ReplyMessage;
        const auto cookie = reply.arguments().value(0).toUInt();
        Request *asking = current(id, attempt);
        if (!asking) {
            if (isGiven)
                giveBack(keeper, cookie);
            return;
        }
        if (!isGiven && keeper + 1 < keepers().size())
            return askKeeper(id, keeper + 1);
        asking->isAwaited = false;
        asking->isTaken = isGiven;
        if (!isGiven)
            return;
        asking->cookie = {keeper, cookie};
        tellChange();
    };
    // A cookie that came too late for us would keep the display on, with nobody to give it back.
    m_session.call(message, this, onReply, MessageBus::Wait::WhileItRuns);
}

void LogindPower::giveBack(std::size_t keeper, std::uint32_t cookie) const
{
    const auto &[service, path, _, giveBack] = keepers().at(keeper);
    auto message = QDBusMessage::createMethodCall(service, path, service, giveBack);
    message << cookie;
    m_session.send(message);
}

void LogindPower::onLost(Hold hold)
{
    // A keeper of the display lets go by itself. login1 goes by the descriptor, which stays until its next
    // hold comes: login1 outlives the bus, and reads its holds again when it was started anew.
    for (auto &[id, request] : m_requests) {
        if (request.hold != hold)
            continue;
        ++request.attempt;
        request.isAwaited = false;
        request.isTaken = false;
        request.cookie.reset();
    }
    tellChange();
}

void LogindPower::tellChange() const
{
    if (onChanged)
        onChanged();
}

void LogindPower::onOwnerChanged(const QString &service, bool hasOwner)
{
    const Hold hold = service == logind ? Hold::System : Hold::Display;
    for (auto &[id, request] : m_requests) {
        const bool isKeptByOther = request.cookie && keepers().at(request.cookie->first).service != service;
        if (request.hold != hold || isKeptByOther)
            continue;
        request.isTaken = false;
        request.cookie.reset();
    }
    if (hasOwner)
        askAll(hold);
    tellChange();
}

QString LogindPower::whyNoHold() const
{
    if (std::ranges::any_of(m_requests, [](const auto &each) {
            return each.second.hold == Hold::System && each.second.isAwaited;
        }))
        return u"login1 has not answered yet"_s;
    return m_refusal.isEmpty() ? QString() : u"login1 gives no hold (%1)"_s.arg(m_refusal);
}

QCoro::Task<ServiceStatus> LogindPower::examine() const
{
    MessageBus &session = m_session;
    const bool hasLogind = co_await m_system.offers(logind);
    const QString obstacle = hasLogind ? whyNoHold() : u"no login1 on the system bus"_s;
    const QString held =
        m_isAgainstIdleOnly
            ? u"login1, only against falling asleep when idle: whoever sends the machine to sleep stops the runs"_s
            : u"login1"_s;
    QString display =
        u"no screen saver or GNOME session on the session bus: the display may go dark and lock"_s;
    for (const auto &keeper : keepers()) {
        const bool hasKeeper = co_await session.offers(keeper.service);
        if (hasKeeper)
            display = keeper.service + u" keeps the display on"_s;
        if (hasKeeper || !session.isConnected())
            break;
    }
    if (obstacle.isEmpty())
        co_return ServiceStatus{true, u"%1; %2"_s.arg(held, display)};
    co_return ServiceStatus{false,
                            u"%1: the machine may go to sleep during a run; %2"_s.arg(obstacle, display)};
}

} // namespace Keelhaven
