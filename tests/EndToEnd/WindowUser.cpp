#include "EndToEnd/WindowUser.h"

#include "Support/VirtualClock.h"

#include <QElapsedTimer>
#include <QTest>
#include <QTimer>
#include <QWheelEvent>

namespace Keelhaven {

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

constexpr auto limit = 20s;      ///< for one thing to happen; a session is launched well within it
constexpr int tabLimit = 120;    ///< controls of one screen
constexpr int wheelNotch = -120; ///< one notch towards the user
constexpr int wheelNotchLimit = 60;

/// Visits all things in sight; false from `visit` ends it.
bool walk(QAccessibleInterface *thing, const std::function<bool(QAccessibleInterface &)> &visit)
{
    if (!thing || !thing->isValid() || thing->state().invisible)
        return true;
    if (!visit(*thing))
        return false;
    for (int i = 0; i < thing->childCount(); ++i) {
        if (!walk(thing->child(i), visit))
            return false;
    }
    return true;
}

bool isCalled(const QAccessibleInterface &thing, QAccessible::Role role, const QString &name)
{
    if (thing.role() != role)
        return false;
    const QString own = thing.text(QAccessible::Name);
    return own == name || own.startsWith(name + u", "_s) || own.startsWith(name + u" · "_s);
}

QString described(const QAccessibleInterface &thing)
{
    QString role = QString::fromLatin1(QMetaEnum::fromType<QAccessible::Role>().valueToKey(thing.role()));
    return role + u" “"_s + thing.text(QAccessible::Name).left(160) + u'”';
}

} // namespace

WindowUser::WindowUser(QQuickWindow &window)
    : m_window(window)
{
    QObject::connect(&window, &QQuickWindow::frameSwapped, &m_context, [this] { ++m_frames; });
    window.requestActivate();
    await(u"the window to be shown"_s, [this] { return m_window.isExposed() && m_window.isActive(); });
}

void WindowUser::await(const QString &what, const std::function<bool()> &condition) const
{
    if (!waitUntil(condition, limit))
        throw std::runtime_error(
            (u"waited in vain for "_s + what + u"; there is\n"_s + everything()).toStdString());
}

QQuickItem *WindowUser::find(QAccessible::Role role, const QString &name) const
{
    QQuickItem *found = nullptr;
    walk(QAccessible::queryAccessibleInterface(&m_window), [&](QAccessibleInterface &thing) {
        if (isCalled(thing, role, name))
            found = qobject_cast<QQuickItem *>(thing.object());
        return found == nullptr;
    });
    return found;
}

bool WindowUser::sees(QAccessible::Role role, const QString &name) const
{
    return find(role, name) != nullptr;
}

bool WindowUser::isChecked(QAccessible::Role role, const QString &name) const
{
    auto *thing = QAccessible::queryAccessibleInterface(find(role, name));
    return thing && thing->state().checked;
}

void WindowUser::awaitSight(QAccessible::Role role, const QString &name) const
{
    await(u"“%1”"_s.arg(name), [&] { return sees(role, name); });
}

void WindowUser::awaitAbsence(QAccessible::Role role, const QString &name) const
{
    await(u"“%1” to go"_s.arg(name), [&] { return !sees(role, name); });
}

QStringList WindowUser::names(QAccessible::Role role) const
{
    QStringList list;
    walk(QAccessible::queryAccessibleInterface(&m_window), [&](const QAccessibleInterface &thing) {
        if (thing.role() == role)
            list.append(thing.text(QAccessible::Name));
        return true;
    });
    return list;
}

QString WindowUser::everything() const
{
    QStringList list;
    walk(QAccessible::queryAccessibleInterface(&m_window), [&](const QAccessibleInterface &thing) {
        list.append(described(thing));
        return true;
    });
    return list.join(u'\n');
}

void WindowUser::awaitFrame()
{
    const int before = m_frames;
    m_window.update();
    await(u"a frame"_s, [&] { return m_frames > before; });
}

QRectF WindowUser::place(const QQuickItem &item) const
{
    return item.mapRectToScene({0, 0, item.width(), item.height()});
}

