#pragma once

#include <QDBusVariant>
#include <QObject>
#include <QQmlEngine>

class QDBusMessage;

namespace Keelhaven {

class MessageBus;

/// How the desktop wants windows to look: dark or light, with motion or without. Followed while it changes.
class Appearance : public QObject
{
    Q_OBJECT
    QML_ELEMENT
    QML_SINGLETON
    Q_PROPERTY(bool dark READ isDark NOTIFY changed)
    Q_PROPERTY(bool reducedMotion READ hasReducedMotion NOTIFY changed)
    Q_PROPERTY(QString family READ family CONSTANT)
    Q_PROPERTY(QString monospace READ monospace CONSTANT)

public:
    /// Follows the desktop's settings portal on `bus`, which outlives it; with none, the palette decides.
    /// Nothing here is made by an engine of its own: see create().
    explicit Appearance(MessageBus *bus, QObject *parent = nullptr);

    /// The appearance that belongs to the engine; the engine does not own it.
    static Appearance *create(QQmlEngine *engine, QJSEngine *scriptEngine);

    [[nodiscard]] bool isDark() const { return m_dark; }
    [[nodiscard]] bool hasReducedMotion() const { return m_reducedMotion; }
    [[nodiscard]] QString family() const { return m_family; }
    [[nodiscard]] QString monospace() const { return m_monospace; }

    void setDark(bool dark);
    void setReducedMotion(bool reduced);

    /// Sets the application's typeface, with its fallbacks.
    static void applyFont();

Q_SIGNALS:
    void changed();

private Q_SLOTS:
    void onSettingChanged(const QString &space, const QString &key, const QDBusVariant &value);

private:
    void follow();
    void ask(const QString &space, const QString &key);
    void take(const QString &space, const QString &key, const QVariant &value);

    MessageBus *m_bus;
    QString m_family;
    QString m_monospace;
    bool m_dark = false;
    bool m_reducedMotion = false;
};

} // namespace Keelhaven
