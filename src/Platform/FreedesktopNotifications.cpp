#include "Platform/FreedesktopNotifications.h"

#include "Platform/Text.h"

namespace Keelhaven {

using namespace Qt::StringLiterals;

namespace {

const QString service = u"org.freedesktop.Notifications"_s;
const QString path = u"/org/freedesktop/Notifications"_s;
const QString clickAction = u"default"_s;

constexpr qsizetype mostWaiting = 20;
/// Some services never say that a notification is gone.
constexpr std::size_t mostLinks = 200;
/// Some lay out all they get, however long that takes.
constexpr qsizetype mostCharacters = 1000;

enum class Urgency : uchar { Low, Normal, Critical };

QDBusMessage method(const QString &name)
{
    return QDBusMessage::createMethodCall(service, path, service, name);
}

/// As much of a text from outside as somebody reads there. D-Bus carries no zero, and other control
/// characters are a terminal's business.
QString readable(const QString &text)
{
    // Bounded first: one character may be made of any number of parts.
    QString shown = firstCharacters(text.left(4 * mostCharacters), mostCharacters);
    if (shown.size() < text.size())
        shown += u'…';
    for (QChar &each : shown) {
        if (each.category() == QChar::Other_Control && each != u'\n' && each != u'\t')
            each = QChar::ReplacementCharacter;
    }
    return shown;
}

QString escaped(QString text)
{
    return text.replace(u'&', u"&amp;"_s).replace(u'<', u"&lt;"_s).replace(u'>', u"&gt;"_s);
}

} // namespace

FreedesktopNotifications::FreedesktopNotifications(MessageBus &session)
    : m_session(session)
{
    connect(&m_session, &MessageBus::connected, this, [this] {
        listen();
        askCapabilities();
    });
    if (m_session.isConnected())
        listen();
    connect(&m_session, &MessageBus::failed, this, [this] { m_waiting.clear(); });
    connect(&m_session, &MessageBus::lost, this, &FreedesktopNotifications::forget);
    connect(&m_session, &MessageBus::ownerChanged, this, [this](const QString &name) {
        if (name == service)
            forget();
    });
}

void FreedesktopNotifications::show(const QString &title, const QString &body, const QString &url)
{
    if (m_session.isAbsent())
        return;
    const Note note{readable(title), readable(body), url};
    if (m_capabilities) {
        send(note);
        return;
    }
    m_waiting.append(note);
    if (m_waiting.size() > mostWaiting)
        m_waiting.removeFirst();
    m_session.watch(service);
    if (m_session.isConnected())
        askCapabilities();
    else
        m_session.connectSoon();
}

void FreedesktopNotifications::listen()
{
    m_session.listen(path, service, u"ActionInvoked"_s, this, SLOT(onActionInvoked(quint32, QString)));
    m_session.listen(path, service, u"NotificationClosed"_s, this,
                     SLOT(onNotificationClosed(quint32, quint32)));
}

void FreedesktopNotifications::askCapabilities()
{
    if (m_waiting.isEmpty() || std::exchange(m_isAsking, true))
        return;
    m_session.call(method(u"GetCapabilities"_s), this, [this](const QDBusMessage &reply) {
        m_isAsking = false;
        const auto waiting = std::exchange(m_waiting, {});
        if (reply.type() != QDBusMessage::ReplyMessage)
            return;
        m_capabilities = reply.arguments().value(0).toStringList();
        for (const auto &note : waiting)
            send(note);
    });
}

void FreedesktopNotifications::send(const Note &note)
{
    const bool isClickable = m_capabilities->contains(u"actions"_s) && !note.url.isEmpty();
    const QStringList actions = isClickable ? QStringList{clickAction, u"Open"_s} : QStringList();
    const QString body = m_capabilities->contains(u"body-markup"_s) ? escaped(note.body) : note.body;
    const QVariantMap hints{{u"urgency"_s, QVariant::fromValue(static_cast<uchar>(Urgency::Normal))},
                            {u"desktop-entry"_s, u"keelhaven"_s},
                            {u"sound-name"_s, u"message-new-instant"_s}};
    constexpr quint32 replacesNone = 0;
    constexpr qint32 serviceDecides = -1;
    auto message = method(u"Notify"_s);
    message << u"Keelhaven"_s << replacesNone << u"keelhaven"_s << note.title << body << actions << hints
            << serviceDecides;
    m_session.call(message, this,
                   [this, url = isClickable ? note.url : QString()](const QDBusMessage &reply) {
                       if (reply.type() == QDBusMessage::ReplyMessage && !url.isEmpty())
                           remember(reply.arguments().value(0).toUInt(), url);
                   });
}

void FreedesktopNotifications::remember(quint32 id, const QString &url)
{
    m_links[id] = url;
    if (m_links.size() > mostLinks)
        m_links.erase(m_links.begin());
}

void FreedesktopNotifications::forget()
{
    m_capabilities.reset();
    m_links.clear();
}

void FreedesktopNotifications::onActionInvoked(quint32 id, const QString &action)
{
    // Every program on the bus hears of every click.
    const auto link = m_links.find(id);
    if (link == m_links.end() || action != clickAction || !onClicked)
        return;
    const auto clicked = onClicked;
    const QString url = link->second;
    clicked(url);
}

void FreedesktopNotifications::onNotificationClosed(quint32 id, quint32)
{
    m_links.erase(id);
}

QCoro::Task<ServiceStatus> FreedesktopNotifications::examine() const
{
    const bool isThere = co_await m_session.offers(service);
    if (isThere)
        co_return ServiceStatus{true, u"the desktop shows them"_s};
    co_return ServiceStatus{
        false, u"no notification service on the session bus: nothing pops up when a run ends, fails or "
               "waits; \"keelhaven watch\" and \"keelhaven status\" tell."_s};
}

} // namespace Keelhaven
