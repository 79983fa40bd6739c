#pragma once

#include <QAccessible>
#include <QQuickItem>
#include <QQuickWindow>

namespace Keelhaven {

/// Somebody in front of a window: finds what a screen reader would tell of, and uses a real pointer and real
/// keys. A thing is named by its role and its accessible name, or by what that name begins with before a
/// comma or a dot. What does not come within the limit throws std::runtime_error with all that the window
/// tells of.
class WindowUser
{
public:
    explicit WindowUser(QQuickWindow &window);

    /// Waits until the condition holds.
    void await(const QString &what, const std::function<bool()> &condition) const;

    [[nodiscard]] bool sees(QAccessible::Role role, const QString &name) const;
    /// Whether a thing in sight is told as checked.
    [[nodiscard]] bool isChecked(QAccessible::Role role, const QString &name) const;
    void awaitSight(QAccessible::Role role, const QString &name) const;
    void awaitAbsence(QAccessible::Role role, const QString &name) const;
    /// The names of all things of a role in sight.
    [[nodiscard]] QStringList names(QAccessible::Role role) const;

    /// Waits for the thing, scrolls it into sight and puts the pointer on it.
    void pointAt(QAccessible::Role role, const QString &name);
    void click(QAccessible::Role role, const QString &name);

    void press(Qt::Key key, Qt::KeyboardModifiers modifiers = Qt::NoModifier);
    void type(const QString &text);
    /// Presses Tab, or Shift+Tab, until the thing has the keyboard.
    void tabTo(QAccessible::Role role, const QString &name, Qt::Key key = Qt::Key_Tab);
    /// Whether the thing has the keyboard.
    [[nodiscard]] bool isOn(QAccessible::Role role, const QString &name) const;

    /// Frames that reached the screen so far.
    [[nodiscard]] int frames() const { return m_frames; }
    /// Whether nothing is drawn for that long; looks until it is so, or for `limit`.
    [[nodiscard]] bool staysStill(std::chrono::milliseconds stretch, std::chrono::milliseconds limit) const;

private:
    [[nodiscard]] QQuickItem *find(QAccessible::Role role, const QString &name) const;
    /// The item once it has come to rest.
    [[nodiscard]] QQuickItem *awaitItem(QAccessible::Role role, const QString &name);
    [[nodiscard]] QRectF place(const QQuickItem &item) const;
    /// The part of an item's place that no scrolling page cuts off.
    [[nodiscard]] QRectF placeInSight(const QQuickItem &item) const;
    void turnWheel(const QQuickItem &item);
    /// Lets what changed be laid out and drawn.
    void awaitFrame();
    [[nodiscard]] QString everything() const;

    QQuickWindow &m_window;
    QObject m_context; ///< ends the counting
    int m_frames = 0;
};

} // namespace Keelhaven
