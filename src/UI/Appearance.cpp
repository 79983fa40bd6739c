#include "UI/Appearance.h"

#include "Platform/MessageBus.h"
#include "UI/EngineObjects.h"

#include <QFontDatabase>
#include <QGuiApplication>
#include <QPalette>

namespace Keelhaven {

using namespace Qt::StringLiterals;

namespace {

const auto portalService = u"org.freedesktop.portal.Desktop"_s;
const auto portalPath = u"/org/freedesktop/portal/desktop"_s;
const auto portalSettings = u"org.freedesktop.portal.Settings"_s;
const auto appearanceSpace = u"org.freedesktop.appearance"_s;
const auto interfaceSpace = u"org.gnome.desktop.interface"_s;
const auto colorScheme = u"color-scheme"_s;
const auto animations = u"enable-animations"_s;

constexpr uint preferDark = 1; ///< of the portal's color-scheme; 2 is light, 0 no preference

/// The first of `wanted` that is installed, else what the system calls its own.
QString installed(const QStringList &wanted, const QString &fallback)
{
    const auto families = QFontDatabase::families();
    for (const QString &family : wanted) {
        if (families.contains(family))
            return family;
    }
    return fallback;
}

QStringList textFamilies()
{
    return {u"Inter"_s, u"Cantarell"_s, u"Noto Sans"_s, u"DejaVu Sans"_s};
}

/// The portal wraps a value once or twice, depending on its version.
QVariant unwrapped(QVariant value)
{
    while (value.canConvert<QDBusVariant>())
        value = value.value<QDBusVariant>().variant();
    return value;
}

} // namespace

Appearance::Appearance(MessageBus *bus, QObject *parent)
    : QObject(parent)
    , m_bus(bus)
    , m_family(installed(textFamilies(), QGuiApplication::font().family()))
    , m_monospace(installed({u"JetBrains Mono"_s, u"Cascadia Mono"_s, u"Fira Mono"_s, u"Noto Sans Mono"_s,
                             u"DejaVu Sans Mono"_s},
                            QFontDatabase::systemFont(QFontDatabase::FixedFont).family()))
    , m_dark(QGuiApplication::palette().color(QPalette::Window).lightness() < 128)
{
    if (!m_bus)
        return;
    connect(m_bus, &MessageBus::connected, this, &Appearance::follow);
    if (m_bus->isConnected())
        follow();
    else
        m_bus->connectSoon();
}

Appearance *Appearance::create(QQmlEngine *engine, QJSEngine *)
{
    return EngineObjects::of<Appearance>(engine);
}

void Appearance::applyFont()
{
    QFont font = QGuiApplication::font();
    font.setFamilies(textFamilies() + QStringList{font.family(), u"Noto Color Emoji"_s});
    font.setPixelSize(13);
    QGuiApplication::setFont(font);
}

void Appearance::setDark(bool dark)
{
    if (std::exchange(m_dark, dark) != dark)
        Q_EMIT changed();
}

void Appearance::setReducedMotion(bool reduced)
{
    if (std::exchange(m_reducedMotion, reduced) != reduced)
        Q_EMIT changed();
}

void Appearance::follow()
{
    static_cast<void>(m_bus->listen(portalPath, portalSettings, u"SettingChanged"_s, this,
                                    SLOT(onSettingChanged(QString, QString, QDBusVariant))));
    ask(appearanceSpace, colorScheme);
    ask(interfaceSpace, animations);
}

void Appearance::ask(const QString &space, const QString &key)
{
    auto message = QDBusMessage::createMethodCall(portalService, portalPath, portalSettings, u"Read"_s);
    message << space << key;
    m_bus->call(message, this, [this, space, key](const QDBusMessage &reply) {
        if (reply.type() == QDBusMessage::ReplyMessage && !reply.arguments().isEmpty())
            take(space, key, unwrapped(reply.arguments().constFirst()));
    });
}

void Appearance::onSettingChanged(const QString &space, const QString &key, const QDBusVariant &value)
{
    take(space, key, unwrapped(value.variant()));
}

void Appearance::take(const QString &space, const QString &key, const QVariant &value)
{
    if (space == appearanceSpace && key == colorScheme && value.toUInt() != 0)
        setDark(value.toUInt() == preferDark);
    else if (space == interfaceSpace && key == animations && value.metaType().id() == QMetaType::Bool)
        setReducedMotion(!value.toBool());
}

} // namespace Keelhaven