QRectF WindowUser::placeInSight(const QQuickItem &item) const
{
    QRectF sight = place(item) & QRectF({}, m_window.size());
    for (const QQuickItem *above = item.parentItem(); above; above = above->parentItem()) {
        if (above->clip())
            sight &= place(*above);
    }
    return sight;
}

QQuickItem *WindowUser::awaitItem(QAccessible::Role role, const QString &name)
{
    QRectF before;
    QPointer<QQuickItem> item;
    await(u"“%1” at rest"_s.arg(name), [&] {
        item = find(role, name);
        if (!item)
            return false;
        const QRectF now = place(*item);
        return now.isValid() && std::exchange(before, now) == now;
    });
    // What a frame lays out may move it once more.
    awaitFrame();
    if (!item || place(*item) != before)
        return awaitItem(role, name);
    return item;
}

void WindowUser::turnWheel(const QQuickItem &item)
{
    const QQuickItem *page = item.parentItem();
    while (page && !page->clip())
        page = page->parentItem();
    if (!page)
        throw std::runtime_error("nothing scrolls there");
    const QPointF at = placeInSight(*page).center();
    const bool isBelow = place(item).center().y() > at.y();
    QWheelEvent turn(at, m_window.mapToGlobal(at), {}, {0, isBelow ? wheelNotch : -wheelNotch}, Qt::NoButton,
                     Qt::NoModifier, Qt::NoScrollPhase, false);
    QCoreApplication::sendEvent(&m_window, &turn);
}

void WindowUser::pointAt(QAccessible::Role role, const QString &name)
{
    QQuickItem *item = awaitItem(role, name);
    for (int i = 0; !placeInSight(*item).contains(place(*item).center()); ++i) {
        if (i == wheelNotchLimit)
            throw std::runtime_error("cannot scroll to " + name.toStdString());
        turnWheel(*item);
        item = awaitItem(role, name);
    }
    QTest::mouseMove(&m_window, place(*item).center().toPoint());
    awaitFrame();
}

void WindowUser::click(QAccessible::Role role, const QString &name)
{
    pointAt(role, name);
    await(u"“%1” to be enabled"_s.arg(name), [&] {
        const QQuickItem *item = find(role, name);
        return item && item->isEnabled();
    });
    QTest::mouseClick(&m_window, Qt::LeftButton, {}, place(*find(role, name)).center().toPoint());
}

void WindowUser::press(Qt::Key key, Qt::KeyboardModifiers modifiers)
{
    QTest::keyClick(&m_window, key, modifiers);
}

void WindowUser::type(const QString &text)
{
    for (const QChar letter : text)
        QTest::keyClick(&m_window, letter.toLatin1());
}

bool WindowUser::isOn(QAccessible::Role role, const QString &name) const
{
    const auto *thing = QAccessible::queryAccessibleInterface(m_window.activeFocusItem());
    return thing && isCalled(*thing, role, name);
}

void WindowUser::tabTo(QAccessible::Role role, const QString &name, Qt::Key key)
{
    awaitSight(role, name);
    QStringList passed;
    for (int i = 0; !isOn(role, name); ++i) {
        if (i == tabLimit)
            throw std::runtime_error(
                (u"no way to “%1” by Tab: "_s.arg(name) + passed.join(u", "_s)).toStdString());
        press(key, key == Qt::Key_Backtab ? Qt::ShiftModifier : Qt::NoModifier);
        awaitFrame();
        const auto *thing = QAccessible::queryAccessibleInterface(m_window.activeFocusItem());
        passed.append(thing ? described(*thing) : u"nothing that has a name"_s);
    }
}

bool WindowUser::staysStill(std::chrono::milliseconds stretch, std::chrono::milliseconds within) const
{
    QElapsedTimer still;
    still.start();
    int seen = m_frames;
    return waitUntil(
        [&] {
            if (std::exchange(seen, m_frames) != m_frames)
                still.restart();
            return still.hasExpired(stretch.count());
        },
        within);
}

} // namespace Keelhaven
